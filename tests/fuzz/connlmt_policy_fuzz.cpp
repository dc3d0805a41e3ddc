// SPDX-License-Identifier: Apache-2.0
// Untrusted input into the connection-limit readers: policy, rule and
// apply-list replies of the session service, and statistic-node dumps.
//
// The first byte picks the reader; the rest is the reply payload, or a
// series of dump chunks (one byte choosing the pull result, then a chunk
// body as fuzz_support.h reads it).  A reader that reports success with a count beyond its
// record is a fault as much as a bad read is.
#include <cstring>
#include <vector>

#include "dpmgmt/connlmt.h"
#include "fuzz/fuzz_support.h"

namespace {

CONNLMT_POLICY_S g_policy;
CONNLMT_POLICYINFO_S g_info;
CONNLMT_APPLYLIST_S g_list;

void stat_nodes(fuzz::Input &in) {
    CONNLMT_STATNODE_FILTER_S filter = {};
    filter.uiIpVersion = in.byte() % 3;
    const uint16_t mode = in.byte() % 3;
    std::vector<fake::Pull> pulls;
    while (!in.empty() && pulls.size() < 16) {
        const uint32_t result = in.byte() % 8 == 0 ? 0 : DPMGMT_DUMP_CONTINUE;
        pulls.push_back({result, in.body(fuzz::kMaxChunk)});
    }
    fake::script_dump(CONNLMT_STATNODE_DUMP_TYPE, pulls);
    fake::hooks().APR_GetProtoNameByID = [](uint32_t, char *name) -> uint32_t {
        std::memset(name, 'p', 32);  // a name that fills the whole buffer
        return 0;
    };
    const fuzz::QuietStdout quiet;
    (void)CONNLMT_Dump_DisStatNodes(1, 0, &filter, mode);
    fuzz::check(fake::open_dumps() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fake::reset();
    fuzz::Input in(data, size);
    const uint8_t which = in.byte() % 7;
    const uint32_t limit = 16 + 257 * 96;
    const uint32_t max = which == 2 ? in.u16() % (limit + 128 + 1) : 0;
    static const uint32_t kTypes[6] = {35, 36, 42, 43, 38, 29};
    if (which < 6) fake::reply(kTypes[which], in.take(in.left()));
    switch (which) {
        case 0:
            if (CONNLMT_ipc_GetPolicy(1, 0, &g_policy) == 0) fuzz::check(g_policy.uiRuleNum <= 257);
            break;
        case 1:
            if (CONNLMT_ipc_GetNextPolicy(1, 1, &g_policy) == 0) fuzz::check(g_policy.uiRuleNum <= 257);
            break;
        case 2:
            if (CONNLMT_ipc_GetPolicyInfo(1, 0, max, &g_info) == 0 && g_info.uiRuleNum != 0)
                fuzz::check(max >= 144 && g_info.uiRuleNum <= (max - 144) / 96);
            break;
        case 3:
            if (CONNLMT_ipc_GetNextPolicyInfo(1, 0, &g_info) == 0) fuzz::check(g_info.uiRuleNum <= 257);
            break;
        case 4:
            if (CONNLMT_ipc_GetPolicyApplyList(1, 0, &g_list) == 0) fuzz::check(g_list.uiApplyNum <= 2048);
            break;
        case 5: {
            CONNLMT_RULE_S rule;
            (void)CONNLMT_ipc_GetRule(1, 1, 0, &rule);
            break;
        }
        default:
            stat_nodes(in);
            break;
    }
    return 0;
}
