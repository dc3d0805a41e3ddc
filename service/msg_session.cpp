// SPDX-License-Identifier: Apache-2.0
// Session settings messages (types 0-22, 47-65, 68-70, 75, 87).
//
// What the words of each request mean to this service (the client only lays
// them out; all fields network order):
//   0, 1   aging: word 0 = application index (0-16) or layer-4 state index
//          (0-18), word 1 = seconds.  An index out of range answers
//          0x40010001.
//   2      log policy: word 0 = interface index, word 1 = policy value,
//          words 2-3, the u16 at 16 and bytes 18-19 are kept with it.  A
//          policy value of 0 removes the interface's policy.
//   3      log policy query: answers the stored policy value of the
//          interface in word 0, or 0 when it has none.
//   4, 64  flow (log, traffic log): word 0 = unit (0 packets, 1 bytes),
//          word 1 = threshold; 6 and 65 answer the stored pair whatever
//          the query holds.
//   5, 62  times in seconds; 7 and 63 answer the stored value.
//   9      persist: three words kept as given; 10 answers them.
//   11     debug: word 0 = debug word index (0-18), word 1 = bits, word 2 =
//          1 switches the bits on, 0 off (the u16 at 12 is not used).
//   12     TCP debug: word 0 = index (0-2), word 1 = bits, u16 at 8 = 1 on,
//          0 off.
//   17     top ranking of the initiator source hosts over every node (the
//          one ranking the kernel keeps, whatever the u8 selector says);
//          u16 at 2 = entries wanted (at most 20).  Reply, 648 bytes:
//          twenty 32-byte entries (u32 family 2 or 10, u32 rank from 1, u64
//          live sessions, 16-byte address, IPv4 in its first 4), unused
//          entries all 0, then u32 number of entries filled and u32 the
//          selector.
//   18     top samples: word 0 = selector, word 1 = rank (0-19), word 2 =
//          period (0 hour, 1 day, 2 month).  Reply, 2912 bytes: u16
//          selector, u16 sample count (720), u32 sample interval (s), u64
//          sum of the samples, 16 bytes 0, 720 u32 samples (sessions per
//          second of that rank's host), oldest first.
//   19     sample times: word 0 = period.  Reply, 2884 bytes: u32 sample
//          interval (s), then 720 u32 sample times (seconds since the
//          epoch), oldest first.
//   20, 58 session / Mcfs flow resets: u16 scope (node, 0 = every node),
//          2 bytes, the 64-byte table key; the reply comes later in
//          proportion to the number removed, as a kernel that walks its
//          table would take.
//   54-57  session limits and rates by selector 0-15 (0 = whole system);
//          another selector answers 0x40010001 (set) or 0 (query).
//   22, 59 session / Mcfs statistics reset, u16 scope (0 = every node).
//   60, 87 failure / forwarding-database counters reset: u16 scope at 0.
//   21, 61 relation / event statistics resets: counted in the reset log.
//   Every reset answers 0.
// Every set answers a u32 result code, 0 for success.
#include <algorithm>
#include <climits>
#include <ctime>
#include <map>

#include "config_state.h"
#include "options.h"
#include "registry.h"
#include "traffic.h"

