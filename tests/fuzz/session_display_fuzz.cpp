// Arbitrary kernel chunks fed to the session table displays, the kernel
// detail displays, the count display and the aging queue display.
//
// Input: one byte choosing the display, one byte of flags (bit 0: the
// kernel over-reports each delivered length), then chunks, each a 2-byte
// length, a byte choosing the pull's result and that many bytes.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

namespace {

// Each input runs with standard output sent to /dev/null and restored
// afterwards, so the driver's own report stays.
class QuietStdout {
public:
    QuietStdout() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        const int devnull = open("/dev/null", O_WRONLY);
        if (devnull >= 0) {
            dup2(devnull, STDOUT_FILENO);
            close(devnull);
        }
    }
    ~QuietStdout() {
        std::fflush(stdout);
        if (saved_ >= 0) {
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
        }
    }
    QuietStdout(const QuietStdout &) = delete;
    QuietStdout &operator=(const QuietStdout &) = delete;

private:
    int saved_ = -1;
};

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
    const uint8_t which = data[0];
    if (data[1] & 1) fake::overstate_pulls(data[1] >> 1);
    std::vector<fake::Pull> pulls;
    size_t pos = 2;
    while (pos + 3 <= size && pulls.size() < 64) {
        const size_t len = static_cast<size_t>(data[pos]) << 8 | data[pos + 1];
        const uint32_t result = data[pos + 2] & 1 ? 0x40010009u : data[pos + 2];
        pos += 3;
        const size_t take = len < size - pos ? len : size - pos;
        pulls.push_back({result, fake::Bytes(data + pos, data + pos + take)});
        pos += take;
    }
    fake::script_dump(kDumpTypes[which % 8], std::move(pulls));
    {
        const QuietStdout quiet;
        run(which);
    }
    if (fake::open_dumps() != 0) __builtin_trap();  // every dump is ended
    return 0;
}
