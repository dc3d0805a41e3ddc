// SPDX-License-Identifier: Apache-2.0
// Whom the runtime trusts: run directories of another user or open to
// others are refused, files are never reached through planted links, only
// a socket that answers is a running service, and the configuration
// database is private.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "dpsim.h"
#include "platform/dbm.h"
#include "platform/service.h"
#include "platform/socket.h"
#include "platform/wait.h"
#include "support/child_process.h"

namespace {

using dptest::ScopedEnv;
using dptest::TempDir;

constexpr uid_t kNobody = 65534;
const DBM_OPEN_DESC_S kDesc = {{1, 0, 1, 0, 0, 0, 0, 0}};

struct Fault {
    uint32_t kind;
    int err;
    std::string endpoint;
    std::string line;
};

Fault take_fault() {
    PLAT_FAULT_S f{};
    char line[512];
    PLAT_GetFault(&f);
    PLAT_DescribeFault(line, sizeof line);
    PLAT_ClearFault();
    return Fault{f.kind, f.sysErrno, f.endpoint, line};
}

mode_t mode_of(const std::string &path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

// What connecting to the session service of the run directory the
// environment names ends with: 0, or the errno of the failed connect.
int connect_error() {
    const int fd = SOCK_Socket(PLAT_AF_SERVICE, PLAT_SOCK_DGRAM, 0);
    uint8_t addr[PLAT_SOCKADDR_SIZE] = {PLAT_SOCKADDR_SIZE, PLAT_AF_SERVICE, 0x0C, 0x70};
    const int err = SOCK_Connect(fd, addr, sizeof addr) == 0 ? 0 : errno;
    SOCK_Close(fd);
    return err;
}

uint32_t status() {
    uint32_t st = 99;
    EXPECT_EQ(SERVICE_GetStatus(1, "SESSION", 0, &st), 0u);
    return st;
}

class RunDirectoryTest : public ::testing::Test {
protected:
    void SetUp() override { PLAT_ClearFault(); }
    void TearDown() override { PLAT_ClearFault(); }
    TempDir base_;
};

// Every refusal names the directory, says why in one line, and reaches
// neither the socket nor the service manager's start; dpservice itself
// refuses the directory in one line and leaves it as it found it.
TEST_F(RunDirectoryTest, ForeignOpenOrMissingRunDirectoriesAreRefused) {
    struct Case {
        const char *name;
        bool needsRoot;
        std::function<void(const std::string &)> make;
        uint32_t kind;
        int err;
        const char *why;
    };
    const Case cases[] = {
        {"another user's", true,
         [](const std::string &d) { ::mkdir(d.c_str(), 0700), (void)!::chown(d.c_str(), kNobody, kNobody); },
         PLAT_FAULT_UNTRUSTED, EPERM, " belongs to uid 65534, not 0"},
        {"open to all", false, [](const std::string &d) { ::mkdir(d.c_str(), 0700), ::chmod(d.c_str(), 0777); },
         PLAT_FAULT_UNTRUSTED, EPERM, " is open to other users (mode 0777)"},
        {"a file", false, [](const std::string &d) { std::ofstream(d) << "x"; }, PLAT_FAULT_DIRECTORY, ENOTDIR,
         " is not a directory"},
        {"in a missing parent", false, [](const std::string &) {}, PLAT_FAULT_DIRECTORY, ENOENT,
         ": No such file or directory"},
    };
    int n = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        if (c.needsRoot && ::geteuid() != 0) continue;
        const std::string dir = base_.path() + "/run" + std::to_string(++n) + (c.err == ENOENT ? "/missing/run" : "");
        c.make(dir);
        ScopedEnv run("DPMGMT_RUNDIR", dir.c_str());
        EXPECT_EQ(connect_error(), c.err);
        Fault f = take_fault();
        EXPECT_EQ(f.kind, c.kind);
        EXPECT_EQ(f.err, c.err);
        EXPECT_EQ(f.endpoint, dir);
        EXPECT_NE(f.line.find(dir + c.why), std::string::npos) << f.line;
        EXPECT_EQ(f.line.find('\n'), std::string::npos);
        EXPECT_NE(SERVICE_Start(1, "SESSION", 0, 0), 0u);
        EXPECT_EQ(take_fault().kind, c.kind);
        const dptest::CliResult r = dptest::run_program(DPSERVICE_PATH, {}, 10);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err.rfind("dpservice: ", 0), 0u) << r.err;
        EXPECT_EQ(r.err.find(dir + c.why + "\n"), r.err.size() - dir.size() - std::strlen(c.why) - 1) << r.err;
        EXPECT_EQ(::access((dir + "/svc-3184.sock").c_str(), F_OK), -1);
        if (c.err == ENOENT) {
            EXPECT_EQ(::access(dir.substr(0, dir.rfind('/')).c_str(), F_OK), -1) << "parent made";
        }
    }
}

