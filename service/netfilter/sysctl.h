// SPDX-License-Identifier: Apache-2.0
// The namespace's connection-tracking settings under
// /proc/sys/net/netfilter, read and written as whole numbers.
#ifndef DPSVC_NF_SYSCTL_H
#define DPSVC_NF_SYSCTL_H

#include <cstdint>
#include <optional>

namespace dpsvc::nf {

// name: the file name under /proc/sys/net/netfilter, e.g.
// "nf_conntrack_tcp_timeout_established".
std::optional<uint64_t> read_setting(const char *name);
// False (errno set) when the file is missing, read-only in this namespace
// or refuses the value.
bool write_setting(const char *name, uint64_t value);

}  // namespace dpsvc::nf

#endif
