// SPDX-License-Identifier: Apache-2.0
// The kernel's own view as JSON documents: its records of sessions and
// relations, written as the record walks hand them over, and the aging
// queues of the forwarding cores.  Kernel references are object
// identities: text ("0x..."), null for none, never followed.
#include <cinttypes>
#include <cstdio>
#include <optional>

#include "cli.h"
#include "dpmgmt/records.h"
#include "dpmgmt/session.h"
#include "json_entries.h"
#include "json_names.h"
#include "json_out.h"
#include "session_keys.h"

namespace {

using json::Document;

// A 64-bit kernel value as hexadecimal text: a 64-bit number would lose
// digits in readers that hold numbers as doubles.
void hex64(Document &doc, const char *k, uint64_t v) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%" PRIx64, v);
    doc.str(k, text);
}

void ref(Document &doc, const char *k, uint64_t v) {
    if (v == 0)
        doc.null(k);
    else
        hex64(doc, k, v);
}

void object(Document &doc, const char *k) {
    doc.key(k);
    doc.w().StartObject();
}

void kernel_direction(Document &doc, const char *k, const SESSION_KERNELINFO_S &e, int d) {
    // A layer-2 entry of this kind has no inbound interface of its own.
    const uint32_t ifIndex = (e.astTuple[d].ucFlags & 0x02u) != 0 ? 0 : e.auiIfIndex[d];
    json::direction(doc, k, e.astTuple[d], e.aucDsLitePeer[d], &ifIndex, true);
}

void base_block(Document &doc, const SESSION_KERNELINFO_S &e) {
    object(doc, "base");
    ref(doc, "session_base", e.ulSessionBase);
    ref(doc, "cache_initiator", e.ulCacheOrg);
    ref(doc, "cache_responder", e.ulCacheRpl);
    doc.u("ref_count", e.uiRefCount);
    doc.u("table_flag", e.usTableFlag);
    doc.u("update_time", e.uiUpdateTime);
    doc.u("session_type", e.ucSessionType);
    doc.u("session_l4_type", e.ucSessionL4Type);
    doc.u("l3_checksum_diff", e.usBaseL3CheckSumDiff);
    doc.u("l4_checksum_diff", e.usBaseL4CheckSumDiff);
    doc.w().EndObject();
}

void session_block(Document &doc, const SESSION_KERNELINFO_S &e) {
    object(doc, "session");
    ref(doc, "session_normal", e.ulSessionNormal);
    hex64(doc, "service_position", e.ulServicePos);
    ref(doc, "service_cb", e.ulServiceCb);
    ref(doc, "log_cb", e.ulLogCb);
    doc.u("module_flag", e.usModuleFlag);
    doc.u("app_id", e.uiSessionAppId);
    doc.u("attach_flag", e.usAttachFlag);
    doc.u("cfg_seq", e.usCfgSeq);
    doc.u("vrex_act_inbound", e.ucVrexActInbound);
    doc.u("vrex_act_outbound", e.ucVrexActOutbound);
    doc.u("vrex_act_zone_pair", e.ucVrexActZonePair);
    doc.u("app_static_original_in", e.ucAppStaticOrignalIn);
    doc.u("app_static_original_out", e.ucAppStaticOrignalOut);
    doc.u("app_static_reply_in", e.ucAppStaticReplyIn);
    doc.u("app_static_reply_out", e.ucAppStaticReplyOut);
    doc.u("arp_pnp_flag", e.ucArpPnpFlag);
    doc.u("state", e.ucSessionState);
    doc.u("log_cfg", e.ucLogCfg);
    doc.u("backup_flag", e.ucBackupFlag);
    doc.u("use_service_num", e.ucUseServiceNum);
    doc.u("alloc_service_num", e.ucAllocServiceNum);
    doc.u("alg_flag", e.usAlgFlag);
    doc.u("peer_lip", e.usPeerLip);
    doc.u("fdb_flag", e.usFDBFlag);
    // As the kernel delivered them, in its own byte order.
    doc.key("driver_contexts");
    doc.w().StartArray();
    for (const uint32_t c : e.auiDriverContext) doc.w().Uint(c);
    doc.w().EndArray();
    doc.w().EndObject();
}

// Present only when the kernel has an extension object for the session.
void extension_block(Document &doc, const SESSION_KERNELINFO_S &e) {
    if (e.ulExtSession == 0) {
        doc.null("extension");
        return;
    }
    object(doc, "extension");
    ref(doc, "ext_session", e.ulExtSession);
    ref(doc, "parent", e.ulParent);
    ref(doc, "alg_cb", e.ulAlgCb);
    doc.u("dir_associate_parent", e.ucDirAssociateParent);
    doc.u("vrex_cfg_seq", e.ucVrexCfgSeq);
    doc.u("sctp_initiator", e.uiSctpOrg);
    doc.u("sctp_responder", e.uiSctpRpl);
    doc.u("sess_alg_type", e.usSessAlgType);
    doc.u("dccp_initiator", e.ucDccpOrg);
    doc.u("dccp_responder", e.ucDccpRpl);
    doc.w().EndObject();
}

