// SQA settings and queries through the session service (message types
// 71-74 and 77-86).
//
// Set commands answer with a u32 result code.  Get commands send the
// caller's record as the query and replace it with the reply only when the
// exchange succeeded.
#include <cstring>
#include <span>

#include "channels/exchange.h"
#include "sqa/layouts.h"

using dpmgmt::Field;
using dpmgmt::Payload;

namespace {

enum : uint32_t {
    kSetSipEnable = 71,
    kSetSipPort = 72,
    kSetSipDbg = 73,
    kSetSipFilterIp = 74,
    kSetH323Enable = 77,
    kSetH225Port = 78,
    kSetH323FilterIp = 79,
    kSetSqaView = 80,
    kSetH323Dbg = 81,
    kSetRemark = 82,
    kGetRemark = 83,
    kGetSqaEnable = 84,
    kGetListeningPort = 85,
    kGetFilterAddress = 86,
};

uint32_t send_u16(uint32_t type, uint16_t value) {
    Payload<2> p;
    p.put16(0, value);
    return dpmgmt::svc_command(type, p);
}

uint32_t send_debug(uint32_t type, uint32_t first, uint16_t second) {
    Payload<8> p;
    p.put32(0, first);
    p.put16(4, second);
    return dpmgmt::svc_command(type, p);
}

// The address words go out as the caller holds them: already network order.
uint32_t send_filter(uint32_t type, uint32_t ip1, uint32_t ip2, uint16_t flag) {
    Payload<sizeof(SQA_FILTER_S)> p;
    p.copy(offsetof(SQA_FILTER_S, uiFilterIp1), &ip1, sizeof ip1);
    p.copy(offsetof(SQA_FILTER_S, uiFilterIp2), &ip2, sizeof ip2);
    p.put16(offsetof(SQA_FILTER_S, usFilterFlag), flag);
    return dpmgmt::svc_command(type, p);
}

// A record laid out as its own request: its numbers converted, every other
// byte as it stands.
template <size_t N>
Payload<N> request_of(const void *record, std::span<const Field> numbers) {
    Payload<N> p;
    p.copy(0, record, N);
    dpmgmt::swap_fields(p.data(), numbers);
    return p;
}

// Sends the record as the query and, on success only, converts the reply
// and copies it over the record.  Bytes a short reply does not carry come
// back as 0.
template <size_t N>
uint32_t query(uint32_t type, void *record, std::span<const Field> numbers) {
    if (record == nullptr) return DPMGMT_ERR_FAILED;
    const Payload<N> req = request_of<N>(record, numbers);
    uint8_t reply[N] = {};
    const uint32_t rc = dpmgmt::svc_query(type, req.data(), req.size(), reply, N);
    if (rc != DPMGMT_OK) return rc;
    dpmgmt::swap_fields(reply, numbers);
    std::memcpy(record, reply, N);
    return DPMGMT_OK;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SQA_IPC_SetSipEnable(uint16_t enable) { return send_u16(kSetSipEnable, enable); }
DPMGMT_API uint32_t SQA_IPC_SetSipPort(uint16_t port) { return send_u16(kSetSipPort, port); }
DPMGMT_API uint32_t SQA_IPC_SetSipDbg(uint32_t first, uint16_t second) { return send_debug(kSetSipDbg, first, second); }

DPMGMT_API uint32_t SQA_IPC_SetSipFilterIp(uint32_t uiFilterIp1, uint32_t uiFilterIp2, uint16_t usFilterFlag) {
    return send_filter(kSetSipFilterIp, uiFilterIp1, uiFilterIp2, usFilterFlag);
}

DPMGMT_API uint32_t SQA_IPC_SetH323Enable(uint16_t enable) { return send_u16(kSetH323Enable, enable); }
DPMGMT_API uint32_t SQA_IPC_SetH225Port(uint16_t port) { return send_u16(kSetH225Port, port); }

DPMGMT_API uint32_t SQA_IPC_SetH323FilterIp(uint32_t uiFilterIp1, uint32_t uiFilterIp2, uint16_t usFilterFlag) {
    return send_filter(kSetH323FilterIp, uiFilterIp1, uiFilterIp2, usFilterFlag);
}

DPMGMT_API uint32_t SQA_IPC_SetSqaView(uint16_t value) { return send_u16(kSetSqaView, value); }
DPMGMT_API uint32_t SQA_IPC_SetH323Dbg(uint32_t first, uint16_t second) {
    return send_debug(kSetH323Dbg, first, second);
}

DPMGMT_API uint32_t SQA_IPC_SetRemark(const SQA_REMARK_S *remark) {
    if (remark == nullptr) return DPMGMT_ERR_FAILED;
    return dpmgmt::svc_command(kSetRemark, request_of<sizeof(SQA_REMARK_S)>(remark, dpmgmt::sqa::kRemarkLayout));
}

DPMGMT_API uint32_t SQA_IPC_GetRemark(SQA_REMARK_S *remark) {
    return query<sizeof(SQA_REMARK_S)>(kGetRemark, remark, dpmgmt::sqa::kRemarkLayout);
}

DPMGMT_API uint32_t SQA_IPC_GetSqaEnable(SQA_SWITCH_QUERY_S *query_) {
    return query<sizeof(SQA_SWITCH_QUERY_S)>(kGetSqaEnable, query_, dpmgmt::sqa::kSwitchQueryLayout);
}

DPMGMT_API uint32_t SQA_IPC_GetListeningPort(SQA_SWITCH_QUERY_S *query_) {
    return query<sizeof(SQA_SWITCH_QUERY_S)>(kGetListeningPort, query_, dpmgmt::sqa::kSwitchQueryLayout);
}

DPMGMT_API uint32_t SQA_IPC_GetFilterAddress(SQA_FILTER_QUERY_S *query_) {
    return query<sizeof(SQA_FILTER_QUERY_S)>(kGetFilterAddress, query_, dpmgmt::sqa::kFilterQueryLayout);
}

}  // extern "C"

