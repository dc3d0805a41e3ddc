// SPDX-License-Identifier: Apache-2.0
// SQA settings and queries through the session service (message types
// 71-74 and 77-86).
//
// Set commands answer with a u32 result code.  Get commands send the
// caller's record as the query and replace it with the reply only when the
// exchange succeeded; bytes a short reply does not carry come back as 0.
#include "channels/exchange.h"
#include "channels/protocol.h"
#include "sqa/layouts.h"

using namespace dpmgmt;
using namespace dpmgmt::msg;

namespace {

uint32_t send_u16(uint32_t type, uint16_t value) { return svc_command(type, Request<2>().put16(0, value)); }

uint32_t send_debug(uint32_t type, uint32_t first, uint16_t second) {
    return svc_command(type, Request<8>().put32(0, first).put16(4, second));
}

// The address words go out as the caller holds them: already network order.
uint32_t send_filter(uint32_t type, uint32_t ip1, uint32_t ip2, uint16_t flag) {
    Request<sizeof(SQA_FILTER_S)> p;
    p.copy(offsetof(SQA_FILTER_S, uiFilterIp1), &ip1, sizeof ip1)
        .copy(offsetof(SQA_FILTER_S, uiFilterIp2), &ip2, sizeof ip2)
        .put16(offsetof(SQA_FILTER_S, usFilterFlag), flag);
    return svc_command(type, p);
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SQA_IPC_SetSipEnable(uint16_t enable) { return send_u16(kSqaSetSipEnable, enable); }
DPMGMT_API uint32_t SQA_IPC_SetSipPort(uint16_t port) { return send_u16(kSqaSetSipPort, port); }
DPMGMT_API uint32_t SQA_IPC_SetSipDbg(uint32_t first, uint16_t second) { return send_debug(kSqaSetSipDbg, first, second); }

DPMGMT_API uint32_t SQA_IPC_SetSipFilterIp(uint32_t uiFilterIp1, uint32_t uiFilterIp2, uint16_t usFilterFlag) {
    return send_filter(kSqaSetSipFilterIp, uiFilterIp1, uiFilterIp2, usFilterFlag);
}

DPMGMT_API uint32_t SQA_IPC_SetH323Enable(uint16_t enable) { return send_u16(kSqaSetH323Enable, enable); }
DPMGMT_API uint32_t SQA_IPC_SetH225Port(uint16_t port) { return send_u16(kSqaSetH225Port, port); }

DPMGMT_API uint32_t SQA_IPC_SetH323FilterIp(uint32_t uiFilterIp1, uint32_t uiFilterIp2, uint16_t usFilterFlag) {
    return send_filter(kSqaSetH323FilterIp, uiFilterIp1, uiFilterIp2, usFilterFlag);
}

DPMGMT_API uint32_t SQA_IPC_SetSqaView(uint16_t value) { return send_u16(kSqaSetSqaView, value); }
DPMGMT_API uint32_t SQA_IPC_SetH323Dbg(uint32_t first, uint16_t second) {
    return send_debug(kSqaSetH323Dbg, first, second);
}

DPMGMT_API uint32_t SQA_IPC_SetRemark(const SQA_REMARK_S *remark) {
    return send_record(kSqaSetRemark, remark, sqa::kRemarkLayout);
}

DPMGMT_API uint32_t SQA_IPC_GetRemark(SQA_REMARK_S *remark) {
    return query_current(kSqaGetRemark, remark, sqa::kRemarkLayout, ShortReply::kZeroFills);
}

DPMGMT_API uint32_t SQA_IPC_GetSqaEnable(SQA_SWITCH_QUERY_S *query_) {
    return query_current(kSqaGetSqaEnable, query_, sqa::kSwitchQueryLayout, ShortReply::kZeroFills);
}

DPMGMT_API uint32_t SQA_IPC_GetListeningPort(SQA_SWITCH_QUERY_S *query_) {
    return query_current(kSqaGetListeningPort, query_, sqa::kSwitchQueryLayout, ShortReply::kZeroFills);
}

DPMGMT_API uint32_t SQA_IPC_GetFilterAddress(SQA_FILTER_QUERY_S *query_) {
    return query_current(kSqaGetFilterAddress, query_, sqa::kFilterQueryLayout, ShortReply::kZeroFills);
}

}  // extern "C"

