// SPDX-License-Identifier: Apache-2.0
// Connection-limit messages (types 24-43).
//
// Families are 0 (IPv4) and 1 (IPv6), policies 1-32, rules 1-256; a request
// naming anything else answers 0x40010001, one naming a policy or rule that
// does not exist 0x40010005.  Adding a policy that exists keeps it as it is
// and answers 0.  Deleting a policy also cancels it wherever it is applied.
//
// Replies (network order):
//   24      five u32: the a, b, c, d of the latest SetDebug (b widened),
//           then the number of SetDebug requests taken.
//   29      112 bytes: u32 family, u16 policy, u16 rule, u32 found (1/0),
//           u32 0, then the rule (all numeric fields converted).
//   33      u16 policy applied at the interface, 0 for none.
//   34      u16 1 when the policy exists, else 0.
//   35, 36  head {u32 family, u16 policy id, 2 bytes 0, u32 rule count,
//           u32 number of interfaces the policy is applied at}, then the
//           rules in rule order, their numeric fields converted except
//           uiAclType, which travels in host order.  A missing policy (or no
//           next one) is the head alone with id 0xFFFF and count 0.
//   42, 43  the same head, then 128 bytes: the description, cut to 127
//           characters and NUL-filled, then the rules as for 35.
//   37      u32 family, u16 next policy id (0xFFFF when none), u16 0.
//   38      u32 count, then the interface indexes (0 = global), ascending.
//   39      u32 number of policies of the family.
// Policy 0 in a "next" request asks for the first policy.
#include <algorithm>
#include <cstring>

#include "config_state.h"
#include "connlmt_changes.h"
#include "kernel_connlmt.h"
#include "registry.h"

namespace dpsvc {

namespace {

constexpr uint16_t kNoPolicy = 0xFFFF;
constexpr size_t kRuleSize = 96;
constexpr size_t kPolicyInfoSize = 128;

ConnlmtConfig &cfg() { return config().connlmt; }

bool valid_family(uint32_t family) { return family <= 1; }
bool valid_policy(uint16_t id) { return id >= 1 && id <= kConnlmtMaxPolicy; }
bool valid_rule(uint16_t id) { return id >= 1 && id <= kConnlmtMaxRule; }

ConnlmtRule decode_rule(std::span<const uint8_t> p) {
    ConnlmtRule r{};
    r.aclMode = get_be32(p, 0);
    r.aclNum = get_be32(p, 4);
    std::memcpy(r.aclName, p.data() + 8, sizeof r.aclName);
    r.ipVersion = get_be32(p, 72);
    r.policyId = get_be16(p, 76);
    r.ruleId = get_be16(p, 78);
    for (size_t i = 0; i < 3; ++i) r.limitData[i] = get_be32(p, 80 + 4 * i);
    r.aclType = get_be32(p, 92);
    return r;
}

enum class AclTypeOrder { kNetwork, kHost };

void encode_rule(std::vector<uint8_t> &out, const ConnlmtRule &r, AclTypeOrder order) {
    put_be32(out, r.aclMode);
    put_be32(out, r.aclNum);
    out.insert(out.end(), r.aclName, r.aclName + sizeof r.aclName);
    put_be32(out, r.ipVersion);
    put_be16(out, r.policyId);
    put_be16(out, r.ruleId);
    for (uint32_t v : r.limitData) put_be32(out, v);
    if (order == AclTypeOrder::kNetwork) {
        put_be32(out, r.aclType);
    } else {
        const auto *b = reinterpret_cast<const uint8_t *>(&r.aclType);
        out.insert(out.end(), b, b + 4);
    }
}

// The policy with the smallest id above `after`; null when none.
std::pair<const uint16_t, ConnlmtPolicy> *next_policy(uint32_t family, uint16_t after) {
    if (!valid_family(family)) return nullptr;
    const auto it = cfg().policies[family].upper_bound(after);
    return it == cfg().policies[family].end() ? nullptr : &*it;
}

// Policy replies: head, optionally the 128-byte info, then the rules.
void policy_reply(MsgContext &c, uint32_t family, uint16_t id, const ConnlmtPolicy *policy, bool withInfo) {
    put_be32(c.reply, family);
    put_be16(c.reply, policy != nullptr ? id : kNoPolicy);
    put_be16(c.reply, 0);
    put_be32(c.reply, policy != nullptr ? static_cast<uint32_t>(policy->rules.size()) : 0);
    put_be32(c.reply, policy != nullptr ? static_cast<uint32_t>(cfg().applied_at(family, id).size()) : 0);
    if (withInfo) {
        uint8_t info[kPolicyInfoSize] = {};
        if (policy != nullptr)
            std::memcpy(info, policy->description.data(), std::min(policy->description.size(), kPolicyInfoSize - 1));
        c.reply.insert(c.reply.end(), info, info + kPolicyInfoSize);
    }
    if (policy == nullptr) return;
    for (const ConnlmtRule &r : policy->rules) encode_rule(c.reply, r, AclTypeOrder::kHost);
}

Answer get_policy(MsgContext &c, bool next, bool withInfo) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint16_t id = get_be16(c.payload, 4);
    if (next) {
        auto *found = next_policy(family, id);
        policy_reply(c, family, found != nullptr ? found->first : kNoPolicy, found != nullptr ? &found->second : nullptr,
                     withInfo);
    } else {
        policy_reply(c, family, id, cfg().find(family, id), withInfo);
    }
    return Answer::kReply;
}

const ConnlmtRule *find_rule(uint32_t family, uint16_t policyId, uint16_t ruleId) {
    const ConnlmtPolicy *policy = cfg().find(family, policyId);
    if (policy == nullptr) return nullptr;
    for (const ConnlmtRule &r : policy->rules)
        if (r.ruleId == ruleId) return &r;
    return nullptr;
}

Answer get_rule(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 72);
    const uint16_t policyId = get_be16(c.payload, 76);
    const uint16_t ruleId = get_be16(c.payload, 78);
    const ConnlmtRule *rule = find_rule(family, policyId, ruleId);
    put_be32(c.reply, family);
    put_be16(c.reply, policyId);
    put_be16(c.reply, ruleId);
    put_be32(c.reply, rule != nullptr ? 1 : 0);
    put_be32(c.reply, 0);
    if (rule != nullptr)
        encode_rule(c.reply, *rule, AclTypeOrder::kNetwork);
    else
        c.reply.insert(c.reply.end(), kRuleSize, 0);
    return Answer::kReply;
}

