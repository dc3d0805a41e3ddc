// Untrusted input into the connection-limit readers: policy, rule and
// apply-list replies of the session service, and statistic-node dumps.
//
// The first byte picks the reader; the rest is the reply payload, or a
// series of dump chunks (u16 length, one byte choosing the pull result,
// then the bytes).  A reader that reports success with a count beyond its
// record is a fault as much as a bad read is.
#include <unistd.h>
#include <fcntl.h>

#include <cstdio>
#include <cstring>

#include "dpmgmt/connlmt.h"
#include "fake/fake_platform.h"

namespace {

struct Input {
    const uint8_t *data;
    size_t size;
    uint8_t byte() {
        if (size == 0) return 0;
        --size;
        return *data++;
    }
    fake::Bytes take(size_t n) {
        n = n < size ? n : size;
        fake::Bytes b(data, data + n);
        data += n;
        size -= n;
        return b;
    }
};

// The display writes to standard output; inputs run with it sent to
// /dev/null and restored afterwards, so the driver's own report stays.
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

private:
    int saved_ = -1;
};

CONNLMT_POLICY_S g_policy;
CONNLMT_POLICYINFO_S g_info;
CONNLMT_APPLYLIST_S g_list;

void reply(uint32_t type, const fake::Bytes &payload) {
    fake::sockets().receives.push_back({1, 0, fake::datagram(type, payload)});
}

void check(bool ok) {
    if (!ok) __builtin_trap();
}

void stat_nodes(Input &in) {
    CONNLMT_STATNODE_FILTER_S filter = {};
    filter.uiIpVersion = in.byte() % 3;
    const uint16_t mode = in.byte() % 3;
    std::vector<fake::Pull> pulls;
    while (in.size > 0 && pulls.size() < 16) {
        const size_t len = (static_cast<size_t>(in.byte()) << 8 | in.byte()) % 8100;
        const uint32_t result = in.byte() % 8 == 0 ? 0 : DPMGMT_DUMP_CONTINUE;
        pulls.push_back({result, in.take(len)});
    }
    fake::script_dump(CONNLMT_STATNODE_DUMP_TYPE, pulls);
    fake::hooks().APR_GetProtoNameByID = [](uint32_t, char *name) -> uint32_t {
        std::memset(name, 'p', 32);  // a name that fills the whole buffer
        return 0;
    };
    QuietStdout quiet;
    (void)CONNLMT_Dump_DisStatNodes(1, 0, &filter, mode);
    check(fake::open_dumps() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fake::reset();
    Input in{data, size};
    const uint8_t which = in.byte() % 7;
    const uint32_t limit = 16 + 257 * 96;
    switch (which) {
    case 0:
        reply(35, in.take(in.size));
        if (CONNLMT_ipc_GetPolicy(1, 0, &g_policy) == 0) check(g_policy.uiRuleNum <= 257);
        break;
    case 1:
        reply(36, in.take(in.size));
        if (CONNLMT_ipc_GetNextPolicy(1, 1, &g_policy) == 0) check(g_policy.uiRuleNum <= 257);
        break;
    case 2: {
        const uint32_t max = (static_cast<uint32_t>(in.byte()) << 8 | in.byte()) % (limit + 128 + 1);
        reply(42, in.take(in.size));
        if (CONNLMT_ipc_GetPolicyInfo(1, 0, max, &g_info) == 0 && g_info.uiRuleNum != 0)
            check(max >= 144 && g_info.uiRuleNum <= (max - 144) / 96);
        break;
    }
    case 3:
        reply(43, in.take(in.size));
        if (CONNLMT_ipc_GetNextPolicyInfo(1, 0, &g_info) == 0) check(g_info.uiRuleNum <= 257);
        break;
    case 4:
        reply(38, in.take(in.size));
        if (CONNLMT_ipc_GetPolicyApplyList(1, 0, &g_list) == 0) check(g_list.uiApplyNum <= 2048);
        break;
    case 5: {
        CONNLMT_RULE_S rule;
        reply(29, in.take(in.size));
        (void)CONNLMT_ipc_GetRule(1, 1, 0, &rule);
        break;
    }
    default:
        stat_nodes(in);
        break;
    }
    return 0;
}
