// SPDX-License-Identifier: Apache-2.0
// Hot backup of sessions between nodes: the debug switch and statistics
// reset of the session service, and the backup counters the kernel keeps
// per peer.
#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/exchange.h"
#include "channels/heap_buffer.h"
#include "channels/protocol.h"
#include "dpmgmt/session.h"
#include "platform/platform.h"

using namespace dpmgmt;

namespace {

constexpr auto kDebugSetting = layout<uint32_t>({{0, 4}});

}  // namespace

extern "C" {

DPMGMT_API uint32_t HOTBACKUP_Ipc_GetDebug(uint32_t *setting) {
    return query_record(msg::kHotBackupGetDebug, Request<4>(), setting, kDebugSetting, ShortReply::kKeepsCaller);
}

DPMGMT_API uint32_t HOTBACKUP_Ipc_SetDebug(uint32_t value32, uint16_t value16) {
    return svc_command(msg::kHotBackupSetDebug, Request<8>().put32(0, value32).put16(4, value16));
}

DPMGMT_API uint32_t HOTBACKUP_Ipc_ResetStatistics(uint16_t value16) {
    return svc_command(msg::kHotBackupResetStatistics, Request<2>().put16(0, value16));
}

DPMGMT_API uint32_t SESSION_GetHotBackRemainMsg(uint16_t node) {
    uint8_t value[4] = {};
    const SingleRecord r = dump_single(node, dump::kHotBackupRemain, nullptr, 0, value, sizeof value);
    return r.opened && r.complete ? load_be32(value) : 0;
}

DPMGMT_API uint32_t SESSION_GetHotBackStatistics(uint16_t node, uint16_t peer, SESSION_HOTBACKSTAT_S *record) {
    // This dump alone takes its key and record in host order.
    uint8_t key[2];
    std::memcpy(key, &peer, sizeof key);
    const SingleRecord r =
        dump_single(node, dump::kHotBackupPeer, key, sizeof key, record, sizeof *record);
    return r.opened && r.complete ? DPMGMT_OK : DPMGMT_ERR_FAILED;
}

DPMGMT_API void HOTBACKUP_DisplayStatistics(uint16_t node) {
    uint32_t count = 0;
    const MallocPtr<uint16_t> peers(DEV_GetAllNodes(&count));
    if (peers == nullptr || count == 0) return;

    std::printf("Remain message       : %u\r\n", SESSION_GetHotBackRemainMsg(node));
    std::puts("                       Send successfully Send failed       Receive successfully\r");
    for (uint32_t i = 0; i < count; ++i) {
        const uint16_t peer = peers.get()[i];
        // Only other nodes that are up have a backup link to this one.
        if (static_cast<uint16_t>(IF_IsNodeUp(peer)) != 1 || peer == node) continue;
        SESSION_HOTBACKSTAT_S stat;
        std::memset(&stat, 0, sizeof stat);
        if (SESSION_GetHotBackStatistics(node, peer, &stat) != DPMGMT_OK) continue;
        const unsigned chassis = LIP_GetChassID(peer);
        const unsigned slot = LIP_GetSlotID(peer);
        std::printf(" Chassis %-2u slot %-3u : %-17llx %-17llx %-17llx\r\n", chassis, slot,
                    static_cast<unsigned long long>(stat.ulSendOk), static_cast<unsigned long long>(stat.ulSendFail),
                    static_cast<unsigned long long>(stat.ulRecvOk));
    }
}

}  // extern "C"
