// Settings kept by the session service, against a real dpservice: what a
// set request stores is what the matching query answers, in the exact
// reply layouts the library reads.
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
using dptest::get_be64;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint32_t kNotExist = 0x40010005u;

class ServiceSettings : public ::testing::Test {
protected:
    // The payload of a query's reply; fails the test when there is none.
    Bytes query(uint32_t type, const Bytes &payload = {}) {
        const auto reply = client.exchange(type, payload);
        EXPECT_TRUE(reply.has_value()) << "type " << type;
        if (!reply || reply->size() < 8) return {};
        EXPECT_EQ(get_be32(*reply, 0), type);
        return Bytes(reply->begin() + 8, reply->end());
    }
    uint32_t command(uint32_t type, const Bytes &payload) {
        const auto rc = client.command(type, payload);
        EXPECT_TRUE(rc.has_value()) << "type " << type;
        return rc.value_or(0xDEADBEEF);
    }
    std::vector<uint32_t> words(const Bytes &b) {
        std::vector<uint32_t> w;
        for (size_t off = 0; off + 4 <= b.size(); off += 4) w.push_back(get_be32(b, off));
        return w;
    }

    dptest::ServiceProcess svc{{"--sessions", "60"}};
    dptest::SvcClient client{svc.rundir()};
};

TEST_F(ServiceSettings, AgingStartsAtTheDefaultsAndKeepsWhatIsSet) {
    EXPECT_EQ(words(query(13)), (std::vector<uint32_t>{1, 3600, 60, 3600, 3600, 300, 3600, 300, 60, 3600, 60, 3600,
                                                       3600, 60, 3600, 600, 3600}));
    EXPECT_EQ(words(query(14)), (std::vector<uint32_t>{30, 3600, 30, 30, 60, 60, 30, 30, 60, 30, 60, 30, 3600, 30, 30,
                                                       3600, 30, 60, 30}));
    EXPECT_EQ(command(0, be32(16) + be32(1234)), 0u);
    EXPECT_EQ(command(1, be32(18) + be32(99)), 0u);
    EXPECT_EQ(command(0, be32(17) + be32(5)), kFailed);
    EXPECT_EQ(command(1, be32(19) + be32(5)), kFailed);
    EXPECT_EQ(words(query(13))[16], 1234u);
    EXPECT_EQ(words(query(13))[15], 600u);
    EXPECT_EQ(words(query(14))[18], 99u);
}

TEST_F(ServiceSettings, LogPolicyIsKeptPerInterface) {
    const auto policy = [](uint32_t ifIndex, uint32_t value) {
        return be32(ifIndex) + be32(value) + be32(0) + be32(0) + be16(0) + Bytes(2, 0);
    };
    EXPECT_EQ(query(3, policy(7, 0)), be32(0));
    EXPECT_EQ(command(2, policy(7, 5)), 0u);
    EXPECT_EQ(query(3, policy(7, 0)), be32(5));
    EXPECT_EQ(query(3, policy(8, 0)), be32(0));
    EXPECT_EQ(command(2, policy(7, 0)), 0u);
    EXPECT_EQ(query(3, policy(7, 0)), be32(0));
}

TEST_F(ServiceSettings, ValuesRoundTrip) {
    EXPECT_EQ(command(4, be32(1) + be32(5000)), 0u);
    EXPECT_EQ(query(6, be32(0) + be32(0)), be32(1) + be32(5000));
    EXPECT_EQ(command(5, be32(30)), 0u);
    EXPECT_EQ(query(7, be32(0)), be32(30));
    EXPECT_EQ(command(9, be32(1) + be32(2) + be32(3)), 0u);
    EXPECT_EQ(query(10, Bytes(12, 0)), be32(1) + be32(2) + be32(3));
    EXPECT_EQ(command(62, be32(600)), 0u);
    EXPECT_EQ(query(63, be32(0)), be32(600));
    EXPECT_EQ(command(64, be32(0) + be32(77)), 0u);
    EXPECT_EQ(query(65, Bytes(8, 0)), be32(0) + be32(77));
    EXPECT_EQ(command(70, Bytes(44, 1)), 0u);
    EXPECT_EQ(command(75, be16(3)), 0u);

    // u16 switches: set type, query type.
    for (const auto &[set, get] : {std::pair{47u, 48u}, std::pair{52u, 53u}, std::pair{68u, 69u}}) {
        EXPECT_EQ(query(get), be16(0)) << get;
        EXPECT_EQ(command(set, be16(1)), 0u);
        EXPECT_EQ(query(get), be16(1)) << get;
    }
    EXPECT_EQ(command(50, be16(1) + be16(4)), 0u);
    EXPECT_EQ(query(51), be16(1));
}