Answer get_apply_policy(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint32_t ifIndex = get_be32(c.payload, 4);
    uint16_t id = 0;
    if (valid_family(family)) {
        const auto it = cfg().applied[family].find(ifIndex);
        if (it != cfg().applied[family].end()) id = it->second;
    }
    put_be16(c.reply, id);
    return Answer::kReply;
}

Answer next_policy_id(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const auto *found = next_policy(family, get_be16(c.payload, 4));
    put_be32(c.reply, family);
    put_be16(c.reply, found != nullptr ? found->first : kNoPolicy);
    put_be16(c.reply, 0);
    return Answer::kReply;
}

Answer apply_list(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint16_t id = get_be16(c.payload, 4);
    const std::vector<uint32_t> where =
        cfg().find(family, id) != nullptr ? cfg().applied_at(family, id) : std::vector<uint32_t>{};
    put_be32(c.reply, static_cast<uint32_t>(where.size()));
    for (uint32_t ifIndex : where) put_be32(c.reply, ifIndex);
    return Answer::kReply;
}

Answer set_description(MsgContext &c) {
    const uint32_t family = get_be32(c.payload, 0);
    const uint16_t id = get_be16(c.payload, 4);
    ConnlmtPolicy *policy = cfg().find(family, id);
    if (policy == nullptr) return answer_code(c, valid_family(family) && valid_policy(id) ? kNotExist : kFailed);
    const auto text = c.payload.subspan(6, kConnlmtDescriptionSize);
    const auto end = std::find(text.begin(), text.end(), uint8_t{0});
    // Always leaves room for the terminator a 130-byte record needs.
    const size_t len = std::min<size_t>(static_cast<size_t>(end - text.begin()), kConnlmtDescriptionSize - 1);
    policy->description.assign(reinterpret_cast<const char *>(text.data()), len);
    return answer_code(c, kOk);
}

