// Session settings that travel as records or single switches: aging,
// logging, persistent sessions, debugging, synchronisation and statistics
// switches, and the traffic log.
#include "dpmgmt/session.h"
#include "session/commands_io.h"

namespace {

using dpmgmt::layout;
using dpmgmt::layout_run;
using namespace dpmgmt::session_cmd;

// Each record shape's numeric fields, once.  Bytes not listed are sent as
// the caller gave them.
constexpr auto kOneHalf = layout<2>({{0, 2}});
constexpr auto kOneWord = layout<4>({{0, 4}});
constexpr auto kTwoWords = layout_run<8, 2>(0, 4, 4);      // aging, flow
constexpr auto kThreeWords = layout_run<12, 3>(0, 4, 4);   // persist, TCP debug words
constexpr auto kLogPolicy = layout<sizeof(SESSION_LOGPOLICY_REQ_S)>({{0, 4}, {4, 4}, {8, 4}, {12, 4}, {16, 2}});
constexpr auto kDebug = layout<sizeof(SESSION_DEBUG_S)>({{0, 4}, {4, 4}, {8, 4}, {12, 2}});
constexpr auto kTcpDebug = layout<sizeof(SESSION_TCPDEBUG_S)>({{0, 4}, {4, 4}, {8, 2}});
constexpr auto kBill = layout<sizeof(SESSION_TRAFFICLOG_BILL_S)>({{0, 2}, {4, 2}, {24, 2}});
constexpr auto kAppAgings = layout_run<SESSION_APP_COUNT * 4, SESSION_APP_COUNT>(0, 4, 4);
constexpr auto kL4Agings = layout_run<SESSION_L4_AGING_COUNT * 4, SESSION_L4_AGING_COUNT>(0, 4, 4);
constexpr auto kDebugWords = layout_run<SESSION_DEBUG_WORD_COUNT * 4, SESSION_DEBUG_WORD_COUNT>(0, 4, 4);

static_assert(sizeof(SESSION_AGING_S) == 8 && sizeof(SESSION_FLOW_S) == 8 && sizeof(SESSION_PERSIST_S) == 12);

// A switch value travels alone as a u16.
uint32_t set_switch(uint32_t type, uint16_t value) { return send_values<2>(type, {{0, 2, value}}); }

// The switch queries send nothing and read one u16 into a word of their
// own; the caller's is written only when the exchange succeeded.
uint32_t get_switch(uint32_t type, uint16_t *out) {
    if (out == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t reply[2] = {};
    const uint32_t rc = dpmgmt::svc_query(type, nullptr, 0, reply, sizeof(reply));
    if (rc != DPMGMT_OK) return rc;
    *out = dpmgmt::load_be16(reply);
    return DPMGMT_OK;
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------ aging --
DPMGMT_API uint32_t SESSION_IPC_SetAppAging(const SESSION_AGING_S *aging) {
    return send_record<8>(kSetAppAging, aging, kTwoWords);
}

DPMGMT_API uint32_t SESSION_IPC_SetL4Aging(const SESSION_AGING_S *aging) {
    return send_record<8>(kSetL4Aging, aging, kTwoWords);
}

DPMGMT_API uint32_t SESSION_IPC_GetAllAppAging(uint32_t out[SESSION_APP_COUNT]) {
    return query_record<sizeof(uint32_t) * SESSION_APP_COUNT>(kGetAllAppAging, out, kAppAgings, false);
}

DPMGMT_API uint32_t SESSION_IPC_GetAllL4Aging(uint32_t out[SESSION_L4_AGING_COUNT]) {
    return query_record<sizeof(uint32_t) * SESSION_L4_AGING_COUNT>(kGetAllL4Aging, out, kL4Agings, false);
}

// ---------------------------------------------------------------- logging --
DPMGMT_API uint32_t SESSION_IPC_SetLogPolicy(const SESSION_LOGPOLICY_REQ_S *req) {
    return send_record<sizeof(SESSION_LOGPOLICY_REQ_S)>(kSetLogPolicy, req, kLogPolicy);
}

// The service answers the interface's policy value, 0 when it has none;
// only a value is ever written into the caller's record.
DPMGMT_API uint32_t SESSION_IPC_GetLogPolicy(SESSION_LOGPOLICY_REQ_S *req) {
    if (req == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t wire[sizeof(SESSION_LOGPOLICY_REQ_S)];
    to_wire(wire, req, kLogPolicy);
    uint8_t reply[4] = {};
    const uint32_t rc = dpmgmt::svc_query(kGetLogPolicy, wire, sizeof(wire), reply, sizeof(reply));
    if (rc != DPMGMT_OK) return rc;
    const uint32_t policy = dpmgmt::load_be32(reply);
    if (policy == 0) return DPMGMT_ERR_NOT_EXIST;
    req->uiPolicy = policy;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t SESSION_IPC_SetLogFlow(const SESSION_FLOW_S *flow) {
    return send_record<8>(kSetLogFlow, flow, kTwoWords);
}

DPMGMT_API uint32_t SESSION_IPC_GetLogFlow(SESSION_FLOW_S *flow) {
    return query_record<8>(kGetLogFlow, flow, kTwoWords, true);
}

DPMGMT_API uint32_t SESSION_IPC_SetLogTime(const uint32_t *value) {
    return send_record<4>(kSetLogTime, value, kOneWord);
}

DPMGMT_API uint32_t SESSION_IPC_GetLogTime(uint32_t *value) {
    return query_record<4>(kGetLogTime, value, kOneWord, true);
}

DPMGMT_API uint32_t SESSION_IPC_SetNumLog(const uint16_t *value) {
    return send_record<2>(kSetNumLog, value, kOneHalf);
}

// ---------------------------------------------------- persistent sessions --
DPMGMT_API uint32_t SESSION_IPC_SetPersist(const SESSION_PERSIST_S *persist) {
    return send_record<12>(kSetPersist, persist, kThreeWords);
}

DPMGMT_API uint32_t SESSION_IPC_GetPersist(SESSION_PERSIST_S *persist) {
    return query_record<12>(kGetPersist, persist, kThreeWords, true);
}

// -------------------------------------------------------------- debugging --
DPMGMT_API uint32_t SESSION_IPC_SetDebug(const SESSION_DEBUG_S *debug) {
    return send_record<sizeof(SESSION_DEBUG_S)>(kSetDebug, debug, kDebug);
}

DPMGMT_API uint32_t SESSION_IPC_SetTcpDebug(const SESSION_TCPDEBUG_S *debug) {
    return send_record<sizeof(SESSION_TCPDEBUG_S)>(kSetTcpDebug, debug, kTcpDebug);
}

DPMGMT_API uint32_t SESSION_IPC_GetAllDebug(uint32_t out[SESSION_DEBUG_WORD_COUNT]) {
    return query_record<sizeof(uint32_t) * SESSION_DEBUG_WORD_COUNT>(kGetAllDebug, out, kDebugWords, false);
}

// The reply is three whole words, the third included, unlike the setting
// whose third word is a u16 and two bytes.
DPMGMT_API uint32_t SESSION_IPC_GetTcpDebug(uint32_t out[SESSION_TCP_DEBUG_WORD_COUNT]) {
    return query_record<sizeof(uint32_t) * SESSION_TCP_DEBUG_WORD_COUNT>(kGetTcpDebug, out, kThreeWords, false);
}

// --------------------------------------------------------------- switches --
DPMGMT_API uint32_t SESSION_IPC_SetSessionSyncSwitch(uint16_t value) { return set_switch(kSetSessionSyncSwitch, value); }

DPMGMT_API uint32_t SESSION_IPC_GetSessionSyncSwitch(uint16_t *out) { return get_switch(kGetSessionSyncSwitch, out); }

DPMGMT_API uint32_t SESSION_IPC_SetStatEnable(uint16_t value) { return set_switch(kSetStatEnable, value); }

DPMGMT_API uint32_t SESSION_IPC_SetSessionSyncAppSwitch(uint16_t first, uint16_t second) {
    return send_values<4>(kSetSessionSyncAppSwitch, {{0, 2, first}, {2, 2, second}});
}

DPMGMT_API uint32_t SESSION_IPC_GetSessionSyncAppSwitch(uint16_t *out) {
    return get_switch(kGetSessionSyncAppSwitch, out);
}

DPMGMT_API uint32_t SESSION_IPC_SetHisTopStatEnable(uint16_t value) { return set_switch(kSetHisTopStatEnable, value); }

DPMGMT_API uint32_t SESSION_IPC_GetHisTopStatEnable(uint16_t *out) { return get_switch(kGetHisTopStatEnable, out); }

// ------------------------------------------------------------ traffic log --
DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogTime(const uint32_t *value) {
    return send_record<4>(kSetTrafficLogTime, value, kOneWord);
}

DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogTime(uint32_t *value) {
    return query_record<4>(kGetTrafficLogTime, value, kOneWord, true);
}

DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogFlow(const SESSION_FLOW_S *flow) {
    return send_record<8>(kSetTrafficLogFlow, flow, kTwoWords);
}

DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogFlow(SESSION_FLOW_S *flow) {
    return query_record<8>(kGetTrafficLogFlow, flow, kTwoWords, true);
}

DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogBegin(uint16_t value) { return set_switch(kSetTrafficLogBegin, value); }

DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogBegin(uint16_t *out) { return get_switch(kGetTrafficLogBegin, out); }

DPMGMT_API uint32_t SESSION_IPC_TrafficLogEnableBill(const SESSION_TRAFFICLOG_BILL_S *bill) {
    return send_record<sizeof(SESSION_TRAFFICLOG_BILL_S)>(kTrafficLogEnableBill, bill, kBill);
}

}  // extern "C"
