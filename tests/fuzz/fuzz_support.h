// SPDX-License-Identifier: Apache-2.0
// What the fuzz targets share: a reader over the engine's input, dump
// scripts and chunks read from it, and a canary for buffers the library
// must leave alone.  The displays' text is not wanted: the driver sends
// standard output to /dev/null, scripts/fuzz.sh has libFuzzer close it.
#ifndef TESTS_FUZZ_FUZZ_SUPPORT_H
#define TESTS_FUZZ_FUZZ_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "dpmgmt/channels.h"
#include "fake/fake_platform.h"

// The entry point every target defines and the engine (or driver.cpp) calls.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzz {

// The largest chunk a script hands over: every pull buffer of the library
// (at most 8000 bytes) and more.
constexpr size_t kMaxChunk = 8192;

// Reads past the end as zero bytes and short takes.
class Input {
public:
    Input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
    bool empty() const { return at_ >= size_; }
    size_t left() const { return size_ - at_; }
    uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
    uint16_t u16() {
        const uint8_t high = byte();
        return static_cast<uint16_t>(high << 8 | byte());
    }
    uint32_t u32() {
        const uint32_t high = u16();
        return high << 16 | u16();
    }
    fake::Bytes take(size_t n) {
        if (n > left()) n = left();
        fake::Bytes b(data_ + at_, data_ + at_ + n);
        at_ += n;
        return b;
    }
    // A body of a length the input names: a u16 whose top bit asks for a
    // pattern (a u16 of its length, then the pattern, a record say) repeated to
    // the length, so that a small input still fills a whole batch; else
    // that many bytes as they stand (fewer at the input's end).
    fake::Bytes body(size_t cap) {
        const uint16_t word = u16();
        const size_t len = std::min<size_t>(word & 0x7FFFu, cap);
        if ((word & 0x8000u) == 0) return take(len);
        const fake::Bytes pattern = take(u16());
        fake::Bytes out(len, 0);
        if (!pattern.empty())
            for (size_t i = 0; i < len; ++i) out[i] = pattern[i % pattern.size()];
        return out;
    }
    // A chunk of type-length-value items: a mode byte (a multiple of 4: a
    // raw body), then up to 8 items, each a selector byte (below 200: the
    // item is of itemType, else of that type), a u16 length and the value,
    // which is cut to half the length for every fifth selector.
    fake::Bytes items(uint16_t itemType) {
        const uint8_t mode = byte();
        if (mode % 4 == 0) return body(kMaxChunk);
        fake::Bytes chunk;
        for (unsigned i = 0; i <= mode % 8u && !empty(); ++i) {
            const uint8_t sel = byte();
            const uint16_t length = u16() % 700;
            const fake::Bytes value = take(sel % 5 == 0 ? length / 2u : length);
            chunk = fake::cat({chunk, fake::be16(sel < 200 ? itemType : sel), fake::be16(length), value});
        }
        return chunk;
    }

private:
    const uint8_t *data_;
    size_t size_;
    size_t at_ = 0;
};

// A broken invariant stops the engine at the input that broke it.
inline void check(bool ok) {
    if (!ok) __builtin_trap();
}

// Scripts the kernel's answers to a display that requests the dump types
// in `dumps` in that order (a type may repeat: one script per request).
// Each pull is a byte choosing its result, then a chunk (Input::body, or
// Input::items when itemType is not 0): odd is the continuation code, 0xFE
// ends this dump's script and starts the next one's, any other even value
// is returned as it is.
inline void script_dumps(Input &in, const std::vector<uint32_t> &dumps, uint16_t itemType = 0) {
    constexpr size_t kMaxPulls = 48;
    std::vector<std::vector<fake::Pull>> scripts(1);
    size_t pulls = 0;
    while (!in.empty() && pulls < kMaxPulls) {
        const uint8_t result = in.byte();
        if (result == 0xFE) {
            if (scripts.size() == dumps.size()) break;
            scripts.emplace_back();
            continue;
        }
        scripts.back().push_back(
            {result & 1 ? DPMGMT_DUMP_CONTINUE : result, itemType != 0 ? in.items(itemType) : in.body(kMaxChunk)});
        ++pulls;
    }
    for (size_t i = 0; i < dumps.size(); ++i)
        fake::script_dump(dumps[i], i < scripts.size() ? scripts[i] : std::vector<fake::Pull>{});
}

// A buffer of the size a caller hands the library, with guard bytes behind
// it; all of it starts as a known pattern.
class Canary {
public:
    static constexpr uint8_t kPattern = 0xA5;
    static constexpr size_t kGuard = 16;
    explicit Canary(size_t size) : size_(size), bytes_(size + kGuard, kPattern) {}
    uint8_t *data() { return bytes_.data(); }
    template <class T>
    T *as() {
        return reinterpret_cast<T *>(bytes_.data());
    }
    // No byte of [from, to) changed.
    bool untouched(size_t from, size_t to) const {
        return std::all_of(bytes_.begin() + static_cast<long>(from), bytes_.begin() + static_cast<long>(to),
                           [](uint8_t b) { return b == kPattern; });
    }
    bool untouched() const { return untouched(0, bytes_.size()); }
    bool guard_intact() const { return untouched(size_, bytes_.size()); }

private:
    size_t size_;
    std::vector<uint8_t> bytes_;
};

}  // namespace fuzz

#endif
