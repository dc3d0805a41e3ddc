// SPDX-License-Identifier: Apache-2.0
// Resource strings and the command line's help collector.
#include "platform/rc.h"

#include <mutex>
#include <string>
#include <vector>

#include "dpsim.h"

namespace {

struct ResourceString {
    uint32_t id;
    const char *text;
};

// Texts the library shows as they are: the empty-table message is a whole
// display line (CR LF), the DSCP help texts are completion help.
constexpr ResourceString kStrings[] = {
    {0x0611008Bu, "No limit statistic node found.\r\n"},
    {0x06750075u, "Specify Assured Forwarding 11 service(10)"},
    {0x06750076u, "Specify Assured Forwarding 12 service(12)"},
    {0x06750077u, "Specify Assured Forwarding 13 service(14)"},
    {0x0675007Au, "Specify Assured Forwarding 21 service(18)"},
    {0x0675007Bu, "Specify Assured Forwarding 22 service(20)"},
    {0x0675007Cu, "Specify Assured Forwarding 23 service(22)"},
    {0x0675007Du, "Specify Assured Forwarding 31 service(26)"},
    {0x0675007Eu, "Specify Assured Forwarding 32 service(28)"},
    {0x0675007Fu, "Specify Assured Forwarding 33 service(30)"},
    {0x06750080u, "Specify Assured Forwarding 41 service(34)"},
    {0x06750081u, "Specify Assured Forwarding 42 service(36)"},
    {0x06750082u, "Specify Assured Forwarding 43 service(38)"},
    {0x06750083u, "Specify Class Selector 1 service(8)"},
    {0x06750084u, "Specify Class Selector 2 service(16)"},
    {0x06750085u, "Specify Class Selector 3 service(24)"},
    {0x06750086u, "Specify Class Selector 4 service(32)"},
    {0x06750087u, "Specify Class Selector 5 service(40)"},
    {0x06750088u, "Specify Class Selector 6 service(48)"},
    {0x06750089u, "Specify Class Selector 7 service(56)"},
    {0x0675008Au, "Specify Default service(0)"},
    {0x0675008Bu, "Specify Expedited Forwarding service(46)"},
};

struct HelpCollector {
    std::mutex lock;
    std::vector<dpsim::HelpLine> lines;
};

HelpCollector &collector() {
    static auto *c = new HelpCollector;
    return *c;
}

}  // namespace

extern "C" {

PLAT_API const char *RC_LoadString(uint32_t id) {
    for (const ResourceString &s : kStrings)
        if (s.id == id) return s.text;
    return "";
}

PLAT_API uint32_t CLI_NewHelpInfo(const char *keyword, const char *help, void *helpContext) {
    if (keyword == nullptr) return 1;
    HelpCollector &c = collector();
    std::lock_guard guard(c.lock);
    c.lines.push_back(dpsim::HelpLine{keyword, help != nullptr ? help : "", helpContext});
    return 0;
}

}  // extern "C"

namespace dpsim {

std::vector<HelpLine> take_help_lines() {
    HelpCollector &c = collector();
    std::lock_guard guard(c.lock);
    std::vector<HelpLine> out;
    out.swap(c.lines);
    return out;
}

void clear_help_lines() {
    HelpCollector &c = collector();
    std::lock_guard guard(c.lock);
    c.lines.clear();
}

}  // namespace dpsim
