// SPDX-License-Identifier: Apache-2.0
// Device topology and interfaces, answered from the device profile.  With
// data-plane = netfilter the interfaces are the host's: those the profile
// read when it was loaded, and any interface of the namespace made since,
// looked up by index or name when asked.
#include <net/if.h>

#include <cstdlib>
#include <cstring>

#include "dpsim.h"
#include "platform/dev.h"
#include "platform/iface.h"

namespace {

constexpr uint32_t kOnlyChassis = 0xFFFFFFFFu;
constexpr uint32_t kUnknown = 1;

// A malloc'ed copy of the nodes, for callers that free() what they get.
uint16_t *copy_nodes(const std::vector<uint16_t> &nodes) {
    auto *array = static_cast<uint16_t *>(std::malloc(nodes.empty() ? sizeof(uint16_t) : nodes.size() * sizeof(uint16_t)));
    if (array != nullptr && !nodes.empty()) std::memcpy(array, nodes.data(), nodes.size() * sizeof(uint16_t));
    return array;
}

// The interface of an index: the profile's, or on a host profile one the
// kernel has now (described in `scratch`).  Null when there is none.
const dpsim::Interface *interface_at(uint32_t ifIndex, dpsim::Interface &scratch) {
    const dpsim::Profile &prof = dpsim::profile();
    if (const dpsim::Interface *itf = prof.interface(ifIndex)) return itf;
    char name[IF_NAMESIZE] = {};
    if (!prof.netfilter || ifIndex == 0 || if_indextoname(ifIndex, name) == nullptr) return nullptr;
    scratch.ifindex = ifIndex;
    scratch.name = name;
    scratch.nodes = {prof.self};
    scratch.local = true;
    return &scratch;
}

}  // namespace

extern "C" {

PLAT_API uint16_t DEV_GetSelf(void) { return dpsim::profile().self; }

PLAT_API uint16_t DEV_GetSystemMaster(void) { return dpsim::profile().master; }

PLAT_API uint32_t DEV_IsController(uint16_t node) {
    const dpsim::Node *n = dpsim::profile().node(node);
    return n != nullptr && n->controller ? 1 : 0;
}

PLAT_API uint32_t DEV_GetControllerTeamByLip(uint16_t lip) {
    const dpsim::Node *n = dpsim::profile().node(lip);
    return n != nullptr ? n->team : 0;
}

PLAT_API uint16_t *DEV_GetAllNodes(uint32_t *count) {
    const dpsim::Profile &prof = dpsim::profile();
    if (count != nullptr) *count = 0;
    if (prof.nodes.empty()) return nullptr;
    std::vector<uint16_t> ids;
    ids.reserve(prof.nodes.size());
    for (const dpsim::Node &n : prof.nodes) ids.push_back(n.id);
    uint16_t *array = copy_nodes(ids);
    if (array != nullptr && count != nullptr) *count = static_cast<uint32_t>(ids.size());
    return array;
}

PLAT_API uint32_t DEV_IsMultiChassis(void) { return dpsim::profile().multiChassis ? 1 : 0; }

PLAT_API uint32_t DEV_IsMultiCpu(uint32_t chassis, uint32_t slot) {
    const dpsim::Profile &prof = dpsim::profile();
    // Chassis 0xFFFFFFFF stands for the chassis of a single-chassis device.
    if (chassis == kOnlyChassis) {
        const dpsim::Node *self = prof.node(prof.self);
        chassis = self != nullptr ? self->chassis : 0;
    }
    uint32_t cpus = 0;
    for (const dpsim::Node &n : prof.nodes)
        if (n.chassis == chassis && n.slot == slot) ++cpus;
    return cpus > 1 ? 1 : 0;
}

PLAT_API uint32_t LIP_GetChassID(uint16_t node) {
    const dpsim::Node *n = dpsim::profile().node(node);
    return n != nullptr ? n->chassis : 0;
}

PLAT_API uint32_t LIP_GetSlotID(uint16_t node) {
    const dpsim::Node *n = dpsim::profile().node(node);
    return n != nullptr ? n->slot : 0;
}

PLAT_API uint32_t LIP_GetCpuID(uint16_t node) {
    const dpsim::Node *n = dpsim::profile().node(node);
    return n != nullptr ? n->cpu : 0;
}

PLAT_API uint32_t IF_GetDataByIfIndex(uint32_t ifIndex, uint32_t item, void *buf) {
    dpsim::Interface scratch;
    const dpsim::Interface *itf = interface_at(ifIndex, scratch);
    if (itf == nullptr || buf == nullptr) return kUnknown;
    if (item == IF_DATA_FULLNAME) {
        const size_t n = itf->name.size() < IF_NAME_SIZE - 1 ? itf->name.size() : IF_NAME_SIZE - 1;
        std::memcpy(buf, itf->name.data(), n);
        static_cast<char *>(buf)[n] = '\0';
        return 0;
    }
    if (item == IF_DATA_ATTRIBUTE) {
        std::memcpy(buf, &itf->attribute, sizeof itf->attribute);
        return 0;
    }
    return kUnknown;
}

PLAT_API uint32_t IF_GetIfIndexByFullName(const char *name) {
    if (name == nullptr) return 0;
    const dpsim::Profile &prof = dpsim::profile();
    const dpsim::Interface *itf = prof.interface(std::string(name));
    if (itf != nullptr) return itf->ifindex;
    return prof.netfilter ? if_nametoindex(name) : 0;
}

PLAT_API uint16_t *IF_GetRelyNodesByIfIndex(uint32_t ifIndex, uint64_t *count) {
    if (count != nullptr) *count = 0;
    dpsim::Interface scratch;
    const dpsim::Interface *itf = interface_at(ifIndex, scratch);
    if (itf == nullptr) return nullptr;
    uint16_t *array = copy_nodes(itf->nodes);
    if (array != nullptr && count != nullptr) *count = itf->nodes.size();
    return array;
}

PLAT_API uint32_t IF_IsLocalIf(uint32_t ifIndex) {
    dpsim::Interface scratch;
    const dpsim::Interface *itf = interface_at(ifIndex, scratch);
    return itf != nullptr && itf->local ? 1 : 0;
}

PLAT_API uint32_t IF_IsTempIf(uint32_t ifIndex) {
    dpsim::Interface scratch;
    const dpsim::Interface *itf = interface_at(ifIndex, scratch);
    return itf != nullptr && itf->temporary ? 1 : 0;
}

PLAT_API uint32_t IF_IsNodeUp(uint16_t node) {
    const dpsim::Node *n = dpsim::profile().node(node);
    return n != nullptr && n->up ? 1 : 0;
}

}  // extern "C"
