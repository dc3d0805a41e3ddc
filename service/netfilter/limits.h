// SPDX-License-Identifier: Apache-2.0
// Connection limits enforced by the host's nftables (the netfilter data
// plane): the applied connection-limit policies become the content of one
// table this service owns, `inet dpmgmt`, rebuilt in one transaction at
// every change.  docs/data-planes.md shows what a policy becomes.
#ifndef DPSVC_NF_LIMITS_H
#define DPSVC_NF_LIMITS_H

#include <cstdint>
#include <map>
#include <string>

#include "config_state.h"
#include "dpsim.h"

namespace dpsvc::nf {

inline constexpr const char *kLimitsTable = "inet dpmgmt";

// What the last transaction left in the table: each set by name with what
// it was made from (key type and limit), so that an unchanged set keeps its
// elements and their counts across a rebuild; and the chains.
struct Installed {
    bool known = false;                      // false: the table's content is not ours to reuse
    std::map<std::string, std::string> sets;  // name -> "type ... limit N"
    std::map<std::string, bool> chains;       // name -> base chain
};

// The ACL of the device profile a rule names (by number or by name, of the
// rule's ACL type); null when the profile does not define it.
const dpsim::Acl *rule_acl(const ConnlmtRule &rule);

// The nftables batch that turns `cfg` into the table's content, given what
// is installed now; `next` receives what it installs.  Empty `missing`
// when every rule's ACL is defined; otherwise the first missing ACL's
// description ("ACL 3005", "ACL named 'web'") and an empty batch.
std::string limits_batch(const ConnlmtConfig &cfg, const Installed &now, Installed &next, std::string &missing);

// The set of one rule: "v4_p1_r2".
std::string set_name(uint32_t family, uint16_t policy, uint16_t rule);

// Runs a batch through the nft program in one transaction; false with the
// first line of its complaint in `error`.
bool nft_run(const std::string &batch, std::string &error);
// Runs a listing command with JSON output; the output, empty on failure.
std::string nft_list_json(const std::string &command);

// New connections selected and refused by the rules of each policy, by
// (family, policy id), as the kernel's rule counters hold them now.
struct LimitCounters {
    uint64_t selected = 0, refused = 0;
};
using CounterMap = std::map<std::pair<uint32_t, uint16_t>, LimitCounters>;
CounterMap read_limit_counters();
// Adds counters a rebuild is about to start again from zero to what the
// service keeps.
void carry_limit_counters(const CounterMap &before);

// Rebuilds the table from the running configuration; false (after a line
// on stderr) when the kernel refused it, the table then unchanged.
bool rebuild_limits();
// Removes the table, unless --keep-rules was given.
void remove_limits();
// --keep-rules: stopping the service leaves the table.
void keep_rules(bool keep);

// Registration of the connection-limit messages and dumps of this data
// plane (limits_messages.cpp, limits_stats.cpp).
void register_limits();
void register_limit_dumps();

}  // namespace dpsvc::nf

#endif
