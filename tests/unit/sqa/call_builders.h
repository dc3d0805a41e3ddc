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
inline void put_text(Bytes &b, size_t off, const std::string &s) {
    std::memcpy(b.data() + off, s.data(), s.size());
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

struct Endpoint {
    Bytes ip;  // 4 bytes, network order
    uint16_t port;
    Bytes mac;  // 6 bytes
};

// Brief entry (SIP and H.323), 84 bytes.
inline Bytes brief_entry(const std::string &callId, const Endpoint &caller, const Endpoint &callee) {
    Bytes b(84, 0);
    put_text(b, 0, callId);
    put(b, 68, caller.ip);
    put(b, 72, fake::be16(caller.port));
    put(b, 76, callee.ip);
    put(b, 80, fake::be16(callee.port));
    return b;
}

struct CallTime {
    uint32_t year, month, day, hour, minute, second;
};

inline Bytes time_words(const CallTime &t) {
    return fake::cat({fake::be32(t.second), fake::be32(t.minute), fake::be32(t.hour), fake::be32(t.day),
                      fake::be32(t.month), fake::be32(t.year), fake::be32(0xDDDDDDDD), fake::be32(0xDDDDDDDD),
                      fake::be32(0xDDDDDDDD)});
}

inline Bytes contexts(uint32_t first, uint32_t step) {
    Bytes b;
    for (uint32_t i = 0; i < 8; ++i) b = fake::cat({b, le32(first + i * step)});
    return b;
}

struct SipCall {
    std::string callId = "call-1@example";
    uint8_t media = 1;
    Endpoint caller{{10, 1, 1, 1}, 5060, {0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f}};
    Endpoint callee{{10, 1, 1, 2}, 5062, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
    uint64_t fwdPackets = 100, fwdOctets = 16000, revPackets = 90, revOctets = 14400;
    uint16_t vlan = 1;
    uint32_t fwdMos = 412, revMos = 350;  // travel in host order
    CallTime start{2024, 3, 5, 7, 8, 9};
    std::string callerTag = "tagA", calleeTag = "tagB";
};

inline Bytes sip_verbose(const SipCall &c) {
    Bytes b(384, 0);
    put_text(b, 0, c.callId);
    put(b, 68, fake::be32(77));
    b[72] = c.media;
    put(b, 76, c.caller.ip);
    put(b, 80, fake::be16(c.caller.port));
    put(b, 82, c.caller.mac);
    put(b, 88, c.callee.ip);
    put(b, 92, fake::be16(c.callee.port));
    put(b, 96, fake::be64(c.fwdPackets));
    put(b, 104, fake::be64(c.fwdOctets));
    put(b, 112, fake::be64(c.revPackets));
    put(b, 120, fake::be64(c.revOctets));
    put(b, 128, fake::be16(c.vlan));
    put(b, 132, le32(c.fwdMos));
    put(b, 136, le32(c.revMos));
    put(b, 140, c.callee.mac);
    put(b, 148, contexts(1, 1));
    put(b, 180, contexts(0x10, 0x10));
    put(b, 212, time_words(c.start));
    put_text(b, 248, c.callerTag);
    put_text(b, 313, c.calleeTag);
    return b;
}

struct H323Call {
    std::string callId = "h323-call";
    std::string guid = "guid-xyz";
    Bytes h245Ip{10, 2, 2, 2};
    uint16_t h245Port = 1300;
    uint32_t sessionId = 42;
    uint16_t media = 2;
    Endpoint caller{{10, 1, 1, 1}, 1720, {0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f}};
    Endpoint callee{{192, 168, 0, 9}, 1721, {0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}};
    uint8_t protocol = 17;
    uint64_t fwdPackets = 5, fwdOctets = 800, revPackets = 6, revOctets = 960;
    uint16_t vlan = 100;
    CallTime start{2023, 12, 31, 23, 59, 58};
    uint32_t fwdMos = 412, revMos = 350;  // travel in network order
    std::string alias = "alice";
    uint32_t vxlan = 5000;
    uint32_t samplingRate = 8000;
};

inline Bytes h323_verbose(const H323Call &c) {
    Bytes b(472, 0);
    put_text(b, 0, c.callId);
    put_text(b, 65, c.guid);
    put(b, 132, c.h245Ip);
    put(b, 136, fake::be16(c.h245Port));
    put(b, 140, fake::be32(c.sessionId));
    put(b, 144, fake::be16(c.media));
    put(b, 148, c.caller.ip);
    put(b, 152, c.callee.ip);
    put(b, 156, fake::be16(c.caller.port));
    put(b, 158, fake::be16(c.callee.port));
    b[160] = c.protocol;
    put(b, 161, c.caller.mac);
    put(b, 167, c.callee.mac);
    put(b, 176, fake::be64(c.fwdPackets));
    put(b, 184, fake::be64(c.fwdOctets));
    put(b, 192, fake::be64(c.revPackets));
    put(b, 200, fake::be64(c.revOctets));
    put(b, 208, fake::be16(c.vlan));
    put(b, 212, time_words(c.start));
    put(b, 248, fake::be32(c.fwdMos));
    put(b, 252, fake::be32(c.revMos));
    put(b, 256, fake::be64(0x0102030405060708ull));
    put(b, 264, contexts(0xA0, 1));
    put(b, 296, contexts(0xB0, 1));
    put_text(b, 328, c.alias);
    put(b, 460, fake::be32(c.vxlan));
    put(b, 464, fake::be32(c.samplingRate));
    return b;
}

}  // namespace sqatest

#endif
