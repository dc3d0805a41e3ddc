// The connection-limit store on the stand-in runtime's SQLite database,
// shared by real processes, and the policy commands and statistic-node
// display against a real dpservice.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "dpmgmt/connlmt.h"
#include "platform/dev.h"
#include "support/service_process.h"

namespace {

CONNLMT_RULE_S rule_of(uint32_t family, uint16_t policy, uint16_t id) {
    CONNLMT_RULE_S r = {};
    r.uiAclMode = 2;
    r.uiAclNum = 3000u + id;
    r.uiIpVersion = family;
    r.usPolicyId = policy;
    r.usRuleId = id;
    r.auiLimitData[0] = 10u * id;
    r.uiAclType = 1;
    return r;
}

// A child process running fn(writeFd); the parent reads what it writes.
// The destructor kills and reaps a child that is still there.
class Child {
public:
    explicit Child(const std::function<int(int)> &fn) {
        int fds[2];
        if (pipe(fds) != 0) throw std::runtime_error("pipe");
        pid_ = fork();
        if (pid_ < 0) throw std::runtime_error("fork");
        if (pid_ == 0) {
            close(fds[0]);
            _exit(fn(fds[1]));
        }
        close(fds[1]);
        fd_ = fds[0];
    }
    ~Child() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        if (fd_ >= 0) close(fd_);
    }
    // Reads exactly n bytes, waiting at most 20 s in all; false on
    // end of stream or time-out.
    bool read_exact(void *buf, size_t n) {
        auto *p = static_cast<uint8_t *>(buf);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (n > 0) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) return false;
            pollfd pfd{fd_, POLLIN, 0};
            if (poll(&pfd, 1, static_cast<int>(left.count())) <= 0) return false;
            const ssize_t got = read(fd_, p, n);
            if (got <= 0) return false;
            p += got;
            n -= static_cast<size_t>(got);
        }
        return true;
    }
    // Everything still in the pipe once the child is gone.
    std::vector<uint8_t> drain() {
        std::vector<uint8_t> out;
        uint8_t buf[4096];
        ssize_t got;
        while ((got = read(fd_, buf, sizeof buf)) > 0) out.insert(out.end(), buf, buf + got);
        return out;
    }
    void kill9() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    // The child's exit code after at most 20 s, or -1.
    int wait_exit() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        int status = 0;
        while (waitpid(pid_, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) return -1;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));  // polling a bounded wait
        }
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
    int fd_ = -1;
};

bool write_all(int fd, const void *p, size_t n) { return write(fd, p, n) == static_cast<ssize_t>(n); }

// A fresh data directory for the store; the databases are closed before
// any child is forked, so no SQLite connection crosses a fork.
class ConnlmtStoreProcesses : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/dpmgmt-connlmt-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        for (const char *name : {"DPMGMT_DATADIR", "DPMGMT_RUNDIR"}) {
            const char *old = std::getenv(name);
            saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
            setenv(name, dir_.c_str(), 1);
        }
    }
    void TearDown() override {
        CONNLMT_DB_Fini();
        for (const auto &[name, value] : saved_) {
            if (value) setenv(name.c_str(), value->c_str(), 1);
            else unsetenv(name.c_str());
        }
        std::filesystem::remove_all(dir_);
    }
    // Rules of the policy as another open of the store reads them.
    static std::vector<uint16_t> rule_ids(uint32_t family, uint16_t policy) {
        std::vector<CONNLMT_RULE_S> rules(257);
        const uint32_t n = CONNLMT_DB_GetPolicyRule(family, policy, 257, g_hConnlmtGlobalCfgHandle, rules.data());
        std::vector<uint16_t> ids;
        if (n == 0xFFFFFFFF) return ids;
        for (uint32_t i = 0; i < n; ++i) ids.push_back(rules[i].usRuleId);
        return ids;
    }
    std::string dir_;
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

