// SPDX-License-Identifier: Apache-2.0
#include "json_names.h"

#include <cctype>
#include <cstdio>

#include "platform/iface.h"
#include "platform/names.h"

namespace json {

namespace {

template <size_t N>
void upper(char (&text)[N]) {
    text[N - 1] = '\0';
    for (char &c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

}  // namespace

void protocol_name(Document &doc, const char *k, uint32_t protocol) {
    char name[APR_PROTO_NAME_SIZE] = "-";
    if (APR_GetProtoNameByID(protocol, name) == 0) upper(name);
    doc.str(k, name);
}

void application_name(Document &doc, const char *k, uint32_t appId) {
    char name[APR_APP_NAME_SIZE] = "-";
    if (APR_GetAppNameByID(appId, name) == 0) upper(name);
    doc.str(k, name);
}

void interface_name(Document &doc, const char *k, uint32_t ifIndex) {
    char name[48] = "N/A";
    if (ifIndex != 0) IF_GetDataByIfIndex(ifIndex, IF_DATA_FULLNAME, name);
    name[sizeof name - 1] = '\0';
    doc.str(k, name);
}

void vpn_fields(Document &doc, const SESSION_TUPLE_S &tuple) {
    if ((tuple.ucFlags & SESSION_TUPLE_FLAG_VLAN_MASK) != 0) {
        doc.null("vpn_instance");
        doc.u("vlan_id", tuple.usVrfIndex);
        return;
    }
    if (tuple.usVrfIndex == 0) {
        doc.null("vpn_instance");
    } else {
        char name[32] = "";
        if (L3VPN_GetNameByVrfIndex(tuple.usVrfIndex, sizeof name, name) != 0)
            std::snprintf(name, sizeof name, "Invalid(%d)", static_cast<int>(tuple.usVrfIndex));
        name[sizeof name - 1] = '\0';
        doc.str("vpn_instance", name);
    }
    doc.null("vlan_id");
}

void ttl(Document &doc, uint32_t seconds) {
    if (seconds == SESSION_TTL_NONE)
        doc.null("ttl_seconds");
    else
        doc.u("ttl_seconds", seconds);
}

}  // namespace json
