// SPDX-License-Identifier: Apache-2.0
// The formatted-print helper and the type-length-value item reader.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/stlv.h"
#include "platform/textutil.h"

namespace {

TEST(Scnprintf, AddressDirectivesKeepTheOtherArgumentsInStep) {
    char buf[128];
    uint8_t v6[16];
    ASSERT_EQ(inet_pton(AF_INET6, "2001:db8::1", v6), 1);
    const int n = scnprintf(buf, sizeof buf, "[%P] [%Q] [%-12P|%16P]", 0x0A010203u, v6, 0xC0A80001u, 0x01020304u);
    EXPECT_STREQ(buf, "[10.1.2.3] [2001:db8::1] [192.168.0.1 |         1.2.3.4]");
    EXPECT_EQ(n, static_cast<int>(std::strlen(buf)));
    scnprintf(buf, sizeof buf, "%u %s %P %llx %5.2f %c %Q%% %*d|%.*s", 7u, "x", 0u, 0x1234567890ULL, 1.5, 'z', v6, 4,
              42, 2, "abcdef");
    EXPECT_STREQ(buf, "7 x 0.0.0.0 1234567890  1.50 z 2001:db8::1%   42|ab");
}

TEST(Scnprintf, StoresAtMostSizeMinusOneAndCountsWhatItStored) {
    char buf[8];
    EXPECT_EQ(scnprintf(buf, sizeof buf, "abc%sdef", "0123456789"), 7);
    EXPECT_STREQ(buf, "abc0123");
    EXPECT_EQ(scnprintf(buf, sizeof buf, "%P", 0xC0A80101u), 7);
    EXPECT_STREQ(buf, "192.168");
    buf[0] = 'Q';
    EXPECT_EQ(scnprintf(buf, 0, "abc"), 0);
    EXPECT_EQ(buf[0], 'Q');
    const std::string longText(3000, 'w');
    std::vector<char> big(4000);
    EXPECT_EQ(scnprintf(big.data(), big.size(), "<%s>", longText.c_str()), 3002);
    EXPECT_EQ(std::string(big.data()), "<" + longText + ">");
}

TEST(Stlv, WalksItemsAndStopsAtADamagedOne) {
    // Type 27 with 3 bytes, type 28 with none, then type 5 claiming 9 bytes
    // of which only 2 are there.
    const uint8_t chunk[] = {0, 27, 0, 3, 'a', 'b', 'c', 0, 28, 0, 0, 0, 5, 0, 9, 1, 2};
    uint16_t type = 0, length = 0;
    void *value = nullptr;
    ASSERT_EQ(STLV_Get(chunk, sizeof chunk, &type, &length, &value), 0u);
    EXPECT_EQ(type, 27);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(value, chunk + 4);
    ASSERT_EQ(STLV_Get(chunk + 7, sizeof chunk - 7, &type, &length, &value), 0u);
    EXPECT_EQ(type, 28);
    EXPECT_EQ(length, 0);
    value = nullptr;
    type = length = 77;
    EXPECT_NE(STLV_Get(chunk + 11, sizeof chunk - 11, &type, &length, &value), 0u);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(type, 77);
    EXPECT_NE(STLV_Get(chunk, 3, &type, &length, &value), 0u) << "fewer than four bytes are no item";
}

}  // namespace
