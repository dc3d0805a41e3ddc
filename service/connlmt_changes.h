// SPDX-License-Identifier: Apache-2.0
// The connection-limit messages that change the running configuration (add
// and delete a policy or a rule, apply, cancel), shared by both data planes:
// each takes the request's payload and gives the result code.
#ifndef DPSVC_CONNLMT_CHANGES_H
#define DPSVC_CONNLMT_CHANGES_H

#include <cstdint>
#include <span>

#include "config_state.h"

namespace dpsvc::connlmt_changes {

uint32_t add_policy(std::span<const uint8_t> payload);
uint32_t del_policy(std::span<const uint8_t> payload);
// `admit`, when given, may refuse a rule of an existing policy (kFailed)
// before it is stored.
uint32_t add_rule(std::span<const uint8_t> payload, bool (*admit)(const ConnlmtRule &) = nullptr);
uint32_t del_rule(std::span<const uint8_t> payload);
uint32_t apply_policy(std::span<const uint8_t> payload);
uint32_t cancel_policy(std::span<const uint8_t> payload);

}  // namespace dpsvc::connlmt_changes

#endif
