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
#include "sim_fixture.h"

namespace {

using dpsim_test::ScopedEnv;
using dpsim_test::TempDir;

// These read the process's profile: the built-in one unless the test run
// names another.
class BuiltinProfileTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::getenv("DPMGMT_PROFILE") != nullptr) GTEST_SKIP() << "a device profile is set for this run";
    }
};

TEST_F(BuiltinProfileTest, DeviceOfTwoSlots) {
    EXPECT_EQ(DEV_GetSelf(), 1);
    EXPECT_EQ(DEV_GetSystemMaster(), 1);
    EXPECT_EQ(DEV_IsController(1) & 0xFFFF, 1u);
    EXPECT_EQ(DEV_IsController(2) & 0xFFFF, 0u);
    EXPECT_EQ(DEV_IsMultiChassis() & 0xFFFF, 0u);
    EXPECT_EQ(DEV_IsMultiCpu(0xFFFFFFFF, 1) & 0xFFFF, 0u);
    EXPECT_EQ(LIP_GetSlotID(2), 2u);
    EXPECT_EQ(LIP_GetChassID(2), 1u);
    EXPECT_EQ(LIP_GetCpuID(2), 0u);
    EXPECT_EQ(IF_IsNodeUp(2) & 0xFFFF, 1u);
    EXPECT_EQ(IF_IsNodeUp(9) & 0xFFFF, 0u);
    uint32_t count = 0;
    uint16_t *nodes = DEV_GetAllNodes(&count);
    ASSERT_NE(nodes, nullptr);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(nodes[0], 1);
    EXPECT_EQ(nodes[1], 2);
    std::free(nodes);
}

TEST_F(BuiltinProfileTest, Interfaces) {
    char name[IF_NAME_SIZE];
    ASSERT_EQ(IF_GetDataByIfIndex(1, IF_DATA_FULLNAME, name), 0u);
    EXPECT_STREQ(name, "GigabitEthernet1/0/1");
    EXPECT_EQ(IF_GetIfIndexByFullName("GigabitEthernet2/0/1"), 3u);
    EXPECT_EQ(IF_GetIfIndexByFullName(""), 0u);
    uint32_t attribute = 2;
    ASSERT_EQ(IF_GetDataByIfIndex(5, IF_DATA_ATTRIBUTE, &attribute), 0u);
    EXPECT_EQ(attribute, IF_ATTRIBUTE_GLOBAL);
    ASSERT_EQ(IF_GetDataByIfIndex(1, IF_DATA_ATTRIBUTE, &attribute), 0u);
    EXPECT_NE(attribute, IF_ATTRIBUTE_GLOBAL);
    // An unknown interface leaves the buffer as it was.
    attribute = 2;
    std::strcpy(name, "keep");
    EXPECT_NE(IF_GetDataByIfIndex(999, IF_DATA_ATTRIBUTE, &attribute), 0u);
    EXPECT_NE(IF_GetDataByIfIndex(999, IF_DATA_FULLNAME, name), 0u);
    EXPECT_EQ(attribute, 2u);
    EXPECT_STREQ(name, "keep");

    EXPECT_EQ(IF_IsLocalIf(1) & 0xFFFF, 1u);
    EXPECT_EQ(IF_IsLocalIf(3) & 0xFFFF, 0u);
    EXPECT_EQ(IF_IsTempIf(7) & 0xFFFF, 1u);
    EXPECT_EQ(IF_IsTempIf(1) & 0xFFFF, 0u);
    uint64_t count = 0;
    uint16_t *nodes = IF_GetRelyNodesByIfIndex(5, &count);
    ASSERT_NE(nodes, nullptr);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(nodes[1], 2);
    std::free(nodes);
    EXPECT_EQ(IF_GetRelyNodesByIfIndex(999, &count), nullptr);
}

TEST_F(BuiltinProfileTest, Names) {
    char acl[ACL_NAME_SIZE];
    ASSERT_EQ(ACL_GetNameByIndex(1, 3000, acl), 0u);
    EXPECT_STREQ(acl, "web");
    EXPECT_EQ(ACL_GetIndexByName(1, "dns"), 3001u);
    EXPECT_EQ(ACL_GetIndexByName(2, "dns"), 0u);
    EXPECT_NE(ACL_GetNameByIndex(2, 3000, acl), 0u);

    char proto[APR_PROTO_NAME_SIZE];
    ASSERT_EQ(APR_GetProtoNameByID(6, proto), 0u);
    EXPECT_STREQ(proto, "tcp");
    std::strcpy(proto, "keep");
    EXPECT_NE(APR_GetProtoNameByID(250, proto), 0u);
    EXPECT_NE(APR_GetProtoNameByID(70000, proto), 0u);
    EXPECT_STREQ(proto, "keep");

    char app[APR_APP_NAME_SIZE];
    ASSERT_EQ(APR_GetAppNameByID(1, app), 0u);
    EXPECT_STREQ(app, "http");
    EXPECT_NE(APR_GetAppNameByID(4000, app), 0u);

    char vpn[32];
    ASSERT_EQ(L3VPN_GetNameByVrfIndex(3, sizeof vpn, vpn), 0u);
    EXPECT_STREQ(vpn, "corp");
    std::strcpy(vpn, "keep");
    EXPECT_NE(L3VPN_GetNameByVrfIndex(77, sizeof vpn, vpn), 0u);
    // A name that does not fit whole is no answer.
    EXPECT_NE(L3VPN_GetNameByVrfIndex(3, 4, vpn), 0u);
    EXPECT_STREQ(vpn, "keep");
}

