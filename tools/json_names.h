// SPDX-License-Identifier: Apache-2.0
// Names of protocols, applications, interfaces and VPN instances as the
// session displays show them, for the JSON documents.  Fixed buffers,
// nothing allocated per entry.
#ifndef DPMGMT_TOOLS_JSON_NAMES_H
#define DPMGMT_TOOLS_JSON_NAMES_H

#include <cstdint>

#include "json_out.h"
#include "dpmgmt/session.h"

namespace json {

// "<k>": the upper-cased protocol name, "-" when unknown.
void protocol_name(Document &doc, const char *k, uint32_t protocol);
// "<k>": the upper-cased application name, "-" when unknown.
void application_name(Document &doc, const char *k, uint32_t appId);
// "<k>": the interface's full name, "N/A" for index 0 or an unknown one.
void interface_name(Document &doc, const char *k, uint32_t ifIndex);
// "vpn_instance" (null for none, "Invalid(N)" when unknown) and "vlan_id"
// (null unless the tuple carries a VLAN ID), as the VPN column shows.
void vpn_fields(Document &doc, const SESSION_TUPLE_S &tuple);
// "ttl_seconds": null for an entry without a time to live.
void ttl(Document &doc, uint32_t seconds);

}  // namespace json

#endif
