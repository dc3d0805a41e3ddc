// SPDX-License-Identifier: Apache-2.0
// Call-table items as the kernel delivers them, for the display tests.
#ifndef TESTS_UNIT_SQA_CALL_BUILDERS_H
#define TESTS_UNIT_SQA_CALL_BUILDERS_H

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "unit/sqa/sqa_fixture.h"

namespace sqatest {

using fake::Bytes;

inline void put(Bytes &b, size_t off, const Bytes &v) {
    std::memcpy(b.data() + off, v.data(), v.size());
}
// Text in a field of `size` bytes, NUL-padded.
inline Bytes text(const std::string &s, size_t size) {
    Bytes b(size, 0);
    std::memcpy(b.data(), s.data(), std::min(s.size(), size));
    return b;
}

inline std::string pad(const std::string &s, size_t width) {
    return s + std::string(width - s.size(), ' ');
}

// The two lines of eight driver-context words, first + i * step.
inline std::string ctx_line(const char *name, uint32_t first, uint32_t step) {
    auto word = [&](uint32_t i) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "%x", first + i * step);
        return "0x" + pad(hex, 8);
    };
    return std::string("  ") + name + "[0-7]: " + word(0) + "  " + word(1) + "  " + word(2) + "  " + word(3) + "\n" +
           std::string(25, ' ') + word(4) + "  " + word(5) + "  " + word(6) + "  " + word(7) + "\n";
}

// A type-length-value item.
inline Bytes item(uint16_t type, const Bytes &value) {
    return fake::cat({fake::be16(type), fake::be16(static_cast<uint16_t>(value.size())), value});
}

// Brief entry (SIP and H.323), 84 bytes; addresses 4 bytes in network order.
inline Bytes brief_entry(const std::string &callId, const Bytes &callerIp, uint16_t callerPort, const Bytes &calleeIp,
                         uint16_t calleePort) {
    Bytes b(84, 0);
    put(b, 0, Bytes(callId.begin(), callId.end()));
    put(b, 68, fake::cat({callerIp, fake::be16(callerPort), Bytes(2, 0), calleeIp, fake::be16(calleePort)}));
    return b;
}

// Second, minute, hour, day, month, year, and three unused words.
inline Bytes time_words(std::initializer_list<uint32_t> smhdmy) {
    Bytes b;
    for (uint32_t w : smhdmy) b = fake::cat({b, fake::be32(w)});
    return fake::cat({b, Bytes(12, 0xDD)});
}

inline Bytes contexts(uint32_t first, uint32_t step) {
    Bytes b;
    for (uint32_t i = 0; i < 8; ++i) b = fake::cat({b, le32(first + i * step)});
    return b;
}

}  // namespace sqatest

#endif
