// SPDX-License-Identifier: Apache-2.0
// The session vocabulary: the shared empty string past the tables' edges
// and the log-record checks.
#include <cstring>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

namespace {

class Vocabulary : public FakePlatformTest {};

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
