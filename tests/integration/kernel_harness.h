// Kernel-table tests: dumps walked through libdpplatform exactly as the
// library walks them, and the big-endian reads the records need.
#ifndef DPTEST_KERNEL_HARNESS_H
#define DPTEST_KERNEL_HARNESS_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/dump.h"

namespace kerneltest {

constexpr uint32_t kContinue = 0x40010009u;

inline uint16_t be16(const uint8_t *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }
inline uint32_t be32(const uint8_t *p) { return static_cast<uint32_t>(be16(p)) << 16 | be16(p + 2); }
inline uint64_t be64(const uint8_t *p) { return static_cast<uint64_t>(be32(p)) << 32 | be32(p + 4); }
inline void put16(uint8_t *p, uint16_t v) { p[0] = static_cast<uint8_t>(v >> 8), p[1] = static_cast<uint8_t>(v); }
inline void put32(uint8_t *p, uint32_t v) { put16(p, static_cast<uint16_t>(v >> 16)), put16(p + 2, static_cast<uint16_t>(v)); }

struct Pull {
    uint32_t rc;
    std::vector<uint8_t> chunk;
};

struct Walk {
    bool opened = false;
    std::vector<Pull> pulls;  // up to and including the first that is not a continuation
};

// Opens a dump and pulls until a result other than the continuation code
// (at most maxPulls times), then terminates it.
inline Walk walk(uint16_t node, uint32_t type, const void *key, uint32_t keyLen, uint32_t bufLen,
                 size_t maxPulls = 1000000)
{
    Walk w;
    const uint32_t h = DUMP_Request(node, type, key, keyLen);
    if (h == DUMP_INVALID_HANDLE) return w;
    w.opened = true;
    std::vector<uint8_t> buf(bufLen);
    for (size_t i = 0; i < maxPulls; ++i) {
        uint32_t got = 0;
        const uint32_t rc = DUMP_Pull(h, bufLen, buf.data(), &got);
        w.pulls.push_back(Pull{rc, std::vector<uint8_t>(buf.begin(), buf.begin() + std::min(got, bufLen))});
        if (rc != kContinue) break;
    }
    DUMP_Terminate(h);
    return w;
}

}  // namespace kerneltest

#endif
