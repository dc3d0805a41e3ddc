// SPDX-License-Identifier: Apache-2.0
// What the command line enumerates through the seam: every interface,
// every ACL of a type (from the device profile) and the help lines
// collected through CLI_NewHelpInfo.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "dpsim.h"
#include "platform/cli.h"
#include "platform/iface.h"
#include "platform/names.h"

namespace {

// A malloc'ed copy for callers that free() what they get; null when empty.
uint32_t *copy_out(const std::vector<uint32_t> &values, uint32_t *count) {
    if (count != nullptr) *count = 0;
    if (values.empty()) return nullptr;
    auto *array = static_cast<uint32_t *>(std::malloc(values.size() * sizeof(uint32_t)));
    if (array == nullptr) return nullptr;
    std::memcpy(array, values.data(), values.size() * sizeof(uint32_t));
    if (count != nullptr) *count = static_cast<uint32_t>(values.size());
    return array;
}

// The lines of the last take, per thread.
thread_local std::vector<dpsim::HelpLine> t_taken;

}  // namespace

extern "C" {

PLAT_API uint32_t *IF_GetAllIfIndexes(uint32_t *count) {
    std::vector<uint32_t> out;
    for (const dpsim::Interface &itf : dpsim::profile().interfaces) out.push_back(itf.ifindex);
    return copy_out(out, count);
}

PLAT_API uint32_t *ACL_GetAllIndexes(uint32_t aclType, uint32_t *count) {
    std::vector<uint32_t> out;
    for (const dpsim::Acl &acl : dpsim::profile().acls)
        if (acl.type == aclType) out.push_back(acl.number);
    return copy_out(out, count);
}

PLAT_API void CLI_ClearHelpInfo(void) { dpsim::clear_help_lines(); }

PLAT_API uint32_t CLI_TakeHelpInfo(void) {
    t_taken = dpsim::take_help_lines();
    return static_cast<uint32_t>(t_taken.size());
}

PLAT_API uint32_t CLI_GetHelpLine(uint32_t index, const char **keyword, const char **help) {
    if (index >= t_taken.size()) return 1;
    if (keyword != nullptr) *keyword = t_taken[index].keyword.c_str();
    if (help != nullptr) *help = t_taken[index].help.c_str();
    return 0;
}

}  // extern "C"
