// SPDX-License-Identifier: Apache-2.0
// Arbitrary kernel chunks fed to every session display and table reader:
// the session, fast-forward, Mcfs and relation tables, the kernel detail
// and relation detail displays, the count display, the aging queue, the
// history samples and averages, the top statistics of several nodes and
// the hot-backup display.
//
// Input: one byte choosing the display, one byte of flags (bit 0: the
// kernel over-reports each delivered length by flags >> 1), then the pulls
// (fuzz_support.h: script_dumps).  Every dump must be ended, and no reader
// may report more samples than the caller's buffer holds.
#include <cstdlib>
#include <iterator>
#include <vector>

#include "dpmgmt/session.h"
#include "fuzz/fuzz_support.h"

namespace {

constexpr uint32_t kSession = 0x140001, kFastforward = 0x140006, kMcfs = 0x140014, kRelation = 0x140002,
                   kKernel = 0x140024, kRelationInfo = 0x140025, kAging = 0x140026, kHistory = 0x140017,
                   kTopStat = 0x14001a, kRemainMsg = 0x140019, kPeerStat = 0x140009;

const SESSION_DUMPKEY_S kDumpKey{};
const SESSION_TABLEKEY_S kTableKey{};
const SESSION_RELATION_KEY_S kRelationKey{};
const uint8_t kRelationByte = 0;

// The history reader with a query and buffer the input chooses; the buffer
// is exactly as large as the caller says.
void history(fuzz::Input &in) {
    SESSION_HISQUERY_S query{};
    query.uiPeriod = in.byte() % 4;
    query.uiSamples = in.u16() % 1500;
    query.usSampleSize = in.byte() % 32;
    const uint32_t bufferSize = in.u16() % (720 * 12 * 2 + 1);
    fuzz::script_dumps(in, {kHistory});
    std::vector<uint8_t> buffer(bufferSize);
    uint32_t count = 0xA5A5A5A5u;
    const uint32_t rc = SESSION_GetHisStatics(1, &query, bufferSize, buffer.data(), &count);
    if (rc == 0)
        fuzz::check(static_cast<uint64_t>(count) * 12 <= bufferSize);
    else
        fuzz::check(count == 0xA5A5A5A5u);
}

// Three nodes' top statistics into a buffer of exactly 49152 bytes each.
void top_statistics(fuzz::Input &in) {
    const uint16_t nodes[3] = {1, 2, 3};
    const uint32_t nodeCount = 1 + in.byte() % 3;
    fuzz::script_dumps(in, {kTopStat, kTopStat, kTopStat});
    std::vector<uint8_t> buffer(static_cast<size_t>(nodeCount) * 49152);
    uint32_t count = 0;
    fuzz::check(Session_GetTopStatTick(nodeCount, nodes, &count, buffer.data()) == 0);
    fuzz::check(static_cast<uint64_t>(count) * 24 <= buffer.size());
}

// The hot-backup display asks for the remaining messages, then for the
// counters of every other node that is up.
void hot_backup(fuzz::Input &in) {
    fake::hooks().DEV_GetAllNodes = [](uint32_t *count) {
        auto *nodes = static_cast<uint16_t *>(std::malloc(3 * sizeof(uint16_t)));
        nodes[0] = 1;
        nodes[1] = 2;
        nodes[2] = 3;
        *count = 3;
        return nodes;
    };
    fuzz::script_dumps(in, {kRemainMsg, kPeerStat, kPeerStat});
    HOTBACKUP_DisplayStatistics(1);
}

// The table walks and counts that read one dump each, by the display byte.
struct OneDump {
    uint32_t dump;
    void (*run)(bool verbose);
};
const OneDump kOneDump[] = {
    {kSession, [](bool v) { (void)SESSION_DisplaySession(1, &kDumpKey, v ? 1 : 0); }},
    {kFastforward, [](bool v) { (void)SESSION_DisplayFastforwardSession(1, &kTableKey, v ? 1 : 0); }},
    {kMcfs, [](bool v) { (void)SESSION_DisplayMcfsTable(1, &kDumpKey, v ? 1 : 0); }},
    {kRelation, [](bool) { (void)SESSION_DisplayRelation(1, &kRelationByte); }},
    {kKernel, [](bool) { (void)SESSION_DisplaySessionKernel(1, &kDumpKey); }},
    {kRelationInfo, [](bool) { (void)SESSION_DisplayRelationInfo(1, &kRelationKey); }},
    {kSession, [](bool) { (void)SESSION_DisplayStatistics(1, &kDumpKey); }},
    {kAging, [](bool) { (void)SESSION_GetAgingqueueState(1); }},
};

void display(uint8_t which, fuzz::Input &in) {
    const size_t n = which % 12;
    if (n < std::size(kOneDump)) {
        fuzz::script_dumps(in, {kOneDump[n].dump});
        kOneDump[n].run(which & 0x80);
    } else if (n == 8) {
        history(in);
    } else if (n == 9) {
        fuzz::script_dumps(in, {kHistory, kHistory, kHistory});
        SESSION_HISAVG_S averages{};
        SESSION_HisCom_GetStatics(1, &averages);
        SESSION_HisCom_DisplayStatics(&averages);
    } else if (n == 10) {
        top_statistics(in);
    } else {
        hot_backup(in);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) return 0;
    fake::reset();
    fuzz::Input in(data, size);
    const uint8_t which = in.byte();
    const uint8_t flags = in.byte();
    if (flags & 1) fake::overstate_pulls(flags >> 1);
    {
        const fuzz::QuietStdout quiet;
        display(which, in);
    }
    fuzz::check(fake::open_dumps() == 0);  // every dump is ended
    return 0;
}
