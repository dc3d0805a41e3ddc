// "recover": replays the stored configuration into a session service that
// started afresh: connection-limit policies with their rules and
// descriptions, then their applications (policies before the places they
// are applied at), then the call quality analysis settings and remarks.
#include <cstdio>
#include <vector>

#include "cli.h"
#include "connlmt_store.h"
#include "sqa_store.h"

namespace {

struct Tally {
    uint32_t policies = 0, rules = 0, descriptions = 0, applications = 0;
    uint32_t failures = 0, firstFailure = 0;
    void note(uint32_t rc) {
        if (rc != 0 && failures++ == 0) firstFailure = rc;
    }
};

void replay_connlmt(Tally &t) {
    for (uint32_t family : {CONNLMT_IPV4, CONNLMT_IPV6}) {
        for (uint16_t id = 1; id < CONNLMT_Spec_GetMaxPolicyNum(); ++id) {
            auto rules = connlmt::stored_rules(family, id);
            if (!rules) continue;
            t.note(CONNLMT_ipc_AddPolicy(id, family));
            ++t.policies;
            for (const CONNLMT_RULE_S &r : *rules) {
                t.note(CONNLMT_ipc_AddRule(&r));
                ++t.rules;
            }
            CONNLMT_DESCRIPTION_S d{};
            if (CONNLMT_DB_GetPolicyDescription(family, id, g_hConnlmtGlobalCfgHandle, &d) == 0 &&
                d.szDescription[0] != 0) {
                t.note(CONNLMT_ipc_SetDes(&d));
                ++t.descriptions;
            }
        }
    }
    std::vector<uint32_t> places{0};
    for (uint32_t i : connlmt::interface_indexes()) places.push_back(i);
    for (uint32_t ifIndex : places) {
        const connlmt::Applied a = connlmt::read_applied(ifIndex);
        for (uint32_t family : {CONNLMT_IPV4, CONNLMT_IPV6}) {
            if (a.policy[family] == 0) continue;
            t.note(CONNLMT_ipc_ApplyPolicy(ifIndex, a.policy[family], family));
            ++t.applications;
        }
    }
}

int run_recover(cli::Args &args) {
    if (!args.finish()) return 1;
    Tally t;
    {
        connlmt::Store store;
        if (store.status() != 0) return cli::failed("opening the connection-limit store", store.status());
        replay_connlmt(t);
    }
    sqa::ReplayCount s;
    {
        sqa::Store store;
        if (store.status() != 0) return cli::failed("opening the call quality analysis store", store.status());
        sqa::replay(s);
    }
    std::printf("Replayed %u policies, %u rules, %u descriptions, %u applications, %u SQA settings, %u remarks\r\n",
                t.policies, t.rules, t.descriptions, t.applications, s.settings, s.remarks);
    const uint32_t failures = t.failures + s.failures;
    if (failures != 0)
        return cli::fail("%u replayed items were refused by the session service (first: 0x%08x)", failures,
                         t.failures ? t.firstFailure : s.firstFailure);
    return 0;
}

const bool registered = cli::add({
    {"recover", "", "Replay the stored configuration into the session service", run_recover},
});

}  // namespace
