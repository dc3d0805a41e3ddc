// SPDX-License-Identifier: Apache-2.0
// The connection-limit messages that change what is enforced (add and
// delete a policy or a rule, apply, cancel): the change is made to the
// running configuration, the table rebuilt in one transaction, and when
// the kernel refuses the rebuild (or a rule names an ACL the device profile
// does not define) the configuration goes back as it was and the request
// answers 0x40010001.  Every other connection-limit message keeps the
// model's handler (service/msg_connlmt.cpp): they only read or describe.
#include <cstdio>
#include <cstring>
#include <string>

#include "connlmt_changes.h"
#include "netfilter/limits.h"
#include "registry.h"

namespace dpsvc::nf {

namespace {

ConnlmtConfig &cfg() { return config().connlmt; }

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

// A rule that names an ACL the device profile does not define is refused,
// even while its policy is applied nowhere.
bool acl_defined(const ConnlmtRule &rule) {
    if (rule_acl(rule) != nullptr) return true;
    std::fprintf(stderr, "dpservice: connection-limit policy %u rule %u: %s is not defined by the device profile\n",
                 rule.policyId, rule.ruleId,
                 rule.aclMode == 1
                     ? ("ACL named '" + std::string(rule.aclName, strnlen(rule.aclName, sizeof rule.aclName)) + "'").c_str()
                     : ("ACL " + std::to_string(rule.aclNum)).c_str());
    return false;
}

}  // namespace

void register_limits() {
    namespace change = connlmt_changes;
    register_message(26, 8, [](MsgContext &c) { return changed(c, [&] { return change::add_policy(c.payload); }); });
    register_message(27, 8, [](MsgContext &c) { return changed(c, [&] { return change::del_policy(c.payload); }); });
    register_message(28, 96,
                     [](MsgContext &c) { return changed(c, [&] { return change::add_rule(c.payload, acl_defined); }); });
    register_message(30, 8, [](MsgContext &c) { return changed(c, [&] { return change::del_rule(c.payload); }); });
    register_message(31, 12, [](MsgContext &c) { return changed(c, [&] { return change::apply_policy(c.payload); }); });
    register_message(32, 8, [](MsgContext &c) { return changed(c, [&] { return change::cancel_policy(c.payload); }); });
    register_limit_dumps();
}

}  // namespace dpsvc::nf
