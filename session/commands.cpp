// SPDX-License-Identifier: Apache-2.0
// Session settings that travel as records or single switches: aging,
// logging, persistent sessions, debugging, synchronisation and statistics
// switches, and the traffic log.
#include "channels/exchange.h"
#include "channels/protocol.h"
#include "dpmgmt/session.h"

using namespace dpmgmt;
using namespace dpmgmt::msg;

namespace {

// Each record shape's numeric fields, once.  Bytes not listed are sent as
// the caller gave them.
using AppAgings = uint32_t[SESSION_APP_COUNT];
using L4Agings = uint32_t[SESSION_L4_AGING_COUNT];
using DebugWords = uint32_t[SESSION_DEBUG_WORD_COUNT];
using TcpDebugWords = uint32_t[SESSION_TCP_DEBUG_WORD_COUNT];

constexpr auto kHalf = layout<uint16_t>({{0, 2}});
constexpr auto kWord = layout<uint32_t>({{0, 4}});
constexpr auto kAging = layout<SESSION_AGING_S>({
    DPMGMT_FIELD(SESSION_AGING_S, uiIndex), DPMGMT_FIELD(SESSION_AGING_S, uiSeconds),
});
constexpr auto kFlow = layout<SESSION_FLOW_S>({
    DPMGMT_FIELD(SESSION_FLOW_S, uiUnit), DPMGMT_FIELD(SESSION_FLOW_S, uiThreshold),
});
constexpr auto kPersist = DPMGMT_ARRAY_FIELDS(SESSION_PERSIST_S, auiWord);
constexpr auto kLogPolicy = layout<SESSION_LOGPOLICY_REQ_S>({
    DPMGMT_FIELD(SESSION_LOGPOLICY_REQ_S, uiIfIndex), DPMGMT_FIELD(SESSION_LOGPOLICY_REQ_S, uiPolicy),
    DPMGMT_FIELD(SESSION_LOGPOLICY_REQ_S, auiWord[0]), DPMGMT_FIELD(SESSION_LOGPOLICY_REQ_S, auiWord[1]),
    DPMGMT_FIELD(SESSION_LOGPOLICY_REQ_S, usOption),
});
constexpr auto kDebug = layout<SESSION_DEBUG_S>({
    DPMGMT_FIELD(SESSION_DEBUG_S, uiIndex), DPMGMT_FIELD(SESSION_DEBUG_S, uiBits),
    DPMGMT_FIELD(SESSION_DEBUG_S, uiEnable), DPMGMT_FIELD(SESSION_DEBUG_S, usValue),
});
constexpr auto kTcpDebug = layout<SESSION_TCPDEBUG_S>({
    DPMGMT_FIELD(SESSION_TCPDEBUG_S, uiIndex), DPMGMT_FIELD(SESSION_TCPDEBUG_S, uiBits),
    DPMGMT_FIELD(SESSION_TCPDEBUG_S, usEnable),
});
constexpr auto kBill = layout<SESSION_TRAFFICLOG_BILL_S>({
    DPMGMT_FIELD(SESSION_TRAFFICLOG_BILL_S, usEnable), DPMGMT_FIELD(SESSION_TRAFFICLOG_BILL_S, usFormat),
    DPMGMT_FIELD(SESSION_TRAFFICLOG_BILL_S, usPort),
});
constexpr auto kAppAgings = layout_run<AppAgings, SESSION_APP_COUNT>(0, 4);
constexpr auto kL4Agings = layout_run<L4Agings, SESSION_L4_AGING_COUNT>(0, 4);
constexpr auto kDebugWords = layout_run<DebugWords, SESSION_DEBUG_WORD_COUNT>(0, 4);
constexpr auto kTcpDebugWords = layout_run<TcpDebugWords, SESSION_TCP_DEBUG_WORD_COUNT>(0, 4);

// A switch value travels alone as a u16.
uint32_t set_switch(uint32_t type, uint16_t value) { return svc_command(type, Request<2>().put16(0, value)); }

// The switch queries send nothing and read one u16.
uint32_t get_switch(uint32_t type, uint16_t *out) { return query_value<2>(type, NoRequest(), 0, out); }

// The whole-table queries send nothing; the reply lands in the caller's
// array (its short-reply rule).
template <class Words, std::size_t N>
uint32_t get_words(uint32_t type, uint32_t *out, const Layout<Words, N> &layout) {
    return query_record(type, NoRequest(), reinterpret_cast<Words *>(out), layout, ShortReply::kKeepsCaller);
}

// The current-value queries send the caller's value and replace it with the
// reply, received into the caller's storage.
template <class Record, std::size_t N>
uint32_t get_current(uint32_t type, Record *inout, const Layout<Record, N> &layout) {
    return query_current(type, inout, layout, ShortReply::kKeepsCaller);
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------ aging --
DPMGMT_API uint32_t SESSION_IPC_SetAppAging(const SESSION_AGING_S *aging) {
    return send_record(kSetAppAging, aging, kAging);
}

DPMGMT_API uint32_t SESSION_IPC_SetL4Aging(const SESSION_AGING_S *aging) {
    return send_record(kSetL4Aging, aging, kAging);
}

DPMGMT_API uint32_t SESSION_IPC_GetAllAppAging(uint32_t out[SESSION_APP_COUNT]) {
    return get_words(kGetAllAppAging, out, kAppAgings);
}

DPMGMT_API uint32_t SESSION_IPC_GetAllL4Aging(uint32_t out[SESSION_L4_AGING_COUNT]) {
    return get_words(kGetAllL4Aging, out, kL4Agings);
}

// ---------------------------------------------------------------- logging --
DPMGMT_API uint32_t SESSION_IPC_SetLogPolicy(const SESSION_LOGPOLICY_REQ_S *req) {
    return send_record(kSetLogPolicy, req, kLogPolicy);
}

// The service answers the interface's policy value, 0 when it has none;
// only a value is ever written into the caller's record.
DPMGMT_API uint32_t SESSION_IPC_GetLogPolicy(SESSION_LOGPOLICY_REQ_S *req) {
    if (req == nullptr) return DPMGMT_ERR_FAILED;
    uint32_t policy = 0;
    const uint32_t rc = query_value<4>(kGetLogPolicy, record_request(*req, kLogPolicy), 0, &policy);
    if (rc != DPMGMT_OK) return rc;
    if (policy == 0) return DPMGMT_ERR_NOT_EXIST;
    req->uiPolicy = policy;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t SESSION_IPC_SetLogFlow(const SESSION_FLOW_S *flow) {
    return send_record(kSetLogFlow, flow, kFlow);
}

DPMGMT_API uint32_t SESSION_IPC_GetLogFlow(SESSION_FLOW_S *flow) {
    return get_current(kGetLogFlow, flow, kFlow);
}

DPMGMT_API uint32_t SESSION_IPC_SetLogTime(const uint32_t *value) {
    return send_record(kSetLogTime, value, kWord);
}

DPMGMT_API uint32_t SESSION_IPC_GetLogTime(uint32_t *value) {
    return get_current(kGetLogTime, value, kWord);
}

DPMGMT_API uint32_t SESSION_IPC_SetNumLog(const uint16_t *value) {
    return send_record(kSetNumLog, value, kHalf);
}

// ---------------------------------------------------- persistent sessions --
DPMGMT_API uint32_t SESSION_IPC_SetPersist(const SESSION_PERSIST_S *persist) {
    return send_record(kSetPersist, persist, kPersist);
}

DPMGMT_API uint32_t SESSION_IPC_GetPersist(SESSION_PERSIST_S *persist) {
    return get_current(kGetPersist, persist, kPersist);
}

// -------------------------------------------------------------- debugging --
DPMGMT_API uint32_t SESSION_IPC_SetDebug(const SESSION_DEBUG_S *debug) {
    return send_record(kSetDebug, debug, kDebug);
}

DPMGMT_API uint32_t SESSION_IPC_SetTcpDebug(const SESSION_TCPDEBUG_S *debug) {
    return send_record(kSetTcpDebug, debug, kTcpDebug);
}

DPMGMT_API uint32_t SESSION_IPC_GetAllDebug(uint32_t out[SESSION_DEBUG_WORD_COUNT]) {
    return get_words(kGetAllDebug, out, kDebugWords);
}

// The reply is three whole words, the third included, unlike the setting
// whose third word is a u16 and two bytes.
DPMGMT_API uint32_t SESSION_IPC_GetTcpDebug(uint32_t out[SESSION_TCP_DEBUG_WORD_COUNT]) {
    return get_words(kGetTcpDebug, out, kTcpDebugWords);
}

// --------------------------------------------------------------- switches --
DPMGMT_API uint32_t SESSION_IPC_SetSessionSyncSwitch(uint16_t value) { return set_switch(kSetSessionSyncSwitch, value); }

DPMGMT_API uint32_t SESSION_IPC_GetSessionSyncSwitch(uint16_t *out) { return get_switch(kGetSessionSyncSwitch, out); }

DPMGMT_API uint32_t SESSION_IPC_SetStatEnable(uint16_t value) { return set_switch(kSetStatEnable, value); }

DPMGMT_API uint32_t SESSION_IPC_SetSessionSyncAppSwitch(uint16_t first, uint16_t second) {
    return svc_command(kSetSessionSyncAppSwitch, Request<4>().put16(0, first).put16(2, second));
}

DPMGMT_API uint32_t SESSION_IPC_GetSessionSyncAppSwitch(uint16_t *out) {
    return get_switch(kGetSessionSyncAppSwitch, out);
}

DPMGMT_API uint32_t SESSION_IPC_SetHisTopStatEnable(uint16_t value) { return set_switch(kSetHisTopStatEnable, value); }

DPMGMT_API uint32_t SESSION_IPC_GetHisTopStatEnable(uint16_t *out) { return get_switch(kGetHisTopStatEnable, out); }

// ------------------------------------------------------------ traffic log --
DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogTime(const uint32_t *value) {
    return send_record(kSetTrafficLogTime, value, kWord);
}

DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogTime(uint32_t *value) {
    return get_current(kGetTrafficLogTime, value, kWord);
}

DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogFlow(const SESSION_FLOW_S *flow) {
    return send_record(kSetTrafficLogFlow, flow, kFlow);
}

DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogFlow(SESSION_FLOW_S *flow) {
    return get_current(kGetTrafficLogFlow, flow, kFlow);
}

DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogBegin(uint16_t value) { return set_switch(kSetTrafficLogBegin, value); }

DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogBegin(uint16_t *out) { return get_switch(kGetTrafficLogBegin, out); }

DPMGMT_API uint32_t SESSION_IPC_TrafficLogEnableBill(const SESSION_TRAFFICLOG_BILL_S *bill) {
    return send_record(kTrafficLogEnableBill, bill, kBill);
}

}  // extern "C"
