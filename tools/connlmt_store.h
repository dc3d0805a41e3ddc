// SPDX-License-Identifier: Apache-2.0
// The connection-limit configuration as dpmgmt keeps it: the library's
// store, opened for the life of one command, and the helpers the policy
// commands and the recovery share.
//
// The value stored for a policy application (4 bytes, host order): the
// IPv4 policy applied there as a u16, then the IPv6 policy as a u16; 0
// means none of that family.  Interface index 0 is the global application.
#ifndef DPMGMT_TOOLS_CONNLMT_STORE_H
#define DPMGMT_TOOLS_CONNLMT_STORE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli.h"
#include "dpmgmt/connlmt.h"

namespace connlmt {

// What the store's rule reader answers for a policy it does not hold.
constexpr uint32_t kNoSuchPolicy = 0xFFFFFFFFu;

struct Applied {
    uint16_t policy[2] = {0, 0};  // by family index: 0 IPv4, 1 IPv6
    bool empty() const { return policy[0] == 0 && policy[1] == 0; }
};
static_assert(sizeof(Applied) == 4);

// Opens the store (CONNLMT_DB_Init) and brings the applications of the
// device's permanent interfaces back from the unused database, where
// opening parks them; closes it again on destruction.
class Store {
public:
    Store();
    ~Store();
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;
    // 0, or what opening returned.
    uint32_t status() const { return status_; }

private:
    uint32_t status_ = 0;
};

// The database an interface's application is kept in: the global one for
// index 0, the unused one for a temporary interface, else the used one.
uint64_t applied_handle(uint32_t ifIndex);
// The application stored for the interface (all zero when none).
Applied read_applied(uint32_t ifIndex);
// Stores it, or removes the key when it is empty; the raw database result.
uint32_t write_applied(uint32_t ifIndex, const Applied &a);

// True when the policy's rule list exists in the store.
bool policy_exists(uint32_t family, uint16_t policyId);
// The rules of a stored policy, in rule order; nothing when it does not
// exist.
std::optional<std::vector<CONNLMT_RULE_S>> stored_rules(uint32_t family, uint16_t policyId);

// "[ipv6]": family index 0 or 1.
uint32_t parse_family(cli::Args &args);

}  // namespace connlmt

#endif
