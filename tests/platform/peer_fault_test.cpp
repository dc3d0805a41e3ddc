// SPDX-License-Identifier: Apache-2.0
// What the platform reports when a peer fails it: a kernel that answers
// "more" with nothing for ever, a service binary that cannot be started.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "kernel_wire.h"
#include "platform/dump.h"
#include "platform/service.h"
#include "platform/wait.h"
#include "support/hostile_peer.h"

namespace {

using dptest::ScopedEnv;
using dptest::TempDir;

constexpr uint32_t kFailed = 0x40010001u;

struct Answer {
    uint32_t code;
    uint32_t chunk;  // bytes of chunk
};

// A kernel side that opens every dump and answers the pulls from a script,
// then "more" with an empty chunk for ever; one pull at a time, or in
// batches when it offers them.  Counts the pulls it answers.
dptest::KernelScript scripted(const std::vector<Answer> &script, bool batched, std::atomic<int> &pulls) {
    using dptest::host32;
    using dptest::operator+;
    return [&script, batched, &pulls](uint32_t op, const dptest::Bytes &payload, dptest::Bytes &reply) {
        dptest::Bytes body;
        uint32_t most = op == dpsim::kOpDumpPull ? 1 : 0;
        if (op == dpsim::kOpDumpRequest) body = host32(0) + (batched ? host32(dpsim::kFeatureBatchedPulls) : body);
        if (op == dpsim::kOpDumpPullBatch) std::memcpy(&most, payload.data() + 4, 4);
        for (uint32_t i = 0; i < most; ++i) {
            const size_t next = static_cast<size_t>(pulls++);
            const Answer a = next < script.size() ? script[next] : Answer{DUMP_CONTINUE, 0};
            const dptest::Bytes length = op == dpsim::kOpDumpPullBatch ? host32(a.chunk) : dptest::Bytes{};
            body = body + host32(a.code) + length + dptest::Bytes(a.chunk, 0x5A);
            if (a.code != DUMP_CONTINUE) break;
        }
        reply = dptest::kernel_frame(op, body);
        return true;
    };
}

class PeerFaultTest : public ::testing::Test {
protected:
    void SetUp() override { PLAT_ClearFault(); }
    void TearDown() override { PLAT_ClearFault(); }
    TempDir dir_;
    ScopedEnv run_{"DPMGMT_RUNDIR", dir_.path().c_str()};
};

// Pulls until a result other than "more" (at most 1000 times): the
// results in order.
std::vector<uint32_t> walk() {
    std::vector<uint32_t> results;
    const uint32_t h = DUMP_Request(1, 0x14000B, nullptr, 0);
    EXPECT_NE(h, DUMP_INVALID_HANDLE);
    std::vector<uint8_t> buf(64);
    uint32_t rc = DUMP_CONTINUE;
    while (rc == DUMP_CONTINUE && results.size() < 1000) {
        uint32_t got = 0;
        rc = DUMP_Pull(h, static_cast<uint32_t>(buf.size()), buf.data(), &got);
        results.push_back(rc);
    }
    DUMP_Terminate(h);
    return results;
}

// Alone or in batches, a kernel that keeps answering "more" with nothing
// ends the walk; so does a batch answer larger than the pull asked for.
TEST_F(PeerFaultTest, KernelAnsweringMoreWithNothingEndsThePull) {
    struct Case {
        const char *name;
        std::vector<Answer> script;
        size_t pulls;   // how many pulls the walk makes
        uint32_t last;  // the result that ends it
        uint32_t fault;
    };
    const auto after63 = [](Answer last) {
        std::vector<Answer> script(63, Answer{DUMP_CONTINUE, 0});
        script.push_back(last);
        return script;
    };
    const Case cases[] = {
        {"for ever", {}, 64, kFailed, PLAT_FAULT_STALLED},
        // A chunk starts the count again.
        {"with a chunk after 63", after63({DUMP_CONTINUE, 8}), 64 + 64, kFailed, PLAT_FAULT_STALLED},
        {"until the end after 63", after63({0, 0}), 64, 0, PLAT_FAULT_NONE},
        {"with a chunk larger than asked", {{DUMP_CONTINUE, 8}, {DUMP_CONTINUE, 65}}, 2, kFailed, PLAT_FAULT_GONE},
    };
    for (const bool batched : {false, true})
        for (const Case &c : cases) {
            SCOPED_TRACE(std::string(c.name) + (batched ? ", batched" : ", one at a time"));
            std::atomic<int> pulls{0};
            std::string socket;
            {
                dptest::HostilePeer kernel(dptest::Hostility::Silent, scripted(c.script, batched, pulls));
                socket = kernel.rundir() + "/kernel.sock";
                const std::vector<uint32_t> results = walk();
                EXPECT_EQ(results.size(), c.pulls);
                EXPECT_EQ(results.back(), c.last);
            }
            // Batches may have asked ahead; one at a time, exactly.
            if (batched) {
                EXPECT_GE(pulls, static_cast<int>(c.pulls));
            } else {
                EXPECT_EQ(pulls, static_cast<int>(c.pulls));
            }
            PLAT_FAULT_S f{};
            EXPECT_EQ(PLAT_GetFault(&f), c.fault);
            if (c.fault != PLAT_FAULT_NONE) {
                EXPECT_EQ(std::string(f.endpoint), socket);
            }
            PLAT_ClearFault();
        }
}

TEST_F(PeerFaultTest, ServiceThatCannotStartIsReportedWithItsBinary) {
    struct Case {
        std::string binary;
        int err;
        std::string line;
    };
    const Case cases[] = {
        {"/nonexistent/dpservice", ENOENT, "cannot start /nonexistent/dpservice: No such file or directory"},
        {"/bin/false", 0, "/bin/false exited with status 1 (see " + dir_.path() + "/dpservice.log)"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.binary);
        ScopedEnv service("DPMGMT_SERVICE", c.binary.c_str());
        EXPECT_NE(SERVICE_Start(1, "SESSION", 0, 0), 0u);
        PLAT_FAULT_S f{};
        char line[256];
        EXPECT_EQ(PLAT_GetFault(&f), PLAT_FAULT_START);
        EXPECT_EQ(f.sysErrno, c.err);
        EXPECT_EQ(std::string(f.endpoint), c.binary);
        PLAT_DescribeFault(line, sizeof line);
        EXPECT_EQ(line, c.line);
        PLAT_ClearFault();
    }
}

}  // namespace
