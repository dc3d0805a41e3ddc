// SPDX-License-Identifier: Apache-2.0
#include "json_entries.h"

#include "json_names.h"

namespace json {

bool all_zero(const uint8_t *p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (p[i] != 0) return false;
    return true;
}

void direction(Document &doc, const char *k, const SESSION_TUPLE_S &t, const uint8_t *peer, const uint32_t *ifIndex,
               bool vll) {
    doc.key(k);
    doc.w().StartObject();
    const bool v4 = t.ucFamily == SESSION_AF_IPV4;
    doc.str("family", v4 ? "ipv4" : "ipv6");
    doc.address("source_ip", t.ucFamily, t.aucSrcAddr);
    doc.u("source_port", t.usSrcPort);
    doc.address("destination_ip", t.ucFamily, t.aucDstAddr);
    doc.u("destination_port", t.usDstPort);
    // A GRE tuple of the call protocol carries the GRE type and a call ID
    // where the ports are.
    doc.b("gre_call", v4 && t.ucProtocol == SESSION_GRE_PROTOCOL && t.usSrcPort == SESSION_GRE_TYPE);
    if (v4 && !all_zero(peer, 16))
        doc.address("ds_lite_peer", SESSION_AF_IPV6, peer);
    else
        doc.null("ds_lite_peer");
    if (vll && (t.ucFlags & SESSION_TUPLE_FLAG_VLAN_MASK) == 0 && (t.ucFlags & SESSION_TUPLE_FLAG_VLL) != 0) {
        doc.null("vpn_instance");
        doc.null("vlan_id");
        doc.u("vll_id", t.usVrfIndex);
    } else {
        vpn_fields(doc, t);
    }
    protocol_name(doc, "protocol", t.ucProtocol);
    doc.u("protocol_number", t.ucProtocol);
    if (ifIndex != nullptr) interface_name(doc, "inbound_interface", *ifIndex);
    doc.w().EndObject();
}

void traffic(Document &doc, const char *k, uint32_t packets, uint32_t bytes) {
    doc.key(k);
    doc.w().StartObject();
    doc.u("packets", packets);
    doc.u("bytes", bytes);
    doc.w().EndObject();
}

void relation_fields(Document &doc, const SESSION_TUPLE_S &t, const uint8_t *peer, uint32_t ttl, uint32_t appId) {
    const bool v4 = t.ucFamily == SESSION_AF_IPV4;
    doc.str("family", v4 ? "ipv4" : "ipv6");
    // A wildcard IPv4 source (address 0, port 0) shows as "-": null here.
    if (v4 && all_zero(t.aucSrcAddr, 4))
        doc.null("source_ip");
    else
        doc.address("source_ip", t.ucFamily, t.aucSrcAddr);
    if (v4 && t.usSrcPort != 0)
        doc.u("source_port", t.usSrcPort);
    else
        doc.null("source_port");
    doc.address("destination_ip", t.ucFamily, t.aucDstAddr);
    doc.u("destination_port", t.usDstPort);
    if (v4 && !all_zero(peer, 16))
        doc.address("ds_lite_peer", SESSION_AF_IPV6, peer);
    else
        doc.null("ds_lite_peer");
    vpn_fields(doc, t);
    protocol_name(doc, "protocol", t.ucProtocol);
    doc.u("protocol_number", t.ucProtocol);
    doc.u("ttl_seconds", ttl);
    application_name(doc, "application", appId);
}

}  // namespace json
