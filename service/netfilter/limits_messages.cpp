// The connection-limit messages that change what is enforced (add and
// delete a policy or a rule, apply, cancel): the change is made to the
// running configuration, the table rebuilt in one transaction, and when
// the kernel refuses the rebuild (or a rule names an ACL the device profile
// does not define) the configuration goes back as it was and the request
// answers 0x40010001.  Every other connection-limit message keeps the
// model's handler (service/msg_connlmt.cpp): they only read or describe.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "netfilter/limits.h"
#include "registry.h"

namespace dpsvc::nf {

namespace {

ConnlmtConfig &cfg() { return config().connlmt; }

bool valid_family(uint32_t family) { return family <= 1; }
bool valid_policy(uint16_t id) { return id >= 1 && id <= kConnlmtMaxPolicy; }
bool valid_rule(uint16_t id) { return id >= 1 && id <= kConnlmtMaxRule; }

// Runs a change; on kOk rebuilds the table, and puts the configuration
// back when that fails.
template <typename Change>
Answer changed(MsgContext &c, Change change) {
    ConnlmtConfig before = cfg();
    const uint32_t code = change();
    if (code == kOk && !rebuild_limits()) {
        cfg() = std::move(before);
        return answer_code(c, kFailed);
    }
    return answer_code(c, code);
}

ConnlmtRule decode_rule(std::span<const uint8_t> p) {
    ConnlmtRule r{};
    r.aclMode = get_be32(p, 0);
    r.aclNum = get_be32(p, 4);
    std::copy_n(p.data() + 8, sizeof r.aclName, reinterpret_cast<uint8_t *>(r.aclName));
    r.ipVersion = get_be32(p, 72);
    r.policyId = get_be16(p, 76);
    r.ruleId = get_be16(p, 78);
    for (size_t i = 0; i < 3; ++i) r.limitData[i] = get_be32(p, 80 + 4 * i);
    r.aclType = get_be32(p, 92);
    return r;
}

Answer add_policy(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint16_t id = get_be16(c.payload, 4);
    return changed(c, [&] {
        if (!valid_family(family) || !valid_policy(id)) return kFailed;
        cfg().policies[family].try_emplace(id);
        return kOk;
    });
}

Answer del_policy(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint16_t id = get_be16(c.payload, 4);
    return changed(c, [&] {
        if (cfg().find(family, id) == nullptr) return valid_family(family) ? kNotExist : kFailed;
        cfg().policies[family].erase(id);
        std::erase_if(cfg().applied[family], [id](const auto &entry) { return entry.second == id; });
        return kOk;
    });
}

Answer add_rule(MsgContext &c) {
    const ConnlmtRule rule = decode_rule(c.payload);
    return changed(c, [&] {
        if (!valid_family(rule.ipVersion) || !valid_policy(rule.policyId) || !valid_rule(rule.ruleId)) return kFailed;
        ConnlmtPolicy *policy = cfg().find(rule.ipVersion, rule.policyId);
        if (policy == nullptr) return kNotExist;
        if (rule_acl(rule) == nullptr) {
            // Refused even while the policy is applied nowhere.
            std::fprintf(stderr, "dpservice: connection-limit policy %u rule %u: %s is not defined by the device profile\n",
                         rule.policyId, rule.ruleId,
                         rule.aclMode == 1
                             ? ("ACL named '" + std::string(rule.aclName, strnlen(rule.aclName, sizeof rule.aclName)) + "'").c_str()
                             : ("ACL " + std::to_string(rule.aclNum)).c_str());
            return kFailed;
        }
        auto &rules = policy->rules;
        const auto at = std::lower_bound(rules.begin(), rules.end(), rule.ruleId,
                                         [](const ConnlmtRule &r, uint16_t id) { return r.ruleId < id; });
        if (at != rules.end() && at->ruleId == rule.ruleId)
            *at = rule;
        else
            rules.insert(at, rule);
        return kOk;
    });
}

Answer del_rule(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint16_t policyId = get_be16(c.payload, 4);
    const uint16_t ruleId = get_be16(c.payload, 6);
    return changed(c, [&] {
        ConnlmtPolicy *policy = cfg().find(family, policyId);
        if (policy == nullptr) return valid_family(family) ? kNotExist : kFailed;
        return std::erase_if(policy->rules, [ruleId](const ConnlmtRule &r) { return r.ruleId == ruleId; }) != 0
                   ? kOk
                   : kNotExist;
    });
}

Answer apply_policy(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint32_t ifIndex = get_be32(c.payload, 4);
    const uint16_t id = get_be16(c.payload, 8);
    return changed(c, [&] {
        if (!valid_family(family) || !valid_policy(id)) return kFailed;
        if (cfg().find(family, id) == nullptr) return kNotExist;
        cfg().applied[family][ifIndex] = id;
        return kOk;
    });
}

Answer cancel_policy(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint32_t ifIndex = get_be32(c.payload, 4);
    return changed(c, [&] {
        if (!valid_family(family)) return kFailed;
        return cfg().applied[family].erase(ifIndex) != 0 ? kOk : kNotExist;
    });
}

}  // namespace

void register_limits() {
    register_message(26, 8, add_policy);
    register_message(27, 8, del_policy);
    register_message(28, 96, add_rule);
    register_message(30, 8, del_rule);
    register_message(31, 12, apply_policy);
    register_message(32, 8, cancel_policy);
    register_limit_dumps();
}

}  // namespace dpsvc::nf
