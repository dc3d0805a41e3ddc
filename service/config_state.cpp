// SPDX-License-Identifier: Apache-2.0
// The running configuration of the reference data plane.
#include "config_state.h"

namespace dpsvc {

ConnlmtPolicy *ConnlmtConfig::find(uint32_t family, uint16_t id) {
    if (family > 1) return nullptr;
    const auto it = policies[family].find(id);
    return it == policies[family].end() ? nullptr : &it->second;
}

std::vector<uint32_t> ConnlmtConfig::applied_at(uint32_t family, uint16_t id) const {
    std::vector<uint32_t> where;
    if (family > 1) return where;
    for (const auto &[ifIndex, policy] : applied[family])
        if (policy == id) where.push_back(ifIndex);
    return where;
}

void SqaConfig::restore_defaults() {
    const SqaConfig initial;
    sipEnable = initial.sipEnable;
    sipPort = initial.sipPort;
    sipFilter = initial.sipFilter;
    h323Enable = initial.h323Enable;
    h225Port = initial.h225Port;
    h323Filter = initial.h323Filter;
}

ConfigState &config() {
    static ConfigState state;
    return state;
}

}  // namespace dpsvc