class ProfileFileTest : public ::testing::Test {
protected:
    TempDir dir_;
    std::string write(const std::string &text) {
        const std::string path = dir_.path() + "/device.ini";
        std::ofstream(path) << text;
        return path;
    }
};

TEST_F(ProfileFileTest, ParsesNodesInterfacesAclsAndDefaults) {
    const std::string path = write(
        "[device]\nmulti-chassis = yes\nself = 17\nmaster = 33\n"
        "[node 17]\nchassis = 1\nslot = 3\ncpu = 0\n"
        "[node 18]\nchassis = 1\nslot = 3\ncpu = 1\nup = no\n"
        "[node 33]\nchassis = 2\nslot = 1\ncontroller = yes\nteam = 4\n"
        "[interface Ten-GigabitEthernet1/3/0/1]\nifindex = 40\nnodes = 17 18\n"
        "[interface Ten-GigabitEthernet2/1/0/1]\nifindex = 41\nnodes = 33\nlocal = yes\nattribute = 9\n"
        "[acl lan6]\ntype = 2\nnumber = 2000\nsource = 2001:db8:1::/48\nprotocol = 58\n"
        "[vpn]\n12 = blue\n");
    dpsim::Profile prof;
    std::string error;
    ASSERT_TRUE(dpsim::load_profile(path.c_str(), prof, error)) << error;
    EXPECT_TRUE(prof.multiChassis);
    EXPECT_EQ(prof.master, 33);
    ASSERT_NE(prof.node(18), nullptr);
    EXPECT_EQ(prof.node(18)->cpu, 1u);
    EXPECT_FALSE(prof.node(18)->up);
    EXPECT_EQ(prof.node(33)->team, 4u);
    const dpsim::Interface *a = prof.interface(40);
    const dpsim::Interface *b = prof.interface(std::string("Ten-GigabitEthernet2/1/0/1"));
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    // Local by default when it relies on the local node; as told otherwise.
    EXPECT_TRUE(a->local);
    EXPECT_TRUE(b->local);
    EXPECT_EQ(b->attribute, 9u);
    ASSERT_EQ(prof.acls.size(), 1u);
    const dpsim::Acl &acl = prof.acls[0];
    EXPECT_EQ(acl.protocol, 58);
    const uint8_t inside[16] = {0x20, 0x01, 0x0d, 0xb8, 0x00, 0x01, 0xff};
    const uint8_t outside[16] = {0x20, 0x01, 0x0d, 0xb8, 0x00, 0x02};
    EXPECT_TRUE(dpsim::prefix_matches(acl.source, 6, inside));
    EXPECT_FALSE(dpsim::prefix_matches(acl.source, 6, outside));
    EXPECT_FALSE(dpsim::prefix_matches(acl.source, 4, inside));
    EXPECT_TRUE(dpsim::prefix_matches(acl.destination, 4, outside));
    EXPECT_EQ(prof.vpns.at(12), "blue");

    // The built-in text goes through the same parser.
    dpsim::Profile builtin;
    ASSERT_TRUE(dpsim::load_profile(nullptr, builtin, error)) << error;
    EXPECT_EQ(builtin.nodes.size(), 2u);
}

TEST_F(ProfileFileTest, ComplaintsNameTheFileAndLine) {
    struct Case {
        const char *text;
        const char *where;
    };
    const Case cases[] = {
        {"[device]\nself = 1\nmaster = 1\n[node 1]\nslot = one\n", ":5: "},
        {"[device]\nself = 1\nmaster = 1\n[node 1]\nslot = 1\nthis line has no equals sign\n", ":6: "},
        {"[device]\nself = 1\nmaster = 1\n[gadget]\nx = 1\n", ":5: "},
        {"[device]\nself = 1\nmaster = 2\n[node 1]\nslot = 1\n", ":3: "},
        {"[device]\nself = 1\nmaster = 1\n[node 1]\nslot = 1\n[interface A]\nnodes = 1\n", ":7: "},
        {"[device]\nself = 1\nmaster = 1\n[node 1]\nslot = 1\n[acl x]\nnumber = 5\nsource = 10.0.0.0/33\n", ":8: "},
    };
    for (const Case &c : cases) {
        const std::string path = write(c.text);
        dpsim::Profile prof;
        std::string error;
        EXPECT_FALSE(dpsim::load_profile(path.c_str(), prof, error)) << c.text;
        EXPECT_EQ(error.rfind(path + c.where, 0), 0u) << error;
    }
}

TEST_F(ProfileFileTest, AMalformedProfileEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string path = write("[device]\nself = 1\nmaster = 1\n[node 1]\nslot = 1\ncontroller = maybe\n");
    // The profile is loaded once per process: the check runs in a fresh one,
    // which cleans up its own copy of the directory as it exits.
    static std::string childDir;
    childDir = dir_.path();
    EXPECT_EXIT(
        {
            std::atexit([] { dpsim_test::remove_tree(childDir); });
            ::setenv("DPMGMT_PROFILE", path.c_str(), 1);
            DEV_GetSelf();
            std::exit(0);
        },
        ::testing::ExitedWithCode(EXIT_FAILURE), "device\\.ini:6: controller must be yes or no");
}

}  // namespace
