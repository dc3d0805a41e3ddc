// Text helpers, type-length-value items, resource strings and help lines.
#include <arpa/inet.h>

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dpsim.h"
#include "platform/rc.h"
#include "platform/stlv.h"
#include "platform/textutil.h"

namespace {

TEST(Scnprintf, AddressDirectives) {
    char buf[128];
    uint8_t v6[16];
    ASSERT_EQ(inet_pton(AF_INET6, "2001:db8::1", v6), 1);
    const int n = scnprintf(buf, sizeof buf, "[%P] [%Q] [%-12P|%16P]", 0x0A010203u, v6, 0xC0A80001u, 0x01020304u);
    EXPECT_STREQ(buf, "[10.1.2.3] [2001:db8::1] [192.168.0.1 |         1.2.3.4]");
    EXPECT_EQ(n, static_cast<int>(std::strlen(buf)));
    // The C directives around them keep their arguments in step.
    scnprintf(buf, sizeof buf, "%u %s %P %llx %5.2f %c %Q%%", 7u, "x", 0u, 0x1234567890ULL, 1.5, 'z', v6);
    EXPECT_STREQ(buf, "7 x 0.0.0.0 1234567890  1.50 z 2001:db8::1%");
    scnprintf(buf, sizeof buf, "%*d|%-*s|%.*s", 4, 42, 3, "a", 2, "abcdef");
    EXPECT_STREQ(buf, "  42|a  |ab");
}

TEST(Scnprintf, StoresAtMostSizeMinusOne) {
    char buf[8];
    std::memset(buf, 'Q', sizeof buf);
    EXPECT_EQ(scnprintf(buf, sizeof buf, "abc%sdef", "0123456789"), 7);
    EXPECT_STREQ(buf, "abc0123");
    EXPECT_EQ(scnprintf(buf, sizeof buf, "%P", 0xC0A80101u), 7);
    EXPECT_STREQ(buf, "192.168");
    EXPECT_EQ(scnprintf(buf, 1, "abc"), 0);
    EXPECT_EQ(buf[0], '\0');
    buf[0] = 'Q';
    EXPECT_EQ(scnprintf(buf, 0, "abc"), 0);
    EXPECT_EQ(buf[0], 'Q');
    // Long pieces are not cut short of the buffer.
    const std::string longText(3000, 'w');
    std::vector<char> big(4000);
    EXPECT_EQ(scnprintf(big.data(), big.size(), "<%s>", longText.c_str()), 3002);
    EXPECT_EQ(std::string(big.data()), "<" + longText + ">");
}

TEST(TextHelpers, StrlcpyUppercaseAndInetNtop) {
    char buf[6];
    EXPECT_EQ(strlcpy(buf, "abcdefgh", sizeof buf), 8u);
    EXPECT_STREQ(buf, "abcde");
    buf[0] = 'Q';
    EXPECT_EQ(strlcpy(buf, "xy", 0), 2u);
    EXPECT_EQ(buf[0], 'Q');

    char text[] = "sip-h323 Tcp";
    EXPECT_EQ(uppercase(text), text);
    EXPECT_STREQ(text, "SIP-H323 TCP");

    const uint32_t v4 = htonl(0x0A000001u);
    char out[46];
    EXPECT_EQ(__wrap_inet_ntop(2, &v4, out, 16), out);
    EXPECT_STREQ(out, "10.0.0.1");
    uint8_t v6[16] = {0xfe, 0x80};
    v6[15] = 1;
    EXPECT_EQ(__wrap_inet_ntop(10, v6, out, sizeof out), out);
    EXPECT_STREQ(out, "fe80::1");
    std::strcpy(out, "keep");
    EXPECT_EQ(__wrap_inet_ntop(2, &v4, out, 8), nullptr);
    EXPECT_EQ(__wrap_inet_ntop(3, &v4, out, sizeof out), nullptr);
    EXPECT_STREQ(out, "keep");
}

TEST(Stlv, WalksItemsAndStopsAtADamagedOne) {
    // Type 27 with 3 bytes, type 28 with 0 bytes, then type 5 claiming 9
    // bytes of which only 2 are there.
    const uint8_t chunk[] = {0, 27, 0, 3, 'a', 'b', 'c', 0, 28, 0, 0, 0, 5, 0, 9, 1, 2};
    uint32_t remaining = sizeof chunk;
    const uint8_t *at = chunk;
    uint16_t type = 0, length = 0;
    void *value = nullptr;
    ASSERT_EQ(STLV_Get(at, remaining, &type, &length, &value), 0u);
    EXPECT_EQ(type, 27);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(value, chunk + 4);
    remaining -= 7;
    at += 7;
    ASSERT_EQ(STLV_Get(at, remaining, &type, &length, &value), 0u);
    EXPECT_EQ(type, 28);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(value, chunk + 11);
    remaining -= 4;
    at += 4;
    value = nullptr;
    type = length = 77;
    EXPECT_NE(STLV_Get(at, remaining, &type, &length, &value), 0u);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(type, 77);
    // Fewer than four bytes are no item.
    EXPECT_NE(STLV_Get(chunk, 3, &type, &length, &value), 0u);
    EXPECT_EQ(value, nullptr);
}

TEST(ResourceStrings, TextsAndHelpCollector) {
    const std::string empty = RC_LoadString(0x0611008B);
    ASSERT_GE(empty.size(), 2u);
    EXPECT_EQ(empty.substr(empty.size() - 2), "\r\n");
    struct Dscp {
        uint32_t id;
        const char *value;
    };
    const Dscp rows[] = {{0x675008A, "(0)"},  {0x6750075, "(10)"}, {0x6750076, "(12)"}, {0x6750077, "(14)"},
                         {0x675007A, "(18)"}, {0x675007B, "(20)"}, {0x675007C, "(22)"}, {0x675007D, "(26)"},
                         {0x675007E, "(28)"}, {0x675007F, "(30)"}, {0x6750080, "(34)"}, {0x6750081, "(36)"},
                         {0x6750082, "(38)"}, {0x6750083, "(8)"},  {0x6750084, "(16)"}, {0x6750085, "(24)"},
                         {0x6750086, "(32)"}, {0x6750087, "(40)"}, {0x6750088, "(48)"}, {0x6750089, "(56)"},
                         {0x675008B, "(46)"}};
    for (const Dscp &row : rows) {
        const std::string text = RC_LoadString(row.id);
        EXPECT_EQ(text.rfind("Specify ", 0), 0u) << std::hex << row.id;
        EXPECT_EQ(text.substr(text.size() - std::strlen(row.value)), row.value) << text;
    }
    ASSERT_NE(RC_LoadString(0x12345), nullptr);
    EXPECT_STREQ(RC_LoadString(0x12345), "");

    dpsim::clear_help_lines();
    int context = 0;
    EXPECT_EQ(CLI_NewHelpInfo("ef", RC_LoadString(0x675008B), &context), 0u);
    EXPECT_EQ(CLI_NewHelpInfo("af11", "Specify", nullptr), 0u);
    const auto lines = dpsim::take_help_lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].keyword, "ef");
    EXPECT_EQ(lines[0].help, "Specify Expedited Forwarding service(46)");
    EXPECT_EQ(lines[0].context, &context);
    EXPECT_EQ(lines[1].keyword, "af11");
    EXPECT_TRUE(dpsim::take_help_lines().empty());
}

}  // namespace
