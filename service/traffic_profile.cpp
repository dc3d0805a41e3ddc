// SPDX-License-Identifier: Apache-2.0
// The device profile as the traffic model sees it.
#include "traffic_profile.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "dpsim.h"

namespace dpsvc {
namespace {

TrafficProfile load() {
    const dpsim::Profile &prof = dpsim::profile();
    TrafficProfile p;
    for (const dpsim::Node &n : prof.nodes) p.nodes.push_back(n.id);
    for (const dpsim::Interface &i : prof.interfaces) {
        p.allInterfaces.push_back(i.ifindex);
        for (uint16_t node : i.nodes) p.byNode[node].push_back(i.ifindex);
    }
    std::sort(p.allInterfaces.begin(), p.allInterfaces.end());
    for (auto &[node, list] : p.byNode) std::sort(list.begin(), list.end());
    uint32_t maxVpn = 0;
    for (const auto &[index, name] : prof.vpns) {
        if (index != 0 && index <= 0xFFFF) p.vpns.push_back(static_cast<uint16_t>(index));
        maxVpn = std::max(maxVpn, index);
    }
    static constexpr struct {
        uint16_t port;
        const char *name;
    } kWellKnown[] = {{80, "http"},   {8080, "http"}, {443, "https"},  {21, "ftp"},   {53, "dns"},
                      {5060, "sip"},  {1720, "h323"}, {22, "ssh"},     {23, "telnet"}, {25, "smtp"},
                      {554, "rtsp"},  {69, "tftp"},   {123, "ntp"},    {161, "snmp"}, {514, "syslog"},
                      {1812, "radius"}, {3389, "rdp"}};
    uint32_t maxApp = 0;
    for (const auto &[id, name] : prof.applications) {
        p.apps.push_back(id);
        maxApp = std::max(maxApp, id);
        std::string lower = name;
        std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
        for (const auto &w : kWellKnown) {
            if (lower == w.name) p.appByPort.emplace(w.port, id);
        }
    }
    // Indexes the profile doesn't know, for the sessions that show them.
    p.unknownVpnBase = static_cast<uint16_t>(std::min<uint32_t>(std::max<uint32_t>(maxVpn + 100, 1000), 0xFF00));
    p.unknownAppBase = std::max<uint32_t>(maxApp + 1000, 100000);
    return p;
}

}  // namespace

const std::vector<uint32_t> &TrafficProfile::interfaces(uint16_t node) const {
    auto it = byNode.find(node);
    return it != byNode.end() && !it->second.empty() ? it->second : allInterfaces;
}

const TrafficProfile &traffic_profile() {
    static const TrafficProfile profile = load();
    return profile;
}

bool traffic_node_up(uint16_t node) {
    const dpsim::Node *n = dpsim::profile().node(node);
    return n != nullptr && n->up;
}

}  // namespace dpsvc
