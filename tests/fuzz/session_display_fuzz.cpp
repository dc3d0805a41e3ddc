// Arbitrary kernel chunks fed to the session table displays, the kernel
// detail displays, the count display and the aging queue display.
//
// Input: one byte choosing the display, one byte of flags (bit 0: the
// kernel over-reports each delivered length), then chunks, each a 2-byte
// length, a byte choosing the pull's result and that many bytes.
#include <vector>

#include "dpmgmt/session.h"
#include "fuzz/fuzz_support.h"

namespace {

uint32_t run(uint8_t which) {
    static const SESSION_DUMPKEY_S dumpKey{};
    static const SESSION_TABLEKEY_S tableKey{};
    static const SESSION_RELATION_KEY_S relationKey{};
    static const uint8_t relationByte = 0;
    switch (which % 8) {
        case 0:
            return SESSION_DisplaySession(1, &dumpKey, 1);
        case 1:
            return SESSION_DisplayFastforwardSession(1, &tableKey, 1);
        case 2:
            return SESSION_DisplayMcfsTable(1, &dumpKey, which & 0x80 ? 1 : 0);
        case 3:
            return SESSION_DisplayRelation(1, &relationByte);
        case 4:
            return SESSION_DisplaySessionKernel(1, &dumpKey);
        case 5:
            return SESSION_DisplayRelationInfo(1, &relationKey);
        case 6:
            return SESSION_DisplayStatistics(1, &dumpKey);
        default:
            return SESSION_GetAgingqueueState(1);
    }
}

const uint32_t kDumpTypes[8] = {0x140001, 0x140006, 0x140014, 0x140002, 0x140024, 0x140025, 0x140001, 0x140026};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) return 0;
    fake::reset();
    fuzz::Input in(data, size);
    const uint8_t which = in.byte();
    const uint8_t flags = in.byte();
    if (flags & 1) fake::overstate_pulls(flags >> 1);
    std::vector<fake::Pull> pulls;
    while (in.left() >= 3 && pulls.size() < 64) {
        const uint16_t len = in.u16();
        const uint8_t result = in.byte();
        pulls.push_back({result & 1 ? 0x40010009u : result, in.take(len)});
    }
    fake::script_dump(kDumpTypes[which % 8], std::move(pulls));
    {
        const fuzz::QuietStdout quiet;
        run(which);
    }
    fuzz::check(fake::open_dumps() == 0);  // every dump is ended
    return 0;
}