namespace dpsvc {

namespace {

constexpr uint32_t kTopEntries = 20;
constexpr uint32_t kTopEntrySize = 32;
constexpr uint32_t kSampleCount = 720;
constexpr uint32_t kSessionsPerMs = 200;  // how fast a reset removes sessions
constexpr uint32_t kMaxResetDelayMs = 15000;

// Replies with the words, network order.
Answer reply_words(MsgContext &c, const uint32_t *words, size_t n) {
    for (size_t i = 0; i < n; ++i) put_be32(c.reply, words[i]);
    return Answer::kReply;
}

SessionConfig &cfg() { return config().session; }

uint32_t sample_interval(uint32_t period) {
    switch (period) {
    case 0: return 5;      // 720 samples: one hour
    case 1: return 120;    // one day
    default: return 3600;  // 30 days
    }
}

// The busiest initiator source hosts over every node, most sessions first
// (ties by family and address).
std::vector<SourceCount> ranking() {
    std::map<std::pair<uint8_t, Address>, uint64_t> merged;
    for (uint16_t node : traffic_nodes()) {
        if (!traffic_node_served(node)) continue;
        for (const SourceCount &s : top_sources(node, kTopEntries)) merged[{s.family, s.address}] += s.sessions;
    }
    std::vector<SourceCount> out;
    for (const auto &[key, sessions] : merged)
        out.push_back(SourceCount{key.first, key.second, static_cast<uint32_t>(std::min<uint64_t>(sessions, UINT32_MAX))});
    std::stable_sort(out.begin(), out.end(),
                     [](const SourceCount &a, const SourceCount &b) { return a.sessions > b.sessions; });
    if (out.size() > kTopEntries) out.resize(kTopEntries);
    return out;
}

// Sessions per second of the host of one rank: wobbling around a tenth of
// its live sessions, the same on every query.
uint32_t sample_value(uint32_t base, uint32_t period, uint32_t i) {
    return base / 10 + static_cast<uint32_t>((i * 7 + period * 3 + options().seed) % 13);
}

Answer top_ranking(MsgContext &c) {
    const uint8_t selector = c.payload[0];
    const std::vector<SourceCount> top = ranking();
    const uint32_t filled = std::min<uint32_t>(get_be16(c.payload, 2), static_cast<uint32_t>(top.size()));
    for (uint32_t k = 0; k < kTopEntries; ++k) {
        if (k >= filled) {
            c.reply.insert(c.reply.end(), kTopEntrySize, 0);
            continue;
        }
        put_be32(c.reply, top[k].family);
        put_be32(c.reply, k + 1);
        put_be64(c.reply, top[k].sessions);
        c.reply.insert(c.reply.end(), top[k].address.begin(), top[k].address.end());
    }
    put_be32(c.reply, filled);
    put_be32(c.reply, selector);
    return Answer::kReply;
}

Answer top_samples(MsgContext &c) {
    const uint32_t selector = get_be32(c.payload, 0);
    const uint32_t rank = get_be32(c.payload, 4);
    const uint32_t period = get_be32(c.payload, 8);
    const std::vector<SourceCount> top = ranking();
    const uint32_t base = rank < top.size() ? top[rank].sessions : 0;
    uint64_t sum = 0;
    for (uint32_t i = 0; i < kSampleCount; ++i) sum += sample_value(base, period, i);
    put_be16(c.reply, static_cast<uint16_t>(selector));
    put_be16(c.reply, kSampleCount);
    put_be32(c.reply, sample_interval(period));
    put_be64(c.reply, sum);
    c.reply.insert(c.reply.end(), 16, 0);
    for (uint32_t i = 0; i < kSampleCount; ++i) put_be32(c.reply, sample_value(base, period, i));
    return Answer::kReply;
}

Answer sample_times(MsgContext &c) {
    const uint32_t interval = sample_interval(get_be32(c.payload, 0));
    const auto now = static_cast<uint32_t>(std::time(nullptr));
    const uint32_t last = now - now % interval;
    put_be32(c.reply, interval);
    for (uint32_t i = 0; i < kSampleCount; ++i) put_be32(c.reply, last - (kSampleCount - 1 - i) * interval);
    return Answer::kReply;
}

Answer reset_sessions_later(MsgContext &c) {
    const uint16_t scope = get_be16(c.payload, 0);
    const auto key = c.payload.subspan(4);
    const uint64_t removed = c.type == 58 ? reset_mcfs(scope, key) : reset_sessions(scope, key);
    config().resets.sessions++;
    config().resets.lastScope = scope;
    std::vector<uint8_t> reply;
    put_be32(reply, kOk);
    const auto delayMs = static_cast<uint32_t>(std::min<uint64_t>(removed / kSessionsPerMs, kMaxResetDelayMs));
    defer_reply(c.token, c.type, std::move(reply), delayMs);
    return Answer::kDeferred;
}

Answer set_aging(MsgContext &c, uint32_t *table, uint32_t count) {
    const uint32_t index = get_be32(c.payload, 0);
    if (index >= count) return answer_code(c, kFailed);
    table[index] = get_be32(c.payload, 4);
    return answer_code(c, kOk);
}

void switch_bits(uint32_t &word, uint32_t bits, bool on) { word = on ? (word | bits) : (word & ~bits); }

Answer set_limit(MsgContext &c, std::array<uint32_t, kLimitSelectorCount> &table) {
    const uint32_t selector = get_be32(c.payload, 0);
    if (selector >= kLimitSelectorCount) return answer_code(c, kFailed);
    table[selector] = get_be32(c.payload, 4);
    return answer_code(c, kOk);
}

Answer get_limit(MsgContext &c, const std::array<uint32_t, kLimitSelectorCount> &table) {
    const uint32_t selector = get_be32(c.payload, 0);
    put_be32(c.reply, selector < kLimitSelectorCount ? table[selector] : 0);
    return Answer::kReply;
}

Answer count_reset(MsgContext &c, uint32_t &counter, uint16_t scope) {
    counter++;
    config().resets.lastScope = scope;
    return answer_code(c, kOk);
}

// A setting of one u16 or u32, network order, and its query.
template <class Word>
Answer set_word(MsgContext &c, Word &field) {
    static_assert(sizeof(Word) == 2 || sizeof(Word) == 4);
    if constexpr (sizeof(Word) == 2) {
        field = get_be16(c.payload, 0);
    } else {
        field = get_be32(c.payload, 0);
    }
    return answer_code(c, kOk);
}

template <class Word>
Answer get_word(MsgContext &c, Word value) {
    if constexpr (sizeof(Word) == 2) {
        put_be16(c.reply, value);
    } else {
        put_be32(c.reply, value);
    }
    return Answer::kReply;
}

Answer set_flow(MsgContext &c, FlowSetting &flow) {
    flow = {get_be32(c.payload, 0), get_be32(c.payload, 4)};
    return answer_code(c, kOk);
}

Answer get_flow(MsgContext &c, const FlowSetting &flow) {
    return reply_words(c, flow.data(), flow.size());
}

Answer set_log_policy(MsgContext &c) {
    LogPolicy p;
    for (size_t i = 0; i < 4; ++i) p.words[i] = get_be32(c.payload, 4 * i);
    p.option = get_be16(c.payload, 16);
    p.extra = {c.payload[18], c.payload[19]};
    if (p.words[1] == 0)
        cfg().logPolicies.erase(p.words[0]);
    else
        cfg().logPolicies[p.words[0]] = p;
    return answer_code(c, kOk);
}

Answer get_log_policy(MsgContext &c) {
    const auto it = cfg().logPolicies.find(get_be32(c.payload, 0));
    put_be32(c.reply, it == cfg().logPolicies.end() ? 0 : it->second.words[1]);
    return Answer::kReply;
}

Answer set_traffic_log_bill(MsgContext &c) {
    TrafficLogBill &b = cfg().trafficLogBill;
    const auto copy = [&](auto &dst, size_t off) { std::copy_n(c.payload.begin() + off, dst.size(), dst.begin()); };
    b.enable = get_be16(c.payload, 0);
    copy(b.b2, 2);
    b.format = get_be16(c.payload, 4);
    copy(b.b6, 6);
    copy(b.host, 8);
    b.port = get_be16(c.payload, 24);
    copy(b.b26, 26);
    return answer_code(c, kOk);
}

[[maybe_unused]] const bool registered = [] {
    // Aging.
    register_message(0, 8, [](MsgContext &c) { return set_aging(c, cfg().appAging.data(), kAppCount); });
    register_message(1, 8, [](MsgContext &c) { return set_aging(c, cfg().l4Aging.data(), kL4StateCount); });
    register_message(13, 0, [](MsgContext &c) { return reply_words(c, cfg().appAging.data(), kAppCount); });
    register_message(14, 0, [](MsgContext &c) { return reply_words(c, cfg().l4Aging.data(), kL4StateCount); });

    // Logging.
    register_message(2, 20, set_log_policy);
    register_message(3, 20, get_log_policy);
    register_message(4, 8, [](MsgContext &c) { return set_flow(c, cfg().logFlow); });
    register_message(5, 4, [](MsgContext &c) { return set_word<uint32_t>(c, cfg().logTime); });
    register_message(6, 8, [](MsgContext &c) { return get_flow(c, cfg().logFlow); });
    register_message(7, 4, [](MsgContext &c) { return get_word<uint32_t>(c, cfg().logTime); });
    register_message(75, 2, [](MsgContext &c) { return set_word<uint16_t>(c, cfg().numLog); });

    // Persistent sessions.
    register_message(9, 12, [](MsgContext &c) {
        for (size_t i = 0; i < 3; ++i) cfg().persist[i] = get_be32(c.payload, 4 * i);
        return answer_code(c, kOk);
    });
    register_message(10, 12, [](MsgContext &c) { return reply_words(c, cfg().persist.data(), 3); });

    // Debugging.
    register_message(11, 16, [](MsgContext &c) {
        const uint32_t index = get_be32(c.payload, 0);
        if (index >= kDebugWordCount) return answer_code(c, kFailed);
        switch_bits(cfg().debug[index], get_be32(c.payload, 4), get_be32(c.payload, 8) != 0);
        return answer_code(c, kOk);
    });
    register_message(12, 12, [](MsgContext &c) {
        const uint32_t index = get_be32(c.payload, 0);
        if (index >= kTcpDebugWordCount) return answer_code(c, kFailed);
        switch_bits(cfg().tcpDebug[index], get_be32(c.payload, 4), get_be16(c.payload, 8) != 0);
        return answer_code(c, kOk);
    });
    register_message(15, 0, [](MsgContext &c) { return reply_words(c, cfg().debug.data(), kDebugWordCount); });
    register_message(16, 0, [](MsgContext &c) { return reply_words(c, cfg().tcpDebug.data(), kTcpDebugWordCount); });

    // Top statistics.
    register_message(17, 4, top_ranking);
    register_message(18, 12, top_samples);
    register_message(19, 8, sample_times);

    // Resets.
    register_message(20, 68, reset_sessions_later);
    register_message(58, 68, reset_sessions_later);
    register_message(21, 4, [](MsgContext &c) {
        return count_reset(c, config().resets.relations, get_be16(c.payload, 0));
    });
    register_message(22, 2, [](MsgContext &c) {
        reset_session_statistics(get_be16(c.payload, 0));
        return count_reset(c, config().resets.statistics, get_be16(c.payload, 0));
    });
    register_message(59, 2, [](MsgContext &c) {
        reset_mcfs_statistics(get_be16(c.payload, 0));
        return count_reset(c, config().resets.mcfsStatistics, get_be16(c.payload, 0));
    });
    register_message(60, 8, [](MsgContext &c) {
        reset_stat_fail(get_be16(c.payload, 0));
        return count_reset(c, config().resets.statFail, get_be16(c.payload, 0));
    });
    register_message(61, 8, [](MsgContext &c) {
        return count_reset(c, config().resets.eventStatistics, get_be16(c.payload, 4));
    });
    register_message(87, 8, [](MsgContext &c) {
        reset_fdb_statistics(get_be16(c.payload, 0));
        return count_reset(c, config().resets.fdbStatistics, get_be16(c.payload, 0));
    });

    // Switches.
    register_message(47, 2, [](MsgContext &c) { return set_word<uint16_t>(c, cfg().syncSwitch); });
    register_message(48, 0, [](MsgContext &c) { return get_word<uint16_t>(c, cfg().syncSwitch); });
    register_message(49, 2, [](MsgContext &c) { return set_word<uint16_t>(c, cfg().statEnable); });
    register_message(50, 4, [](MsgContext &c) {
        cfg().syncAppSwitch = get_be16(c.payload, 0);
        cfg().syncAppAux = get_be16(c.payload, 2);
        return answer_code(c, kOk);
    });
    register_message(51, 0, [](MsgContext &c) { return get_word<uint16_t>(c, cfg().syncAppSwitch); });
    register_message(52, 2, [](MsgContext &c) { return set_word<uint16_t>(c, cfg().hisTopStatEnable); });
    register_message(53, 0, [](MsgContext &c) { return get_word<uint16_t>(c, cfg().hisTopStatEnable); });

    // Limits and rates.
    register_message(54, 8, [](MsgContext &c) { return set_limit(c, cfg().maximum); });
    register_message(55, 8, [](MsgContext &c) { return set_limit(c, cfg().rate); });
    register_message(56, 4, [](MsgContext &c) { return get_limit(c, cfg().maximum); });
    register_message(57, 4, [](MsgContext &c) { return get_limit(c, cfg().rate); });

    // Traffic log.
    register_message(62, 4, [](MsgContext &c) { return set_word<uint32_t>(c, cfg().trafficLogTime); });
    register_message(63, 4, [](MsgContext &c) { return get_word<uint32_t>(c, cfg().trafficLogTime); });
    register_message(64, 8, [](MsgContext &c) { return set_flow(c, cfg().trafficLogFlow); });
    register_message(65, 8, [](MsgContext &c) { return get_flow(c, cfg().trafficLogFlow); });
    register_message(68, 2, [](MsgContext &c) { return set_word<uint16_t>(c, cfg().trafficLogBegin); });
    register_message(69, 0, [](MsgContext &c) { return get_word<uint16_t>(c, cfg().trafficLogBegin); });
    register_message(70, 44, set_traffic_log_bill);
    return true;
}();

}  // namespace

}  // namespace dpsvc