void log_block(Document &doc, const SESSION_KERNELINFO_S &e) {
    object(doc, "log");
    json::traffic(doc, "initiator_to_responder", e.uiOrgPackets, e.uiOrgBytes);
    json::traffic(doc, "responder_to_initiator", e.uiRelyPackets, e.uiRelyBytes);
    doc.w().EndObject();
}

// Present only when the module flag says the session has NAT state.
void nat_block(Document &doc, const SESSION_KERNELINFO_S &e) {
    if ((e.usModuleFlag & 0x01u) == 0) {
        doc.null("nat");
        return;
    }
    object(doc, "nat");
    ref(doc, "dns_seq", e.ulDnsSeq);
    ref(doc, "src_nopat_info", e.ulSrcNopatInfo);
    ref(doc, "dst_nopat_info", e.ulDstNopatInfo);
    ref(doc, "log_cb", e.ulNatLogCb);
    ref(doc, "pat_entry", e.ulPatEntry);
    doc.u("cfg_seq_initiator", e.usCfgOrgSeq);
    doc.u("cfg_seq_responder", e.usCfgRplySeq);
    doc.u("flag_initiator", e.ucOrgFlag);
    doc.u("flag_responder", e.ucRplyFlag);
    doc.u("flag", e.usNatFlag);
    doc.u("l3_checksum_diff", e.usNatL3CheckSumDiff);
    doc.u("l4_checksum_diff", e.usNatL4CheckSumDiff);
    doc.u("if_index_nat_cfg", e.uiIfIndexNatCfg);
    doc.u("if_index_dns", e.uiIfIndexDns);
    doc.u("channel", e.ucChannel);
    doc.u("portblock_res_flag", e.usPortblockResFlag);
    doc.u("backup_mode", e.ucBackupMode);
    doc.u("portblock_dir", e.ucPortblockDir);
    doc.u("port_res_dir", e.ucPortResDir);
    doc.u("load_share_id", e.ucLoadShareId);
    doc.w().EndObject();
}

void write_kernel_session(const SESSION_KERNELINFO_S *e, void *context) {
    Document &doc = *static_cast<Document *>(context);
    doc.w().StartObject();
    kernel_direction(doc, "initiator", *e, 0);
    kernel_direction(doc, "responder", *e, 1);
    doc.str("state", SESSION_GetStatusName(e->ucProtocolIndex, e->ucState));
    json::application_name(doc, "application", e->uiAppId);
    doc.time("start_time", e->uiStartTime);
    json::ttl(doc, e->uiTTL);
    json::traffic(doc, "initiator_to_responder", e->uiPacketsOrg, e->uiBytesOrg);
    json::traffic(doc, "responder_to_initiator", e->uiPacketsRpl, e->uiBytesRpl);
    base_block(doc, *e);
    session_block(doc, *e);
    extension_block(doc, *e);
    log_block(doc, *e);
    nat_block(doc, *e);
    doc.w().EndObject();
}

// The attach data's VPN: the identifier is the attach data's, its kind the
// tuple's flags.
void ext_vpn(Document &doc, const SESSION_RELATIONINFOALL_S &e) {
    SESSION_TUPLE_S t = e.stTuple;
    t.usVrfIndex = e.stAttach.usExtVrfIndex;
    if ((t.ucFlags & SESSION_TUPLE_FLAG_VLAN_MASK) == 0 && (t.ucFlags & SESSION_TUPLE_FLAG_VLL) != 0) {
        doc.null("vpn_instance");
        doc.null("vlan_id");
        doc.u("vll_id", t.usVrfIndex);
        return;
    }
    json::vpn_fields(doc, t);
    doc.null("vll_id");
}

void attach_data(Document &doc, const SESSION_RELATIONINFOALL_S &e) {
    const SESSION_ATTACHINFO_S &a = e.stAttach;
    object(doc, "attach");
    json::interface_name(doc, "alg_load_interface", a.uiAlgLoadIfIndex);
    doc.address("destination_ip", SESSION_AF_IPV4, a.aucExtDstAddr);
    doc.u("destination_port", a.usExtDstPort);
    doc.u("ds_lite_peer", a.uiExtDsLitePeer);
    ext_vpn(doc, e);
    json::protocol_name(doc, "protocol", a.ucExtProtocol);
    doc.u("protocol_number", a.ucExtProtocol);
    doc.u("arp_pnp_flag", a.ucExtArpPnpFlag);
    doc.u("qrm_id", a.usExtQrmId);
    doc.w().EndObject();
}

// Only IPv4 relations carry NAT state.
void relation_nat(Document &doc, const SESSION_RELATIONINFOALL_S &e) {
    if (e.stTuple.ucFamily != SESSION_AF_IPV4) {
        doc.null("nat");
        return;
    }
    object(doc, "nat");
    ref(doc, "portblock", e.ulNatPortBlock);
    ref(doc, "pat_entry", e.ulNatPatEntry);
    doc.u("flag", e.usNatFlag);
    doc.u("pb_res_flag", e.usNatPBResFlag);
    doc.u("ref_count", e.uiRefCount);
    doc.u("portblock_port", e.usPortBlockPort);
    doc.u("fail_group_id", e.uiFailGroupId);
    doc.u("load_share_id", e.ucLoadShareId);
    doc.w().EndObject();
}