TEST_F(ServiceSettings, DebugBitsSwitchOnAndOff) {
    EXPECT_EQ(command(11, be32(4) + be32(0x5) + be32(1) + be16(0) + Bytes(2, 0)), 0u);
    EXPECT_EQ(command(11, be32(4) + be32(0x1) + be32(0) + be16(0) + Bytes(2, 0)), 0u);
    EXPECT_EQ(command(11, be32(19) + be32(1) + be32(1) + Bytes(4, 0)), kFailed);
    std::vector<uint32_t> expected(19, 0);
    expected[4] = 0x4;
    EXPECT_EQ(words(query(15)), expected);

    EXPECT_EQ(command(12, be32(2) + be32(0x30) + be16(1) + Bytes(2, 0)), 0u);
    EXPECT_EQ(words(query(16)), (std::vector<uint32_t>{0, 0, 0x30}));

    EXPECT_EQ(command(45, be32(0x3) + be16(1) + Bytes(2, 0)), 0u);
    EXPECT_EQ(command(45, be32(0x1) + be16(0) + Bytes(2, 0)), 0u);
    EXPECT_EQ(query(44, be32(0)), be32(0x2));
}

TEST_F(ServiceSettings, LimitsAndRatesAreKeptPerSelector) {
    EXPECT_EQ(command(54, be32(2) + be32(5000)), 0u);
    EXPECT_EQ(command(55, be32(2) + be32(300)), 0u);
    EXPECT_EQ(command(54, be32(16) + be32(1)), kFailed);
    EXPECT_EQ(query(56, be32(2)), be32(5000));
    EXPECT_EQ(query(57, be32(2)), be32(300));
    EXPECT_EQ(query(56, be32(3)), be32(0));
    EXPECT_EQ(query(56, be32(0xFFFFFFFFu)), be32(0));
}

TEST_F(ServiceSettings, TopStatisticsAreConsistent) {
    const Bytes top = query(17, Bytes(2, 0) + be16(10));
    ASSERT_EQ(top.size(), 648u);
    const uint32_t filled = get_be32(top, 640);
    ASSERT_GE(filled, 1u);
    ASSERT_LE(filled, 10u);
    for (uint32_t k = 0; k < 20; ++k) {
        if (k >= filled) {
            EXPECT_EQ(Bytes(top.begin() + 32 * k, top.begin() + 32 * k + 32), Bytes(32, 0)) << k;
            continue;
        }
        EXPECT_EQ(get_be32(top, 32 * k + 4), k + 1);
        EXPECT_GT(get_be64(top, 32 * k + 8), 0u);
        if (k > 0) {
            EXPECT_LE(get_be64(top, 32 * k + 8), get_be64(top, 32 * (k - 1) + 8));
        }
    }

    const Bytes samples = query(18, be32(0) + be32(0) + be32(1));
    ASSERT_EQ(samples.size(), 2912u);
    EXPECT_EQ(get_be16(samples, 2), 720u);
    uint64_t sum = 0;
    for (size_t i = 0; i < 720; ++i) sum += get_be32(samples, 32 + 4 * i);
    EXPECT_EQ(get_be64(samples, 8), sum);

    const Bytes times = query(19, be32(1) + be32(0));
    ASSERT_EQ(times.size(), 2884u);
    const uint32_t interval = get_be32(times, 0);
    for (size_t i = 1; i < 720; ++i) ASSERT_EQ(get_be32(times, 4 + 4 * i) - get_be32(times, 4 * i), interval) << i;
}

