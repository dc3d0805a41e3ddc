// SPDX-License-Identifier: Apache-2.0
// Turns one scrape's snapshot into the exposition text.  Every per-node
// sample carries the node's identifier, chassis, slot and CPU; a node whose
// kernel did not answer has no samples.
#include "write_metrics.h"

#include <array>
#include <cstdio>
#include <memory>
#include <vector>

namespace exporter {

namespace {

using std::span;

// Decimal text of a number, kept alive for as long as the labels that
// point at it.
struct Num {
    explicit Num(uint64_t v) { std::snprintf(text, sizeof(text), "%llu", static_cast<unsigned long long>(v)); }
    std::string_view view() const { return text; }
    char text[24];
};

struct NodeLabels {
    explicit NodeLabels(const NodeSnapshot &n) : node(n.node), chassis(n.chassis), slot(n.slot), cpu(n.cpu) {
        labels = {Label{"node", node.view()}, Label{"chassis", chassis.view()}, Label{"slot", slot.view()},
                  Label{"cpu", cpu.view()}};
    }
    NodeLabels(const NodeLabels &) = delete;
    NodeLabels &operator=(const NodeLabels &) = delete;
    Num node, chassis, slot, cpu;
    std::array<Label, 4> labels;
};

constexpr span<const Label> kNoLabels{};

// Periods of the history averages: their index in SESSION_HISAVG_S (sessions;
// the establishment rate is three further on) and their label.
constexpr struct {
    uint32_t index;
    const char *label;
} kHistoryPeriods[] = {{1, "1h"}, {2, "24h"}, {0, "30d"}};
constexpr uint32_t kHistoryRateOffset = 3;

// A family over the nodes whose kernel answered, and whose `has` part was read.
template <typename Has, typename Each>
void per_node(const std::vector<NodeSnapshot> &nodes, const std::vector<NodeLabels *> &labels,
              Has has, Each each) {
    for (size_t i = 0; i < nodes.size(); ++i) {
        if (nodes[i].statOk && has(nodes[i])) each(nodes[i], span<const Label>(labels[i]->labels));
    }
}

void write_health(const Snapshot &s, PromText &out) {
    out.family("dpmgmt_session_service_up", "gauge", "1 when the session service runs and answers, else 0.");
    out.sample(kNoLabels, {}, uint64_t{s.serviceUp});
    out.family("dpmgmt_kernel_channel_up", "gauge", "1 when the local node's kernel answers its statistics dump, else 0.");
    out.sample(kNoLabels, {}, uint64_t{s.kernelUp});
    out.family("dpmgmt_exporter_scrape_duration_seconds", "gauge",
               "Time this scrape took to read the service and the kernel.");
    out.sample(kNoLabels, {}, s.seconds);
}

void write_sessions(const Snapshot &s, const std::vector<NodeLabels *> &nl, PromText &out) {
    auto any = [](const NodeSnapshot &) { return true; };
    out.family("dpmgmt_sessions", "gauge", "Sessions in the session table, per protocol.");
    per_node(s.nodes, nl, any, [&](const NodeSnapshot &n, span<const Label> l) {
        for (uint32_t p = 0; p < SESSION_PROTOCOL_COUNT; ++p)
            out.sample(l, {{"protocol", SESSION_GetProtocolName(p)}}, uint64_t{n.stat.auiProtocolCount[p]});
    });
    out.family("dpmgmt_sessions_by_state", "gauge", "Sessions in the session table, per protocol and state.");
    per_node(s.nodes, nl, any, [&](const NodeSnapshot &n, span<const Label> l) {
        for (uint32_t p = 0; p < SESSION_PROTOCOL_COUNT; ++p) {
            const uint32_t states = SESSION_GetProtocolStateCount(p);
            for (uint32_t st = 0; st < states && st < SESSION_STATUS_PER_PROTOCOL; ++st) {
                // A state without a name is labelled with its number.
                const Num number(st);
                std::string_view name = SESSION_GetStatusName(p, static_cast<uint8_t>(st));
                if (name.empty()) name = number.view();
                out.sample(l, {{"protocol", SESSION_GetProtocolName(p)}, {"state", name}},
                           uint64_t{n.stat.auiStateCount[p][st]});
            }
        }
    });
    out.family("dpmgmt_session_created_total", "counter", "Sessions created since the statistics were reset.");
    per_node(s.nodes, nl, any, [&](const NodeSnapshot &n, span<const Label> l) {
        for (uint32_t p = 0; p < SESSION_PROTOCOL_COUNT; ++p)
            out.sample(l, {{"protocol", SESSION_GetProtocolName(p)}}, n.stat.aulProtocolPair[p][0]);
    });
    out.family("dpmgmt_session_deleted_total", "counter", "Sessions deleted since the statistics were reset.");
    per_node(s.nodes, nl, any, [&](const NodeSnapshot &n, span<const Label> l) {
        for (uint32_t p = 0; p < SESSION_PROTOCOL_COUNT; ++p)
            out.sample(l, {{"protocol", SESSION_GetProtocolName(p)}}, n.stat.aulProtocolPair[p][1]);
    });
    out.family("dpmgmt_session_failures_total", "counter",
               "The kernel's session failure counters, by the counter's index.");
    per_node(s.nodes, nl, [](const NodeSnapshot &n) { return n.failOk; },
             [&](const NodeSnapshot &n, span<const Label> l) {
                 for (uint32_t i = 0; i < std::size(n.fail.auiCount); ++i) {
                     const Num index(i);
                     out.sample(l, {{"counter", index.view()}}, uint64_t{n.fail.auiCount[i]});
                 }
             });
    if (!s.relationsAsked) return;
    out.family("dpmgmt_relations", "gauge", "Relations (expected connections) received on any interface.");
    per_node(s.nodes, nl, [](const NodeSnapshot &n) { return n.interfacesOk; },
             [&](const NodeSnapshot &n, span<const Label> l) { out.sample(l, {}, uint64_t{n.interfaces.auiCount[3]}); });
}

void write_history_and_aging(const Snapshot &s, const std::vector<NodeLabels *> &nl, PromText &out) {
    auto history = [](const NodeSnapshot &n) { return n.historyOk; };
    out.family("dpmgmt_session_history_sessions", "gauge", "Average of the sessions samples over the period.");
    per_node(s.nodes, nl, history, [&](const NodeSnapshot &n, span<const Label> l) {
        for (const auto &p : kHistoryPeriods)
            out.sample(l, {{"period", p.label}}, uint64_t{n.history.auiAverage[p.index]});
    });
    out.family("dpmgmt_session_history_establishment_rate_per_second", "gauge",
               "Average session establishment rate over the period.");
    per_node(s.nodes, nl, history, [&](const NodeSnapshot &n, span<const Label> l) {
        for (const auto &p : kHistoryPeriods)
            out.sample(l, {{"period", p.label}}, uint64_t{n.history.auiAverage[p.index + kHistoryRateOffset]});
    });
    auto aging = [](const NodeSnapshot &n) { return n.agingOk; };
    out.family("dpmgmt_aging_queue_sessions", "gauge", "Sessions waiting in a core's aging queue.");
    per_node(s.nodes, nl, aging, [&](const NodeSnapshot &n, span<const Label> l) {
        for (size_t c = 0; c < n.aging.size(); ++c) {
            const Num core(c);
            out.sample(l, {{"core", core.view()}}, uint64_t{n.aging[c].unstable});
        }
    });
    out.family("dpmgmt_aging_queue_timer_active", "gauge", "1 while a core's aging timer runs.");
    per_node(s.nodes, nl, aging, [&](const NodeSnapshot &n, span<const Label> l) {
        for (size_t c = 0; c < n.aging.size(); ++c) {
            const Num core(c);
            out.sample(l, {{"core", core.view()}}, uint64_t{n.aging[c].timerActive != 0});
        }
    });
}

void write_limits_and_backup(const Snapshot &s, const std::vector<NodeLabels *> &nl, PromText &out) {
    auto any = [](const NodeSnapshot &) { return true; };
    struct Counter {
        const char *name, *help;
        size_t index;
    };
    for (const Counter &c : {Counter{"dpmgmt_connlmt_permitted_sessions_total",
                                     "New sessions a connection-limit policy permitted since its counters were reset.", 0},
                             Counter{"dpmgmt_connlmt_denied_sessions_total",
                                     "New sessions a connection-limit policy denied since its counters were reset.", 1}}) {
        out.family(c.name, "counter", c.help);
        per_node(s.nodes, nl, any, [&](const NodeSnapshot &n, span<const Label> l) {
            for (const PolicyCounters &p : n.policies) {
                const Num policy(p.policy);
                out.sample(l, {{"policy", policy.view()}}, p.stat.aulCounter[c.index]);
            }
        });
    }
    out.family("dpmgmt_hotbackup_remaining_messages", "gauge", "Backup messages still waiting to be sent.");
    per_node(s.nodes, nl, any,
             [&](const NodeSnapshot &n, span<const Label> l) { out.sample(l, {}, uint64_t{n.backupRemaining}); });
    struct Backup {
        const char *name, *help;
        uint64_t SESSION_HOTBACKSTAT_S::*field;
    };
    for (const Backup &b : {Backup{"dpmgmt_hotbackup_sent_messages_total", "Backup messages sent to the peer.",
                                   &SESSION_HOTBACKSTAT_S::ulSendOk},
                            Backup{"dpmgmt_hotbackup_send_failed_messages_total",
                                   "Backup messages that failed to be sent to the peer.",
                                   &SESSION_HOTBACKSTAT_S::ulSendFail},
                            Backup{"dpmgmt_hotbackup_received_messages_total", "Backup messages received from the peer.",
                                   &SESSION_HOTBACKSTAT_S::ulRecvOk}}) {
        out.family(b.name, "counter", b.help);
        per_node(s.nodes, nl, any, [&](const NodeSnapshot &n, span<const Label> l) {
            for (const PeerBackup &p : n.peers) {
                const Num peer(p.peer);
                out.sample(l, {{"peer", peer.view()}}, p.stat.*b.field);
            }
        });
    }
}

void write_calls(const Snapshot &s, PromText &out) {
    struct Field {
        const char *name, *type, *help;
        uint64_t SQA_CALL_STATISTICS_S::*field;
    };
    static constexpr Field kFields[] = {
        {"dpmgmt_sqa_calls_total", "counter", "Calls the call quality analysis followed.",
         &SQA_CALL_STATISTICS_S::ulTotalCalls},
        {"dpmgmt_sqa_active_calls", "gauge", "Calls in progress.", &SQA_CALL_STATISTICS_S::ulActiveCalls},
        {"dpmgmt_sqa_successful_calls_total", "counter", "Calls that completed successfully.",
         &SQA_CALL_STATISTICS_S::ulSuccessCalls},
        {"dpmgmt_sqa_timeout_calls_total", "counter", "Calls that timed out.", &SQA_CALL_STATISTICS_S::ulTimeoutCalls},
        {"dpmgmt_sqa_abnormal_calls_total", "counter", "Calls that ended abnormally.",
         &SQA_CALL_STATISTICS_S::ulAbnormalCalls},
    };
    for (const Field &f : kFields) {
        out.family(f.name, f.type, f.help);
        if (s.sipOk) out.sample(kNoLabels, {{"protocol", "sip"}}, s.sip.*f.field);
        if (s.h323Ok) out.sample(kNoLabels, {{"protocol", "h323"}}, s.h323.*f.field);
    }
}

}  // namespace

void write_metrics(const Snapshot &snap, PromText &out) {
    std::vector<std::unique_ptr<NodeLabels>> owned;
    std::vector<NodeLabels *> labels;
    owned.reserve(snap.nodes.size());
    for (const NodeSnapshot &n : snap.nodes) {
        owned.push_back(std::make_unique<NodeLabels>(n));
        labels.push_back(owned.back().get());
    }
    write_health(snap, out);
    write_sessions(snap, labels, out);
    write_history_and_aging(snap, labels, out);
    write_limits_and_backup(snap, labels, out);
    write_calls(snap, out);
}

}  // namespace exporter
