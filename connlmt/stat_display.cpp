// SPDX-License-Identifier: Apache-2.0
// The kernel's connection-limit statistic nodes and statistics record.
//
// The display prints for the command line, every line ending in CR LF.
// Addresses of a node stay in network order for the formatter; only its
// numeric fields are converted, in a copy of the record.
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/names.h"
#include "channels/wire.h"
#include "dpmgmt/connlmt.h"
#include "dpmgmt/records.h"
#include "platform/dev.h"
#include "platform/names.h"
#include "platform/rc.h"
#include "platform/textutil.h"

using namespace dpmgmt;

namespace {

constexpr uint32_t kNodeSize = sizeof(CONNLMT_STATNODE_S);
constexpr uint32_t kPullBufferSize = 8000;  // 100 nodes
constexpr uint32_t kAddrTextSize = 46;
constexpr uint32_t kVpnNameSize = 32;
constexpr uint32_t kPortTextSize = 7;
constexpr uint16_t kPermit = 1;
constexpr int kInet6 = 10;

constexpr auto kNodeFields = layout<CONNLMT_STATNODE_S>({
    DPMGMT_FIELD(CONNLMT_STATNODE_S, usSrcVrf), DPMGMT_FIELD(CONNLMT_STATNODE_S, usDstVrf),
    DPMGMT_FIELD(CONNLMT_STATNODE_S, usPort), DPMGMT_FIELD(CONNLMT_STATNODE_S, usRuleId),
    DPMGMT_FIELD(CONNLMT_STATNODE_S, usNewSessionFlag), DPMGMT_FIELD(CONNLMT_STATNODE_S, uiAclNum),
    DPMGMT_FIELD(CONNLMT_STATNODE_S, uiThresholdHigh), DPMGMT_FIELD(CONNLMT_STATNODE_S, uiThresholdLow),
    DPMGMT_FIELD(CONNLMT_STATNODE_S, uiSessionCount), DPMGMT_FIELD(CONNLMT_STATNODE_S, uiAclType),
});

constexpr auto kStatisticsFields = DPMGMT_ARRAY_FIELDS(CONNLMT_STATISTICS_S, aulCounter);

// ACL labels by uiAclType; a type beyond the table gets no label.
constexpr const char *kAclLabel[] = {"", "", "IPv6"};

const char *acl_label(uint32_t aclType) {
    return aclType < sizeof kAclLabel / sizeof kAclLabel[0] ? kAclLabel[aclType] : "";
}

bool all_zero(const CONNLMT_ADDR_S &a) {
    return a.auiIpv6[0] == 0 && a.auiIpv6[1] == 0 && a.auiIpv6[2] == 0 && a.auiIpv6[3] == 0;
}

void print_address(const CONNLMT_ADDR_S &addr, uint32_t family) {
    char text[kAddrTextSize] = "Any";
    if (family != 0) {
        if (!all_zero(addr)) scnprintf(text, sizeof text, "%Q", addr.aucIpv6);
    } else if (addr.uiIpv4 != 0) {
        scnprintf(text, sizeof text, "%P", load_be32(addr.aucIpv6));
    }
    printf("%s\r\n", text);
}

void print_vpn(uint16_t vrf) {
    char name[kVpnNameSize] = "--";
    if (L3VPN_GetNameByVrfIndex(vrf, sizeof name, name) != 0) std::strcpy(name, "--");
    name[sizeof name - 1] = '\0';
    printf("     VPN instance        : %-31s\r\n", name);
}

void print_node(const CONNLMT_STATNODE_S &node, uint32_t family) {

    fputs(" Src IP address          : ", stdout);
    print_address(node.stSrcIp, family);
    print_vpn(node.usSrcVrf);
    fputs(" Dst IP address          : ", stdout);
    print_address(node.stDstIp, family);
    print_vpn(node.usDstVrf);

    char service[APR_PROTO_NAME_SIZE] = {};
    char port[kPortTextSize] = {};
    if (node.ucProtocol == 0) {
        std::strcpy(service, "All");
    } else if (protocol_name(service, node.ucProtocol, LetterCase::kAsStored)) {
        scnprintf(port, sizeof port, "/%u", static_cast<unsigned>(node.usPort));
    } else {
        scnprintf(service, sizeof service, "unknown(%u)", static_cast<unsigned>(node.ucProtocol));
    }

    if (family == 0) {
        char peer[kAddrTextSize] = "--";
        if (!all_zero(node.stDsLitePeer) &&
            __wrap_inet_ntop(kInet6, node.stDsLitePeer.aucIpv6, peer, sizeof peer) == nullptr)
            std::strcpy(peer, "--");
        printf(" DS-Lite tunnel peer     : %s\r\n", peer);
    }
    printf(" Service                 : %s%s\r\n", service, port);

    char aclName[ACL_NAME_SIZE] = {};
    if (ACL_GetNameByIndex(node.uiAclType, node.uiAclNum, aclName) == 0) {
        aclName[sizeof aclName - 1] = '\0';
        printf(" Limit rule ID           : %u(ACL %s: %s)\r\n", static_cast<unsigned>(node.usRuleId),
               acl_label(node.uiAclType), aclName);
    } else {
        printf(" Limit rule ID           : %u(ACL %s: %u)\r\n", static_cast<unsigned>(node.usRuleId),
               acl_label(node.uiAclType), node.uiAclNum);
    }
    printf(" Sessions threshold Hi/Lo: %u/%u\r\n", node.uiThresholdHigh, node.uiThresholdLow);
    printf(" Sessions count          : %u\r\n", node.uiSessionCount);
    printf(" New session flag        : %s\r\n\r\n", node.usNewSessionFlag == kPermit ? "Permit" : "Deny");
}

// The platform's numbers of a node are judged and printed by their low 16
// bits.
void print_heading(uint16_t node) {
    const uint16_t chassis = static_cast<uint16_t>(LIP_GetChassID(node));
    const uint16_t slot = static_cast<uint16_t>(LIP_GetSlotID(node));
    const uint16_t cpu = static_cast<uint16_t>(LIP_GetCpuID(node));
    if (static_cast<uint16_t>(DEV_IsMultiChassis()) != 0) {
        if (static_cast<uint16_t>(DEV_IsMultiCpu(chassis, slot)) == 1)
            printf("CPU %u on slot %u in chassis %u:\r\n", static_cast<unsigned>(cpu), static_cast<unsigned>(slot),
                   static_cast<unsigned>(chassis));
        else
            printf("Slot %u in chassis %u:\r\n", static_cast<unsigned>(slot), static_cast<unsigned>(chassis));
    } else {
        if (static_cast<uint16_t>(DEV_IsMultiCpu(0xFFFFFFFFu, slot)) == 1)
            printf("CPU %u on slot %u:\r\n", static_cast<unsigned>(cpu), static_cast<unsigned>(slot));
        else
            printf("Slot %u :\r\n", static_cast<unsigned>(slot));
    }
}

CONNLMT_STATNODE_KEY_S build_key(uint32_t keyWord, const CONNLMT_STATNODE_FILTER_S &filter) {
    CONNLMT_STATNODE_KEY_S key;
    std::memset(&key, 0, sizeof key);  // the pad goes out as zeros
    store_be32(&key.uiKeyWord, keyWord);
    store_be32(&key.uiIpVersion, filter.uiIpVersion);
    key.stAddr1 = filter.stAddr1;
    key.stAddr2 = filter.stAddr2;
    if (filter.uiIpVersion == 0) {
        // IPv4 addresses come in host order; IPv6 ones are bytes already.
        store_be32(&key.stAddr1.uiIpv4, filter.stAddr1.uiIpv4);
        store_be32(&key.stAddr2.uiIpv4, filter.stAddr2.uiIpv4);
    }
    store_be16(&key.usFilterValue, filter.usFilterValue);
    std::memcpy(key.aucFilterBytes, filter.aucFilterBytes, sizeof key.aucFilterBytes);
    return key;
}

// The one walk of the statistic nodes the filter selects: afterOpen() once
// the dump is open, then for every chunk onChunk(delivered) and each whole
// node in it, copied and converted to host order, to onNode(node).
// 0x40010001 when the dump cannot be opened or its buffer had (*walked
// false); otherwise the result of the pull that ended the dump (*walked
// true).
template <class AfterOpen, class OnChunk, class OnNode>
uint32_t walk_stat_nodes(uint16_t node, uint32_t keyWord, const CONNLMT_STATNODE_FILTER_S &filter, bool *walked,
                         AfterOpen &&afterOpen, OnChunk &&onChunk, OnNode &&onNode) {
    *walked = false;
    const CONNLMT_STATNODE_KEY_S key = build_key(keyWord, filter);
    const Dump dump(node, CONNLMT_STATNODE_DUMP_TYPE, &key, sizeof key);
    if (!dump.opened()) return DPMGMT_ERR_FAILED;
    afterOpen();
    const HeapBuffer buf(kPullBufferSize);
    if (!buf.ok()) return DPMGMT_ERR_FAILED;
    *walked = true;
    return pull_chunks(dump, buf, [&](uint8_t *data, uint32_t delivered) {
        onChunk(delivered);
        for (uint32_t i = 0; i < delivered / kNodeSize; ++i) {
            CONNLMT_STATNODE_S rec;
            std::memcpy(&rec, data + static_cast<std::size_t>(i) * kNodeSize, kNodeSize);
            swap_fields(&rec, kNodeFields);
            onNode(rec);
        }
        return true;
    });
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t CONNLMT_Dump_DisStatNodes(uint16_t node, uint32_t keyWord,
                                              const CONNLMT_STATNODE_FILTER_S *filter, uint16_t mode) {
    if (filter == nullptr) return DPMGMT_ERR_FAILED;
    const auto heading = [&] { print_heading(node); };
    const uint32_t family = filter->uiIpVersion;
    bool walked = false;
    uint32_t rc;
    if (mode == CONNLMT_STAT_MODE_COUNT) {
        uint32_t count = 0;
        rc = walk_stat_nodes(node, keyWord, *filter, &walked, heading, [](uint32_t) {},
                             [&](const CONNLMT_STATNODE_S &) { ++count; });
        if (!walked) return rc;
        printf("       Current limit statistic nodes count is %u.\r\n", count);
    } else {
        uint64_t received = 0;
        rc = walk_stat_nodes(
            node, keyWord, *filter, &walked, heading, [&](uint32_t delivered) { received += delivered; },
            [&](const CONNLMT_STATNODE_S &rec) { print_node(rec, family); });
        if (!walked) return rc;
        if (received == 0) {
            const char *text = RC_LoadString(CONNLMT_RC_NO_STATNODE);
            printf("%s", text != nullptr ? text : "");
        }
    }
    return rc;
}

DPMGMT_API uint32_t dpmgmt_walk_limit_nodes(uint16_t node, uint32_t keyWord, const CONNLMT_STATNODE_FILTER_S *filter,
                                            dpmgmt_limit_node_fn fn, void *context) {
    if (filter == nullptr || fn == nullptr) return DPMGMT_ERR_FAILED;
    bool walked = false;
    return walk_stat_nodes(node, keyWord, *filter, &walked, [] {}, [](uint32_t) {},
                           [&](const CONNLMT_STATNODE_S &rec) { fn(&rec, context); });
}

DPMGMT_API uint32_t CONNLMT_Dump_GetStatistics(uint16_t node, uint32_t keyWord, CONNLMT_STATISTICS_S *stats) {
    if (stats == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t key[4];
    store_be32(key, keyWord);
    const SingleRecord r = dump_single(node, CONNLMT_STATISTICS_DUMP_TYPE, key, sizeof key, stats, sizeof *stats);
    if (!r.opened || !r.complete) return DPMGMT_ERR_FAILED;
    swap_fields(stats, kStatisticsFields);
    return DPMGMT_OK;
}

}  // extern "C"
