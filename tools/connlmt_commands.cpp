// SPDX-License-Identifier: Apache-2.0
// Connection-limit configuration commands.  Each change is checked first
// (identifiers, the ACL in the device profile, the interface), then written
// to the configuration store, then pushed to the session service; a refused
// change touches neither.
//
// A rule's limit words, as the kernel reads them: the upper and the lower
// session threshold, then the grouping bits (1 per source host, 2 per
// destination host, 4 per service; none: one count for the rule).
#include <cstdio>
#include <cstring>
#include <string>

#include "cli.h"
#include "connlmt_store.h"
#include "platform/names.h"

namespace {

constexpr uint32_t kPerSource = 1;
constexpr uint32_t kPerDestination = 2;
constexpr uint32_t kPerService = 4;
constexpr uint32_t kAclModeNumber = 2;
constexpr size_t kDescriptionMax = CONNLMT_DESCRIPTION_LEN - 1;

const char *family_name(uint32_t family) { return family == CONNLMT_IPV6 ? "IPv6" : "IPv4"; }

// The platform's ACL type of a policy family: 1 IPv4, 2 IPv6.
uint32_t acl_type(uint32_t family) { return family == CONNLMT_IPV6 ? 2 : 1; }

// "3000 (web), 3001 (dns)": the ACLs of the type the profile has.
std::string acls_of(uint32_t type) {
    std::vector<std::string> out;
    for (uint32_t n : cli::acl_numbers(type)) out.push_back(std::to_string(n) + " (" + cli::acl_name(type, n) + ")");
    return out.empty() ? std::string("none") : cli::list_words(out);
}

// A write's raw result: the store's calls answer negative on failure.
bool store_failed(uint32_t rc) { return static_cast<int32_t>(rc) < 0; }

int pushed(uint32_t rc, const char *what) {
    if (rc == 0) return cli::kOk;
    return cli::failed(("stored, but pushing " + std::string(what) + " to the session service").c_str(), rc);
}

std::optional<uint16_t> policy_id(cli::Args &args) {
    auto id = args.number("policy", 1, CONNLMT_Spec_GetMaxPolicyNum() - 1);
    if (!id || CONNLMT_Spec_IsValidPolicyID(static_cast<uint16_t>(*id)) != 1) return std::nullopt;
    return static_cast<uint16_t>(*id);
}

int no_policy(uint32_t family, uint16_t id) {
    return cli::not_found("no %s policy %u; create it with 'connection-limit policy%s %u'", family_name(family), id,
                     family == CONNLMT_IPV6 ? " ipv6" : "", id);
}

int create_policy(uint32_t family, uint16_t id) {
    connlmt::Store store;
    if (store.status() != 0) return cli::failed("opening the configuration store", store.status());
    // Creating a policy that exists keeps its rules.
    if (!connlmt::policy_exists(family, id)) {
        const uint32_t rc = CONNLMT_DB_AddPolicy(family, id);
        if (rc != 0) return cli::failed("storing the policy", rc);
    }
    return pushed(CONNLMT_ipc_AddPolicy(id, family), "the policy");
}

int delete_policy(uint32_t family, uint16_t id) {
    connlmt::Store store;
    if (store.status() != 0) return cli::failed("opening the configuration store", store.status());
    if (!connlmt::policy_exists(family, id)) return no_policy(family, id);
    // Wherever the policy is applied, it is applied no more.
    std::vector<uint32_t> places{0};
    for (uint32_t i : cli::interface_indexes()) places.push_back(i);
    std::vector<std::string> where;
    for (uint32_t ifIndex : places) {
        connlmt::Applied a = connlmt::read_applied(ifIndex);
        if (a.policy[family] != id) continue;
        a.policy[family] = 0;
        const uint32_t rc = connlmt::write_applied(ifIndex, a);
        if (store_failed(rc))
            return cli::failed(("updating the application at " + cli::interface_name(ifIndex)).c_str(), rc);
        where.push_back(cli::interface_name(ifIndex));
    }
    const uint32_t rc = CONNLMT_DB_DelPolicy(family, id);
    if (store_failed(rc)) return cli::failed("removing the policy from the store", rc);
    if (where.empty())
        std::printf("Deleted %s policy %u; it was applied nowhere\r\n", family_name(family), id);
    else
        std::printf("Deleted %s policy %u; it is no longer applied at %s\r\n", family_name(family), id,
                    cli::list_words(where).c_str());
    return pushed(CONNLMT_ipc_DelPolicy(id, family), "the deletion");
}

int set_description(uint32_t family, uint16_t id, const std::string &text) {
    if (text.empty()) return cli::fail("description missing: a text of 1 to %zu characters", kDescriptionMax);
    if (text.size() > kDescriptionMax)
        return cli::fail("description too long (%zu characters): at most %zu", text.size(), kDescriptionMax);
    CONNLMT_DESCRIPTION_S d{};
    d.uiIpVersion = family;
    d.usPolicyId = id;
    std::memcpy(d.szDescription, text.data(), text.size());
    connlmt::Store store;
    if (store.status() != 0) return cli::failed("opening the configuration store", store.status());
    if (!connlmt::policy_exists(family, id)) return no_policy(family, id);
    const uint32_t rc = CONNLMT_DB_SetDescription(&d);
    if (rc != 0) return cli::failed("storing the description", rc);
    return pushed(CONNLMT_ipc_SetDes(&d), "the description");
}

int delete_rule(cli::Args &args, uint32_t family, uint16_t id, uint16_t ruleId) {
    if (!args.finish()) return 1;
    connlmt::Store store;
    if (store.status() != 0) return cli::failed("opening the configuration store", store.status());
    auto rules = connlmt::stored_rules(family, id);
    if (!rules) return no_policy(family, id);
    bool found = false;
    for (const CONNLMT_RULE_S &r : *rules) found = found || r.usRuleId == ruleId;
    if (!found) return cli::not_found("%s policy %u has no rule %u", family_name(family), id, ruleId);
    const uint32_t rc = CONNLMT_DB_DelRule(family, id, ruleId);
    if (rc != 0) return cli::failed("removing the rule from the store", rc);
    return pushed(CONNLMT_ipc_DelRule(family, id, ruleId), "the rule's deletion");
}

// rule R acl (NUMBER | name NAME) amount HIGH LOW [per-source]
// [per-destination] [per-service]
int add_rule(cli::Args &args, uint32_t family, uint16_t id, uint16_t ruleId) {
    CONNLMT_RULE_S rule{};
    rule.uiIpVersion = family;
    rule.usPolicyId = id;
    rule.usRuleId = ruleId;
    rule.uiAclType = acl_type(family);
    if (args.choose("rule keyword", {"acl"}) < 0) return 1;
    if (args.take("name")) {
        if (args.done()) return cli::fail("ACL name missing: one of %s", acls_of(rule.uiAclType).c_str());
        const std::string name = args.next();
        if (name.size() >= CONNLMT_ACL_NAME_LEN || ACL_GetIndexByName(rule.uiAclType, name.c_str()) == 0)
            return cli::not_found("no %s ACL named '%s'; the device has %s", family_name(family), name.c_str(),
                             acls_of(rule.uiAclType).c_str());
        rule.uiAclMode = CONNLMT_ACL_MODE_NAME;
        std::memcpy(rule.szAclName, name.data(), name.size());
    } else {
        auto number = args.number("ACL number", 0, UINT32_MAX);
        if (!number) return 1;
        char name[ACL_NAME_SIZE] = {};
        if (ACL_GetNameByIndex(rule.uiAclType, *number, name) != 0)
            return cli::not_found("no %s ACL %u; the device has %s", family_name(family), *number,
                             acls_of(rule.uiAclType).c_str());
        rule.uiAclMode = kAclModeNumber;
        rule.uiAclNum = *number;
    }
    if (args.choose("rule keyword", {"amount"}) < 0) return 1;
    auto high = args.number("upper threshold", 1, UINT32_MAX);
    if (!high) return 1;
    auto low = args.number("lower threshold", 0, *high);
    if (!low) return 1;
    uint32_t grouping = 0;
    while (!args.done()) {
        const std::string word = args.peek();
        const int g = args.take_one_of({"per-source", "per-destination", "per-service"});
        const uint32_t bit = g == 0 ? kPerSource : g == 1 ? kPerDestination : g == 2 ? kPerService : 0;
        if (bit == 0 || (grouping & bit) != 0)
            return cli::fail("unexpected '%s'; accepted here, each once: per-source, per-destination or per-service",
                             word.c_str());
        grouping |= bit;
    }
    rule.auiLimitData[0] = *high;
    rule.auiLimitData[1] = *low;
    rule.auiLimitData[2] = grouping;

    connlmt::Store store;
    if (store.status() != 0) return cli::failed("opening the configuration store", store.status());
    if (!connlmt::policy_exists(family, id)) return no_policy(family, id);
    const uint32_t rc = CONNLMT_DB_AddRule(&rule);
    if (rc != 0) return cli::failed("storing the rule", rc);
    return pushed(CONNLMT_ipc_AddRule(&rule), "the rule");
}

int run_policy(cli::Args &args) {
    const uint32_t family = connlmt::parse_family(args);
    auto id = policy_id(args);
    if (!id) return 1;
    if (args.done()) return create_policy(family, *id);
    const int action = args.choose("policy keyword", {"rule", "delete", "description"});
    if (action < 0) return 1;
    if (action == 1) return args.finish() ? delete_policy(family, *id) : 1;
    if (action == 2) return set_description(family, *id, args.rest());
    auto ruleId = args.number("rule", 1, CONNLMT_Spec_GetMaxRuleNum() - 1);
    if (!ruleId || CONNLMT_Spec_IsValidRuleID(static_cast<uint16_t>(*ruleId)) != 1) return 1;
    if (args.take("delete")) return delete_rule(args, family, *id, static_cast<uint16_t>(*ruleId));
    return add_rule(args, family, *id, static_cast<uint16_t>(*ruleId));
}

// [interface NAME]: the interface index, 0 (global) without one; nothing
// after reporting, with the status in *status.
std::optional<uint32_t> place(cli::Args &args, int *status) {
    *status = cli::kRefused;
    if (args.done()) return 0u;
    if (args.choose("keyword", {"interface"}) < 0) return std::nullopt;
    if (args.done()) {
        cli::fail("interface name missing");
        return std::nullopt;
    }
    const std::string name = args.next();
    if (!args.finish()) return std::nullopt;
    *status = cli::kNotFound;
    return cli::interface_index(name);
}

int run_apply(cli::Args &args) {
    const uint32_t family = connlmt::parse_family(args);
    auto id = policy_id(args);
    if (!id) return 1;
    int status = cli::kOk;
    auto ifIndex = place(args, &status);
    if (!ifIndex) return status;
    connlmt::Store store;
    if (store.status() != 0) return cli::failed("opening the configuration store", store.status());
    if (!connlmt::policy_exists(family, *id)) return no_policy(family, *id);
    connlmt::Applied a = connlmt::read_applied(*ifIndex);
    a.policy[family] = *id;
    const uint32_t rc = connlmt::write_applied(*ifIndex, a);
    if (store_failed(rc)) return cli::failed("storing the application", rc);
    return pushed(CONNLMT_ipc_ApplyPolicy(*ifIndex, *id, family), "the application");
}

int run_cancel(cli::Args &args) {
    const uint32_t family = connlmt::parse_family(args);
    int status = cli::kOk;
    auto ifIndex = place(args, &status);
    if (!ifIndex) return status;
    connlmt::Store store;
    if (store.status() != 0) return cli::failed("opening the configuration store", store.status());
    connlmt::Applied a = connlmt::read_applied(*ifIndex);
    if (a.policy[family] == 0)
        return cli::not_found("no %s policy is applied at %s", family_name(family),
                              cli::interface_name(*ifIndex).c_str());
    const uint16_t was = a.policy[family];
    a.policy[family] = 0;
    const uint32_t rc = connlmt::write_applied(*ifIndex, a);
    if (store_failed(rc)) return cli::failed("storing the cancellation", rc);
    std::printf("Cancelled %s policy %u at %s\r\n", family_name(family), was, cli::interface_name(*ifIndex).c_str());
    return pushed(CONNLMT_ipc_CancelPolicy(*ifIndex, family), "the cancellation");
}

int run_reset_statistics(cli::Args &args) {
    const uint32_t family = connlmt::parse_family(args);
    uint16_t id = 0;  // every policy
    if (args.take("policy")) {
        auto p = policy_id(args);
        if (!p) return 1;
        id = *p;
    }
    if (!args.finish()) return 1;
    const uint32_t rc = CONNLMT_ipc_ResetStatistics(id, family);
    return rc == 0 ? 0 : cli::failed("resetting the connection-limit statistics", rc);
}

// The service's debugging switches: bits 1 event, 2 error, 4 packet.
int run_debug(cli::Args &args) {
    const int which = args.choose("debugging", {"event", "error", "packet", "all"});
    if (which < 0) return 1;
    const bool off = args.take("off");
    if (!args.finish()) return 1;
    const uint32_t bits = which == 3 ? 7u : 1u << which;
    const uint32_t rc = CONNLMT_ipc_SetDebug(bits, off ? 0 : 1, 0, 0);
    return rc == 0 ? 0 : cli::failed("switching connection-limit debugging", rc);
}

int run_display_debug(cli::Args &args) {
    if (!args.finish()) return 1;
    CONNLMT_DEBUG_S d{};
    const uint32_t rc = CONNLMT_ipc_GetDebug(&d);
    if (rc != 0) return cli::failed("reading the connection-limit debugging settings", rc);
    std::printf("Connection-limit debugging: %u %u %u %u (%u settings taken)\r\n", d.auiDebugWord[0],
                d.auiDebugWord[1], d.auiDebugWord[2], d.auiDebugWord[3], d.auiDebugWord[4]);
    return 0;
}

const bool registered = cli::add({
    {"connection-limit policy",
     "[ipv6] ID [delete | description TEXT | rule RULE delete | rule RULE acl (ACL | name ACL-NAME) amount HIGH LOW "
     "[per-source] [per-destination] [per-service]]",
     "Create or change a connection-limit policy (IDs 1-32, rules 1-256)", run_policy},
    {"connection-limit apply policy", "[ipv6] ID [interface INTERFACE]",
     "Apply a policy globally or at an interface", run_apply},
    {"connection-limit cancel policy", "[ipv6] [interface INTERFACE]", "Cancel the policy applied globally or there",
     run_cancel},
    {"reset connection-limit statistics", "[ipv6] [policy ID]", "Clear a policy's (or every policy's) counters",
     run_reset_statistics},
    {"connection-limit debug", "(event|error|packet|all) [off]", "Switch connection-limit debugging", run_debug},
    {"display connection-limit debug", "", "Show the connection-limit debugging settings", run_display_debug},
});

}  // namespace
