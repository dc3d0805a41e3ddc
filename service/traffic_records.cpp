// SPDX-License-Identifier: Apache-2.0
// The session table records as the kernel lays them out: addresses in
// network order as they travel, every other multi-byte field big-endian.
#include <cstring>

#include "traffic_wire.h"

namespace dpsvc {
namespace {

uint64_t scramble(uint64_t x) {
    x ^= x >> 33;
    x *= 0xFF51AFD7ED558CCDull;
    x ^= x >> 33;
    return x;
}

// A kernel object identity: a plausible, aligned kernel address that is
// the same for the same session and field.
uint64_t object_ref(uint64_t salt, uint32_t field) {
    return 0xFFFF888000000000ull | (scramble(salt + field) & 0x0000007FFFFFFFC0ull);
}

void put_address(uint8_t *rec, uint32_t off, const Address &a) { std::memcpy(rec + off, a.data(), a.size()); }

// Both tuples and the DS-Lite tunnel ends, where every session record
// starts.
void write_directions(uint8_t *rec, const Session &s) {
    write_tuple(rec, s.init);
    write_tuple(rec + 48, s.reply);
    put_address(rec, 96, s.dsLite[0]);
    put_address(rec, 112, s.dsLite[1]);
}

}  // namespace

// The counters, interfaces, times and application that the table entry and
// the kernel detail both carry next.
void write_counters(uint8_t *rec, const Session &s) {
    put32(rec, 128, s.packets[0]);
    put32(rec, 132, s.packets[1]);
    put32(rec, 136, s.bytes[0]);
    put32(rec, 140, s.bytes[1]);
    put32(rec, 144, s.ifIndex[0]);
    put32(rec, 148, s.ifIndex[1]);
    put32(rec, 152, s.startTime);
    put32(rec, 156, s.ttl);
    put32(rec, 160, s.appId);
}

void write_tuple(uint8_t *rec, const Tuple &t) {
    put8(rec, 0, t.family);
    put8(rec, 1, t.protocol);
    put8(rec, 2, t.flags);
    put_address(rec, 4, t.src);
    put_address(rec, 20, t.dst);
    put16(rec, 36, t.srcPort);
    put16(rec, 38, t.dstPort);
    put16(rec, 44, t.vrf);
}

void write_table_info(uint8_t *rec, const Session &s) {
    write_directions(rec, s);
    write_counters(rec, s);
    put8(rec, 164, s.state);
    put8(rec, 165, s.protoIndex);
    put16(rec, 166, static_cast<uint16_t>(s.index % kCores));
}

void write_fast_forward(uint8_t *rec, const Session &s) {
    write_directions(rec, s);
    put32(rec, 128, s.ifIndex[0]);
    put32(rec, 132, s.ifIndex[1]);
    put32(rec, 136, s.ttl);
}

void write_kernel_info(uint8_t *rec, const Session &s) {
    const uint64_t salt = s.salt;
    write_directions(rec, s);
    write_counters(rec, s);
    put8(rec, 168, s.state);
    put8(rec, 169, s.protoIndex);

    // The base block.
    put64(rec, 176, object_ref(salt, 1));
    put64(rec, 184, object_ref(salt, 2));
    put64(rec, 192, object_ref(salt, 3));
    put32(rec, 200, s.startTime + static_cast<uint32_t>(salt % 600));
    put32(rec, 204, 1 + static_cast<uint32_t>(salt >> 8) % 3);
    put16(rec, 212, static_cast<uint16_t>(0x10 | (s.natted ? 0x02 : 0)));
    put8(rec, 214, s.init.family == kFamilyV4 ? 1 : 2);
    put8(rec, 215, s.protoIndex);
    put16(rec, 216, static_cast<uint16_t>(salt >> 16));
    put16(rec, 218, static_cast<uint16_t>(salt >> 32));

    // The session block.
    const bool natted = s.natted;
    put64(rec, 224, object_ref(salt, 4));
    put64(rec, 232, (salt & 1) ? object_ref(salt, 5) : 0);
    put64(rec, 240, object_ref(salt, 6));
    put64(rec, 248, salt >> 52);
    put32(rec, 256, s.appId);
    put16(rec, 260, static_cast<uint16_t>((salt >> 12) & 0x7));
    put16(rec, 262, natted ? 0x0001 : 0x0000);
    put16(rec, 264, static_cast<uint16_t>(salt >> 40));
    put16(rec, 266, static_cast<uint16_t>((salt >> 20) & 0x3));
    put16(rec, 268, static_cast<uint16_t>((salt >> 24) & 0x1));
    for (uint32_t off = 270; off <= 276; ++off) put8(rec, off, static_cast<uint8_t>((salt >> (off - 270)) & 1));
    put8(rec, 277, 0);
    put8(rec, 278, s.state);
    put8(rec, 279, static_cast<uint8_t>((salt >> 28) & 0x3));
    put8(rec, 280, static_cast<uint8_t>((salt >> 30) & 0x1));
    put8(rec, 281, static_cast<uint8_t>((salt >> 31) & 0x3));
    put8(rec, 282, 4);
    put32(rec, 284, static_cast<uint32_t>(scramble(salt + 7)));
    put32(rec, 288, static_cast<uint32_t>(scramble(salt + 8)));
    put16(rec, 292, static_cast<uint16_t>((salt >> 33) & 0x3));

    // The extension block: sessions of the protocols with extra state, and
    // sessions an ALG follows, carry one.
    const bool ext = s.protoIndex == 5 || s.protoIndex == 6 || (salt >> 60) < 5;
    if (ext) {
        put64(rec, 296, object_ref(salt, 9));
        put64(rec, 304, (salt & 2) ? object_ref(salt, 10) : 0);
        put64(rec, 312, (salt & 4) ? object_ref(salt, 11) : 0);
        if (s.protoIndex == 5) {
            put32(rec, 320, static_cast<uint32_t>(scramble(salt + 12)));
            put32(rec, 324, static_cast<uint32_t>(scramble(salt + 13)));
        }
        put16(rec, 328, static_cast<uint16_t>((salt >> 36) & 0xF));
        put8(rec, 330, static_cast<uint8_t>((salt >> 40) & 1));
        put8(rec, 331, static_cast<uint8_t>((salt >> 41) & 0x7));
        if (s.protoIndex == 6) {
            put8(rec, 332, static_cast<uint8_t>(s.state));
            put8(rec, 333, static_cast<uint8_t>(s.state));
        }
    }

    // The log block.
    put32(rec, 340, s.packets[0]);
    put32(rec, 344, s.packets[1]);
    put32(rec, 348, s.bytes[0]);
    put32(rec, 352, s.bytes[1]);

    // The NAT block: present exactly when the responder direction is
    // translated (bit 1 of the module flag).
    if (natted) {
        put64(rec, 360, salt >> 44);
        put64(rec, 368, object_ref(salt, 14));
        put64(rec, 376, (salt & 8) ? object_ref(salt, 15) : 0);
        put64(rec, 384, (salt & 16) ? object_ref(salt, 16) : 0);
        put16(rec, 392, static_cast<uint16_t>(salt >> 4));
        put16(rec, 394, static_cast<uint16_t>(salt >> 6));
        put8(rec, 396, 0x01);
        put8(rec, 397, 0x02);
        put16(rec, 398, 0x0011);
        put16(rec, 400, static_cast<uint16_t>(salt >> 18));
        put16(rec, 402, static_cast<uint16_t>(salt >> 26));
        put32(rec, 404, s.ifIndex[1]);
        put32(rec, 408, 0);
        put8(rec, 412, static_cast<uint8_t>((salt >> 50) & 0x3));
        put16(rec, 414, static_cast<uint16_t>((salt >> 52) & 0x1));
        put8(rec, 416, 1);
        put8(rec, 417, static_cast<uint8_t>((salt >> 53) & 1));
        put8(rec, 418, static_cast<uint8_t>((salt >> 54) & 1));
        put8(rec, 420, static_cast<uint8_t>((salt >> 55) & 0xF));
        put64(rec, 424, object_ref(salt, 17));
    }
}

void write_relation(uint8_t *rec, const Relation &r) {
    write_tuple(rec, r.tuple);
    put_address(rec, 48, r.dsLite);
    put32(rec, 64, r.ttl);
    put32(rec, 68, r.appId);
    put16(rec, 72, static_cast<uint16_t>(r.salt & 0xFF));
}

void write_relation_all(uint8_t *rec, const Relation &r) {
    const uint64_t salt = r.salt;
    write_tuple(rec, r.tuple);
    // Attach data: where the ALG expects the child connection to go.
    put32(rec, 48, r.recvIfIndex);
    put32(rec, 52, (salt & 0x100) ? static_cast<uint32_t>(scramble(salt)) : 0);
    if (r.tuple.family == kFamilyV4) {
        std::memcpy(rec + 60, r.tuple.dst.data(), 4);
    }
    put16(rec, 76, r.tuple.dstPort);
    put16(rec, 78, r.tuple.vrf);
    put16(rec, 80, static_cast<uint16_t>((salt >> 9) & 0x7));
    put8(rec, 82, r.tuple.protocol);
    put8(rec, 83, static_cast<uint8_t>((salt >> 12) & 1));
    put_address(rec, 84, r.dsLite);
    put64(rec, 104, object_ref(salt, 21));
    put64(rec, 112, object_ref(salt, 22));
    put32(rec, 120, static_cast<uint32_t>(salt >> 32) % 86400);
    put32(rec, 124, static_cast<uint32_t>((salt >> 13) & 0xF));
    put32(rec, 128, static_cast<uint32_t>((salt >> 17) & 1));
    put32(rec, 132, r.recvIfIndex);
    put32(rec, 136, r.ttl);
    put32(rec, 140, r.appId);
    put32(rec, 144, r.tuple.srcPort == 0 ? 0x1Bu : 0x1Fu);
    put32(rec, 148, static_cast<uint32_t>((salt >> 18) & 0x3));
    put32(rec, 152, static_cast<uint32_t>((salt >> 20) & 0x7));
    put16(rec, 156, static_cast<uint16_t>(salt >> 23));
    put16(rec, 158, static_cast<uint16_t>(salt >> 39));
    put16(rec, 160, static_cast<uint16_t>((salt >> 55) & 1));
    put16(rec, 164, static_cast<uint16_t>((salt >> 56) & 1));
    if (r.tuple.family == kFamilyV4) {
        put64(rec, 168, (salt & 0x200) ? object_ref(salt, 23) : 0);
        put32(rec, 176, 1 + static_cast<uint32_t>((salt >> 57) & 0x3));
        put16(rec, 180, static_cast<uint16_t>((salt >> 59) & 0x3));
        put16(rec, 182, (salt & 0x200) ? static_cast<uint16_t>(1024 + (salt >> 45) % 60000) : 0);
        put32(rec, 184, static_cast<uint32_t>((salt >> 61) & 0x3));
        put16(rec, 192, static_cast<uint16_t>((salt >> 62) & 1));
        put8(rec, 194, static_cast<uint8_t>((salt >> 3) & 0x7));
        put64(rec, 200, (salt & 0x400) ? object_ref(salt, 24) : 0);
    }
}

}  // namespace dpsvc
