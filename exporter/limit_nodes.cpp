// SPDX-License-Identifier: Apache-2.0
// The connection-limit statistic nodes of a policy, counted as the kernel
// hands them over: the kernel denies new sessions on a node from its upper
// threshold on and permits them again once it has fallen below the lower
// one, so a node between the two may deny or permit.
#include "dpmgmt/records.h"
#include "snapshot.h"

namespace exporter {

namespace {

constexpr uint16_t kPermit = 1;

void count_node(const CONNLMT_STATNODE_S *n, void *context) {
    auto &out = *static_cast<LimitNodes *>(context);
    ++out.nodes;
    if (n->uiSessionCount >= n->uiThresholdHigh) ++out.atUpper;
    if (n->usNewSessionFlag != kPermit) ++out.denying;
}

}  // namespace

bool read_limit_nodes(uint16_t node, LimitNodes &out) {
    CONNLMT_STATNODE_FILTER_S filter{};  // any address, any rule
    filter.uiIpVersion = out.family;
    out.nodes = out.atUpper = out.denying = 0;
    return dpmgmt_walk_limit_nodes(node, out.policy, &filter, count_node, &out) != DPMGMT_ERR_FAILED;
}

}  // namespace exporter
