// SPDX-License-Identifier: Apache-2.0
// Shared fixture of the session display tests: records built byte by byte
// in network order, a fixed time zone and a small name database.
#ifndef TESTS_UNIT_SESSION_DISPLAY_FIXTURE_H
#define TESTS_UNIT_SESSION_DISPLAY_FIXTURE_H

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

#include "fake/fake_platform.h"

namespace sdtest {

using fake::Bytes;

// A wire record under construction; every setter writes network order.
struct Rec {
    Bytes b;
    explicit Rec(size_t n) : b(n, 0) {}
    Rec &u8(size_t off, uint8_t v) {
        b.at(off) = v;
        return *this;
    }
    Rec &be16(size_t off, uint16_t v) { return raw(off, fake::be16(v)); }
    Rec &be32(size_t off, uint32_t v) { return raw(off, fake::be32(v)); }
    Rec &be64(size_t off, uint64_t v) { return raw(off, fake::be64(v)); }
    Rec &raw(size_t off, const Bytes &v) {
        for (size_t i = 0; i < v.size(); ++i) b.at(off + i) = v[i];
        return *this;
    }
};

// One direction (48 bytes) at `base` of a record.
struct Tuple {
    uint8_t family = 2;
    uint8_t protocol = 6;
    uint8_t flags = 0;
    Bytes src = {192, 168, 1, 10};
    Bytes dst = {10, 0, 0, 1};
    uint16_t sport = 40000;
    uint16_t dport = 80;
    uint16_t vrf = 0;
};
inline void put_tuple(Rec &r, size_t base, const Tuple &t) {
    r.u8(base, t.family).u8(base + 1, t.protocol).u8(base + 2, t.flags);
    r.raw(base + 4, t.src).raw(base + 20, t.dst);
    r.be16(base + 36, t.sport).be16(base + 38, t.dport).be32(base + 40, 0x01020304).be16(base + 44, t.vrf);
}
inline Tuple reversed(Tuple t) {
    std::swap(t.src, t.dst);
    std::swap(t.sport, t.dport);
    return t;
}

// Left-aligned in w columns, as %-<w> prints it; right-aligned.
inline std::string col(const std::string &v, size_t w) {
    return v.size() >= w ? v : v + std::string(w - v.size(), ' ');
}
inline std::string rcol(const std::string &v, size_t w) {
    return v.size() >= w ? v : std::string(w - v.size(), ' ') + v;
}

// What f prints; its result (if any) goes to *rc.
template <class F>
std::string shown(F &&f, uint32_t *rc = nullptr) {
    fake::CaptureStdout out;
    if constexpr (std::is_void_v<decltype(f())>) {
        f();
    } else {
        const uint32_t r = f();
        if (rc != nullptr) *rc = r;
    }
    return out.take();
}

// One direction of a session entry as the tables print it; peer null for
// IPv6, which has no tunnel line.
inline std::string direction(const std::string &src, const std::string &dst, const char *peer, const std::string &vpn,
                             const std::string &protocol) {
    return "  Source      IP/port: " + src + "\r\n  Destination IP/port: " + dst + "\r\n" +
           (peer ? "  DS-Lite tunnel peer: " + std::string(peer) + "\r\n" : "") +
           "  VPN instance/VLAN ID/VLL ID: " + vpn + "\r\n  Protocol: " + protocol + "\r\n";
}
inline std::string inbound(const std::string &name) {
    return "  Inbound interface: " + name + "\r\n";
}
inline std::string flow(const char *way, const std::string &packets, const std::string &bytes) {
    return std::string(way) + ":   " + rcol(packets, 10) + " packets " + rcol(bytes, 10) + " bytes\r\n";
}
// The head of a relation entry (table and detail alike); peer null for IPv6.
inline std::string relation_head(const std::string &src, const std::string &dst, const char *peer,
                                 const std::string &vpn, const std::string &protocol, const std::string &ttl,
                                 const std::string &app) {
    return (peer ? "Source IP/port:      " : "Source IP:           ") + src + "\r\nDestination IP/port: " + dst +
           "\r\n" + (peer ? "DS-Lite tunnel peer: " + std::string(peer) + "\r\n" : "") +
           "  VPN instance/VLAN ID/VLL ID: " + vpn + "\r\nProtocol: " + protocol + "    TTL: " + ttl +
           "\r\nApplication: " + app + "\r\n\r\n";
}

inline const Bytes kIpv6A = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
inline const Bytes kIpv6B = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};

template <size_t N>
uint32_t put_name(char *out, const char (&name)[N]) {
    std::memcpy(out, name, N);
    return 0;
}

// Names known to the platform: protocols 6, 17, 47, 58; application 5;
// interfaces 10, 11; VPN instance 3.  Everything else is unknown.
class SessionDisplayTest : public FakePlatformTest {
protected:
    void SetUp() override {
        FakePlatformTest::SetUp();
        setenv("TZ", "UTC", 1);
        tzset();
        fake::hooks().APR_GetProtoNameByID = [](uint32_t p, char *out) -> uint32_t {
            switch (p) {
                case 6:
                    return put_name(out, "tcp");
                case 17:
                    return put_name(out, "udp");
                case 47:
                    return put_name(out, "gre");
                case 58:
                    return put_name(out, "ipv6-icmp");
                default:
                    return 1;
            }
        };
        fake::hooks().APR_GetAppNameByID = [](uint32_t a, char *out) -> uint32_t {
            return a == 5 ? put_name(out, "http") : 1;
        };
        fake::hooks().IF_GetDataByIfIndex = [](uint32_t i, uint32_t item, void *out) -> uint32_t {
            if (item != 10) return 1;
            if (i == 10) return put_name(static_cast<char *>(out), "GigabitEthernet1/0/1");
            if (i == 11) return put_name(static_cast<char *>(out), "GE1/0/2");
            return 1;
        };
        fake::hooks().L3VPN_GetNameByVrfIndex = [](uint32_t v, uint32_t, char *out) -> uint32_t {
            return v == 3 ? put_name(out, "vpn-a") : 1;
        };
    }
};

}  // namespace sdtest

#endif
