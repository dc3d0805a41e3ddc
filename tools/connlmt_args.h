// SPDX-License-Identifier: Apache-2.0
// The arguments of the connection-limit displays, the same for their text
// and their JSON form.
#ifndef DPMGMT_TOOLS_CONNLMT_ARGS_H
#define DPMGMT_TOOLS_CONNLMT_ARGS_H

#include <cstdint>
#include <optional>

#include "cli.h"
#include "dpmgmt/connlmt.h"

namespace connlmt {

// The policy number the service answers for "no such policy".
constexpr uint16_t kNoPolicy = 0xFFFF;

inline const char *family_name(uint32_t family) { return family == CONNLMT_IPV6 ? "IPv6" : "IPv4"; }

struct StatArgs {
    uint32_t family = CONNLMT_IPV4;
    uint16_t policy = 0;
    uint16_t rule = 0;
    uint16_t node = 0;
    bool count = false;
    CONNLMT_STATNODE_FILTER_S filter{};
};

// [ipv6] [policy ID] [rule RULE] [source-ip A] [destination-ip A] [slot SLOT]
// [count], in any order (withFilters false: [ipv6] [policy ID] [slot SLOT]).
std::optional<StatArgs> parse_stat_args(cli::Args &args, bool withFilters);

// Not found, after reporting, when the service runs no such policy; kOk
// when it does or none is named.
int policy_known(uint32_t family, uint16_t id);

}  // namespace connlmt

#endif
