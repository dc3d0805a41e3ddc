// SPDX-License-Identifier: Apache-2.0
// What one scrape reads: statistics records and counters of the session
// service and the kernel, the connection-limit statistic nodes and the call
// tables; never a walk of the session table.
#ifndef DPMGMT_EXPORTER_SNAPSHOT_H
#define DPMGMT_EXPORTER_SNAPSHOT_H

#include <array>
#include <bitset>
#include <cstdint>
#include <vector>

#include "dpmgmt/connlmt.h"
#include "dpmgmt/records.h"
#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"

namespace exporter {

struct PeerBackup {
    uint16_t peer = 0;
    SESSION_HOTBACKSTAT_S stat{};
};

struct PolicyCounters {
    uint16_t policy = 0;
    CONNLMT_STATISTICS_S stat{};  // [0] new sessions permitted, [1] denied
};

// The connection-limit statistic nodes of one policy of one family.
struct LimitNodes {
    uint16_t policy = 0;
    uint32_t family = CONNLMT_IPV4;
    uint32_t nodes = 0;
    uint32_t atUpper = 0;  // session count at or over the upper threshold
    uint32_t denying = 0;  // new-session flag other than Permit
};

// Counts the nodes of one policy of one family; false when the walk did
// not end normally (nothing is shown for it then).
bool read_limit_nodes(uint16_t node, LimitNodes &out);

// Upper bounds of the MOS buckets in hundredths of a score, as the kernel
// keeps the scores; the last bucket (+Inf) holds whatever lies above.
inline constexpr std::array<uint32_t, 8> kMosBounds = {100, 200, 250, 300, 350, 400, 450, 500};

// The scores of one direction of the calls in a call table.
struct MosHistogram {
    std::array<uint64_t, kMosBounds.size() + 1> buckets{};  // per bucket, not cumulative
    uint64_t sumHundredths = 0;
    uint64_t scored = 0;
    uint64_t unscored = 0;  // calls without a score in this direction
    void add(uint32_t word);
};

// Forward (caller to callee) and reverse scores of one call table.
struct CallMos {
    std::array<MosHistogram, 2> direction;  // [0] forward, [1] reverse
};

// Walks the local node's SIP and H.323 call tables.
void read_call_mos(uint16_t node, CallMos &sip, CallMos &h323);

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
    std::vector<dpmgmt_aging_core> aging;  // per core, as dpmgmt_walk_aging_queues gives them
    uint32_t backupRemaining = 0;
    std::vector<PeerBackup> peers;
    std::vector<PolicyCounters> policies;
    std::vector<LimitNodes> limitNodes;
};

struct Snapshot {
    bool serviceUp = false;  // the session service runs and answers
    bool kernelUp = false;   // the local node's kernel answers its statistics dump
    uint16_t self = 0;
    bool relationsAsked = false;  // --relations: the interface counts were read
    std::vector<NodeSnapshot> nodes;
    bool sipOk = false, h323Ok = false;
    SQA_CALL_STATISTICS_S sip{}, h323{};
    CallMos sipMos, h323Mos;  // read when the call statistics were
    double seconds = 0;  // how long the reading took
};

// Reads everything a scrape shows.  Never fails: what cannot be read is
// marked as such and left out of the metrics.  withRelations adds the
// kernel's per-interface counts, of which only the relations are shown: a
// kernel may have to walk its tables to make them.
void read_snapshot(Snapshot &out, bool withRelations);


}  // namespace exporter

#endif
