// The session service's protocol against a real dpservice: every message
// type answers a request of exactly its length with a reply of exactly the
// length the library reads, anything else gets the error reply or no
// answer, and what a set request stores is what the matching query answers.
#include <gtest/gtest.h>

#include <cstring>

#include "support/service_process.h"

namespace {

using dptest::be16;
using dptest::be32;
using dptest::Bytes;
using dptest::operator+;
using dptest::get_be16;
using dptest::get_be32;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint32_t kNotExist = 0x40010005u;

struct Catalogue {
    uint32_t type, request, reply;  // payload bytes
};

constexpr Catalogue kCatalogue[] = {
    {0, 8, 4},    {1, 8, 4},     {2, 20, 4},     {3, 20, 4},     {4, 8, 4},    {5, 4, 4},     {6, 8, 8},
    {7, 4, 4},    {9, 12, 4},    {10, 12, 12},   {11, 16, 4},    {12, 12, 4},  {13, 0, 68},   {14, 0, 76},
    {15, 0, 76},  {16, 0, 12},   {17, 4, 648},   {18, 12, 2912}, {19, 8, 2884}, {20, 68, 4},  {21, 4, 4},
    {22, 2, 4},   {24, 0, 20},   {25, 16, 4},    {26, 8, 4},     {27, 8, 4},   {28, 96, 4},   {29, 96, 112},
    {30, 8, 4},   {31, 12, 4},   {32, 8, 4},     {33, 12, 2},    {34, 8, 2},   {35, 8, 16},   {36, 8, 16},
    {37, 8, 8},   {38, 8, 4},    {39, 4, 4},     {40, 8, 4},     {41, 136, 4}, {42, 8, 144},  {43, 8, 144},
    {44, 4, 4},   {45, 8, 4},    {46, 2, 4},     {47, 2, 4},     {48, 0, 2},   {49, 2, 4},    {50, 4, 4},
    {51, 0, 2},   {52, 2, 4},    {53, 0, 2},     {54, 8, 4},     {55, 8, 4},   {56, 4, 4},    {57, 4, 4},
    {58, 68, 4},  {59, 2, 4},    {60, 8, 4},     {61, 8, 4},     {62, 4, 4},   {63, 4, 4},    {64, 8, 4},
    {65, 8, 8},   {68, 2, 4},    {69, 0, 2},     {70, 44, 4},    {71, 2, 4},   {72, 2, 4},    {73, 8, 4},
    {74, 12, 4},  {75, 2, 4},    {77, 2, 4},     {78, 2, 4},     {79, 12, 4},  {80, 2, 4},    {81, 8, 4},
    {82, 12, 4},  {83, 12, 12},  {84, 8, 8},     {85, 8, 8},     {86, 16, 16}, {87, 8, 4},
};

class ServiceProtocol : public ::testing::Test {
protected:
    // The payload of a reply, after checking its header; empty when none.
    Bytes query(uint32_t type, const Bytes &payload) {
        const auto reply = client.exchange(type, payload);
        EXPECT_TRUE(reply && reply->size() >= 8 && get_be32(*reply, 0) == type && get_be32(*reply, 4) == reply->size())
            << "type " << type;
        return reply && reply->size() >= 8 ? Bytes(reply->begin() + 8, reply->end()) : Bytes{};
    }

