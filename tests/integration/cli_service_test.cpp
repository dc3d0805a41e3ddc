// SPDX-License-Identifier: Apache-2.0
// The command line and its service: a stopped service is given up on within
// the bound, a listing cut short says so, a service dpmgmt starts gets the
// stored configuration back, and a bad environment is named in one line.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/service_process.h"
#include "support/test_env.h"

namespace {

using dptest::lines_of;

TEST(CliService, AStoppedServiceIsGivenUpOnWithinTheBound) {
    dptest::ServiceProcess svc{{"--sessions", "50"}};
    dptest::Stopped stopped(svc.pid());
    struct Case {
        std::vector<std::string> args;
        std::string socket;  // the socket the one line names
        bool incomplete;     // said as an incomplete listing
    } cases[] = {
        {{"session", "limit", "7000"}, "svc-3184.sock", false},
        {{"reset", "session", "protocol", "udp"}, ".sock", false},
        {{"display", "session", "table"}, "kernel.sock", true},
    };
    for (const Case &c : cases) {
        std::vector<std::string> args = {"--timeout", "1", "--reset-timeout", "2"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const dptest::CliResult r = dptest::run_cli(args, 8);
        SCOPED_TRACE(c.args[0] + " " + c.args[1]);
        EXPECT_FALSE(r.timedOut) << "not given up on within 8 s";
        EXPECT_EQ(r.status, 3) << r.err;
        EXPECT_EQ(lines_of(r.err), 1u) << r.err;
        EXPECT_NE(r.err.find(svc.rundir() + "/"), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(c.socket), std::string::npos) << r.err;
        EXPECT_EQ(r.err.find("the listing is incomplete") != std::string::npos, c.incomplete) << r.err;
    }
}

TEST(CliService, AListingCutShortByTheServiceDyingSaysSo) {
    dptest::ServiceProcess svc{{"--sessions", "100000"}};
    dptest::TempDir dir;
    const std::string out = dir.path() + "/out", err = dir.path() + "/err";
    dptest::Child cli([&](int) {
        return dptest::exec_program(DPMGMT_CLI_PATH, {"display", "session", "table", "verbose"}, out, err);
    });
    // Killed once the listing is under way.
    struct stat st {};
    ASSERT_TRUE(dptest::wait_until([&] { return ::stat(out.c_str(), &st) == 0 && st.st_size > 100000; }));
    svc.kill9();
    EXPECT_EQ(cli.wait_exit(), 3);
    const std::string said = dptest::read_text(err);
    EXPECT_EQ(lines_of(said), 1u) << said;
    EXPECT_EQ(said.rfind("dpmgmt: the listing is incomplete: ", 0), 0u) << said;
    EXPECT_NE(said.find("kernel.sock"), std::string::npos) << said;
}

TEST(CliService, AServiceDpmgmtStartsGetsTheStoredConfigurationBack) {
    dptest::ServiceProcess svc{{"--sessions", "50"}};
    dptest::ScopedEnv binary("DPMGMT_SERVICE", DPSERVICE_PATH);
    for (std::vector<std::string> args : {std::vector<std::string>{"connection-limit", "policy", "3"},
                                          {"connection-limit", "policy", "3", "description", "web"},
                                          {"connection-limit", "apply", "policy", "3"},
                                          {"sqa", "remark", "1", "2", "dscp", "af41"}})
        ASSERT_EQ(dptest::run_cli(args).status, 0);
    svc.kill9();
    struct Daemon {  // the service dpmgmt starts (not our child) goes with the test, through its pid file
        std::string pidfile;
        ~Daemon() {
            pid_t pid = 0;
            if (std::ifstream(pidfile) >> pid && pid > 0 && ::kill(pid, SIGKILL) == 0)
                dptest::wait_until([&] { return ::kill(pid, 0) != 0; });
        }
    } daemon{svc.rundir() + "/dpservice.pid"};

    const dptest::CliResult r = dptest::run_cli({"display", "sqa", "remark", "1", "2"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Remark 1 2: dscp af41 (34)\n");
    EXPECT_EQ(r.err,
              "dpmgmt: started the session service; replayed the stored configuration (1 policies, 0 rules, "
              "1 descriptions, 1 applications, 0 SQA settings, 1 remarks)\n");

    // Deleting the applied policy says where it was applied.
    EXPECT_EQ(dptest::run_cli({"connection-limit", "policy", "3", "delete"}).out,
              "Deleted IPv4 policy 3; it is no longer applied at global\r\n");
}

TEST(CliService, ABadEnvironmentIsNamedInOneLine) {
    dptest::ServiceProcess svc;
    dptest::TempDir dir;
    const std::string file = dir.path() + "/plain-file";
    std::ofstream(file) << "x";
    const std::string missing = dir.path() + "/nonexistent/data";
    struct Case {
        const char *variable;
        std::string value;
        bool stopService;
        std::vector<std::string> mentions;
    } cases[] = {
        {"DPMGMT_SERVICE", "/nonexistent/dpservice", true, {"/nonexistent/dpservice", "No such file or directory"}},
        {"DPMGMT_DATADIR", missing, false, {missing, "No such file or directory"}},
        {"DPMGMT_DATADIR", file, false, {file, "Not a directory"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.value);
        if (c.stopService) svc.kill9();
        dptest::ScopedEnv env(c.variable, c.value.c_str());
        const dptest::CliResult r = dptest::run_cli({"connection-limit", "policy", "3"});
        EXPECT_EQ(r.status, 4) << r.err;
        EXPECT_EQ(lines_of(r.err), 1u) << r.err;
        for (const std::string &m : c.mentions) EXPECT_NE(r.err.find(m), std::string::npos) << r.err;
        if (c.stopService) svc.restart();
    }
    struct stat st {};
    EXPECT_NE(::stat((dir.path() + "/nonexistent").c_str(), &st), 0) << "a mistyped data directory was created";
}

}  // namespace