[[maybe_unused]] const bool registered = [] {
    register_message(24, 0, [](MsgContext &c) {
        for (uint32_t w : cfg().debug) put_be32(c.reply, w);
        return Answer::kReply;
    });
    register_message(25, 16, [](MsgContext &c) {
        auto &d = cfg().debug;
        d[0] = get_be32(c.payload, 0);
        d[1] = get_be16(c.payload, 4);
        d[2] = get_be32(c.payload, 8);
        d[3] = get_be32(c.payload, 12);
        d[4]++;
        return answer_code(c, kOk);
    });
    register_message(26, 8, [](MsgContext &c) { return answer_code(c, connlmt_changes::add_policy(c.payload)); });
    register_message(27, 8, [](MsgContext &c) { return answer_code(c, connlmt_changes::del_policy(c.payload)); });
    register_message(28, 96, [](MsgContext &c) { return answer_code(c, connlmt_changes::add_rule(c.payload)); });
    register_message(29, 96, get_rule);
    register_message(30, 8, [](MsgContext &c) { return answer_code(c, connlmt_changes::del_rule(c.payload)); });
    register_message(31, 12, [](MsgContext &c) { return answer_code(c, connlmt_changes::apply_policy(c.payload)); });
    register_message(32, 8, [](MsgContext &c) { return answer_code(c, connlmt_changes::cancel_policy(c.payload)); });
    register_message(33, 12, get_apply_policy);
    register_message(34, 8, [](MsgContext &c) {
        put_be16(c.reply, cfg().find(get_be32(c.payload, 0), get_be16(c.payload, 4)) != nullptr ? 1 : 0);
        return Answer::kReply;
    });
    register_message(35, 8, [](MsgContext &c) { return get_policy(c, false, false); });
    register_message(36, 8, [](MsgContext &c) { return get_policy(c, true, false); });
    register_message(37, 8, next_policy_id);
    register_message(38, 8, apply_list);
    register_message(39, 4, [](MsgContext &c) {
        const uint32_t family = get_be32(c.payload, 0);
        put_be32(c.reply, valid_family(family) ? static_cast<uint32_t>(cfg().policies[family].size()) : 0);
        return Answer::kReply;
    });
    register_message(40, 8, [](MsgContext &c) {
        const uint16_t id = get_be16(c.payload, 0);
        const uint32_t family = get_be32(c.payload, 4);
        if (cfg().find(family, id) == nullptr) return answer_code(c, valid_family(family) ? kNotExist : kFailed);
        connlmt_reset_statistics(id, family);
        return answer_code(c, kOk);
    });
    register_message(41, 136, set_description);
    register_message(42, 8, [](MsgContext &c) { return get_policy(c, false, true); });
    register_message(43, 8, [](MsgContext &c) { return get_policy(c, true, true); });
    return true;
}();

}  // namespace

namespace connlmt_changes {

uint32_t add_policy(std::span<const uint8_t> p) {
    const uint32_t family = get_be32(p, 0);
    const uint16_t id = get_be16(p, 4);
    if (!valid_family(family) || !valid_policy(id)) return kFailed;
    cfg().policies[family].try_emplace(id);
    return kOk;
}

uint32_t del_policy(std::span<const uint8_t> p) {
    const uint32_t family = get_be32(p, 0);
    const uint16_t id = get_be16(p, 4);
    if (cfg().find(family, id) == nullptr) return valid_family(family) ? kNotExist : kFailed;
    cfg().policies[family].erase(id);
    std::erase_if(cfg().applied[family], [id](const auto &entry) { return entry.second == id; });
    return kOk;
}

uint32_t add_rule(std::span<const uint8_t> p, bool (*admit)(const ConnlmtRule &)) {
    const ConnlmtRule rule = decode_rule(p);
    if (!valid_family(rule.ipVersion) || !valid_policy(rule.policyId) || !valid_rule(rule.ruleId)) return kFailed;
    ConnlmtPolicy *policy = cfg().find(rule.ipVersion, rule.policyId);
    if (policy == nullptr) return kNotExist;
    if (admit != nullptr && !admit(rule)) return kFailed;
    auto &rules = policy->rules;
    const auto at = std::lower_bound(rules.begin(), rules.end(), rule.ruleId,
                                     [](const ConnlmtRule &r, uint16_t id) { return r.ruleId < id; });
    if (at != rules.end() && at->ruleId == rule.ruleId)
        *at = rule;
    else
        rules.insert(at, rule);
    return kOk;
}

uint32_t del_rule(std::span<const uint8_t> p) {
    const uint32_t family = get_be32(p, 0);
    const uint16_t policyId = get_be16(p, 4);
    const uint16_t ruleId = get_be16(p, 6);
    ConnlmtPolicy *policy = cfg().find(family, policyId);
    if (policy == nullptr) return valid_family(family) ? kNotExist : kFailed;
    const size_t removed = std::erase_if(policy->rules, [ruleId](const ConnlmtRule &r) { return r.ruleId == ruleId; });
    return removed != 0 ? kOk : kNotExist;
}

uint32_t apply_policy(std::span<const uint8_t> p) {
    const uint32_t family = get_be32(p, 0);
    const uint32_t ifIndex = get_be32(p, 4);
    const uint16_t id = get_be16(p, 8);
    if (!valid_family(family) || !valid_policy(id)) return kFailed;
    if (cfg().find(family, id) == nullptr) return kNotExist;
    cfg().applied[family][ifIndex] = id;
    return kOk;
}

uint32_t cancel_policy(std::span<const uint8_t> p) {
    const uint32_t family = get_be32(p, 0);
    const uint32_t ifIndex = get_be32(p, 4);
    if (!valid_family(family)) return kFailed;
    return cfg().applied[family].erase(ifIndex) != 0 ? kOk : kNotExist;
}

}  // namespace connlmt_changes

}  // namespace dpsvc
