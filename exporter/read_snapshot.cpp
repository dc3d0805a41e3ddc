// SPDX-License-Identifier: Apache-2.0
// One scrape's reading: per node the session statistics, creation failures,
// interface counts, history averages, aging queues, hot-backup counters,
// connection-limit counters and statistic nodes; the call statistics and
// call scores of the local node; and the health of the session service and
// of the kernel channel.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>

#include "platform/dev.h"
#include "platform/iface.h"
#include "platform/wait.h"
#include "snapshot.h"

namespace exporter {

namespace {

constexpr uint16_t kNoPolicy = 0xFFFF;

struct FreeDeleter {
    void operator()(uint16_t *p) const { std::free(p); }
};

// The session service runs and answers a message (its hot-backup debug
// query, which changes nothing).  Never starts it.
bool session_service_up() {
    if (SESSION_Startup_IsRunning(DEV_GetSystemMaster()) != 1) return false;
    uint32_t setting = 0;
    return HOTBACKUP_Ipc_GetDebug(&setting) == DPMGMT_OK;
}

using PolicySet = std::bitset<CONNLMT_MAX_POLICY_NUM>;
// The policy identifiers in use, per family ([CONNLMT_IPV4], [CONNLMT_IPV6]).
using Policies = std::array<PolicySet, 2>;

Policies policies_in_use() {
    Policies in{};
    for (uint32_t family : {CONNLMT_IPV4, CONNLMT_IPV6}) {
        PolicySet &ids = in[family];
        uint16_t id = 0;  // 0 asks for the first
        for (uint32_t guard = 0; guard < CONNLMT_MAX_POLICY_NUM; ++guard) {
            uint16_t next = kNoPolicy;
            if (CONNLMT_ipc_GetNextPolicyID(id, family, &next) != DPMGMT_OK) break;
            if (next == kNoPolicy || next <= id || next >= CONNLMT_MAX_POLICY_NUM) break;
            ids.set(next);
            id = next;
        }
    }
    return in;
}

void read_node(NodeSnapshot &n, const std::vector<uint16_t> &upNodes, const Policies &policies, bool withRelations) {
    n.chassis = LIP_GetChassID(n.node) & 0xFFFF;
    n.slot = LIP_GetSlotID(n.node) & 0xFFFF;
    n.cpu = LIP_GetCpuID(n.node) & 0xFFFF;
    n.statOk = SESSION_GetStatistics(n.node, &n.stat) == DPMGMT_OK;
    if (!n.statOk) return;  // the kernel does not serve this node: nothing more to ask it
    const uint32_t failKey = 0;
    n.failOk = SESSION_GetStatFail(n.node, &failKey, &n.fail) == DPMGMT_OK;
    const uint32_t everyInterface = 0;
    if (withRelations) n.interfacesOk = SESSION_GetIFKernelAll(n.node, &everyInterface, &n.interfaces) == DPMGMT_OK;
    // The history query leaves the averages alone when it cannot read them.
    SESSION_HISAVG_S unset;
    for (uint32_t &v : unset.auiAverage) v = UINT32_MAX;
    n.history = unset;
    SESSION_HisCom_GetStatics(n.node, &n.history);
    n.historyOk = n.history.auiAverage[0] != UINT32_MAX;
    n.aging.clear();
    n.agingOk = dpmgmt_walk_aging_queues(
                    n.node,
                    [](const dpmgmt_aging_core *c, void *cores) {
                        static_cast<std::vector<dpmgmt_aging_core> *>(cores)->push_back(*c);
                    },
                    &n.aging) == DPMGMT_OK;
    n.backupRemaining = SESSION_GetHotBackRemainMsg(n.node);
    for (uint16_t peer : upNodes) {
        if (peer == n.node) continue;
        PeerBackup p{peer, {}};
        if (SESSION_GetHotBackStatistics(n.node, peer, &p.stat) == DPMGMT_OK) n.peers.push_back(p);
    }
    // The counters of a policy number cover both families.
    const PolicySet either = policies[CONNLMT_IPV4] | policies[CONNLMT_IPV6];
    for (uint16_t id = 1; id < CONNLMT_MAX_POLICY_NUM; ++id) {
        if (!either.test(id)) continue;
        PolicyCounters c{id, {}};
        if (CONNLMT_Dump_GetStatistics(n.node, id, &c.stat) == DPMGMT_OK) n.policies.push_back(c);
    }
    for (uint32_t family : {CONNLMT_IPV4, CONNLMT_IPV6}) {
        for (uint16_t id = 1; id < CONNLMT_MAX_POLICY_NUM; ++id) {
            if (!policies[family].test(id)) continue;
            LimitNodes l;
            l.policy = id;
            l.family = family;
            if (read_limit_nodes(n.node, l)) n.limitNodes.push_back(l);
        }
    }
}

}  // namespace

void read_snapshot(Snapshot &out, bool withRelations) {
    const auto start = std::chrono::steady_clock::now();
    out = Snapshot{};
    out.self = DEV_GetSelf();
    out.relationsAsked = withRelations;
    out.serviceUp = session_service_up();
    const Policies policies = out.serviceUp ? policies_in_use() : Policies{};

    uint32_t count = 0;
    std::unique_ptr<uint16_t, FreeDeleter> all(DEV_GetAllNodes(&count));
    std::vector<uint16_t> upNodes;
    for (uint32_t i = 0; all && i < count; ++i) {
        if ((IF_IsNodeUp(all.get()[i]) & 0xFFFF) == 1) upNodes.push_back(all.get()[i]);
    }
    out.nodes.reserve(upNodes.size());
    for (uint16_t node : upNodes) {
        NodeSnapshot &n = out.nodes.emplace_back();
        n.node = node;
        read_node(n, upNodes, policies, withRelations);
        if (node == out.self) out.kernelUp = n.statOk;
    }
    if (std::find(upNodes.begin(), upNodes.end(), out.self) == upNodes.end()) {
        SESSION_STAT_S probe;
        out.kernelUp = SESSION_GetStatistics(out.self, &probe) == DPMGMT_OK;
    }
    out.sipOk = SQA_DUMP_PullStatistics(0, &out.sip) == DPMGMT_OK;
    out.h323Ok = SQA_DUMP_PullStatistics(1, &out.h323) == DPMGMT_OK;
    if (out.sipOk || out.h323Ok) read_call_mos(out.self, out.sipMos, out.h323Mos);
    PLAT_ClearFault();
    out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace exporter