// In a directory of our own, a planted link where the pid file's temporary
// goes is replaced, not followed; one where the log goes stops the start.
// What the service makes is for the user alone; a second start leaves the
// running service alone.
TEST_F(RunDirectoryTest, PlantedLinksInOurOwnDirectoryAreNotFollowed) {
    const std::string victim = base_.path() + "/victim";
    std::ofstream(victim) << "secret\n";
    TempDir run;
    ScopedEnv runEnv("DPMGMT_RUNDIR", run.path().c_str());
    ScopedEnv service("DPMGMT_SERVICE", DPSERVICE_PATH);
    const std::string log = run.path() + "/dpservice.log";
    ASSERT_EQ(::symlink(victim.c_str(), log.c_str()), 0);
    EXPECT_NE(SERVICE_Start(1, "SESSION", 0, 0), 0u);
    EXPECT_EQ(take_fault().kind, PLAT_FAULT_UNTRUSTED);
    ::unlink(log.c_str());

    ASSERT_EQ(::symlink(victim.c_str(), (run.path() + "/dpservice.pid.tmp").c_str()), 0);
    ASSERT_EQ(SERVICE_Start(1, "SESSION", 0, 0), 0u);
    pid_t pid = 0;
    std::istringstream(dptest::read_text(run.path() + "/dpservice.pid")) >> pid;
    ASSERT_GT(pid, 0);
    EXPECT_EQ(dptest::read_text(victim), "secret\n");
    for (const char *file : {"/dpservice.pid", "/dpservice.log", "/svc-3184.sock", "/kernel.sock"})
        EXPECT_EQ(mode_of(run.path() + file), 0600u) << file;
    EXPECT_EQ(::access((run.path() + "/dpservice.pid.tmp").c_str(), F_OK), -1);
    EXPECT_EQ(status(), SERVICE_STATUS_RUNNING);
    EXPECT_EQ(SERVICE_Start(1, "SESSION", 0, 0), 0u) << "what runs is left running";
    ASSERT_EQ(::kill(pid, SIGTERM), 0);
    EXPECT_TRUE(dptest::wait_until([] { return status() == 0; }));
    EXPECT_TRUE(dptest::wait_until([pid] { return ::kill(pid, 0) != 0; }));
}

// Running means the service socket answers: a socket file whose service is
// gone does not count.  A socket in
// our directory that another user made is not our service, for a process
// that watches its service (bounded, as the command line does).
TEST_F(RunDirectoryTest, OnlyAnAnsweringSocketOfOurOwnIsTheService) {
    TempDir run;
    ScopedEnv runEnv("DPMGMT_RUNDIR", run.path().c_str());
    const std::string socket = run.path() + "/svc-3184.sock";
    EXPECT_EQ(status(), 0u);
    const int fake = dptest::bind_unix(SOCK_DGRAM, socket);
    ASSERT_GE(fake, 0);
    EXPECT_EQ(status(), SERVICE_STATUS_RUNNING);
    if (::geteuid() == 0) {
        EXPECT_EQ(::chown(socket.c_str(), kNobody, kNobody), 0);
        PLAT_SetWaitBounds(5000, 0);
        EXPECT_EQ(connect_error(), EPERM);
        PLAT_SetWaitBounds(0, 0);
        const Fault f = take_fault();
        EXPECT_EQ(f.kind, PLAT_FAULT_UNTRUSTED);
        EXPECT_EQ(f.endpoint, socket);
        EXPECT_EQ(f.line, socket + " belongs to uid 65534");
    }
    ::close(fake);
    EXPECT_EQ(status(), 0u);
}

TEST_F(RunDirectoryTest, DefaultRunDirectoryFollowsThePlatformConventions) {
    ScopedEnv noRun("DPMGMT_RUNDIR", nullptr);
    const std::string fallback = ::geteuid() == 0 ? "/run/dpmgmt" : "/tmp/dpmgmt-" + std::to_string(::geteuid());
    TempDir xdg;  // mkdtemp: ours, mode 0700
    {
        ScopedEnv env("XDG_RUNTIME_DIR", xdg.path().c_str());
        EXPECT_EQ(dpsim::rundir(), xdg.path() + "/dpmgmt");
    }
    TempDir open;
    ::chmod(open.path().c_str(), 0755);
    {
        ScopedEnv env("XDG_RUNTIME_DIR", open.path().c_str());
        EXPECT_EQ(dpsim::rundir(), fallback) << "a runtime directory open to others is not used";
    }
    ScopedEnv env("XDG_RUNTIME_DIR", nullptr);
    EXPECT_EQ(dpsim::rundir(), fallback);
}

// The database and its journal are private, even under a permissive mask
// and in a shared directory.
TEST_F(RunDirectoryTest, DatabaseFilesAreForTheUserAlone) {
    ::chmod(base_.path().c_str(), 0777);
    const std::string dir = base_.path() + "/data";
    ScopedEnv data("DPMGMT_DATADIR", dir.c_str());
    const mode_t saved = ::umask(0);
    uint64_t h = DBM_INVALID_HANDLE;
    ASSERT_EQ(DBM_Open("gTest", "testmod", 7, &kDesc, &h, 1), 0u);
    const uint32_t value = 7;
    EXPECT_EQ(DBM_SetBinary(h, "k", 2, 0, sizeof value, &value, 0), 0);
    ::umask(saved);
    EXPECT_EQ(mode_of(dir), 0700u);
    EXPECT_EQ(mode_of(dir + "/testmod.db"), 0600u);
    EXPECT_EQ(mode_of(dir + "/testmod.db-wal"), 0600u);
    DBM_Close(h);
}

}  // namespace
