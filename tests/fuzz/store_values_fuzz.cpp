// SPDX-License-Identifier: Apache-2.0
// Values read back from the configuration store, which another process
// (or a damaged database) may have written: the rule lists of the
// connection-limit policies (elements of any length, any number), policy
// descriptions, applied-policy values, and the SIP and H.323 settings
// records, with a store that may also misreport what it read.
//
// Input: one byte choosing the reader, then its value.  No reader may
// write past the caller's record, report more rules than it has room for,
// or hand back a description of another policy.
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "dpmgmt/connlmt.h"
#include "dpmgmt/sqa.h"
#include "fuzz/fuzz_support.h"

namespace {

// The stored value the hooks hand out, and what DBM_GetBinary claims.
fake::Bytes g_value;
int32_t g_claimed = 0;
int32_t g_exists = 1;

void serve_value(fuzz::Input &in) {
    const uint8_t how = in.byte();
    g_exists = how & 1 ? 1 : (how & 2 ? 0x10001 : static_cast<int32_t>(how) - 4);
    g_value = in.body(512);
    // Mostly the truth; sometimes as much as the value, more than the
    // buffer, or an error.
    const uint8_t claim = (how >> 2) % 4;
    if (claim == 1) g_claimed = static_cast<int32_t>(g_value.size());
    if (claim == 2) g_claimed = static_cast<int32_t>(in.u16());
    if (claim == 3) g_claimed = -static_cast<int32_t>(in.byte());
    const bool truth = claim == 0;
    fake::hooks().DBM_IsKeyExist = [](uint64_t, const std::string &) { return g_exists; };
    fake::hooks().DBM_GetBinary = [truth](uint64_t, const std::string &, uint32_t size, void *buf) {
        const size_t n = std::min<size_t>(size, g_value.size());
        if (n) std::memcpy(buf, g_value.data(), n);
        return truth ? static_cast<int32_t>(n) : g_claimed;
    };
}

void policy_rules(fuzz::Input &in) {
    if (CONNLMT_DB_Init() != 0) return;
    const uint32_t family = in.byte() % 3;
    const uint16_t policyId = 1 + in.byte() % 4;
    const uint32_t capacity = in.byte() % 10;
    if (family < 2 && in.byte() % 4 != 0) {
        (void)CONNLMT_DB_AddPolicy(family, policyId);
        char key[64];
        uint64_t keyLen = 0;
        CONNLMT_DB_GetPolicyKeyAndLen(family, policyId, sizeof key, key, &keyLen);
        if (fake::DbEntry *list = fake::db_entry(g_hConnlmtGlobalCfgHandle, key)) {
            const unsigned elements = in.byte() % 16;
            // The store never holds an element of no bytes.
            for (unsigned i = 0; i < elements && !in.empty(); ++i) {
                fake::Bytes element = in.body(300);
                if (element.empty()) element.push_back(0);
                list->elements.push_back(std::move(element));
            }
        }
    }
    fuzz::Canary rules(capacity * sizeof(CONNLMT_RULE_S));
    const uint32_t count =
        CONNLMT_DB_GetPolicyRule(family, policyId, capacity, g_hConnlmtGlobalCfgHandle, rules.as<CONNLMT_RULE_S>());
    fuzz::check(rules.guard_intact());
    fuzz::check(count == 0xFFFFFFFFu || count <= capacity);
    if (count == 0xFFFFFFFFu) fuzz::check(rules.untouched());
    fuzz::check(fake::open_iterators() == 0);
    CONNLMT_DB_Fini();
}

void description(fuzz::Input &in) {
    const uint32_t family = in.byte() % 3;
    const uint16_t policyId = in.byte() % 4;
    serve_value(in);
    fuzz::Canary record(sizeof(CONNLMT_DESCRIPTION_S));
    auto *d = record.as<CONNLMT_DESCRIPTION_S>();
    if (CONNLMT_DB_GetPolicyDescription(family, policyId, 100, d) == 0)
        fuzz::check(d->uiIpVersion == family && d->usPolicyId == policyId);
    fuzz::check(record.guard_intact());
}

void applied(fuzz::Input &in) {
    const uint32_t ifIndex = in.u16();
    serve_value(in);
    fuzz::Canary value(4);
    (void)CONNLMT_DB_GetAppliedPolicy(100, ifIndex, value.data());
    fuzz::check(value.guard_intact());
}

template <class Record>
void settings(fuzz::Input &in, int32_t (*read)(uint64_t, Record *),
              int32_t (*readKey)(uint64_t, const void *, uint64_t, Record *)) {
    const uint8_t how = in.byte();
    serve_value(in);
    fuzz::Canary record(sizeof(Record));
    const int32_t got = how & 1 ? read(100, record.as<Record>()) : readKey(100, "SQA-KEY", 8, record.as<Record>());
    fuzz::check(record.guard_intact());
    if (got <= 0) fuzz::check(record.untouched());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1) return 0;
    fake::reset();
    fuzz::Input in(data, size);
    static void (*const kReaders[])(fuzz::Input &) = {
        policy_rules,
        description,
        applied,
        [](fuzz::Input &i) { settings<SQA_SIP_DBVALUE_S>(i, SQA_DB_GetSipDBValue, SQA_DB_GetSipValue); },
        [](fuzz::Input &i) { settings<SQA_H323_DBVALUE_S>(i, SQA_DB_GetH323DBValue, SQA_DB_GetH323Value); },
    };
    kReaders[in.byte() % std::size(kReaders)](in);
    return 0;
}
