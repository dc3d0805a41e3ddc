// Topology and names from the device profile.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "dpsim.h"
#include "platform/dev.h"
#include "platform/iface.h"
#include "platform/names.h"
#include "support/test_env.h"

namespace {

using dptest::TempDir;

// The process's profile: the built-in one unless the test run names another.
TEST(BuiltinProfile, AnswersForItsNodesInterfacesAndNames) {
    if (std::getenv("DPMGMT_PROFILE") != nullptr) GTEST_SKIP() << "a device profile is set for this run";
    EXPECT_EQ(DEV_GetSelf(), 1);
    EXPECT_EQ(DEV_GetSystemMaster(), 1);
    EXPECT_EQ(DEV_IsController(2) & 0xFFFF, 0u);
    EXPECT_EQ(LIP_GetSlotID(2), 2u);
    EXPECT_EQ(IF_IsNodeUp(9) & 0xFFFF, 0u);
    uint32_t count = 0;
    uint16_t *nodes = DEV_GetAllNodes(&count);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(nodes[0], 1);
    EXPECT_EQ(nodes[1], 2);
    std::free(nodes);

    char name[IF_NAME_SIZE];
    ASSERT_EQ(IF_GetDataByIfIndex(1, IF_DATA_FULLNAME, name), 0u);
    EXPECT_STREQ(name, "GigabitEthernet1/0/1");
    EXPECT_EQ(IF_GetIfIndexByFullName("GigabitEthernet2/0/1"), 3u);
    uint32_t attribute = 2;
    ASSERT_EQ(IF_GetDataByIfIndex(5, IF_DATA_ATTRIBUTE, &attribute), 0u);
    EXPECT_EQ(attribute, IF_ATTRIBUTE_GLOBAL);
    uint64_t relied = 0;
    uint16_t *rely = IF_GetRelyNodesByIfIndex(5, &relied);
    ASSERT_EQ(relied, 2u);
    std::free(rely);

    char acl[ACL_NAME_SIZE];
    ASSERT_EQ(ACL_GetNameByIndex(1, 3000, acl), 0u);
    EXPECT_STREQ(acl, "web");
    EXPECT_EQ(ACL_GetIndexByName(1, "dns"), 3001u);
    char proto[APR_PROTO_NAME_SIZE];
    ASSERT_EQ(APR_GetProtoNameByID(6, proto), 0u);
    EXPECT_STREQ(proto, "tcp");
    char app[APR_APP_NAME_SIZE];
    ASSERT_EQ(APR_GetAppNameByID(1, app), 0u);
    EXPECT_STREQ(app, "http");

    // Unknown names, and a name that does not fit whole, leave the buffer
    // as it was.
    char vpn[32] = "keep";
    std::strcpy(name, "keep");
    std::strcpy(proto, "keep");
    EXPECT_NE(IF_GetDataByIfIndex(999, IF_DATA_FULLNAME, name), 0u);
    EXPECT_NE(APR_GetProtoNameByID(70000, proto), 0u);
    EXPECT_NE(L3VPN_GetNameByVrfIndex(77, sizeof vpn, vpn), 0u);
    EXPECT_NE(L3VPN_GetNameByVrfIndex(3, 4, vpn), 0u);
    EXPECT_STREQ(name, "keep");
    EXPECT_STREQ(proto, "keep");
    EXPECT_STREQ(vpn, "keep");
    ASSERT_EQ(L3VPN_GetNameByVrfIndex(3, sizeof vpn, vpn), 0u);
    EXPECT_STREQ(vpn, "corp");
}

class ProfileFile : public ::testing::Test {
protected:
    TempDir dir_;
    std::string write(const std::string &text) {
        const std::string path = dir_.path() + "/device.ini";
        std::ofstream(path) << text;
        return path;
    }
};

TEST_F(ProfileFile, ComplaintsNameTheFileAndLine) {
    const std::string head = "[device]\nself = 1\nmaster = 1\n[node 1]\nslot = 1\n";
    const std::pair<std::string, const char *> cases[] = {
        {"[device]\nself = 1\nmaster = 1\n[node 1]\nslot = one\n", ":5: "},
        {head + "this line has no equals sign\n", ":6: "},
        {"[device]\nself = 1\nmaster = 2\n[node 1]\nslot = 1\n", ":3: "},
        {head + "[acl x]\nnumber = 5\nsource = 10.0.0.0/33\n", ":8: "},
    };
    for (const auto &[text, where] : cases) {
        const std::string path = write(text);
        dpsim::Profile prof;
        std::string error;
        EXPECT_FALSE(dpsim::load_profile(path.c_str(), prof, error)) << text;
        EXPECT_EQ(error.rfind(path + where, 0), 0u) << error;
    }
}

TEST_F(ProfileFile, AMalformedProfileEndsTheProcessWithItsLine) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string path = write("[device]\nself = 1\nmaster = 1\n[node 1]\nslot = 1\ncontroller = maybe\n");
    // The profile is loaded once per process: the check runs in a fresh
    // one, which removes its copy of the directory as it exits.
    static std::string childDir;
    childDir = dir_.path();
    EXPECT_EXIT(
        {
            std::atexit([] { dptest::remove_tree(childDir); });
            ::setenv("DPMGMT_PROFILE", path.c_str(), 1);
            DEV_GetSelf();
            std::exit(0);
        },
        ::testing::ExitedWithCode(EXIT_FAILURE), "device\\.ini:6: controller must be yes or no");
}

}  // namespace
