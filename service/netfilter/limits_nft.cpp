// SPDX-License-Identifier: Apache-2.0
// The limits table through the host's nft program: the whole table
// rebuilt in one transaction (one batch on nft's standard input), listings
// read as nft's JSON.
#include <cstdio>

#include "netfilter/limits.h"
#include "netfilter/nft_program.h"

namespace dpsvc::nf {

namespace {

Installed &installed() {
    static Installed i;
    return i;
}

bool &keep() {
    static bool k = false;
    return k;
}

}  // namespace

bool nft_run(const std::string &batch, std::string &error) {
    NftResult r = run_nft({"-f", "-"}, batch);
    if (!r.ok) error = r.error;
    return r.ok;
}

std::string nft_list_json(const std::string &command) {
    NftResult r = run_nft({"-j", "-p", command}, {});
    return r.ok ? std::move(r.output) : std::string{};
}

bool rebuild_limits() {
    // Twice at most: when the table is not as it was left (someone removed
    // it or changed it), the second batch replaces it whole.
    for (int attempt = 0; attempt < 2; ++attempt) {
        Installed next;
        std::string missing, error;
        const std::string batch = limits_batch(config().connlmt, installed(), next, missing);
        if (!missing.empty()) {
            std::fprintf(stderr, "dpservice: connection limits: %s is not defined by the device profile\n",
                         missing.c_str());
            return false;
        }
        // Rebuilt rules count from zero: what they counted is kept aside.
        // (A table an earlier run left counted for that run.)
        const CounterMap counted = installed().known ? read_limit_counters() : CounterMap{};
        if (nft_run(batch, error)) {
            installed() = std::move(next);
            carry_limit_counters(counted);
            return true;
        }
        if (attempt == 1 || !installed().known) {
            // The transaction is all or nothing: the table stays as it was.
            std::fprintf(stderr, "dpservice: connection limits: nftables refused the table: %s\n", error.c_str());
            return false;
        }
        installed() = Installed{};
    }
    return false;
}

void remove_limits() {
    if (keep()) return;
    std::string error;
    const std::string t = kLimitsTable;
    if (!nft_run("add table " + t + "\ndelete table " + t + "\n", error))
        std::fprintf(stderr, "dpservice: cannot remove table %s: %s\n", kLimitsTable, error.c_str());
    installed() = Installed{};
}

void keep_rules(bool k) { keep() = k; }

}  // namespace dpsvc::nf
