// SPDX-License-Identifier: Apache-2.0
// The tables features register into, and the handling of one session-service
// datagram.
//
// The tables are function-local statics so that a feature file may register
// from its static initialiser whatever the order in which the linker runs
// them.
#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "loop.h"
#include "registry.h"

namespace dpsvc {

namespace {

constexpr int64_t kAnyLength = -1;

struct MessageEntry {
    int64_t payloadLen;  // kAnyLength: the handler checks for itself
    MsgHandler handler;
};

std::unordered_map<uint32_t, MessageEntry> &messages() {
    static std::unordered_map<uint32_t, MessageEntry> table;
    return table;
}

std::unordered_map<uint32_t, DumpFactory> &dumps() {
    static std::unordered_map<uint32_t, DumpFactory> table;
    return table;
}

std::unordered_map<uint32_t, ControlHandler> &controls() {
    static std::unordered_map<uint32_t, ControlHandler> table;
    return table;
}

std::vector<detail::DeferredReply> &deferred() {
    static std::vector<detail::DeferredReply> queue;
    return queue;
}

// Serves a table whose records were all made when the dump opened.
class RecordCursor final : public DumpCursor {
public:
    RecordCursor(std::vector<uint8_t> records, uint32_t recordSize)
        : records_(std::move(records)), recordSize_(recordSize == 0 ? 1 : recordSize) {
        // A trailing partial record is never served.
        records_.resize(records_.size() / recordSize_ * recordSize_);
    }

    uint32_t pull(std::vector<uint8_t> &out, uint32_t max) override {
        const size_t left = records_.size() - next_;
        const size_t fit = std::min<size_t>(left / recordSize_, max / recordSize_) * recordSize_;
        if (fit == 0) return 0;
        out.insert(out.end(), records_.begin() + static_cast<std::ptrdiff_t>(next_),
                   records_.begin() + static_cast<std::ptrdiff_t>(next_ + fit));
        next_ += fit;
        return kDumpContinue;
    }

private:
    std::vector<uint8_t> records_;
    uint32_t recordSize_;
    size_t next_ = 0;
};

}  // namespace

void register_message(uint32_t type, MsgHandler handler) {
    messages()[type] = MessageEntry{kAnyLength, std::move(handler)};
}

void register_message(uint32_t type, uint32_t payloadLen, MsgHandler handler) {
    messages()[type] = MessageEntry{payloadLen, std::move(handler)};
}

void defer_reply(uint64_t token, uint32_t type, std::vector<uint8_t> payload, uint32_t delayMs) {
    deferred().push_back(detail::DeferredReply{token, type, std::move(payload), delayMs});
}

void register_dump(uint32_t dumpType, DumpFactory factory) { dumps()[dumpType] = std::move(factory); }

void register_control(uint32_t command, ControlHandler handler) { controls()[command] = std::move(handler); }

std::unique_ptr<DumpCursor> make_record_cursor(std::vector<uint8_t> records, uint32_t recordSize) {
    return std::make_unique<RecordCursor>(std::move(records), recordSize);
}

namespace detail {

std::vector<uint8_t> frame_message(uint32_t type, std::span<const uint8_t> payload) {
    std::vector<uint8_t> msg(kMsgHeaderSize + payload.size());
    put32(msg.data(), 0, type);
    put32(msg.data(), 4, static_cast<uint32_t>(msg.size()));
    if (!payload.empty()) std::memcpy(msg.data() + kMsgHeaderSize, payload.data(), payload.size());
    return msg;
}

Verdict handle_datagram(std::span<const uint8_t> datagram, uint64_t token, std::vector<uint8_t> &out) {
    // A datagram whose framing is wrong is not a request: answering it
    // could feed a reply loop with another confused peer.
    if (datagram.size() < kMsgHeaderSize || datagram.size() > kMaxDatagram) return Verdict::kDrop;
    const uint32_t type = get32(datagram.data());
    if (get32(datagram.data() + 4) != datagram.size()) return Verdict::kDrop;
    if (type == kMsgErrorType) return Verdict::kDrop;

    const auto it = messages().find(type);
    const bool lengthOk = it != messages().end() &&
                          (it->second.payloadLen == kAnyLength ||
                           static_cast<uint64_t>(it->second.payloadLen) == datagram.size() - kMsgHeaderSize);
    if (!lengthOk) {
        out = frame_message(kMsgErrorType, {});
        return Verdict::kSend;
    }

    MsgContext ctx{type, datagram.subspan(kMsgHeaderSize), {}, token};
    switch (it->second.handler(ctx)) {
    case Answer::kReply:
        out = frame_message(type, ctx.reply);
        return Verdict::kSend;
    case Answer::kDeferred:
        return Verdict::kDeferred;
    case Answer::kError:
        break;
    }
    out = frame_message(kMsgErrorType, {});
    return Verdict::kSend;
}

std::vector<DeferredReply> take_deferred() {
    std::vector<DeferredReply> taken;
    taken.swap(deferred());
    return taken;
}

const DumpFactory *find_dump(uint32_t dumpType) {
    const auto it = dumps().find(dumpType);
    return it == dumps().end() ? nullptr : &it->second;
}

const ControlHandler *find_control(uint32_t command) {
    const auto it = controls().find(command);
    return it == controls().end() ? nullptr : &it->second;
}

}  // namespace detail

}  // namespace dpsvc
