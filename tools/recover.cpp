// SPDX-License-Identifier: Apache-2.0
// "recover" and the replay behind it.
#include <cstdio>
#include <vector>

#include "cli.h"
#include "connlmt_store.h"
#include "replay.h"
#include "sqa_store.h"

namespace cli {

namespace {

void note(Replayed &r, uint32_t rc) {
    if (rc != 0 && r.failures++ == 0) r.firstFailure = rc;
}

void replay_connlmt(Replayed &t) {
    for (uint32_t family : {CONNLMT_IPV4, CONNLMT_IPV6}) {
        for (uint16_t id = 1; id < CONNLMT_Spec_GetMaxPolicyNum(); ++id) {
            auto rules = connlmt::stored_rules(family, id);
            if (!rules) continue;
            note(t, CONNLMT_ipc_AddPolicy(id, family));
            ++t.policies;
            for (const CONNLMT_RULE_S &r : *rules) {
                note(t, CONNLMT_ipc_AddRule(&r));
                ++t.rules;
            }
            CONNLMT_DESCRIPTION_S d{};
            if (CONNLMT_DB_GetPolicyDescription(family, id, g_hConnlmtGlobalCfgHandle, &d) == 0 &&
                d.szDescription[0] != 0) {
                note(t, CONNLMT_ipc_SetDes(&d));
                ++t.descriptions;
            }
        }
    }
    std::vector<uint32_t> places{0};
    for (uint32_t i : interface_indexes()) places.push_back(i);
    for (uint32_t ifIndex : places) {
        const connlmt::Applied a = connlmt::read_applied(ifIndex);
        for (uint32_t family : {CONNLMT_IPV4, CONNLMT_IPV6}) {
            if (a.policy[family] == 0) continue;
            note(t, CONNLMT_ipc_ApplyPolicy(ifIndex, a.policy[family], family));
            ++t.applications;
        }
    }
}

int run_recover(Args &args) {
    if (!args.finish()) return kRefused;
    const Replayed r = replay_stored();
    if (r.status != kOk) return r.status;
    std::printf("Replayed %s\r\n", r.summary().c_str());
    return r.refused();
}

const bool registered = add({
    {"recover", "", "Replay the stored configuration into the session service", run_recover},
});

}  // namespace

std::string Replayed::summary() const {
    char text[200];
    std::snprintf(text, sizeof text, "%u policies, %u rules, %u descriptions, %u applications, %u SQA settings, %u remarks",
                  policies, rules, descriptions, applications, settings, remarks);
    return text;
}

int Replayed::refused() const {
    if (failures == 0) return check_fault(kOk);
    const int status = check_fault(kServiceFailed);
    if (status != kServiceFailed) return status;
    return report(kServiceFailed, "%u replayed items were refused by the session service (first: 0x%08x)", failures,
                  firstFailure);
}

Replayed replay_stored() {
    Replayed r;
    {
        connlmt::Store store;
        if (store.status() != 0) {
            r.status = failed("opening the connection-limit store", store.status());
            return r;
        }
        replay_connlmt(r);
    }
    sqa::ReplayCount s;
    {
        sqa::Store store;
        if (store.status() != 0) {
            r.status = failed("opening the call quality analysis store", store.status());
            return r;
        }
        sqa::replay(s);
    }
    r.settings = s.settings;
    r.remarks = s.remarks;
    if (s.failures != 0 && r.failures == 0) r.firstFailure = s.firstFailure;
    r.failures += s.failures;
    return r;
}

}  // namespace cli
