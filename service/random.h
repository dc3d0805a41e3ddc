// SPDX-License-Identifier: Apache-2.0
// The one generator behind the traffic and call models: a 64-bit state
// stepped by a fixed odd constant and scrambled on the way out, so that any
// seed, however regular, gives well-spread draws, and the same seed always
// gives the same tables.
#ifndef DPSVC_RANDOM_H
#define DPSVC_RANDOM_H

#include <cstdint>

namespace dpsvc {

// Scrambles a 64-bit word: near inputs give unrelated outputs.
inline uint64_t mix64(uint64_t x) {
    x ^= x >> 30;
    x *= 0xBF58476D1CE4E5B9ull;
    x ^= x >> 27;
    x *= 0x94D049BB133111EBull;
    x ^= x >> 31;
    return x;
}

struct Rng {
    uint64_t s;
    uint64_t next() {
        s += 0x9E3779B97F4A7C15ull;
        return mix64(s);
    }
    // A draw in [0, n); 0 when n is 0.
    uint32_t below(uint32_t n) { return n == 0 ? 0 : static_cast<uint32_t>(next() % n); }
};

}  // namespace dpsvc

#endif
