// SPDX-License-Identifier: Apache-2.0
// Interface checks, the log-policy key, the shared empty string past the
// vocabulary tables' edges and the log-record checks.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

namespace {

class InterfaceChecks : public FakePlatformTest {
protected:
    // The interface relies on the listed nodes: a malloc'ed array that the
    // library must free (the sanitizer build reports it otherwise).
    void rely_on(std::vector<uint16_t> nodes) {
        fake::hooks().IF_GetRelyNodesByIfIndex = [nodes](uint32_t, uint64_t *count) -> uint16_t * {
            *count = nodes.size();
            auto *array = static_cast<uint16_t *>(std::malloc(sizeof(uint16_t) * (nodes.size() + 1)));
            for (size_t i = 0; i < nodes.size(); ++i) array[i] = nodes[i];
            return array;
        };
    }
    // Answers the attribute item with `value`, returning `result`.
    void attribute(uint32_t value, uint32_t result = 0) {
        fake::hooks().IF_GetDataByIfIndex = [value, result](uint32_t, uint32_t item, void *buf) -> uint32_t {
            if (item == 25) std::memcpy(buf, &value, 4);
            return result;
        };
    }
};

TEST_F(InterfaceChecks, GlobalInterfaceIsAttributeFourOnly) {
    attribute(4);
    EXPECT_EQ(SESSION_IsGlobalIF(7), 1u);
    EXPECT_EQ(fake::nth("IF_GetDataByIfIndex").args, (std::vector<uint64_t>{7, 25}));
    attribute(3);
    EXPECT_EQ(SESSION_IsGlobalIF(7), 0u);
    attribute(4, 1);  // the query's own result is not consulted
    EXPECT_EQ(SESSION_IsGlobalIF(7), 1u);
    fake::hooks().IF_GetDataByIfIndex = nullptr;  // unknown: the value stays at its preset
    EXPECT_EQ(SESSION_IsGlobalIF(7), 0u);
}

TEST_F(InterfaceChecks, NodeInterface) {
    rely_on({3, 5, 9});
    EXPECT_EQ(SESSION_IsNodeIF(7, 9), 1u);
    EXPECT_EQ(SESSION_IsNodeIF(7, 4), 0u);
    fake::hooks().IF_GetRelyNodesByIfIndex = nullptr;  // no array at all
    EXPECT_EQ(SESSION_IsNodeIF(7, 0), 0u);
}

TEST_F(InterfaceChecks, LocalNodeMustProcess) {
    fake::hooks().DEV_GetSelf = [] { return uint16_t{5}; };
    fake::hooks().DEV_IsController = [](uint16_t) { return 1u; };
    EXPECT_EQ(SESSION_ifcfg_need_proc(7), 1u);
    EXPECT_EQ(fake::nth("DEV_IsController").args[0], 5u);
    EXPECT_EQ(fake::count("IF_GetDataByIfIndex") + fake::count("IF_GetRelyNodesByIfIndex"), 0u);

    // Only the low 16 bits of the answer say "controller".
    fake::hooks().DEV_IsController = [](uint16_t) { return 0x10000u; };
    attribute(4);
    EXPECT_EQ(SESSION_ifcfg_need_proc(7), 1u);
    EXPECT_EQ(fake::count("IF_GetRelyNodesByIfIndex"), 0u);

    attribute(0);
    rely_on({4, 6});
    EXPECT_EQ(SESSION_ifcfg_need_proc(7), 0u);
    rely_on({4, 5});
    EXPECT_EQ(SESSION_ifcfg_need_proc(7), 1u);
}

class LogPolicyKey : public FakePlatformTest {
protected:
    void name_is(std::string name) {
        fake::hooks().IF_GetDataByIfIndex = [name](uint32_t, uint32_t item, void *buf) -> uint32_t {
            if (item != 10) return 1;
            std::memcpy(buf, name.data(), std::min<size_t>(name.size() + 1, 48));
            return 0;
        };
    }
    // The key of interface 9 into a buffer of 0xAA bytes, `size` of them offered.
    uint32_t key(uint32_t size) {
        std::memset(buf, 0xAA, sizeof(buf));
        return SESSION_DB_GetLogPolicyKeyByIfIndex(9, size, buf);
    }
    char buf[64];
};

TEST_F(LogPolicyKey, KeyOfAnInterface) {
    name_is("GigabitEthernet1/0/1");
    EXPECT_EQ(key(sizeof(buf)), 25u);
    EXPECT_STREQ(buf, "log-GigabitEthernet1/0/1");
    EXPECT_EQ(fake::nth("IF_GetDataByIfIndex").args, (std::vector<uint64_t>{9, 10}));

    // Cut to the buffer and terminated: 7 characters stored.
    EXPECT_EQ(key(8), 8u);
    EXPECT_STREQ(buf, "log-Gig");
    EXPECT_EQ(static_cast<uint8_t>(buf[8]), 0xAA);

    // A name that fills the platform's 48 bytes without a terminator.
    name_is(std::string(60, 'x'));
    EXPECT_EQ(key(sizeof(buf)), 4u + 48 + 1);
    EXPECT_EQ(std::string(buf), "log-" + std::string(48, 'x'));

    // A failed name query leaves the buffer.
    fake::hooks().IF_GetDataByIfIndex = nullptr;
    EXPECT_EQ(key(sizeof(buf)), 0u);
    EXPECT_EQ(fake::hex(buf, sizeof(buf)), fake::hex(fake::Bytes(64, 0xAA)));
}

TEST_F(LogPolicyKey, InterfaceOfAKey) {
    std::string asked;
    fake::hooks().IF_GetIfIndexByFullName = [&asked](const char *name) {
        asked = name;
        return asked.empty() ? 77u : 12u;
    };
    EXPECT_EQ(SESSION_DB_GetIfIndexByLogPolicyKey("log-eth0"), 12u);
    EXPECT_EQ(asked, "eth0");
    EXPECT_EQ(SESSION_DB_GetIfIndexByLogPolicyKey("log-"), 77u);  // the platform's answer for an empty name
    EXPECT_EQ(asked, "");
    const size_t before = fake::count("IF_GetIfIndexByFullName");
    EXPECT_EQ(SESSION_DB_GetIfIndexByLogPolicyKey("LOG-eth0"), 0u);
    EXPECT_EQ(fake::count("IF_GetIfIndexByFullName"), before);
}

using Vocabulary = FakePlatformTest;

TEST_F(Vocabulary, PastTheEdgesTheSharedEmptyString) {
    const char *empty = SESSION_GetStatusName(1, 3);
    // (1, 11) would be slot 21, "ICMP_REQUEST".
    for (const char *name : {SESSION_GetStatusName(8, 0), SESSION_GetStatusName(0xFFFFFFFFu, 1),
                             SESSION_GetStatusName(1, 11), SESSION_GetStatusName(0, 255), SESSION_GetProtocolName(8),
                             SESSION_GetAppName(17), SESSION_GetL4AgingStatusName(19)})
        EXPECT_EQ(name, empty);
    EXPECT_EQ(SESSION_GetProtocolStateCount(8), 0u);
    EXPECT_EQ(SESSION_GetProtocolStateCount(0xFFFFFFFFu), 0u);
}

TEST_F(Vocabulary, LogRecords) {
    SESSION_LOGPOLICY_S policy;
    std::memset(&policy, 0xFF, sizeof(policy));
    SESSION_InitLogPolicy(&policy);
    EXPECT_EQ(fake::hex(&policy, sizeof(policy)), fake::hex(fake::Bytes(16, 0)));
    EXPECT_EQ(SESSION_IsInvalidLogPolicy(&policy), 1u);
    for (int w = 0; w < 4; ++w) {
        SESSION_InitLogPolicy(&policy);
        policy.auiWord[w] = 1;
        EXPECT_EQ(SESSION_IsInvalidLogPolicy(&policy), 0u) << "word " << w;
    }

    SESSION_TRAFFICLOG_S log;
    std::memset(&log, 0xFF, sizeof(log));
    SESSION_InitTrafficLog(&log);
    EXPECT_EQ(fake::hex(&log, sizeof(log)), fake::hex(fake::Bytes(16, 0)));
    EXPECT_EQ(SESSION_IsInvalidTrafficLog(&log), 1u);
    log.usValue1 = log.usValue2 = log.usValue3 = log.usValue4 = 1;
    EXPECT_EQ(SESSION_IsInvalidTrafficLog(&log), 1u);  // the u16 fields do not count
    log.uiWord2 = 5;
    EXPECT_EQ(SESSION_IsInvalidTrafficLog(&log), 0u);
    log.uiWord2 = 0;
    log.uiWord1 = 5;
    EXPECT_EQ(SESSION_IsInvalidTrafficLog(&log), 0u);
}

}  // namespace
