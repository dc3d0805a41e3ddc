// SPDX-License-Identifier: Apache-2.0
// Starting the netfilter data plane.
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <cstdlib>

#include "netfilter/ct_table.h"
#ifdef DPSVC_NFT_LIMITS
#include "netfilter/limits.h"
#endif
#include "netfilter/netfilter.h"
#include "netfilter/sysctl.h"

namespace dpsvc::nf {

namespace {

bool has_net_admin() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (::syscall(SYS_capget, &header, data) != 0) return false;
    return (data[CAP_TO_INDEX(CAP_NET_ADMIN)].effective & CAP_TO_MASK(CAP_NET_ADMIN)) != 0;
}

}  // namespace

bool start() {
    if (!has_net_admin()) {
        std::fprintf(stderr, "dpservice: --data-plane netfilter needs CAP_NET_ADMIN (run it as root or grant the capability)\n");
        return false;
    }
    uint32_t entries = 0, maximum = 0;
    if (!table_size(entries, maximum)) {
        std::fprintf(stderr, "dpservice: cannot reach the connection tracking of this network namespace: %s\n",
                     std::strerror(errno));
        return false;
    }
    // Counters and start times are only kept for entries made while these
    // are on.
    const bool acct = write_setting("nf_conntrack_acct", 1);
    const bool stamp = write_setting("nf_conntrack_timestamp", 1);
    std::fprintf(stderr, "dpservice: netfilter data plane: %u entries (maximum %u); accounting %s, timestamps %s\n",
                 entries, maximum, acct ? "switched on" : "could not be switched on",
                 stamp ? "switched on" : "could not be switched on");
    register_dumps();
    register_messages();
#ifdef DPSVC_NFT_LIMITS
    // The limits table starts empty (whatever an earlier run left goes);
    // the command line's replay fills it.  It goes when the service ends.
    register_limits();
    if (!rebuild_limits()) return false;
    std::atexit(remove_limits);
    std::fprintf(stderr, "dpservice: connection limits enforced in nftables table %s\n", kLimitsTable);
#endif
    return true;
}

}  // namespace dpsvc::nf