    dptest::ServiceProcess svc{{"--sessions", "50"}};
    dptest::SvcClient client{svc.rundir()};
};

TEST_F(ServiceProtocol, EveryTypeAnswersItsExactLengthOnly) {
    for (const Catalogue &c : kCatalogue) {
        SCOPED_TRACE("type " + std::to_string(c.type));
        EXPECT_EQ(query(c.type, Bytes(c.request, 0)).size(), c.reply);
        EXPECT_EQ(client.exchange(c.type, Bytes(c.request + 1, 0)), dptest::error_reply());
        if (c.request > 0) {
            EXPECT_EQ(client.exchange(c.type, Bytes(c.request - 1, 0)), dptest::error_reply());
        }
    }
    for (uint32_t type : {8u, 23u, 66u, 67u, 76u, 88u, 0x7FFFFFFFu})
        EXPECT_EQ(client.exchange(type, Bytes(4, 0)), dptest::error_reply()) << type;
}

TEST_F(ServiceProtocol, MalformedDatagramsGetNoAnswer) {
    const std::vector<Bytes> malformed = {
        Bytes{},                                        // empty
        Bytes{0, 0, 0, 49, 0, 0, 0},                    // shorter than a header
        be32(49) + be32(11) + be16(1),                  // length field too large
        be32(49) + be32(8) + be16(1),                   // length field too small
        be32(0xFFFFFFFFu) + be32(8),                    // an error reply is no request
        be32(49) + be32(70008) + Bytes(70000, 0),       // larger than any request
    };
    for (const Bytes &d : malformed) ASSERT_TRUE(client.send_raw(d)) << d.size();
    // Datagrams on one socket are served in order: had any of the above been
    // answered, its reply would come first.
    ASSERT_TRUE(client.send_raw(be32(49) + be32(10) + be16(1)));
    EXPECT_EQ(client.receive(), (Bytes{0, 0, 0, 49, 0, 0, 0, 12, 0, 0, 0, 0}));
}

// Each row: a set request and the result it answers (none when kNone),
// then a query and the bytes expected at an offset of its reply.  Rows run
// in order on one service, so later rows see what earlier ones set.
TEST_F(ServiceProtocol, WhatIsSetIsWhatTheQueryAnswers) {
    constexpr uint32_t kNone = ~0u;
    const auto logPolicy = [](uint32_t ifIndex, uint32_t value) { return be32(ifIndex) + be32(value) + Bytes(12, 0); };
    const auto debug = [](uint32_t module, uint32_t bits, uint32_t on) {
        return be32(module) + be32(bits) + be32(on) + Bytes(4, 0);
    };
    const Bytes tail = {0xAB, 0xCD};  // a query's trailing bytes come back as they went
    const Bytes sip = be32(0) + be16(0) + tail, h323 = be32(1) + Bytes(4, 0);
    const Bytes filter = Bytes{0xC0, 0xA8, 0x01, 0x00, 0xFF, 0xFF, 0xFF, 0x00} + be16(24);
    const auto remark = [](uint32_t k2, uint16_t flag, uint16_t value) {
        return be32(1) + be32(k2) + be16(flag) + be16(value);
    };
    const struct Row {
        uint32_t set;
        Bytes setPayload;
        uint32_t rc;
        uint32_t get;
        Bytes getPayload;
        size_t at;
        Bytes expected;
    } rows[] = {
        // aging: application 16 and layer-4 state 18 are the last of their lists
        {0, be32(16) + be32(1234), 0, 13, {}, 64, be32(1234)},
        {0, be32(17) + be32(5), kFailed, 13, {}, 60, be32(600)},
        {1, be32(18) + be32(99), 0, 14, {}, 72, be32(99)},
        {1, be32(19) + be32(5), kFailed, kNone, {}, 0, {}},
        // logging, kept per interface
        {2, logPolicy(7, 5), 0, 3, logPolicy(7, 0), 0, be32(5)},
        {kNone, {}, 0, 3, logPolicy(8, 0), 0, be32(0)},
        {4, be32(1) + be32(5000), 0, 6, Bytes(8), 0, be32(1) + be32(5000)},
        {5, be32(30), 0, 7, be32(0), 0, be32(30)},
        {62, be32(600), 0, 63, be32(0), 0, be32(600)},
        {64, be32(0) + be32(77), 0, 65, Bytes(8), 0, be32(0) + be32(77)},
        {9, be32(1) + be32(2) + be32(3), 0, 10, Bytes(12), 0, be32(1) + be32(2) + be32(3)},
        // debugging bits switch on and off
        {11, debug(4, 5, 1), 0, kNone, {}, 0, {}},
        {11, debug(4, 1, 0), 0, 15, {}, 16, be32(4)},
        {11, debug(19, 1, 1), kFailed, kNone, {}, 0, {}},
        {12, be32(2) + be32(0x30) + be16(1) + Bytes(2, 0), 0, 16, {}, 8, be32(0x30)},
        {45, be32(3) + be16(1) + Bytes(2, 0), 0, kNone, {}, 0, {}},
        {45, be32(1) + be16(0) + Bytes(2, 0), 0, 44, be32(0), 0, be32(2)},
        {25, be32(1) + be16(2) + Bytes(2, 0) + be32(3) + be32(4), 0, 24, {}, 0, be32(1) + be32(2) + be32(3) + be32(4)},
        // u16 switches
        {47, be16(1), 0, 48, {}, 0, be16(1)},
        {52, be16(1), 0, 53, {}, 0, be16(1)},
        {68, be16(1), 0, 69, {}, 0, be16(1)},
        {50, be16(1) + be16(4), 0, 51, {}, 0, be16(1)},
        // limits and rates per selector
        {54, be32(2) + be32(5000), 0, 56, be32(2), 0, be32(5000)},
        {54, be32(16) + be32(1), kFailed, 56, be32(3), 0, be32(0)},
        {55, be32(2) + be32(300), 0, 57, be32(2), 0, be32(300)},
        // call quality analysis
        {kNone, {}, 0, 85, h323, 0, be32(1) + be16(1720) + Bytes(2, 0)},
        {71, be16(1), 0, 84, sip, 0, be32(0) + be16(1) + tail},
        {71, be16(2), kFailed, kNone, {}, 0, {}},
        {72, be16(5070), 0, 85, sip, 0, be32(0) + be16(5070) + tail},
        {78, be16(1721), 0, 85, h323, 0, be32(1) + be16(1721) + Bytes(2, 0)},
        {74, filter + Bytes(2, 0), 0, 86, be32(0) + Bytes(10, 0) + tail, 0, be32(0) + filter + tail},
        {82, remark(2, 1, 7), 0, 83, remark(2, 0, 0), 0, remark(2, 1, 7)},
        {82, remark(3, 1, 9), 0, 83, remark(3, 0, 0), 0, remark(3, 1, 9)},
        {82, remark(2, 0, 0), 0, 83, remark(2, 0, 0), 0, remark(2, 0, 0)},
        {kNone, {}, 0, 83, remark(3, 0, 0), 0, remark(3, 1, 9)},
        {73, be32(5) + be16(1) + Bytes(2, 0), 0, kNone, {}, 0, {}},
        {73, be32(8) + be16(1) + Bytes(2, 0), kFailed, kNone, {}, 0, {}},
        // deleting the view restores the initial settings
        {80, be16(0), 0, 85, sip, 0, be32(0) + be16(5060) + tail},
        {kNone, {}, 0, 84, sip, 0, be32(0) + be16(0) + tail},
        {kNone, {}, 0, 86, be32(0) + Bytes(12, 0), 0, be32(0) + Bytes(12, 0)},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        const Row &r = rows[i];
        SCOPED_TRACE(testing::Message() << "row " << i << ": set " << r.set << ", get " << r.get);
        if (r.set != kNone) {
            EXPECT_EQ(client.command(r.set, r.setPayload), std::optional<uint32_t>(r.rc));
        }
        if (r.get != kNone) {
            const Bytes reply = query(r.get, r.getPayload);
            ASSERT_GE(reply.size(), r.at + r.expected.size());
            EXPECT_EQ(Bytes(reply.begin() + r.at, reply.begin() + r.at + r.expected.size()), r.expected);
        }
    }
}

Bytes rule(uint32_t family, uint16_t policy, uint16_t ruleId) {
    return be32(2) + be32(3000u + ruleId) + Bytes(64, 0) + be32(family) + be16(policy) + be16(ruleId) + be32(100) +
           be32(50) + be32(7) + be32(1);
}

TEST_F(ServiceProtocol, PolicyKeepsUpTo256RulesInRuleOrder) {
    const Bytes policy = be32(1) + be16(32) + Bytes(2, 0);
    ASSERT_EQ(client.command(26, policy), 0u);
    EXPECT_EQ(client.command(26, be32(0) + be16(33) + Bytes(2, 0)), kFailed);
    for (uint16_t r = 256; r >= 1; --r) ASSERT_EQ(client.command(28, rule(1, 32, r)), 0u) << r;
    EXPECT_EQ(client.command(28, rule(1, 32, 257)), kFailed);
    EXPECT_EQ(client.command(28, rule(0, 32, 1)), kNotExist) << "IPv4 and IPv6 policies are apart";
    const Bytes p = query(35, policy);
    ASSERT_EQ(p.size(), 16u + 256 * 96);
    EXPECT_EQ(get_be32(p, 8), 256u);
    // Rules in rule order; uiAclType (the last word) travels in host order.
    for (uint16_t r = 0; r < 256; ++r) {
        Bytes expected = rule(1, 32, r + 1);
        const uint32_t hostOne = 1;
        std::memcpy(expected.data() + 92, &hostOne, 4);
        ASSERT_EQ(Bytes(p.begin() + 16 + 96 * r, p.begin() + 112 + 96 * r), expected) << r;
    }
    // The rule query answers the found flag and the whole rule.
    const Bytes found = query(29, rule(1, 32, 9));
    EXPECT_EQ(get_be32(found, 8), 1u);
    EXPECT_EQ(Bytes(found.begin() + 16, found.end()), rule(1, 32, 9));
    EXPECT_EQ(client.command(30, be32(1) + be16(32) + be16(9)), 0u);
    EXPECT_EQ(client.command(30, be32(1) + be16(32) + be16(9)), kNotExist);
    EXPECT_EQ(get_be32(query(29, rule(1, 32, 9)), 8), 0u);
}

}  // namespace
