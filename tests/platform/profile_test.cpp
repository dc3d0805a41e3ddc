// SPDX-License-Identifier: Apache-2.0
// Names from the device profile: the built-in one, and the
// complaint a malformed one gets.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "dpsim.h"
#include "platform/iface.h"
#include "platform/names.h"
#include "support/test_env.h"

namespace {

// The process's profile: the built-in one unless the test run names another.
TEST(BuiltinProfile, NamesAreWrittenWholeOrNotAtAll) {
    if (std::getenv("DPMGMT_PROFILE") != nullptr) GTEST_SKIP() << "a device profile is set for this run";
    char name[IF_NAME_SIZE] = "keep";
    EXPECT_NE(IF_GetDataByIfIndex(999, IF_DATA_FULLNAME, name), 0u);
    EXPECT_STREQ(name, "keep") << "an unknown interface leaves the buffer as it was";
    ASSERT_EQ(IF_GetDataByIfIndex(1, IF_DATA_FULLNAME, name), 0u);
    EXPECT_STREQ(name, "GigabitEthernet1/0/1");
    char vpn[32] = "keep";
    EXPECT_NE(L3VPN_GetNameByVrfIndex(3, 4, vpn), 0u);
    EXPECT_STREQ(vpn, "keep") << "a name that does not fit whole is not written";
    ASSERT_EQ(L3VPN_GetNameByVrfIndex(3, sizeof vpn, vpn), 0u);
    EXPECT_STREQ(vpn, "corp");
}

TEST(ProfileFile, ComplaintsNameTheFileAndLine) {
    dptest::TempDir dir;
    const std::string path = dir.path() + "/device.ini";
    const std::string head = "[device]\nself = 1\nmaster = 1\n[node 1]\nslot = 1\n";
    const std::pair<std::string, const char *> cases[] = {
        {"[device]\nself = 1\nmaster = 1\n[node 1]\nslot = one\n", ":5: "},
        {"[device]\nself = 1\nmaster = 2\n[node 1]\nslot = 1\n", ":3: "},
        {head + "[acl x]\nnumber = 5\nsource = 10.0.0.0/33\n", ":8: "},
    };
    for (const auto &[text, where] : cases) {
        std::ofstream(path) << text;
        dpsim::Profile prof;
        std::string error;
        EXPECT_FALSE(dpsim::load_profile(path.c_str(), prof, error)) << text;
        EXPECT_EQ(error.rfind(path + where, 0), 0u) << error;
    }
}

}  // namespace
