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
            out.sample(l, {{"core", core.view()}}, uint64_t{n.aging[c].timer_active != 0});
        }
    });
}

const char *family_label(uint32_t family) { return family == CONNLMT_IPV6 ? "ipv6" : "ipv4"; }

void write_limit_nodes(const Snapshot &s, const std::vector<NodeLabels *> &nl, PromText &out) {
    struct Count {
        const char *name, *help;
        uint32_t LimitNodes::*field;
    };
    static constexpr Count kCounts[] = {
        {"dpmgmt_connlmt_nodes", "Connection-limit statistic nodes of a policy.", &LimitNodes::nodes},
        {"dpmgmt_connlmt_nodes_at_upper_threshold",
         "Connection-limit statistic nodes whose session count has reached their upper threshold.",
         &LimitNodes::atUpper},
        {"dpmgmt_connlmt_nodes_denying", "Connection-limit statistic nodes that deny new sessions.",
         &LimitNodes::denying},
    };
    auto any = [](const NodeSnapshot &) { return true; };
    for (const Count &c : kCounts) {
        out.family(c.name, "gauge", c.help);
        per_node(s.nodes, nl, any, [&](const NodeSnapshot &n, span<const Label> l) {
            for (const LimitNodes &p : n.limitNodes) {
                const Num policy(p.policy);
                out.sample(l, {{"policy", policy.view()}, {"family", family_label(p.family)}}, uint64_t{p.*c.field});
            }
        });
    }
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
    write_limit_nodes(s, nl, out);
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

// The "le" texts of the MOS buckets: each bound as a score.
struct MosBoundTexts {
    MosBoundTexts() {
        for (size_t i = 0; i < kMosBounds.size(); ++i)
            std::snprintf(text[i], sizeof(text[i]), "%g", kMosBounds[i] / 100.0);
    }
    char text[kMosBounds.size()][16];
};

void write_call_mos(const Snapshot &s, PromText &out) {
    static const MosBoundTexts le;
    struct Table {
        bool ok;
        const char *protocol;
        const CallMos &mos;
    };
    const Table tables[] = {{s.sipOk, "sip", s.sipMos}, {s.h323Ok, "h323", s.h323Mos}};
    static constexpr const char *kDirections[] = {"forward", "reverse"};
    out.family("dpmgmt_sqa_call_mos", "histogram",
               "Mean opinion scores of the calls in the call table now, per direction (not cumulative).");
    for (const Table &t : tables) {
        if (!t.ok) continue;
        for (size_t d = 0; d < std::size(kDirections); ++d) {
            const MosHistogram &h = t.mos.direction[d];
            const Label protocol{"protocol", t.protocol}, direction{"direction", kDirections[d]};
            uint64_t cumulative = 0;
            for (size_t b = 0; b < kMosBounds.size(); ++b) {
                cumulative += h.buckets[b];
                out.sample(kNoLabels, {protocol, direction, {"le", le.text[b]}}, cumulative, "_bucket");
            }
            out.sample(kNoLabels, {protocol, direction, {"le", "+Inf"}}, h.scored, "_bucket");
            out.sample(kNoLabels, {protocol, direction}, static_cast<double>(h.sumHundredths) / 100.0, "_sum");
            out.sample(kNoLabels, {protocol, direction}, h.scored, "_count");
        }
    }
    out.family("dpmgmt_sqa_calls_without_mos", "gauge", "Calls in the call table without a score in a direction.");
    for (const Table &t : tables) {
        if (!t.ok) continue;
        for (size_t d = 0; d < std::size(kDirections); ++d)
            out.sample(kNoLabels, {{"protocol", t.protocol}, {"direction", kDirections[d]}},
                       t.mos.direction[d].unscored);
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
    write_call_mos(s, out);
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
