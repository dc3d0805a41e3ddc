// SPDX-License-Identifier: Apache-2.0
// What the fuzz targets share: a reader over the engine's input, dump
// scripts and chunks read from it, a canary for buffers the library must
// leave alone, and standard output sent to /dev/null while an input runs,
// so that the displays' text does not bury the driver's report.
#ifndef TESTS_FUZZ_FUZZ_SUPPORT_H
#define TESTS_FUZZ_FUZZ_SUPPORT_H

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "dpmgmt/channels.h"
#include "fake/fake_platform.h"

// The entry point every target defines and the engine (or driver.cpp) calls.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzz {

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

private:
    const uint8_t *data_;
    size_t size_;
    size_t at_ = 0;
};

class QuietStdout {
public:
    QuietStdout() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        const int devnull = open("/dev/null", O_WRONLY);
        if (devnull >= 0) {
            dup2(devnull, STDOUT_FILENO);
            close(devnull);
        }
    }
    ~QuietStdout() {
        std::fflush(stdout);
        if (saved_ >= 0) {
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
        }
    }
    QuietStdout(const QuietStdout &) = delete;
    QuietStdout &operator=(const QuietStdout &) = delete;

private:
    int saved_ = -1;
};

// A broken invariant stops the engine at the input that broke it.
inline void check(bool ok) {
    if (!ok) __builtin_trap();
}

// The largest chunk a script hands over: every pull buffer of the library
// (at most 8000 bytes) and more.
constexpr size_t kMaxChunk = 8192;

// Scripts the kernel's answers to a display that requests the dump types
// in `dumps` in that order (a type may repeat: one script per request).
// Each pull is a chunk body (Input::body) and a byte choosing its result:
// odd is the continuation code, 0xFE ends this dump's script and starts the
// next one's, any other even value is returned as it is.
inline void script_dumps(Input &in, std::initializer_list<uint32_t> dumps, size_t maxPulls = 48) {
    std::vector<std::vector<fake::Pull>> scripts(1);
    size_t pulls = 0;
    while (!in.empty() && pulls < maxPulls) {
        const uint8_t result = in.byte();
        if (result == 0xFE) {
            if (scripts.size() == dumps.size()) break;
            scripts.emplace_back();
            continue;
        }
        scripts.back().push_back({result & 1 ? DPMGMT_DUMP_CONTINUE : result, in.body(kMaxChunk)});
        ++pulls;
    }
    size_t i = 0;
    for (const uint32_t type : dumps)
        fake::script_dump(type, i < scripts.size() ? scripts[i++] : std::vector<fake::Pull>{});
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
    size_t size() const { return size_; }
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
