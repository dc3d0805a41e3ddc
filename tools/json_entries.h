// SPDX-License-Identifier: Apache-2.0
// Pieces of the session and relation entries that several JSON documents
// share: one direction of a session, a traffic pair and the addresses,
// protocol and application of a relation.
#ifndef DPMGMT_TOOLS_JSON_ENTRIES_H
#define DPMGMT_TOOLS_JSON_ENTRIES_H

#include <cstddef>
#include <cstdint>

#include "dpmgmt/session.h"
#include "json_out.h"

namespace json {

bool all_zero(const uint8_t *p, size_t n);

// "<k>": one direction of a session, fast-forward or Mcfs entry; ifIndex
// null for Mcfs entries, which name no inbound interface per direction.
// With vll, a tuple of a VLL carries "vll_id" instead of a VPN instance.
void direction(Document &doc, const char *k, const SESSION_TUPLE_S &t, const uint8_t *peer, const uint32_t *ifIndex,
               bool vll = false);
// "<k>": {"packets", "bytes"}.
void traffic(Document &doc, const char *k, uint32_t packets, uint32_t bytes);
// The members a relation shows: addresses, ports, DS-Lite peer, VPN,
// protocol, "ttl_seconds" and "application".
void relation_fields(Document &doc, const SESSION_TUPLE_S &t, const uint8_t *peer, uint32_t ttl, uint32_t appId);

}  // namespace json

#endif
