// SPDX-License-Identifier: Apache-2.0
// Call quality analysis as JSON documents: the settings the service runs,
// a remark, the call counters, the debugging switches and the SIP and
// H.323 call tables (written as the record walks hand the calls over).
#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "settings_reads.h"
#include "cli.h"
#include "dpmgmt/records.h"
#include "dpmgmt/sqa.h"
#include "json_names.h"
#include "json_out.h"
#include "sqa_args.h"

namespace {

using json::Document;

constexpr uint32_t kSelectSip = 0;
constexpr uint32_t kSelectH323 = 1;

// A host-order IPv4 address word as text.
void host_address(Document &doc, const char *k, uint32_t hostOrder) {
    const uint32_t net = htonl(hostOrder);
    doc.address(k, 2, reinterpret_cast<const uint8_t *>(&net));
}

bool write_protocol(Document &doc, uint32_t protocol, const char *k, const char *portKey) {
    cli::SqaProtocolSettings s;
    if (const uint32_t rc = cli::read_sqa_protocol(protocol, s); rc != 0) {
        cli::failed("reading the call quality analysis settings", rc);
        return false;
    }
    doc.key(k);
    doc.w().StartObject();
    doc.b("monitoring", s.sw.usValue == 1);
    doc.u(portKey, s.port.usValue);
    doc.key("address_filter");
    if (!s.filtered()) {
        doc.w().Null();
    } else {
        doc.w().StartObject();
        host_address(doc, "address1", s.filter.uiFilterIp1);
        host_address(doc, "address2", s.filter.uiFilterIp2);
        doc.u("flag", s.filter.usFilterFlag);
        doc.w().EndObject();
    }
    doc.w().EndObject();
    return true;
}

int run_settings(cli::Args &args) {
    if (!args.finish()) return cli::kRefused;
    Document doc("sqa");
    if (!write_protocol(doc, kSelectSip, "sip", "listening_port")) return cli::kServiceFailed;
    if (!write_protocol(doc, kSelectH323, "h323", "h225_port")) return cli::kServiceFailed;
    return cli::kOk;
}

int run_remark(cli::Args &args) {
    auto k1 = args.number("first remark key", 0, UINT32_MAX);
    if (!k1) return cli::kRefused;
    auto k2 = args.number("second remark key", 0, UINT32_MAX);
    if (!k2 || !args.finish()) return cli::kRefused;
    SQA_REMARK_S remark{*k1, *k2, 0, 0};
    const uint32_t rc = SQA_IPC_GetRemark(&remark);
    if (rc != 0) return cli::failed("reading the remark", rc);
    if (remark.usRemarkFlag != 1) return cli::not_found("no remark %u %u", *k1, *k2);
    Document doc("sqa remark");
    doc.u("key1", remark.uiRemarkKey1);
    doc.u("key2", remark.uiRemarkKey2);
    doc.str("dscp", SQA_CLI_DscpValue2Str(remark.usRemarkValue));
    doc.u("dscp_value", remark.usRemarkValue);
    return cli::kOk;
}

int statistics(cli::Args &args, uint32_t protocol, const char *display, const char *what) {
    if (!args.finish()) return cli::kRefused;
    SQA_CALL_STATISTICS_S s{};
    const uint32_t rc = SQA_DUMP_PullStatistics(protocol, &s);
    if (rc != 0) return cli::failed(what, rc);
    Document doc(display);
    doc.u("total_calls", s.ulTotalCalls);
    doc.u("successful_calls", s.ulSuccessCalls);
    doc.u("active_calls", s.ulActiveCalls);
    doc.u("timeout_calls", s.ulTimeoutCalls);
    doc.u("abnormal_calls", s.ulAbnormalCalls);
    return cli::kOk;
}

int run_sip_statistics(cli::Args &args) {
    return statistics(args, kSelectSip, "sqa sip statistics", "reading the SIP call statistics");
}
int run_h323_statistics(cli::Args &args) {
    return statistics(args, kSelectH323, "sqa h323 statistics", "reading the H.323 call statistics");
}

// The three switches the text display names, each on or off.
int debug_switches(cli::Args &args, uint32_t protocol, const char *display, const char *what) {
    if (!args.finish()) return cli::kRefused;
    SQA_DEBUG_SWITCH_S sw{};
    const uint32_t rc = dpmgmt_sqa_debug_switches(protocol, &sw);
    if (rc != 0) return cli::failed(what, rc);
    Document doc(display);
    doc.b("event", (sw.uiSwitchBits & SQA_DEBUG_EVENT) != 0);
    doc.b("error", (sw.uiSwitchBits & SQA_DEBUG_ERROR) != 0);
    doc.b("packet", (sw.uiSwitchBits & SQA_DEBUG_PACKET) != 0);
    return cli::kOk;
}

int run_sip_debug(cli::Args &args) {
    return debug_switches(args, kSelectSip, "sqa sip debug", "reading the SIP debugging switches");
}
int run_h323_debug(cli::Args &args) {
    return debug_switches(args, kSelectH323, "sqa h323 debug", "reading the H.323 debugging switches");
}

void mac(Document &doc, const char *k, const uint8_t (&m)[6]) {
    char text[16];
    std::snprintf(text, sizeof text, "%02x%02x-%02x%02x-%02x%02x", m[0], m[1], m[2], m[3], m[4], m[5]);
    doc.str(k, text);
}

void endpoint(Document &doc, const char *k, uint32_t netAddress, uint16_t port, const uint8_t (&m)[6],
              const char *tag) {
    doc.key(k);
    doc.w().StartObject();
    doc.address("ip", 2, reinterpret_cast<const uint8_t *>(&netAddress));
    doc.u("port", port);
    mac(doc, "mac", m);
    if (tag != nullptr) doc.str("tag", tag);
    doc.w().EndObject();
}

// The call's start time as the kernel keeps its fields (taken as UTC).
void call_time(Document &doc, const SQA_CALL_TIME_S &t) {
    struct tm tmv {};
    tmv.tm_year = static_cast<int>(t.uiYear) - 1900;
    tmv.tm_mon = static_cast<int>(t.uiMonth) - 1;
    tmv.tm_mday = static_cast<int>(t.uiDay);
    tmv.tm_hour = static_cast<int>(t.uiHour);
    tmv.tm_min = static_cast<int>(t.uiMinute);
    tmv.tm_sec = static_cast<int>(t.uiSecond);
    const time_t seconds = timegm(&tmv);
    doc.time("start_time", static_cast<uint32_t>(seconds));
}

void mos(Document &doc, const char *k, uint32_t word) {
    if (word == SQA_MOS_NONE)
        doc.null(k);
    else
        doc.d(k, static_cast<double>(word) / 100.0);
}

void vlan(Document &doc, uint16_t id) {
    if (id == 0 || id == 0xFFFF)
        doc.null("vlan_id");
    else
        doc.u("vlan_id", id);
}

void flows(Document &doc, uint64_t fo, uint64_t fp, uint64_t ro, uint64_t rp) {
    doc.u("forward_octets", fo);
    doc.u("forward_packets", fp);
    doc.u("reverse_octets", ro);
    doc.u("reverse_packets", rp);
}

void contexts(Document &doc, const uint32_t (&caller)[8], const uint32_t (&callee)[8]) {
    for (const auto *side : {&caller, &callee}) {
        doc.key(side == &caller ? "caller_driver_context" : "callee_driver_context");
        doc.w().StartArray();
        for (const uint32_t v : *side) doc.w().Uint(v);
        doc.w().EndArray();
    }
}

struct CallWalk {
    Document &doc;
    const sqa::CallArgs &args;
};

void write_sip(const SQA_SIP_CALLENTRY_VERBOSE_S *e, void *context) {
    auto &c = *static_cast<CallWalk *>(context);
    Document &doc = c.doc;
    doc.w().StartObject();
    doc.str("call_id", e->szCallId);
    endpoint(doc, "caller", e->uiCallerIp, e->usCallerPort, e->aucCallerMac, e->szCallerTag);
    endpoint(doc, "callee", e->uiCalleeIp, e->usCalleePort, e->aucCalleeMac, e->szCalleeTag);
    doc.str("type", e->ucMediaType == 1 ? "Audio" : "Video");
    vlan(doc, e->usVlanId);
    call_time(doc, e->stStartTime);
    mos(doc, "mos_forward", e->uiFwdMos);
    mos(doc, "mos_reverse", e->uiRevMos);
    flows(doc, e->ulFwdOctets, e->ulFwdPackets, e->ulRevOctets, e->ulRevPackets);
    if (c.args.context) contexts(doc, e->auiCallerDrvContext, e->auiCalleeDrvContext);
    doc.w().EndObject();
}

void write_h323(const SQA_H323_CALLENTRY_VERBOSE_S *e, void *context) {
    Document &doc = static_cast<CallWalk *>(context)->doc;
    doc.w().StartObject();
    doc.str("call_id", e->szCallId);
    doc.str("guid", e->szGuid);
    if (e->szSrcAlias[0] != '\0')
        doc.str("source_alias", e->szSrcAlias);
    else
        doc.null("source_alias");
    doc.address("h245_ip", 2, reinterpret_cast<const uint8_t *>(&e->uiH245Ip));
    doc.u("h245_port", e->usH245Port);
    endpoint(doc, "caller", e->uiCallerIp, e->usCallerPort, e->aucCallerMac, nullptr);
    endpoint(doc, "callee", e->uiCalleeIp, e->usCalleePort, e->aucCalleeMac, nullptr);
    doc.u("session_id", e->uiSessionId);
    doc.u("sampling_rate", e->uiSamplingRate);
    if (e->uiVxlanId == UINT32_MAX)
        doc.null("vxlan_id");
    else
        doc.u("vxlan_id", e->uiVxlanId);
    doc.str("type", e->usMediaType == 1 ? "Audio" : e->usMediaType == 2 ? "Video" : "-");
    if (e->ucAppProtoId != 0)
        json::protocol_name(doc, "protocol", e->ucAppProtoId);
    else
        doc.str("protocol", "-");
    doc.u("protocol_number", e->ucAppProtoId);
    vlan(doc, e->usVlanId);
    call_time(doc, e->stStartTime);
    mos(doc, "mos_forward", e->uiFwdMos);
    mos(doc, "mos_reverse", e->uiRevMos);
    flows(doc, e->ulFwdOctets, e->ulFwdPackets, e->ulRevOctets, e->ulRevPackets);
    contexts(doc, e->auiCallerDrvContext, e->auiCalleeDrvContext);
    doc.w().EndObject();
}

// The calls of a table, every field (the form words choose only the text
// layout).  A call ID that matches nothing is not found, as in the text,
// and writes no document: the kernel is asked first whether it has one.
template <typename Walk, typename Entry>
int calls(const sqa::CallArgs &c, const char *display, const char *protocol, Walk walk, void (*write)(const Entry *,
                                                                                                       void *)) {
    if (c.callId[0] != '\0' && walk([](const Entry *, void *) {}, nullptr) == 0)
        return cli::not_found("no %s call with call ID '%s'", protocol, c.callId);
    Document doc(display);
    doc.slot(c.node);
    doc.key("calls");
    doc.w().StartArray();
    CallWalk w{doc, c};
    const uint32_t n = walk(write, &w);
    doc.w().EndArray();
    doc.u("total", n);
    return cli::kOk;
}

int run_sip_calls(cli::Args &args) {
    auto c = sqa::parse_call_args(args, false);
    if (!c) return cli::kRefused;
    return calls(
        *c, "sqa sip call", "SIP",
        [&](dpmgmt_sip_call_fn fn, void *context) { return dpmgmt_walk_sip_calls(c->node, c->callId, fn, context); },
        write_sip);
}

int run_h323_calls(cli::Args &args) {
    auto c = sqa::parse_call_args(args, true);
    if (!c) return cli::kRefused;
    const char *id = c->callId[0] != '\0' ? c->callId : nullptr;
    return calls(
        *c, "sqa h323 call", "H.323",
        [&](dpmgmt_h323_call_fn fn, void *context) { return dpmgmt_walk_h323_calls(c->node, id, fn, context); },
        write_h323);
}

const bool registered = json::add({
    {"display sqa", run_settings},
    {"display sqa remark", run_remark},
    {"display sqa sip statistics", run_sip_statistics},
    {"display sqa h323 statistics", run_h323_statistics},
    {"display sqa sip debug", run_sip_debug},
    {"display sqa h323 debug", run_h323_debug},
    {"display sqa sip call", run_sip_calls},
    {"display sqa h323 call", run_h323_calls},
});

}  // namespace
