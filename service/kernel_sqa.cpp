// SPDX-License-Identifier: Apache-2.0
// The kernel's call-quality tables: SIP and H.323 call entries as dumps of
// type-length-value items, the call statistics and the debug switches as
// control calls.
//
// The calls live on the local node; every other node of the device answers
// with empty tables and zero counters, and a node the device does not have
// is not served at all.
#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "calls.h"
#include "config_state.h"
#include "platform/dev.h"
#include "registry.h"
#include "traffic.h"

namespace dpsvc {
namespace {

using calls::Proto;

constexpr uint32_t kItemHeader = 4;

constexpr uint32_t kDumpSipBrief = 0x14001b;
constexpr uint32_t kDumpSipVerbose = 0x14001c;
constexpr uint32_t kDumpH323Brief = 0x14001f;
constexpr uint32_t kDumpH323Verbose = 0x140020;
constexpr uint32_t kDumpH323Probe = 0x140021;

constexpr uint32_t kCtlSipDebug = 0x480061;
constexpr uint32_t kCtlSipStatistics = 0x480062;
constexpr uint32_t kCtlH323Statistics = 0x480068;
constexpr uint32_t kCtlH323Debug = 0x48006a;

constexpr size_t kDebugRecordSize = 8;

using Writer = void (*)(const calls::Call &, uint8_t *);

struct TableKind {
    Proto proto;
    uint16_t itemType;
    uint16_t valueSize;
    Writer write;
};

constexpr TableKind kSipBrief{Proto::kSip, 27, calls::kBriefSize, calls::write_brief};
constexpr TableKind kSipVerbose{Proto::kSip, 28, calls::kSipVerboseSize, calls::write_sip_verbose};
constexpr TableKind kH323Brief{Proto::kH323, 31, calls::kBriefSize, calls::write_brief};
constexpr TableKind kH323Verbose{Proto::kH323, 32, calls::kH323VerboseSize, calls::write_h323_verbose};
constexpr TableKind kH323Probe{Proto::kH323, 33, calls::kH323VerboseSize, calls::write_h323_verbose};

// Walks calls [next, end) of one table, making each entry as it goes: a
// chunk holds as many whole items as the client's buffer takes.
class CallCursor final : public DumpCursor {
public:
    CallCursor(const TableKind &kind, uint32_t first, uint32_t end) : kind_(kind), next_(first), end_(end) {}

    uint32_t pull(std::vector<uint8_t> &out, uint32_t max) override
    {
        if (next_ >= end_) {
            return 0;  // the table is used up: an empty chunk ends the walk
        }
        const uint32_t itemSize = kItemHeader + kind_.valueSize;
        if (max < itemSize) {
            return kFailed;  // not one whole item fits the client's buffer
        }
        const uint32_t n = std::min(max / itemSize, end_ - next_);
        size_t at = out.size();
        out.resize(at + static_cast<size_t>(n) * itemSize);
        for (uint32_t i = 0; i < n; ++i, ++next_, at += itemSize) {
            uint8_t *item = out.data() + at;
            put16(item, 0, kind_.itemType);
            put16(item, 2, kind_.valueSize);
            kind_.write(calls::make(kind_.proto, next_), item + kItemHeader);
        }
        return kDumpContinue;
    }

private:
    const TableKind &kind_;
    uint32_t next_;
    uint32_t end_;
};

// A node has call tables when it has any tables at all: in the profile and up.
bool node_exists(uint16_t node)
{
    return traffic_node_served(node);
}

// Calls on a node: the model's on the local node, none elsewhere.
uint32_t calls_on(uint16_t node)
{
    return node == DEV_GetSelf() ? calls::count() : 0;
}

DumpFactory whole_table(const TableKind &kind)
{
    return [&kind](uint16_t node, std::span<const uint8_t>) -> std::unique_ptr<DumpCursor> {
        if (!node_exists(node)) {
            return nullptr;
        }
        return std::make_unique<CallCursor>(kind, 0, calls_on(node));
    };
}

// The verbose tables are keyed by call ID: the text in the key's first 65
// bytes, up to its NUL.  An empty ID selects every call; an ID that no call
// has, or a text that does not end within those bytes, selects none.
DumpFactory keyed_table(const TableKind &kind)
{
    return [&kind](uint16_t node, std::span<const uint8_t> key) -> std::unique_ptr<DumpCursor> {
        if (!node_exists(node)) {
            return nullptr;
        }
        const uint32_t total = calls_on(node);
        const size_t room = std::min(key.size(), calls::kCallIdSize);
        const char *text = reinterpret_cast<const char *>(key.data());
        const size_t len = key.empty() ? 0 : strnlen(text, room);
        if (len == 0) {
            return std::make_unique<CallCursor>(kind, 0, total);
        }
        if (len == calls::kCallIdSize || total == 0) {
            return std::make_unique<CallCursor>(kind, 0, 0);
        }
        auto index = calls::find(kind.proto, std::string_view(text, len));
        if (!index) {
            return std::make_unique<CallCursor>(kind, 0, 0);
        }
        return std::make_unique<CallCursor>(kind, *index, *index + 1);
    };
}

ControlHandler statistics_control(Proto proto)
{
    return [proto](uint16_t node, std::span<const uint8_t>, uint32_t, std::vector<uint8_t> &reply) -> uint32_t {
        if (!node_exists(node)) {
            return kFailed;
        }
        calls::Statistics stats{};
        if (node == DEV_GetSelf()) {
            stats = calls::statistics(proto);
        }
        reply.resize(calls::kStatisticsSize);
        calls::write_statistics(stats, reply.data());
        return 0;
    };
}

ControlHandler debug_control(Proto proto)
{
    return [proto](uint16_t node, std::span<const uint8_t>, uint32_t, std::vector<uint8_t> &reply) -> uint32_t {
        if (!node_exists(node)) {
            return kFailed;
        }
        const SqaConfig &sqa = config().sqa;
        // The 16-bit word after the switch bits is not kept: it travels as 0.
        reply.clear();
        reply.reserve(kDebugRecordSize);
        put_be32(reply, proto == Proto::kSip ? sqa.sipDebug : sqa.h323Debug);
        put_be16(reply, 0);
        put_be16(reply, 0);
        return 0;
    };
}

const bool registered = [] {
    register_dump(kDumpSipBrief, whole_table(kSipBrief));
    register_dump(kDumpSipVerbose, keyed_table(kSipVerbose));
    register_dump(kDumpH323Brief, whole_table(kH323Brief));
    register_dump(kDumpH323Verbose, keyed_table(kH323Verbose));
    register_dump(kDumpH323Probe, keyed_table(kH323Probe));
    register_control(kCtlSipStatistics, statistics_control(Proto::kSip));
    register_control(kCtlH323Statistics, statistics_control(Proto::kH323));
    register_control(kCtlSipDebug, debug_control(Proto::kSip));
    register_control(kCtlH323Debug, debug_control(Proto::kH323));
    return true;
}();

}  // namespace
}  // namespace dpsvc