TEST_F(ConnlmtStoreProcesses, RulesAddedOutOfOrderReadBackInOrderElsewhere) {
    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    ASSERT_EQ(CONNLMT_DB_AddPolicy(0, 4), 0u);
    ASSERT_EQ(CONNLMT_DB_AddPolicy(1, 4), 0u);
    for (uint16_t id : {200, 3, 77, 1, 150}) {
        const CONNLMT_RULE_S r = rule_of(0, 4, id);
        ASSERT_EQ(CONNLMT_DB_AddRule(&r), 0u);
    }
    const CONNLMT_RULE_S v6 = rule_of(1, 4, 9);
    ASSERT_EQ(CONNLMT_DB_AddRule(&v6), 0u);
    CONNLMT_DESCRIPTION_S d = {};
    d.usPolicyId = 4;
    std::strcpy(d.szDescription, "web servers");
    ASSERT_EQ(CONNLMT_DB_SetDescription(&d), 0u);
    CONNLMT_DB_Fini();

    Child reader([](int fd) {
        if (CONNLMT_DB_Init() != 0) return 1;
        std::vector<CONNLMT_RULE_S> rules(8);
        const uint32_t n = CONNLMT_DB_GetPolicyRule(0, 4, 8, g_hConnlmtGlobalCfgHandle, rules.data());
        CONNLMT_DESCRIPTION_S out;
        const uint32_t drc = CONNLMT_DB_GetPolicyDescription(0, 4, g_hConnlmtGlobalCfgHandle, &out);
        CONNLMT_DB_Fini();
        if (!write_all(fd, &n, sizeof n) || !write_all(fd, rules.data(), sizeof(CONNLMT_RULE_S) * 8) ||
            !write_all(fd, &drc, sizeof drc) || !write_all(fd, &out, sizeof out))
            return 2;
        return 0;
    });
    uint32_t n = 0, drc = 1;
    std::vector<CONNLMT_RULE_S> rules(8);
    CONNLMT_DESCRIPTION_S out;
    ASSERT_TRUE(reader.read_exact(&n, sizeof n));
    ASSERT_TRUE(reader.read_exact(rules.data(), sizeof(CONNLMT_RULE_S) * 8));
    ASSERT_TRUE(reader.read_exact(&drc, sizeof drc));
    ASSERT_TRUE(reader.read_exact(&out, sizeof out));
    EXPECT_EQ(reader.wait_exit(), 0);

    ASSERT_EQ(n, 5u);
    const uint16_t order[] = {1, 3, 77, 150, 200};
    for (uint32_t i = 0; i < 5; ++i) {
        const CONNLMT_RULE_S expect = rule_of(0, 4, order[i]);
        EXPECT_EQ(std::memcmp(&rules[i], &expect, sizeof expect), 0) << "slot " << i;
    }
    CONNLMT_RULE_S cleared = {};
    cleared.uiAclType = 1;
    EXPECT_EQ(std::memcmp(&rules[5], &cleared, sizeof cleared), 0);
    EXPECT_EQ(drc, 0u);
    EXPECT_STREQ(out.szDescription, "web servers");
}

TEST_F(ConnlmtStoreProcesses, AcknowledgedRulesSurviveSigkill) {
    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    ASSERT_EQ(CONNLMT_DB_AddPolicy(0, 9), 0u);
    CONNLMT_DB_Fini();

    Child writer([](int fd) {
        if (CONNLMT_DB_Init() != 0) return 1;
        for (uint16_t id = 1; id <= 256; ++id) {
            const CONNLMT_RULE_S r = rule_of(0, 9, id);
            if (CONNLMT_DB_AddRule(&r) != 0) return 2;
            if (!write_all(fd, &id, sizeof id)) return 3;  // acknowledged: committed
        }
        return 0;
    });
    // Kill it in the middle of its work, after 40 acknowledgements.
    uint16_t acked[40];
    ASSERT_TRUE(writer.read_exact(acked, sizeof acked));
    writer.kill9();
    const std::vector<uint8_t> rest = writer.drain();
    const size_t ackedCount = 40 + rest.size() / 2;

    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    const std::vector<uint16_t> ids = rule_ids(0, 9);
    // Every acknowledged rule is there; at most the one in flight besides.
    ASSERT_GE(ids.size(), ackedCount);
    ASSERT_LE(ids.size(), std::min<size_t>(ackedCount + 1, 256));
    for (size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(ids[i], i + 1);
}

TEST_F(ConnlmtStoreProcesses, MovesKilledAtRandomLeaveExactlyOneCopy) {
    const uint32_t ifIndex = 1;  // an interface of the built-in profile
    const uint8_t value[4] = {0, 3, 0, 1};
    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    ASSERT_EQ(CONNLMT_DB_UpdateAppliedPolicy(ifIndex, value), 0u);
    CONNLMT_DB_Fini();

    std::mt19937 rng(20240611);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int moves = 1 + static_cast<int>(rng() % 40);
        {
            Child mover([](int fd) {
                if (CONNLMT_DB_Init() != 0) return 1;
                for (;;) {
                    const uint8_t tick = 1;
                    CONNLMT_DB_MoveAppliedPolicy(0, 1, 1);
                    if (!write_all(fd, &tick, 1)) return 2;
                    CONNLMT_DB_MoveAppliedPolicy(1, 0, 1);
                    if (!write_all(fd, &tick, 1)) return 2;
                }
            });
            std::vector<uint8_t> ticks(static_cast<size_t>(moves));
            ASSERT_TRUE(mover.read_exact(ticks.data(), ticks.size()));
            mover.kill9();
        }
        const uint64_t usedDb = CONNLMT_DB_Open("eConnlmt", 7);
        const uint64_t unusedDb = CONNLMT_DB_Open("pConnlmt", 7);
        ASSERT_NE(usedDb, UINT64_MAX);
        ASSERT_NE(unusedDb, UINT64_MAX);
        uint8_t inUsed[4] = {}, inUnused[4] = {};
        const bool a = CONNLMT_DB_GetAppliedPolicy(usedDb, ifIndex, inUsed) == 0;
        const bool b = CONNLMT_DB_GetAppliedPolicy(unusedDb, ifIndex, inUnused) == 0;
        CONNLMT_DB_Close(usedDb);
        CONNLMT_DB_Close(unusedDb);
        ASSERT_NE(a, b) << "in the used database: " << a << ", in the unused one: " << b;
        EXPECT_EQ(std::memcmp(a ? inUsed : inUnused, value, 4), 0);
    }
}

