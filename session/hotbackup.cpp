// Hot backup of sessions between nodes: the debug switch and statistics
// reset of the session service, and the backup counters the kernel keeps
// per peer.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "channels/dump_walk.h"
#include "channels/exchange.h"
#include "channels/wire.h"
#include "dpmgmt/session.h"
#include "platform/platform.h"

namespace {

constexpr uint32_t kMsgGetDebug = 44;
constexpr uint32_t kMsgSetDebug = 45;
constexpr uint32_t kMsgResetStatistics = 46;

constexpr uint32_t kDumpPeerStatistics = 0x140009;
constexpr uint32_t kDumpRemainMsg = 0x140019;

struct FreeDeleter {
    void operator()(uint16_t *p) const { std::free(p); }
};

}  // namespace

extern "C" {

DPMGMT_API uint32_t HOTBACKUP_Ipc_GetDebug(uint32_t *setting) {
    dpmgmt::Payload<4> req;
    const uint32_t rc = dpmgmt::svc_query(kMsgGetDebug, req.data(), req.size(), setting, sizeof *setting);
    if (rc == DPMGMT_OK) *setting = dpmgmt::bswap(*setting);
    return rc;
}

DPMGMT_API uint32_t HOTBACKUP_Ipc_SetDebug(uint32_t value32, uint16_t value16) {
    dpmgmt::Payload<8> req;
    req.put32(0, value32);
    req.put16(4, value16);
    return dpmgmt::svc_command(kMsgSetDebug, req);
}

DPMGMT_API uint32_t HOTBACKUP_Ipc_ResetStatistics(uint16_t value16) {
    dpmgmt::Payload<2> req;
    req.put16(0, value16);
    return dpmgmt::svc_command(kMsgResetStatistics, req);
}

DPMGMT_API uint32_t SESSION_GetHotBackRemainMsg(uint16_t node) {
    uint8_t value[4] = {};
    const dpmgmt::SingleRecord r = dpmgmt::dump_single(node, kDumpRemainMsg, nullptr, 0, value, sizeof value);
    return r.opened && r.complete ? dpmgmt::load_be32(value) : 0;
}

DPMGMT_API uint32_t SESSION_GetHotBackStatistics(uint16_t node, uint16_t peer, SESSION_HOTBACKSTAT_S *record) {
    // This dump alone takes its key and record in host order.
    uint8_t key[2];
    std::memcpy(key, &peer, sizeof key);
    const dpmgmt::SingleRecord r =
        dpmgmt::dump_single(node, kDumpPeerStatistics, key, sizeof key, record, sizeof *record);
    return r.opened && r.complete ? DPMGMT_OK : DPMGMT_ERR_FAILED;
}

DPMGMT_API void HOTBACKUP_DisplayStatistics(uint16_t node) {
    uint32_t count = 0;
    const std::unique_ptr<uint16_t, FreeDeleter> peers(DEV_GetAllNodes(&count));
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