// ---------------------------------------------------- connection limit ----

Bytes rule(uint32_t family, uint16_t policy, uint16_t ruleId, uint32_t aclNum, const char *aclName = "") {
    Bytes name(64, 0);
    std::memcpy(name.data(), aclName, std::strlen(aclName));
    return be32(2) + be32(aclNum) + name + be32(family) + be16(policy) + be16(ruleId) + be32(100) + be32(50) +
           be32(7) + be32(1);
}

Bytes family_policy(uint32_t family, uint16_t policy) { return be32(family) + be16(policy) + Bytes(2, 0); }

TEST_F(ServiceSettings, ConnlmtPolicyKeepsItsRulesInRuleOrder) {
    EXPECT_EQ(command(26, family_policy(0, 3)), 0u);
    EXPECT_EQ(command(26, family_policy(0, 33)), kFailed);
    EXPECT_EQ(command(26, family_policy(2, 3)), kFailed);
    EXPECT_EQ(command(28, rule(0, 3, 9, 3009, "web")), 0u);
    EXPECT_EQ(command(28, rule(0, 3, 4, 3004)), 0u);
    EXPECT_EQ(command(28, rule(0, 4, 1, 3000)), kNotExist);  // no policy 4
    EXPECT_EQ(command(28, rule(1, 3, 1, 3000)), kNotExist);  // IPv6 policies are apart
    EXPECT_EQ(command(28, rule(0, 3, 257, 3000)), kFailed);

    const Bytes p = query(35, family_policy(0, 3));
    ASSERT_EQ(p.size(), 16u + 2 * 96);
    EXPECT_EQ(get_be16(p, 4), 3u);
    EXPECT_EQ(get_be32(p, 8), 2u);
    // Rules in rule order; uiAclType (last word) travels in host order.
    Bytes first = rule(0, 3, 4, 3004);
    Bytes second = rule(0, 3, 9, 3009, "web");
    const uint32_t hostOne = 1;
    std::memcpy(first.data() + 92, &hostOne, 4);
    std::memcpy(second.data() + 92, &hostOne, 4);
    EXPECT_EQ(Bytes(p.begin() + 16, p.begin() + 112), first);
    EXPECT_EQ(Bytes(p.begin() + 112, p.end()), second);

    // The rule query answers the found flag and the whole rule, converted.
    const Bytes found = query(29, rule(0, 3, 9, 0));
    ASSERT_EQ(found.size(), 112u);
    EXPECT_EQ(get_be32(found, 8), 1u);
    EXPECT_EQ(Bytes(found.begin() + 16, found.end()), rule(0, 3, 9, 3009, "web"));
    const Bytes missing = query(29, rule(0, 3, 5, 0));
    EXPECT_EQ(get_be32(missing, 8), 0u);

    EXPECT_EQ(command(30, be32(0) + be16(3) + be16(9)), 0u);
    EXPECT_EQ(command(30, be32(0) + be16(3) + be16(9)), kNotExist);
    EXPECT_EQ(get_be32(query(35, family_policy(0, 3)), 8), 1u);
    EXPECT_EQ(command(27, family_policy(0, 3)), 0u);
    EXPECT_EQ(command(27, family_policy(0, 3)), kNotExist);
    EXPECT_EQ(query(35, family_policy(0, 3)), be32(0) + be16(0xFFFF) + Bytes(2, 0) + be32(0) + be32(0));
}

