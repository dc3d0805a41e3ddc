// SPDX-License-Identifier: Apache-2.0
// Shared fixture of the SQA unit tests: the fake platform, and the
// library's SQA globals put back to their load-time values around each test.
#ifndef TESTS_UNIT_SQA_FIXTURE_H
#define TESTS_UNIT_SQA_FIXTURE_H

#include <cstring>
#include <string>

#include "dpmgmt/sqa.h"
#include "fake/fake_platform.h"

class SqaTest : public FakePlatformTest {
protected:
    void SetUp() override {
        FakePlatformTest::SetUp();
        restore_globals();
    }
    void TearDown() override { restore_globals(); }

    static void restore_globals() {
        g_hSqaGlobalCfgHandle = UINT64_MAX;
        std::memset(&g_stSqaSipDbValue, 0, sizeof g_stSqaSipDbValue);
        g_stSqaSipDbValue.usSipPort = 5060;
        std::memset(&g_stSqaH323DbValue, 0, sizeof g_stSqaH323DbValue);
        g_stSqaH323DbValue.usH225Port = 1720;
    }
};

// A little-endian word, as a host-order field travels.
inline fake::Bytes le32(uint32_t v) {
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}

#endif
