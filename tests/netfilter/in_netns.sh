#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs a netfilter unit test in a network namespace of its own (unshare -n).
# The unit tests build connection-tracking objects and nftables batch text in
# memory and never open a netlink socket; the namespace makes sure that even
# a mistake cannot reach the host's tables.  Where no namespace can be made
# (not root), it says so and runs the test as it is.
if unshare -n true 2>/dev/null; then
  exec unshare -n "$@"
fi
echo "in_netns: no network namespace (needs root); running without one" >&2
exec "$@"