TEST_F(ServiceSettings, ConnlmtPolicyHoldsAtMost256Rules) {
    EXPECT_EQ(command(26, family_policy(1, 32)), 0u);
    for (uint16_t r = 256; r >= 1; --r) ASSERT_EQ(command(28, rule(1, 32, r, r)), 0u) << r;
    const Bytes p = query(35, family_policy(1, 32));
    ASSERT_EQ(p.size(), 16u + 256 * 96);
    EXPECT_EQ(get_be32(p, 8), 256u);
    for (uint16_t r = 0; r < 256; ++r) ASSERT_EQ(get_be16(p, 16 + 96 * r + 78), r + 1);
    const Bytes info = query(43, family_policy(1, 0));
    EXPECT_EQ(info.size(), 144u + 256 * 96);
}

TEST_F(ServiceSettings, ConnlmtApplicationsDescriptionsAndOrder) {
    for (uint16_t id : {7, 1, 3}) ASSERT_EQ(command(26, family_policy(0, id)), 0u);
    EXPECT_EQ(query(39, be32(0)), be32(3));
    EXPECT_EQ(query(39, be32(1)), be32(0));
    EXPECT_EQ(query(34, be32(0) + be16(3) + be16(0)), be16(1));
    EXPECT_EQ(query(34, be32(1) + be16(3) + be16(0)), be16(0));

    // Next policy id, in id order, 0xFFFF after the last.
    EXPECT_EQ(get_be16(query(37, be32(0) + be16(0) + be16(0)), 4), 1u);
    EXPECT_EQ(get_be16(query(37, be32(0) + be16(3) + be16(0)), 4), 7u);
    EXPECT_EQ(get_be16(query(37, be32(0) + be16(7) + be16(0)), 4), 0xFFFFu);
    EXPECT_EQ(get_be16(query(36, family_policy(0, 3)), 4), 7u);
    EXPECT_EQ(get_be16(query(36, family_policy(0, 7)), 4), 0xFFFFu);

    // Applications: interface index 0 is global.
    const auto apply = [](uint32_t ifIndex, uint16_t policy) { return be32(0) + be32(ifIndex) + be16(policy) + Bytes(2, 0); };
    EXPECT_EQ(command(31, apply(12, 3)), 0u);
    EXPECT_EQ(command(31, apply(0, 3)), 0u);
    EXPECT_EQ(command(31, apply(13, 5)), kNotExist);
    EXPECT_EQ(query(33, be32(0) + be32(12) + be32(0)), be16(3));
    EXPECT_EQ(query(38, family_policy(0, 3)), be32(2) + be32(0) + be32(12));
    EXPECT_EQ(get_be32(query(35, family_policy(0, 3)), 12), 2u);
    EXPECT_EQ(command(32, be32(0) + be32(12)), 0u);
    EXPECT_EQ(command(32, be32(0) + be32(12)), kNotExist);
    EXPECT_EQ(query(38, family_policy(0, 3)), be32(1) + be32(0));

    // Description: shown in the 128 info bytes.
    Bytes text(130, 0);
    std::memcpy(text.data(), "web servers", 11);
    EXPECT_EQ(command(41, be32(0) + be16(3) + text), 0u);
    EXPECT_EQ(command(41, be32(0) + be16(9) + text), kNotExist);
    const Bytes info = query(42, family_policy(0, 3));
    ASSERT_EQ(info.size(), 144u);
    EXPECT_EQ(Bytes(info.begin() + 16, info.end()), Bytes(text.begin(), text.begin() + 128));
    EXPECT_EQ(command(40, be16(3) + Bytes(2, 0) + be32(0)), 0u);
    EXPECT_EQ(command(40, be16(4) + Bytes(2, 0) + be32(0)), kNotExist);

    // Deleting a policy cancels it everywhere.
    EXPECT_EQ(command(27, family_policy(0, 3)), 0u);
    EXPECT_EQ(query(33, be32(0) + be32(0) + be32(0)), be16(0));

    EXPECT_EQ(command(25, be32(1) + be16(2) + Bytes(2, 0) + be32(3) + be32(4)), 0u);
    EXPECT_EQ(words(query(24)), (std::vector<uint32_t>{1, 2, 3, 4, 1}));
}

// ----------------------------------------------------------------- SQA ----