void write_relation_detail(const SESSION_RELATIONINFOALL_S *e, void *context) {
    Document &doc = *static_cast<Document *>(context);
    doc.w().StartObject();
    json::relation_fields(doc, e->stTuple, e->aucDsLitePeer, e->uiTTL, e->uiAppId);
    json::interface_name(doc, "receive_interface", e->uiRecvIfIndex);
    doc.u("tuple_mask", e->uiTupleMask);
    doc.u("tuple_lock_index", e->usTupleLockIndex);
    doc.u("local_lock_index", e->usLocalLockIndex);
    doc.u("relation_flag", e->uiRelationFlag);
    doc.u("expect_child_dir", e->uiExpectChildDir);
    doc.u("class", e->uiClass);
    doc.u("backup_flag", e->usBakupFlag);
    doc.u("aging_type", e->uiAgingType);
    doc.u("care_parent_flag", e->usCareParentFlag);
    doc.u("update_time", e->uiUpdateTime);
    ref(doc, "parent", e->ulParent);
    ref(doc, "self_relation", e->ulSelfRelation);
    attach_data(doc, *e);
    relation_nat(doc, *e);
    doc.w().EndObject();
}

// "slot", the entries under `list` as the walk hands them over, "total".
template <typename Walk>
int kernel_document(const char *display, uint16_t node, const char *list, Walk walk) {
    Document doc(display);
    doc.slot(node);
    doc.key(list);
    doc.w().StartArray();
    const uint32_t n = walk(doc);
    doc.w().EndArray();
    doc.u("total", n);
    return cli::kOk;
}

int run_kernel(cli::Args &args) {
    auto f = cli::parse_session_filter(args, cli::kTableFilters & ~cli::kFilterVerbose);
    if (!f) return cli::kRefused;
    const SESSION_DUMPKEY_S key = cli::dump_key(*f);
    const uint16_t node = cli::node_of(*f);
    return kernel_document("session kernel", node, "sessions", [&](Document &doc) {
        return dpmgmt_walk_session_kernel(node, &key, write_kernel_session, &doc);
    });
}

int run_relation_kernel(cli::Args &args) {
    auto f = cli::parse_session_filter(args, cli::kFilterFamily | cli::kFilterAddresses | cli::kFilterSlot);
    if (!f) return cli::kRefused;
    SESSION_RELATION_KEY_S key{};
    key.ucFamily = cli::family_byte(f->family);
    cli::put_address(key.aucAddr1, f->source);
    cli::put_address(key.aucAddr2, f->destination);
    const uint16_t node = cli::node_of(*f);
    return kernel_document("session relation-kernel", node, "relations", [&](Document &doc) {
        return dpmgmt_walk_relation_details(node, &key, write_relation_detail, &doc);
    });
}

struct AgingWalk {
    uint16_t node;
    std::optional<Document> doc;  // opened with the first core
    uint64_t unstable = 0;
    uint64_t resetMessages = 0;

    Document &open() {
        if (!doc) {
            doc.emplace("session aging-queue");
            doc->slot(node);
            doc->key("cores");
            doc->w().StartArray();
        }
        return *doc;
    }
};

void write_core(const dpmgmt_aging_core *c, void *context) {
    auto &walk = *static_cast<AgingWalk *>(context);
    Document &doc = walk.open();
    doc.w().StartObject();
    doc.u("core", c->core);
    doc.b("timer_active", c->timer_active != 0);
    doc.u("status", c->status);
    doc.u("unstable", c->unstable);
    doc.u("reset_messages", c->reset_messages);
    doc.u("stop_qrm_local_index", c->stop_qrm_local_index);
    doc.w().EndObject();
    walk.unstable += c->unstable;
    walk.resetMessages += c->reset_messages;
}

int run_aging_queue(cli::Args &args) {
    auto node = cli::parse_slot_only(args);
    if (!node) return cli::kRefused;
    AgingWalk walk{*node, std::nullopt};
    const uint32_t rc = dpmgmt_walk_aging_queues(*node, write_core, &walk);
    // No document when the walk could not start; a dump that cannot be
    // opened is an empty one, as the text shows nothing.
    if (rc != DPMGMT_OK && rc != DPMGMT_ERR_NOT_EXIST) return cli::failed("reading the aging queues", rc);
    Document &doc = walk.open();
    doc.w().EndArray();
    doc.key("total");
    doc.w().StartObject();
    doc.u("unstable", walk.unstable);
    doc.u("reset_messages", walk.resetMessages);
    doc.w().EndObject();
    return cli::kOk;
}

const bool registered = json::add({
    {"display session kernel", run_kernel},
    {"display session relation-kernel", run_relation_kernel},
    {"display session aging-queue", run_aging_queue},
});

}  // namespace
