// SPDX-License-Identifier: Apache-2.0
// The seeded call model: every field of call `i` is drawn from a generator
// keyed by (seed, protocol, i), and the cases a display must get right
// (missing scores, no VLAN, a 64-character call ID, an empty alias, no
// VXLAN, no application protocol) recur by index so that even a small table
// holds each of them.
#include "calls.h"

#include <cstdio>
#include <cstring>

#include "byte_order.h"
#include "options.h"
#include "random.h"

namespace dpsvc::calls {
namespace {

// A call's own draws: the service's seed, the domain (protocol or
// counters) and the call's index say where its sequence starts.
Rng call_rng(uint64_t domain, uint32_t index)
{
    Rng seeded{options().seed};
    Rng rng{seeded.next() ^ (domain << 40) ^ index};
    rng.next();
    return rng;
}

constexpr uint64_t kStatsDomain = 0x5747;  // keeps the counters' draws apart from the calls'
constexpr size_t kIdLength64 = 64;

void random_mac(Rng &rng, uint8_t *mac)
{
    uint64_t v = rng.next();
    for (int i = 0; i < 6; ++i) {
        mac[i] = static_cast<uint8_t>(v >> (8 * i));
    }
    mac[0] = static_cast<uint8_t>((mac[0] & 0xFE) | 0x02);  // unicast, locally administered
}

void make_id(Rng &rng, Proto proto, uint32_t index, char *id)
{
    const char *host = proto == Proto::kSip ? "sip" : "gk";
    int n = std::snprintf(id, kCallIdSize, "%016llx-%u@%s%u.lab%u.net", static_cast<unsigned long long>(rng.next()),
                          index, host, rng.below(100), rng.below(100));
    if (index % 6 == 2) {
        // Some call IDs fill the field to its last character.
        static const char filler[] = "abcdefghijklmnopqrstuvwxyz0123456789";
        for (size_t i = static_cast<size_t>(n); i < kIdLength64; ++i) {
            id[i] = filler[rng.below(sizeof filler - 1)];
        }
        id[kIdLength64] = '\0';
    }
}

void make_time(Rng &rng, uint32_t *t)
{
    t[0] = rng.below(60);          // second
    t[1] = rng.below(60);          // minute
    t[2] = rng.below(24);          // hour
    t[3] = 1 + rng.below(28);      // day of month
    t[4] = 1 + rng.below(12);      // month
    t[5] = 2020 + rng.below(6);    // year
    t[6] = rng.below(7);
    t[7] = rng.below(365);
    t[8] = 0;
}

void make_flow(Rng &rng, uint32_t index, uint64_t &packets, uint64_t &octets)
{
    packets = rng.below(200000);
    octets = packets * (60 + rng.below(1400));
    if (index % 9 == 4) {
        octets += 5000000000ull;  // beyond 32 bits
    }
}

void make_mos(Rng &rng, uint32_t index, uint32_t &forward, uint32_t &reverse)
{
    forward = 100 + rng.below(351);
    reverse = 100 + rng.below(351);
    switch (index % 8) {
    case 1: forward = kMosMissing; break;
    case 2: reverse = kMosMissing; break;
    case 3: forward = reverse = kMosMissing; break;
    case 4: forward = 100; reverse = 450; break;
    default: break;
    }
}

uint16_t make_vlan(Rng &rng, uint32_t index)
{
    switch (index % 5) {
    case 0: return 0;
    case 1: return 65535;
    default: return static_cast<uint16_t>(1 + rng.below(4094));
    }
}

void put_text(uint8_t *p, const char *text, size_t size)
{
    std::memcpy(p, text, strnlen(text, size - 1));
}

}  // namespace

uint32_t count()
{
    return options().calls;
}

Call make(Proto proto, uint32_t index)
{
    Call c{};
    Rng rng = call_rng(static_cast<uint64_t>(proto) + 1, index);

    make_id(rng, proto, index, c.id);
    c.callerIp = (10u << 24) | (rng.below(65536) << 8) | (1 + rng.below(254));
    c.calleeIp = (192u << 24) | (168u << 16) | (rng.below(256) << 8) | (1 + rng.below(254));
    random_mac(rng, c.callerMac);
    random_mac(rng, c.calleeMac);
    c.vlan = make_vlan(rng, index);
    make_time(rng, c.startTime);
    make_mos(rng, index, c.mosForward, c.mosReverse);
    make_flow(rng, index, c.fwdPackets, c.fwdOctets);
    make_flow(rng, index + 1, c.revPackets, c.revOctets);
    for (int i = 0; i < 8; ++i) {
        c.callerContext[i] = static_cast<uint32_t>(rng.next());
        c.calleeContext[i] = static_cast<uint32_t>(rng.next());
    }

    if (proto == Proto::kSip) {
        c.callerPort = index % 4 == 0 ? 5060 : static_cast<uint16_t>(1024 + rng.below(64512));
        c.calleePort = 5060;
        static const uint16_t media[3] = {1, 2, 0};
        c.mediaType = media[index % 3];
        std::snprintf(c.callerTag, kTagSize, "%u", static_cast<uint32_t>(rng.next()));
        std::snprintf(c.calleeTag, kTagSize, "%08x%04x", static_cast<uint32_t>(rng.next()), rng.below(65536));
        c.sipHidden = static_cast<uint32_t>(rng.next());
        return c;
    }

    uint64_t g1 = rng.next(), g2 = rng.next();
    std::snprintf(c.guid, kGuidSize, "%08x-%04x-%04x-%04x-%012llx", static_cast<uint32_t>(g1 >> 32),
                  static_cast<uint32_t>((g1 >> 16) & 0xFFFF), static_cast<uint32_t>(g1 & 0xFFFF),
                  static_cast<uint32_t>(g2 >> 48), static_cast<unsigned long long>(g2 & 0xFFFFFFFFFFFFull));
    c.callerPort = static_cast<uint16_t>(1024 + rng.below(64512));
    c.calleePort = static_cast<uint16_t>(1024 + rng.below(64512));
    c.h245Ip = index % 2 ? c.calleeIp : c.callerIp;
    c.h245Port = static_cast<uint16_t>(1024 + rng.below(64512));
    c.sessionId = 1 + rng.below(255);
    static const uint16_t media[6] = {1, 2, 0, 1, 2, 3};
    c.mediaType = media[index % 6];
    static const uint8_t protocols[4] = {0, 6, 17, 132};
    c.appProtocol = protocols[index % 4];
    if (index % 4 != 1) {
        int n = std::snprintf(c.alias, kAliasSize, "ext%u-%u", index, rng.below(10000));
        if (index % 7 == 3) {
            std::memset(c.alias + n, 'x', kAliasSize - 1 - static_cast<size_t>(n));  // fills the field
        }
    }
    c.vxlan = index % 3 == 0 ? kVxlanNone : rng.below(1u << 24);
    static const uint32_t rates[4] = {8000, 16000, 48000, 90000};
    c.samplingRate = rates[rng.below(4)];
    c.h323Hidden = rng.next();
    return c;
}

std::optional<uint32_t> find(Proto proto, std::string_view id)
{
    // Every ID is "<16 hex digits>-<index>@<host>": the index says which
    // call to make, and the whole ID must then match.
    if (id.size() < 19 || id.size() >= kCallIdSize || id[16] != '-') {
        return std::nullopt;
    }
    uint64_t index = 0;
    size_t i = 17;
    for (; i < id.size() && id[i] >= '0' && id[i] <= '9' && i < 27; ++i) {
        index = index * 10 + static_cast<uint64_t>(id[i] - '0');
    }
    if (i == 17 || i >= id.size() || id[i] != '@' || index >= count()) {
        return std::nullopt;
    }
    Call c = make(proto, static_cast<uint32_t>(index));
    if (id != std::string_view(c.id)) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(index);
}

Statistics statistics(Proto proto)
{
    Rng rng = call_rng(kStatsDomain + static_cast<uint64_t>(proto), 0);
    Statistics s{};
    s.active = count();
    s.successful = 3ull * count() + rng.below(97);
    s.timeout = rng.below(23);
    s.abnormal = rng.below(11);
    s.other = rng.below(1000);
    s.number = rng.below(10000);
    s.total = s.active + s.successful + s.timeout + s.abnormal;
    return s;
}

void write_brief(const Call &c, uint8_t *out)
{
    std::memset(out, 0, kBriefSize);
    put_text(out, c.id, kCallIdSize);
    put32(out, 68, c.callerIp);
    put16(out, 72, c.callerPort);
    put32(out, 76, c.calleeIp);
    put16(out, 80, c.calleePort);
}

namespace {

// The packet and octet counts of both directions, then the VLAN.
void put_traffic(uint8_t *out, const Call &c)
{
    put64(out, 0, c.fwdPackets);
    put64(out, 8, c.fwdOctets);
    put64(out, 16, c.revPackets);
    put64(out, 24, c.revOctets);
    put16(out, 32, c.vlan);
}

// The nine start-time words, at the same place in both verbose entries.
void put_start_time(uint8_t *out, const Call &c)
{
    for (int i = 0; i < 9; ++i) {
        put32(out, 212 + 4 * i, c.startTime[i]);
    }
}

}  // namespace

void write_sip_verbose(const Call &c, uint8_t *out)
{
    std::memset(out, 0, kSipVerboseSize);
    put_text(out, c.id, kCallIdSize);
    put32(out, 68, c.sipHidden);
    out[72] = static_cast<uint8_t>(c.mediaType);
    put32(out, 76, c.callerIp);
    put16(out, 80, c.callerPort);
    std::memcpy(out + 82, c.callerMac, 6);
    put32(out, 88, c.calleeIp);
    put16(out, 92, c.calleePort);
    put_traffic(out + 96, c);
    // The SIP engine keeps its scores in its own (host) order, and the
    // driver contexts are the drivers' words, handed out as they are.
    std::memcpy(out + 132, &c.mosForward, 4);
    std::memcpy(out + 136, &c.mosReverse, 4);
    std::memcpy(out + 140, c.calleeMac, 6);
    std::memcpy(out + 148, c.callerContext, 32);
    std::memcpy(out + 180, c.calleeContext, 32);
    put_start_time(out, c);
    put_text(out + 248, c.callerTag, kTagSize);
    put_text(out + 313, c.calleeTag, kTagSize);
}

void write_h323_verbose(const Call &c, uint8_t *out)
{
    std::memset(out, 0, kH323VerboseSize);
    put_text(out, c.id, kCallIdSize);
    put_text(out + 65, c.guid, kGuidSize);
    put32(out, 132, c.h245Ip);
    put16(out, 136, c.h245Port);
    put32(out, 140, c.sessionId);
    put16(out, 144, c.mediaType);
    put32(out, 148, c.callerIp);
    put32(out, 152, c.calleeIp);
    put16(out, 156, c.callerPort);
    put16(out, 158, c.calleePort);
    out[160] = c.appProtocol;
    std::memcpy(out + 161, c.callerMac, 6);
    std::memcpy(out + 167, c.calleeMac, 6);
    put_traffic(out + 176, c);
    put_start_time(out, c);
    put32(out, 248, c.mosForward);
    put32(out, 252, c.mosReverse);
    put64(out, 256, c.h323Hidden);
    std::memcpy(out + 264, c.callerContext, 32);
    std::memcpy(out + 296, c.calleeContext, 32);
    put_text(out + 328, c.alias, kAliasSize);
    put32(out, 460, c.vxlan);
    put32(out, 464, c.samplingRate);
}

void write_statistics(const Statistics &s, uint8_t *out)
{
    std::memset(out, 0, kStatisticsSize);
    // Six u64 counts, then the number of calls.
    const uint64_t counts[] = {s.total, s.active, s.successful, s.timeout, s.other, s.abnormal};
    for (uint32_t i = 0; i < 6; ++i) {
        put64(out, 8 * i, counts[i]);
    }
    put32(out, 48, s.number);
}

}  // namespace dpsvc::calls
