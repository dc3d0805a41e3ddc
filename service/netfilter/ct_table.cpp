// SPDX-License-Identifier: Apache-2.0
#include "netfilter/ct_table.h"

#include <arpa/inet.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <vector>

#include "dpsim.h"
#include "netfilter/nl_attrs.h"
#include "netfilter/nl_socket.h"

namespace dpsvc::nf {

namespace {

// Deletions are laid out in a batch of this size and sent when it fills.
constexpr size_t kBatchBytes = 64 * 1024;
constexpr size_t kLargestMessage = 2048;

struct CtWalk {
    const std::function<bool(const Session &, const CtExtra &, const nlmsghdr *)> *fn = nullptr;
    Session s;
    CtExtra x;
};

int on_conntrack(const nlmsghdr *nlh, void *data) {
    auto &w = *static_cast<CtWalk *>(data);
    if (!read_conntrack(nlh, w.s, w.x)) return MNL_CB_OK;
    return (*w.fn)(w.s, w.x, nlh) ? MNL_CB_OK : MNL_CB_STOP;
}

struct ExpWalk {
    const std::function<bool(const Relation &, uint32_t, uint32_t, const nlmsghdr *)> *fn = nullptr;
    Relation r;
};

int on_expectation(const nlmsghdr *nlh, void *data) {
    auto &w = *static_cast<ExpWalk *>(data);
    uint32_t flags = 0, klass = 0;
    if (!read_expectation(nlh, w.r, flags, klass)) return MNL_CB_OK;
    return (*w.fn)(w.r, flags, klass, nlh) ? MNL_CB_OK : MNL_CB_STOP;
}

// A deletion request naming a listed object by the attributes of its
// listing that identify it.
void copy_identity(nlmsghdr *nlh, const nlmsghdr *listed, std::initializer_list<uint16_t> types) {
    const auto *end = static_cast<const char *>(mnl_nlmsg_get_payload_tail(listed));
    for (auto *a = static_cast<const nlattr *>(mnl_nlmsg_get_payload_offset(listed, sizeof(nfgenmsg)));
         mnl_attr_ok(a, static_cast<int>(end - reinterpret_cast<const char *>(a))); a = mnl_attr_next(a)) {
        const uint16_t type = mnl_attr_get_type(a);
        if (std::find(types.begin(), types.end(), type) == types.end()) continue;
        std::memcpy(mnl_nlmsg_get_payload_tail(nlh), a, a->nla_len);
        nlh->nlmsg_len += MNL_ALIGN(a->nla_len);
    }
}

uint8_t family_of_message(const nlmsghdr *nlh) {
    return static_cast<const nfgenmsg *>(mnl_nlmsg_get_payload(nlh))->nfgen_family;
}

// Lays deletion requests out one after another and sends them in batches.
class DeleteBatch {
public:
    explicit DeleteBatch(NlSocket &sock) : sock_(sock), buf_(kBatchBytes) {}
    template <typename Build>
    void add(uint8_t subsys, uint8_t msg, uint8_t family, Build build) {
        if (used_ + kLargestMessage > buf_.size()) flush();
        nlmsghdr *nlh = mnl_nlmsg_put_header(buf_.data() + used_);
        nlh->nlmsg_type = static_cast<uint16_t>(subsys << 8 | msg);
        nlh->nlmsg_flags = NLM_F_REQUEST;
        nlh->nlmsg_seq = sock_.next_seq();
        auto *nfh = static_cast<nfgenmsg *>(mnl_nlmsg_put_extra_header(nlh, sizeof(nfgenmsg)));
        nfh->nfgen_family = family;
        nfh->version = NFNETLINK_V0;
        nfh->res_id = 0;
        build(nlh);
        used_ += NLMSG_ALIGN(nlh->nlmsg_len);
        ++count_;
    }
    uint64_t finish() {
        flush();
        return count_;
    }

private:
    void flush() {
        if (used_ > 0) sock_.send_batch({buf_.data(), used_});
        used_ = 0;
    }
    NlSocket &sock_;
    std::vector<uint8_t> buf_;
    size_t used_ = 0;
    uint64_t count_ = 0;
};

constexpr auto kStats = kinds<CTA_STATS_MAX + 1>({{CTA_STATS_FOUND, kU32},
                                                  {CTA_STATS_INVALID, kU32},
                                                  {CTA_STATS_INSERT_FAILED, kU32},
                                                  {CTA_STATS_DROP, kU32},
                                                  {CTA_STATS_EARLY_DROP, kU32},
                                                  {CTA_STATS_ERROR, kU32},
                                                  {CTA_STATS_SEARCH_RESTART, kU32},
                                                  {CTA_STATS_CLASH_RESOLVE, kU32},
                                                  {CTA_STATS_CHAIN_TOOLONG, kU32}});
constexpr auto kStatsGlobal =
    kinds<CTA_STATS_GLOBAL_MAX + 1>({{CTA_STATS_GLOBAL_ENTRIES, kU32}, {CTA_STATS_GLOBAL_MAX_ENTRIES, kU32}});

int on_stats_cpu(const nlmsghdr *nlh, void *data) {
    FailureCounters &c = *static_cast<FailureCounters *>(data);
    if (nlh->nlmsg_len < mnl_nlmsg_size(sizeof(nfgenmsg))) return MNL_CB_OK;
    const auto tb = message_attrs(nlh, kStats);
    c.found += be32_or_0(tb[CTA_STATS_FOUND]);
    c.invalid += be32_or_0(tb[CTA_STATS_INVALID]);
    c.insertFailed += be32_or_0(tb[CTA_STATS_INSERT_FAILED]);
    c.drop += be32_or_0(tb[CTA_STATS_DROP]);
    c.earlyDrop += be32_or_0(tb[CTA_STATS_EARLY_DROP]);
    c.error += be32_or_0(tb[CTA_STATS_ERROR]);
    c.searchRestart += be32_or_0(tb[CTA_STATS_SEARCH_RESTART]);
    c.clashResolve += be32_or_0(tb[CTA_STATS_CLASH_RESOLVE]);
    c.chainTooLong += be32_or_0(tb[CTA_STATS_CHAIN_TOOLONG]);
    return MNL_CB_OK;
}

int on_stats_global(const nlmsghdr *nlh, void *data) {
    auto *out = static_cast<uint32_t *>(data);
    if (nlh->nlmsg_len < mnl_nlmsg_size(sizeof(nfgenmsg))) return MNL_CB_OK;
    const auto tb = message_attrs(nlh, kStatsGlobal);
    out[0] = be32_or_0(tb[CTA_STATS_GLOBAL_ENTRIES]);
    out[1] = be32_or_0(tb[CTA_STATS_GLOBAL_MAX_ENTRIES]);
    return MNL_CB_OK;
}

}  // namespace

bool served(uint16_t node) {
    return node == dpsim::profile().self;
}

uint8_t family_of(uint8_t familyByte) {
    return familyByte == 0 ? AF_UNSPEC : familyByte == kFamilyV4 ? AF_INET : AF_INET6;
}

bool walk_conntrack(uint8_t family, const std::function<bool(const Session &, const CtExtra &, const nlmsghdr *)> &fn) {
    NlSocket sock;
    std::string error;
    CtWalk w;
    w.fn = &fn;
    if (!sock.open(error) || !sock.request(NFNL_SUBSYS_CTNETLINK, IPCTNL_MSG_CT_GET, NLM_F_DUMP, family)) return false;
    return sock.finish(on_conntrack, &w);
}

bool walk_expectations(uint8_t family,
                       const std::function<bool(const Relation &, uint32_t, uint32_t, const nlmsghdr *)> &fn) {
    NlSocket sock;
    std::string error;
    ExpWalk w;
    w.fn = &fn;
    if (!sock.open(error) || !sock.request(NFNL_SUBSYS_CTNETLINK_EXP, IPCTNL_MSG_EXP_GET, NLM_F_DUMP, family))
        return false;
    return sock.finish(on_expectation, &w);
}

bool table_size(uint32_t &entries, uint32_t &maximum) {
    NlSocket sock;
    std::string error;
    uint32_t out[2] = {0, 0};
    if (!sock.open(error) || !sock.request(NFNL_SUBSYS_CTNETLINK, IPCTNL_MSG_CT_GET_STATS, NLM_F_ACK, AF_UNSPEC) ||
        !sock.finish(on_stats_global, out))
        return false;
    entries = out[0];
    maximum = out[1];
    return true;
}

bool failure_counters(FailureCounters &out) {
    NlSocket sock;
    std::string error;
    out = FailureCounters{};
    return sock.open(error) &&
           sock.request(NFNL_SUBSYS_CTNETLINK, IPCTNL_MSG_CT_GET_STATS_CPU, NLM_F_DUMP, AF_UNSPEC) &&
           sock.finish(on_stats_cpu, &out);
}

uint64_t delete_matching(std::span<const uint8_t> tableKey) {
    NlSocket deleter;
    std::string error;
    if (tableKey.size() != 64 || !deleter.open(error)) return 0;
    DeleteBatch batch(deleter);
    const uint8_t family = family_of(tableKey[0]);
    walk_conntrack(family, [&](const Session &s, const CtExtra &, const nlmsghdr *entry) {
        if (!table_key_matches(tableKey, s.init)) return true;
        // Named as the kernel listed it: its original tuple, its zone and
        // its id (a new entry on the same tuple is not this one).
        batch.add(NFNL_SUBSYS_CTNETLINK, IPCTNL_MSG_CT_DELETE, family_of_message(entry), [entry](nlmsghdr *nlh) {
            copy_identity(nlh, entry, {CTA_TUPLE_ORIG, CTA_ZONE, CTA_ID});
        });
        return true;
    });
    return batch.finish();
}

uint64_t delete_expectations(uint8_t familyByte) {
    NlSocket deleter;
    std::string error;
    if (!deleter.open(error)) return 0;
    DeleteBatch batch(deleter);
    const uint8_t family = familyByte == kFamilyV4 ? AF_INET : familyByte == kFamilyV6 ? AF_INET6 : AF_UNSPEC;
    walk_expectations(family, [&](const Relation &, uint32_t, uint32_t, const nlmsghdr *listed) {
        batch.add(NFNL_SUBSYS_CTNETLINK_EXP, IPCTNL_MSG_EXP_DELETE, family_of_message(listed), [listed](nlmsghdr *nlh) {
            copy_identity(nlh, listed, {CTA_EXPECT_TUPLE, CTA_EXPECT_ZONE, CTA_EXPECT_ID});
        });
        return true;
    });
    return batch.finish();
}

}  // namespace dpsvc::nf
