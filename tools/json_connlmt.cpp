// SPDX-License-Identifier: Apache-2.0
// The connection-limit displays as JSON documents: the policies the
// service runs, the kernel's statistic nodes (written as the record walk
// hands them over) and the permit / deny counters.
#include <arpa/inet.h>

#include <cstring>
#include <memory>

#include "cli.h"
#include "connlmt_args.h"
#include "connlmt_store.h"
#include "dpmgmt/records.h"
#include "json_names.h"
#include "json_out.h"
#include "platform/names.h"

namespace {

using json::Document;

// One policy; false after reporting when it cannot be read.
bool write_policy(Document &doc, uint32_t family, uint16_t id, CONNLMT_POLICYINFO_S &info,
                  CONNLMT_APPLYLIST_S &applied) {
    uint32_t rc = CONNLMT_ipc_GetPolicyInfo(id, family, sizeof info, &info);
    if (rc != 0) {
        cli::failed("reading the policy", rc);
        return false;
    }
    if (info.usPolicyId == connlmt::kNoPolicy) {
        cli::not_found("no %s policy %u", connlmt::family_name(family), id);
        return false;
    }
    rc = CONNLMT_ipc_GetPolicyApplyList(id, family, &applied);
    if (rc != 0) {
        cli::failed("reading where the policy is applied", rc);
        return false;
    }
    doc.w().StartObject();
    doc.u("policy", id);
    doc.str("family", connlmt::family_name(family));
    const auto *text = reinterpret_cast<const char *>(info.aucPolicyInfo);
    doc.key("description");
    if (text[0] != 0)
        doc.w().String(text, static_cast<rapidjson::SizeType>(strnlen(text, sizeof info.aucPolicyInfo)));
    else
        doc.w().Null();
    doc.key("applied");
    doc.w().StartArray();
    const uint32_t places = applied.uiApplyNum < CONNLMT_MAX_APPLY_NUM ? applied.uiApplyNum : CONNLMT_MAX_APPLY_NUM;
    for (uint32_t i = 0; i < places; ++i) doc.w().String(cli::interface_name(applied.auiIfIndex[i]).c_str());
    doc.w().EndArray();
    doc.key("rules");
    doc.w().StartArray();
    const uint32_t rules = info.uiRuleNum < CONNLMT_MAX_RULE_NUM ? info.uiRuleNum : CONNLMT_MAX_RULE_NUM;
    for (uint32_t i = 0; i < rules; ++i) {
        const CONNLMT_RULE_S &r = info.astRule[i];
        doc.w().StartObject();
        doc.u("rule", r.usRuleId);
        doc.key("acl_name");
        if (r.uiAclMode == CONNLMT_ACL_MODE_NAME) {
            doc.w().String(r.szAclName, static_cast<rapidjson::SizeType>(strnlen(r.szAclName, CONNLMT_ACL_NAME_LEN)));
            doc.null("acl");
        } else {
            doc.w().Null();
            doc.u("acl", r.uiAclNum);
        }
        doc.u("upper_limit", r.auiLimitData[0]);
        doc.u("lower_limit", r.auiLimitData[1]);
        doc.b("per_source", (r.auiLimitData[2] & 1) != 0);
        doc.b("per_destination", (r.auiLimitData[2] & 2) != 0);
        doc.b("per_service", (r.auiLimitData[2] & 4) != 0);
        doc.w().EndObject();
    }
    doc.w().EndArray();
    doc.w().EndObject();
    return true;
}

int run_policy(cli::Args &args) {
    const uint32_t family = connlmt::parse_family(args);
    std::optional<uint32_t> only;
    if (!args.done()) {
        only = args.number("policy", 1, CONNLMT_Spec_GetMaxPolicyNum() - 1);
        if (!only) return cli::kRefused;
    }
    if (!args.finish()) return cli::kRefused;
    auto info = std::make_unique<CONNLMT_POLICYINFO_S>();
    auto applied = std::make_unique<CONNLMT_APPLYLIST_S>();
    // A single policy is read before the document opens, so that a missing
    // one writes no document.
    if (only) {
        if (const int known = connlmt::policy_known(family, static_cast<uint16_t>(*only)); known != cli::kOk)
            return known;
    }
    Document doc("connection-limit policy");
    doc.str("family", connlmt::family_name(family));
    doc.key("policies");
    doc.w().StartArray();
    int status = cli::kOk;
    if (only) {
        if (!write_policy(doc, family, static_cast<uint16_t>(*only), *info, *applied)) status = cli::kServiceFailed;
    } else {
        uint16_t id = 0;  // 0 asks for the first policy
        for (uint32_t guard = 0; guard < CONNLMT_MAX_POLICY_NUM; ++guard) {
            uint16_t next = connlmt::kNoPolicy;
            const uint32_t rc = CONNLMT_ipc_GetNextPolicyID(id, family, &next);
            if (rc != 0) {
                status = cli::failed("listing the policies", rc);
                break;
            }
            if (next == connlmt::kNoPolicy || next <= id) break;
            if (!write_policy(doc, family, next, *info, *applied)) {
                status = cli::kServiceFailed;
                break;
            }
            id = next;
        }
    }
    doc.w().EndArray();
    return status;
}

// An address slot of a statistic node: null when all zero (shown "--").
void node_address(Document &doc, const char *k, const CONNLMT_ADDR_S &a, bool ipv6) {
    if (a.auiIpv6[0] == 0 && a.auiIpv6[1] == 0 && a.auiIpv6[2] == 0 && a.auiIpv6[3] == 0) {
        doc.null(k);
        return;
    }
    doc.address(k, ipv6 ? SESSION_AF_IPV6 : SESSION_AF_IPV4, a.aucIpv6);
}

void node_vpn(Document &doc, const char *k, uint16_t vrf) {
    char name[32] = "";
    if (L3VPN_GetNameByVrfIndex(vrf, sizeof name, name) != 0) {
        doc.null(k);
        return;
    }
    name[sizeof name - 1] = '\0';
    doc.str(k, name);
}

struct NodeWalk {
    Document &doc;
    bool ipv6;
    bool write;
    uint32_t count = 0;
};

void write_node(const CONNLMT_STATNODE_S *n, void *context) {
    auto &c = *static_cast<NodeWalk *>(context);
    ++c.count;
    if (!c.write) return;
    Document &doc = c.doc;
    doc.w().StartObject();
    node_address(doc, "source_ip", n->stSrcIp, c.ipv6);
    node_vpn(doc, "source_vpn_instance", n->usSrcVrf);
    node_address(doc, "destination_ip", n->stDstIp, c.ipv6);
    node_vpn(doc, "destination_vpn_instance", n->usDstVrf);
    if (!c.ipv6) node_address(doc, "ds_lite_peer", n->stDsLitePeer, true);
    // Protocol 0 is every protocol ("All"); a port only with a known one.
    char service[APR_PROTO_NAME_SIZE] = "All";
    const bool known = n->ucProtocol != 0 && APR_GetProtoNameByID(n->ucProtocol, service) == 0;
    if (n->ucProtocol != 0 && !known) std::snprintf(service, sizeof service, "unknown(%u)", n->ucProtocol);
    service[sizeof service - 1] = '\0';
    doc.str("service", service);
    doc.u("protocol_number", n->ucProtocol);
    if (known)
        doc.u("port", n->usPort);
    else
        doc.null("port");
    doc.u("rule", n->usRuleId);
    doc.u("acl", n->uiAclNum);
    doc.u("acl_type", n->uiAclType);
    char aclName[ACL_NAME_SIZE] = "";
    if (ACL_GetNameByIndex(n->uiAclType, n->uiAclNum, aclName) == 0) {
        aclName[sizeof aclName - 1] = '\0';
        doc.str("acl_name", aclName);
    } else {
        doc.null("acl_name");
    }
    doc.u("threshold_high", n->uiThresholdHigh);
    doc.u("threshold_low", n->uiThresholdLow);
    doc.u("sessions", n->uiSessionCount);
    doc.str("new_sessions", n->usNewSessionFlag == 1 ? "Permit" : "Deny");
    doc.w().EndObject();
}

int run_statistics(cli::Args &args) {
    auto s = connlmt::parse_stat_args(args, true);
    if (!s) return cli::kRefused;
    if (const int known = connlmt::policy_known(s->family, s->policy); known != cli::kOk) return known;
    Document doc("connection-limit statistics");
    doc.slot(s->node);
    doc.str("family", connlmt::family_name(s->family));
    doc.u("policy", s->policy);
    const bool ipv6 = s->family == CONNLMT_IPV6;
    NodeWalk c{doc, ipv6, !s->count};
    if (!s->count) {
        doc.key("nodes");
        doc.w().StartArray();
    }
    const uint32_t rc = dpmgmt_walk_limit_nodes(s->node, s->policy, &s->filter, write_node, &c);
    if (!s->count) doc.w().EndArray();
    doc.u("total", c.count);
    if (rc == DPMGMT_ERR_FAILED) return cli::failed("reading the connection-limit statistic nodes", rc);
    return cli::kOk;
}

int run_counters(cli::Args &args) {
    auto s = connlmt::parse_stat_args(args, false);
    if (!s) return cli::kRefused;
    if (const int known = connlmt::policy_known(s->family, s->policy); known != cli::kOk) return known;
    CONNLMT_STATISTICS_S st{};
    const uint32_t rc = CONNLMT_Dump_GetStatistics(s->node, s->policy, &st);
    if (rc != 0) return cli::failed("reading the connection-limit counters", rc);
    Document doc("connection-limit counters");
    doc.slot(s->node);
    doc.u("policy", s->policy);
    doc.u("permitted", st.aulCounter[0]);
    doc.u("denied", st.aulCounter[1]);
    return cli::kOk;
}

int run_debug(cli::Args &args) {
    if (!args.finish()) return cli::kRefused;
    CONNLMT_DEBUG_S d{};
    const uint32_t rc = CONNLMT_ipc_GetDebug(&d);
    if (rc != 0) return cli::failed("reading the connection-limit debugging settings", rc);
    Document doc("connection-limit debug");
    doc.key("words");
    doc.w().StartArray();
    for (uint32_t i = 0; i < 4; ++i) doc.w().Uint(d.auiDebugWord[i]);
    doc.w().EndArray();
    doc.u("settings_taken", d.auiDebugWord[4]);
    return cli::kOk;
}

const bool registered = json::add({
    {"display connection-limit debug", run_debug},
    {"display connection-limit policy", run_policy},
    {"display connection-limit statistics", run_statistics},
    {"display connection-limit counters", run_counters},
});

}  // namespace