// The commands and the display against dpservice's own state and tables.
class ConnlmtService : public ::testing::Test {
protected:
    dptest::ServiceProcess service{{"--seed", "5", "--sessions", "400"}};
};

TEST_F(ConnlmtService, PolicyRoundTripAndStatisticNodes) {
    ASSERT_EQ(CONNLMT_ipc_AddPolicy(3, 0), 0u);
    CONNLMT_RULE_S r = rule_of(0, 3, 5);
    r.uiAclNum = 3000;        // TCP from 10.0.0.0/8 in the built-in profile
    r.auiLimitData[0] = 3;    // upper threshold
    r.auiLimitData[1] = 2;    // lower threshold
    r.auiLimitData[2] = 1;    // grouped by source
    ASSERT_EQ(CONNLMT_ipc_AddRule(&r), 0u);
    ASSERT_EQ(CONNLMT_ipc_ApplyPolicy(0, 3, 0), 0u);

    CONNLMT_RULE_S got;
    std::memset(&got, 0xAA, sizeof got);
    ASSERT_EQ(CONNLMT_ipc_GetRule(3, 5, 0, &got), 0u);
    EXPECT_EQ(std::memcmp(&got, &r, sizeof r), 0);
    std::memset(&got, 0xAA, sizeof got);
    EXPECT_EQ(CONNLMT_ipc_GetRule(3, 6, 0, &got), DPMGMT_ERR_NOT_EXIST);
    EXPECT_EQ(got.uiAclMode, 0xAAAAAAAAu);

    auto policy = std::make_unique<CONNLMT_POLICY_S>();
    ASSERT_EQ(CONNLMT_ipc_GetPolicy(3, 0, policy.get()), 0u);
    EXPECT_EQ(policy->usPolicyId, 3u);
    ASSERT_EQ(policy->uiRuleNum, 1u);
    EXPECT_EQ(policy->astRule[0].usRuleId, 5u);
    EXPECT_EQ(policy->astRule[0].uiAclNum, 3000u);
    EXPECT_EQ(policy->astRule[0].auiLimitData[2], 1u);
    EXPECT_EQ(CONNLMT_ipc_GetPolicy(4, 0, policy.get()), DPMGMT_ERR_FAILED);
    uint16_t exists = 0;
    ASSERT_EQ(CONNLMT_ipc_IsPolicyExist(3, 0, &exists), 0u);
    EXPECT_EQ(exists, 1u);

    CONNLMT_STATNODE_FILTER_S filter = {};
    std::string counted, listed;
    uint32_t rcCount = 1, rcList = 1;
    counted = dptest::capture_stdout([&] { rcCount = CONNLMT_Dump_DisStatNodes(DEV_GetSelf(), 3, &filter, 1); });
    listed = dptest::capture_stdout([&] { rcList = CONNLMT_Dump_DisStatNodes(DEV_GetSelf(), 3, &filter, 0); });
    EXPECT_NE(rcCount, DPMGMT_ERR_FAILED);
    EXPECT_EQ(rcList, rcCount);

    const std::string prefix = "       Current limit statistic nodes count is ";
    const size_t at = counted.find(prefix);
    ASSERT_NE(at, std::string::npos) << counted;
    const unsigned long nodes = std::strtoul(counted.c_str() + at + prefix.size(), nullptr, 10);
    EXPECT_GT(nodes, 0u);
    EXPECT_EQ(counted.substr(at), prefix + std::to_string(nodes) + ".\r\n");
    // The heading is the same in both modes; the list shows each node once.
    EXPECT_EQ(listed.substr(0, at), counted.substr(0, at));
    size_t shown = 0;
    for (size_t p = listed.find(" Src IP address"); p != std::string::npos; p = listed.find(" Src IP address", p + 1))
        ++shown;
    EXPECT_EQ(shown, nodes);
    EXPECT_NE(listed.find(" Limit rule ID           : 5(ACL "), std::string::npos);
    for (size_t p = listed.find('\n'); p != std::string::npos; p = listed.find('\n', p + 1))
        ASSERT_EQ(listed[p - 1], '\r') << "every line ends in CR LF";

    CONNLMT_STATISTICS_S st;
    EXPECT_EQ(CONNLMT_Dump_GetStatistics(DEV_GetSelf(), 0, &st), 0u);
}

}  // namespace
