// SPDX-License-Identifier: Apache-2.0
// DSCP keywords of the command line, and the names of the two signalling
// protocols.  One table serves every keyword operation; its order decides
// which keyword an abbreviation finds first.
#include <cstdio>
#include <cstring>

#include "dpmgmt/sqa.h"
#include "platform/rc.h"

namespace {

struct DscpRow {
    const char *keyword;
    uint32_t value;
    uint32_t helpId;
};

constexpr DscpRow kDscpTable[] = {
    {"default", 0, 0x675008A}, {"af11", 10, 0x6750075}, {"af12", 12, 0x6750076}, {"af13", 14, 0x6750077},
    {"af21", 18, 0x675007A},   {"af22", 20, 0x675007B}, {"af23", 22, 0x675007C}, {"af31", 26, 0x675007D},
    {"af32", 28, 0x675007E},   {"af33", 30, 0x675007F}, {"af41", 34, 0x6750080}, {"af42", 36, 0x6750081},
    {"af43", 38, 0x6750082},   {"cs1", 8, 0x6750083},   {"cs2", 16, 0x6750084},  {"cs3", 24, 0x6750085},
    {"cs4", 32, 0x6750086},    {"cs5", 40, 0x6750087},  {"cs6", 48, 0x6750088},  {"cs7", 56, 0x6750089},
    {"ef", 46, 0x675008B},
};
static_assert(sizeof kDscpTable / sizeof kDscpTable[0] == 21);

// Longer texts are refused before any comparison.
constexpr size_t kMaxCheckedLength = 7;
constexpr size_t kValueTextSize = 16;

char g_acDscpValueText[kValueTextSize];

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// The typed text is a leading part of the keyword, letter case aside.
bool matches(const char *typed, const char *keyword) {
    for (; *typed != '\0'; ++typed, ++keyword)
        if (*keyword == '\0' || lower(*typed) != lower(*keyword)) return false;
    return true;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SQA_CLI_CheckDscp(const char *text) {
    if (text == nullptr || strnlen(text, kMaxCheckedLength + 1) > kMaxCheckedLength) return DPMGMT_ERR_FAILED;
    unsigned found = 0;
    for (const DscpRow &row : kDscpTable) {
        if (!matches(text, row.keyword)) continue;
        if (++found > 1) return DPMGMT_ERR_FAILED;  // an ambiguous abbreviation
    }
    return found == 1 ? DPMGMT_OK : DPMGMT_ERR_FAILED;
}

DPMGMT_API uint16_t SQA_CLI_DscpStr2Value(const char *text) {
    if (text == nullptr) return SQA_DSCP_NONE;
    for (const DscpRow &row : kDscpTable)
        if (matches(text, row.keyword)) return static_cast<uint16_t>(row.value);
    return SQA_DSCP_NONE;
}

DPMGMT_API const char *SQA_CLI_DscpValue2Str(uint16_t value) {
    for (const DscpRow &row : kDscpTable)
        if (row.value == value) return row.keyword;
    std::memset(g_acDscpValueText, 0, sizeof g_acDscpValueText);
    std::snprintf(g_acDscpValueText, sizeof g_acDscpValueText, "%u", static_cast<unsigned>(value));
    return g_acDscpValueText;
}

DPMGMT_API uint32_t SQA_CLI_HelpDscp(const char *typed, uint32_t unused1, uint32_t unused2, void *helpContext) {
    (void)unused1;
    (void)unused2;
    if (typed == nullptr) return DPMGMT_OK;
    const bool all = std::strcmp(typed, "?") == 0;
    for (const DscpRow &row : kDscpTable)
        if (all || matches(typed, row.keyword)) CLI_NewHelpInfo(row.keyword, RC_LoadString(row.helpId), helpContext);
    return DPMGMT_OK;
}

DPMGMT_API const char *sqa_GetAppProtoName(uint32_t index) {
    static const char *const kNames[] = {"sip", "h323"};
    return index < sizeof kNames / sizeof kNames[0] ? kNames[index] : nullptr;
}

}  // extern "C"
