// The session service's framing, against a real dpservice: every message
// type answers a request of exactly its length with a reply of exactly the
// length the library reads, any other length with the error reply, and
// malformed datagrams get no answer at all.
#include <gtest/gtest.h>

#include "support/service_process.h"

namespace {

using dptest::Bytes;
using dptest::operator+;
using dptest::get_be32;

struct Catalogue {
    uint32_t type;
    uint32_t request;
    uint32_t reply;  // payload bytes
};

// Types 20 and 58 are left out: their reply is deferred (see the reset test).
constexpr Catalogue kCatalogue[] = {
    {0, 8, 4},     {1, 8, 4},     {2, 20, 4},    {3, 20, 4},    {4, 8, 4},     {5, 4, 4},     {6, 8, 8},
    {7, 4, 4},     {9, 12, 4},    {10, 12, 12},  {11, 16, 4},   {12, 12, 4},   {13, 0, 68},   {14, 0, 76},
    {15, 0, 76},   {16, 0, 12},   {17, 4, 648},  {18, 12, 2912}, {19, 8, 2884}, {21, 4, 4},   {22, 2, 4},
    {24, 0, 20},   {25, 16, 4},   {26, 8, 4},    {27, 8, 4},    {28, 96, 4},   {29, 96, 112}, {30, 8, 4},
    {31, 12, 4},   {32, 8, 4},    {33, 12, 2},   {34, 8, 2},    {35, 8, 16},   {36, 8, 16},   {37, 8, 8},
    {38, 8, 4},    {39, 4, 4},    {40, 8, 4},    {41, 136, 4},  {42, 8, 144},  {43, 8, 144},  {44, 4, 4},
    {45, 8, 4},    {46, 2, 4},    {47, 2, 4},    {48, 0, 2},    {49, 2, 4},    {50, 4, 4},    {51, 0, 2},
    {52, 2, 4},    {53, 0, 2},    {54, 8, 4},    {55, 8, 4},    {56, 4, 4},    {57, 4, 4},    {59, 2, 4},
    {60, 8, 4},    {61, 8, 4},    {62, 4, 4},    {63, 4, 4},    {64, 8, 4},    {65, 8, 8},    {68, 2, 4},
    {69, 0, 2},    {70, 44, 4},   {71, 2, 4},    {72, 2, 4},    {73, 8, 4},    {74, 12, 4},   {75, 2, 4},
    {77, 2, 4},    {78, 2, 4},    {79, 12, 4},   {80, 2, 4},    {81, 8, 4},    {82, 12, 4},   {83, 12, 12},
    {84, 8, 8},    {85, 8, 8},    {86, 16, 16},  {87, 8, 4},
};

class ServiceFraming : public ::testing::Test {
protected:
    dptest::ServiceProcess svc{{"--sessions", "50"}};
    dptest::SvcClient client{svc.rundir()};
};

TEST_F(ServiceFraming, EveryTypeAnswersItsExactLengthOnly) {
    for (const Catalogue &c : kCatalogue) {
        SCOPED_TRACE("type " + std::to_string(c.type));
        const auto ok = client.exchange(c.type, Bytes(c.request, 0));
        ASSERT_TRUE(ok.has_value());
        ASSERT_EQ(ok->size(), 8 + c.reply);
        EXPECT_EQ(get_be32(*ok, 0), c.type);
        EXPECT_EQ(get_be32(*ok, 4), 8 + c.reply);

        const auto longer = client.exchange(c.type, Bytes(c.request + 1, 0));
        ASSERT_TRUE(longer.has_value());
        EXPECT_EQ(*longer, dptest::error_reply());
        if (c.request > 0) {
            const auto shorter = client.exchange(c.type, Bytes(c.request - 1, 0));
            ASSERT_TRUE(shorter.has_value());
            EXPECT_EQ(*shorter, dptest::error_reply());
        }
    }
}

TEST_F(ServiceFraming, UnusedAndUnknownTypesGetTheErrorReply) {
    for (uint32_t type : {8u, 23u, 66u, 67u, 76u, 88u, 1000u, 0x7FFFFFFFu}) {
        SCOPED_TRACE("type " + std::to_string(type));
        const auto reply = client.exchange(type, Bytes(4, 0));
        ASSERT_TRUE(reply.has_value());
        EXPECT_EQ(*reply, dptest::error_reply());
    }
}

TEST_F(ServiceFraming, MalformedDatagramsAreDroppedAndTheServiceGoesOn) {
    const Bytes stat = dptest::be32(49) + dptest::be32(10) + dptest::be16(1);
    const std::vector<Bytes> malformed = {
        Bytes{},                                                   // empty
        Bytes{0, 0, 0, 49, 0, 0, 0},                               // shorter than a header
        dptest::be32(49) + dptest::be32(11) + dptest::be16(1),     // length field too large
        dptest::be32(49) + dptest::be32(8) + dptest::be16(1),      // length field too small
        dptest::be32(0xFFFFFFFFu) + dptest::be32(8),               // an error reply is no request
        dptest::be32(49) + dptest::be32(70008) + Bytes(70000, 0),  // larger than any request
    };
    for (const Bytes &d : malformed) ASSERT_TRUE(client.send_raw(d)) << d.size();
    // Datagrams on one socket are served in order: had any of the above been
    // answered, its reply would come first.
    ASSERT_TRUE(client.send_raw(stat));
    const auto reply = client.receive();
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(*reply, (Bytes{0, 0, 0, 49, 0, 0, 0, 12, 0, 0, 0, 0}));
}

TEST_F(ServiceFraming, SessionResetAnswersOnceTheSessionsAreGone) {
    const Bytes request = dptest::be16(0) + Bytes(2, 0) + Bytes(64, 0);
    for (uint32_t type : {20u, 58u}) {
        const auto reply = client.exchange(type, request, 20000);
        ASSERT_TRUE(reply.has_value());
        EXPECT_EQ(*reply, dptest::be32(type) + dptest::be32(12) + dptest::be32(0));
        EXPECT_EQ(client.exchange(type, Bytes(67, 0)), dptest::error_reply());
    }
    // Other requests are served while a long reset is pending.
    dptest::ServiceProcess big({"--sessions", "400000"});
    dptest::SvcClient slow(big.rundir());
    ASSERT_TRUE(slow.send_raw(dptest::be32(20) + dptest::be32(76) + request));
    dptest::SvcClient quick(big.rundir());
    const auto sync = quick.exchange(48);
    ASSERT_TRUE(sync.has_value());
    EXPECT_EQ(get_be32(*sync, 0), 48u);
    const auto late = slow.receive(30000);
    ASSERT_TRUE(late.has_value());
    EXPECT_EQ(*late, dptest::be32(20) + dptest::be32(12) + dptest::be32(0));
}

}  // namespace
