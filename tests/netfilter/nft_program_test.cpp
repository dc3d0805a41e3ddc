// SPDX-License-Identifier: Apache-2.0
// The child-process runner the limits table goes through: what it feeds,
// what it reads back, and that a stuck, chatty or missing program costs
// the service neither a descriptor nor a zombie.
#include "netfilter/nft_program.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <string>

#include "private_netns.h"

namespace {

using dpsvc::nf::NftResult;
using dpsvc::nf::run_program;

int open_fds() {
    int n = 0;
    if (DIR *d = opendir("/proc/self/fd")) {
        while (readdir(d) != nullptr) ++n;
        closedir(d);
    }
    return n;
}

void expect_reaped() {
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(NftProgram, LargeInputAndOutputDoNotDeadlock) {
    const int fds = open_fds();
    std::string input;
    for (int i = 0; input.size() < (3u << 20); ++i)
        input += "add element inet dpmgmt s { " + std::to_string(i) + " }\n";
    const NftResult r = run_program("cat", {}, input, 20000);
    EXPECT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.output, input);
    EXPECT_EQ(open_fds(), fds);
    expect_reaped();
}

TEST(NftProgram, Failures) {
    struct Case {
        const char *name;
        const char *program;
        const char *script;
        int deadlineMs;
        std::string error;  // the start of the one-line error
    } cases[] = {
        {"refusal", "/bin/sh", "echo 'Error: No such file or directory' >&2; echo 'list table x' >&2; echo out; exit 1",
         5000, "Error: No such file or directory"},
        {"silent failure", "/bin/sh", "exit 3", 5000, "nft exited with status 3"},
        {"signal", "/bin/sh", "kill -TERM $$", 5000, "nft ended by signal 15"},
        {"stuck", "/bin/sh", "exec sleep 30", 200, "nft did not finish within 200 ms"},
        {"endless output", "/bin/sh", "exec yes", 20000, "nft printed more than 64 MiB"},
        {"missing", "/nonexistent/nft", "", 5000, "cannot run /nonexistent/nft: No such file or directory"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const int fds = open_fds();
        const NftResult r = run_program(c.program, {"-c", c.script}, "flush table inet dpmgmt\n", c.deadlineMs);
        EXPECT_FALSE(r.ok);
        EXPECT_EQ(r.error.find('\n'), std::string::npos) << r.error;
        EXPECT_EQ(r.error.rfind(c.error, 0), 0u) << r.error;
        EXPECT_TRUE(r.output.empty());
        EXPECT_EQ(open_fds(), fds);
        expect_reaped();
    }
}

}  // namespace
