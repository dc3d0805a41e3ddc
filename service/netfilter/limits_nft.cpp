// SPDX-License-Identifier: Apache-2.0
// libnftables: one context per command (it holds no state worth keeping,
// and a fresh one is never shared with a process forked since), the whole
// table rebuilt in one transaction.
#include <nftables/libnftables.h>

#include <cstdio>
#include <memory>

#include "netfilter/limits.h"

namespace dpsvc::nf {

namespace {

struct CtxFree {
    void operator()(nft_ctx *c) const { nft_ctx_free(c); }
};
using Ctx = std::unique_ptr<nft_ctx, CtxFree>;

Ctx make_ctx(unsigned outputFlags) {
    Ctx ctx(nft_ctx_new(NFT_CTX_DEFAULT));
    if (!ctx) return ctx;
    nft_ctx_output_set_flags(ctx.get(), outputFlags);
    nft_ctx_buffer_output(ctx.get());
    nft_ctx_buffer_error(ctx.get());
    return ctx;
}

Installed &installed() {
    static Installed i;
    return i;
}

bool &keep() {
    static bool k = false;
    return k;
}

// The error text on one line.
std::string one_line(const char *text) {
    std::string s = text != nullptr ? text : "";
    while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) s.pop_back();
    const size_t nl = s.find('\n');
    return nl == std::string::npos ? s : s.substr(0, nl);
}

}  // namespace

bool nft_run(const std::string &batch, std::string &error) {
    Ctx ctx = make_ctx(0);
    if (!ctx) {
        error = "cannot make a libnftables context";
        return false;
    }
    if (nft_run_cmd_from_buffer(ctx.get(), batch.c_str()) != 0) {
        error = one_line(nft_ctx_get_error_buffer(ctx.get()));
        return false;
    }
    return true;
}

std::string nft_list_json(const std::string &command) {
    Ctx ctx = make_ctx(NFT_CTX_OUTPUT_JSON | NFT_CTX_OUTPUT_NUMERIC_PROTO);
    if (!ctx || nft_run_cmd_from_buffer(ctx.get(), command.c_str()) != 0) return {};
    const char *out = nft_ctx_get_output_buffer(ctx.get());
    return out != nullptr ? out : "";
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
