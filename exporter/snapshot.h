// SPDX-License-Identifier: Apache-2.0
// What one scrape reads: statistics records and counters of the session
// service and the kernel, never a walk of the session table.
#ifndef DPMGMT_EXPORTER_SNAPSHOT_H
#define DPMGMT_EXPORTER_SNAPSHOT_H

#include <array>
#include <bitset>
#include <cstdint>
#include <vector>

#include "dpmgmt/connlmt.h"
#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"

namespace exporter {

// The kernel's aging queue of one core, as its aging-queue dump reports it.
struct AgingCore {
    uint32_t unstable = 0;   // sessions waiting in the queue
    uint32_t timerActive = 0;
    uint32_t resetMsgs = 0;  // reset messages that reached the core
};

struct PeerBackup {
    uint16_t peer = 0;
    SESSION_HOTBACKSTAT_S stat{};
};

struct PolicyCounters {
    uint16_t policy = 0;
    CONNLMT_STATISTICS_S stat{};  // [0] new sessions permitted, [1] denied
};

struct NodeSnapshot {
    uint16_t node = 0;
    uint32_t chassis = 0, slot = 0, cpu = 0;
    bool statOk = false;  // the kernel answered the statistics dump
    SESSION_STAT_S stat{};
    bool failOk = false;
    SESSION_STATFAIL_S fail{};
    bool interfacesOk = false;
    SESSION_IFKERNEL_S interfaces{};  // every interface: relations received at [3]
    bool historyOk = false;
    SESSION_HISAVG_S history{};
    bool agingOk = false;
    std::vector<AgingCore> aging;
    uint32_t backupRemaining = 0;
    std::vector<PeerBackup> peers;
    std::vector<PolicyCounters> policies;
};

struct Snapshot {
    bool serviceUp = false;  // the session service runs and answers
    bool kernelUp = false;   // the local node's kernel answers its statistics dump
    uint16_t self = 0;
    bool relationsAsked = false;  // --relations: the interface counts were read
    std::vector<NodeSnapshot> nodes;
    bool sipOk = false, h323Ok = false;
    SQA_CALL_STATISTICS_S sip{}, h323{};
    double seconds = 0;  // how long the reading took
};

// Reads everything a scrape shows.  Never fails: what cannot be read is
// marked as such and left out of the metrics.  withRelations adds the
// kernel's per-interface counts, of which only the relations are shown: a
// kernel may have to walk its tables to make them.
void read_snapshot(Snapshot &out, bool withRelations);

// The aging queues of a node's cores; false when the dump cannot be opened.
bool read_aging_queues(uint16_t node, std::vector<AgingCore> &cores);

}  // namespace exporter

#endif