TEST_F(ServiceSettings, SqaSettingsRoundTripAndViewZeroRestores) {
    const Bytes tail = {0xAB, 0xCD};  // the query's trailing bytes come back as they went
    const Bytes zero2(2, 0);
    const Bytes addresses = {0xC0, 0xA8, 0x01, 0x00, 0xFF, 0xFF, 0xFF, 0x00};
    const Bytes sip = be32(0) + be16(0) + tail;
    const Bytes h323 = be32(1) + be16(0) + zero2;
    EXPECT_EQ(query(84, sip), be32(0) + be16(0) + tail);
    EXPECT_EQ(query(85, sip), be32(0) + be16(5060) + tail);
    EXPECT_EQ(query(85, h323), be32(1) + be16(1720) + zero2);

    EXPECT_EQ(command(71, be16(1)), 0u);
    EXPECT_EQ(command(72, be16(5070)), 0u);
    EXPECT_EQ(command(78, be16(1721)), 0u);
    EXPECT_EQ(command(71, be16(2)), kFailed);
    const Bytes filter = addresses + be16(24) + zero2;
    EXPECT_EQ(command(74, filter), 0u);
    EXPECT_EQ(query(84, sip), be32(0) + be16(1) + tail);
    EXPECT_EQ(query(84, h323), be32(1) + be16(0) + zero2);
    EXPECT_EQ(query(85, sip), be32(0) + be16(5070) + tail);
    EXPECT_EQ(query(85, h323), be32(1) + be16(1721) + zero2);
    EXPECT_EQ(query(86, be32(0) + Bytes(10, 0) + tail), be32(0) + addresses + be16(24) + tail);
    EXPECT_EQ(query(86, be32(1) + Bytes(12, 0)), be32(1) + Bytes(12, 0));
    EXPECT_EQ(client.exchange(84, be32(2) + Bytes(4, 0)), dptest::error_reply());

    EXPECT_EQ(command(80, be16(1)), 0u);
    EXPECT_EQ(query(85, sip), be32(0) + be16(5070) + tail);
    EXPECT_EQ(command(80, be16(0)), 0u);
    EXPECT_EQ(query(84, sip), be32(0) + be16(0) + tail);
    EXPECT_EQ(query(85, sip), be32(0) + be16(5060) + tail);
    EXPECT_EQ(query(85, h323), be32(1) + be16(1720) + zero2);
    EXPECT_EQ(query(86, be32(0) + Bytes(12, 0)), be32(0) + Bytes(12, 0));

    EXPECT_EQ(command(73, be32(0x5) + be16(1) + Bytes(2, 0)), 0u);
    EXPECT_EQ(command(73, be32(0x8) + be16(1) + Bytes(2, 0)), kFailed);
    EXPECT_EQ(command(81, be32(0x2) + be16(1) + Bytes(2, 0)), 0u);
}

TEST_F(ServiceSettings, SqaRemarksAreKeyedByBothKeys) {
    const auto remark = [](uint32_t k1, uint32_t k2, uint16_t flag, uint16_t value) {
        return be32(k1) + be32(k2) + be16(flag) + be16(value);
    };
    EXPECT_EQ(command(82, remark(1, 2, 1, 7)), 0u);
    EXPECT_EQ(command(82, remark(1, 3, 1, 9)), 0u);
    EXPECT_EQ(query(83, remark(1, 2, 0, 0)), remark(1, 2, 1, 7));
    EXPECT_EQ(query(83, remark(1, 3, 0, 0)), remark(1, 3, 1, 9));
    EXPECT_EQ(query(83, remark(2, 2, 0, 0)), remark(2, 2, 0, 0));
    EXPECT_EQ(command(82, remark(1, 2, 0, 0)), 0u);
    EXPECT_EQ(query(83, remark(1, 2, 0, 0)), remark(1, 2, 0, 0));
    EXPECT_EQ(query(83, remark(1, 3, 0, 0)), remark(1, 3, 1, 9));
}

}  // namespace
