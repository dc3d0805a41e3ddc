// SPDX-License-Identifier: Apache-2.0
// The attributes of one kernel message or nest, read through libmnl: each
// kept by its type once it is validated against the type's kind (and
// length, for fixed-size binaries).  A newer kernel's attributes beyond
// the table, and malformed ones, are left out; what is left out reads as
// absent.  Every reader of the netfilter data plane goes through here.
#ifndef DPSVC_NF_NL_ATTRS_H
#define DPSVC_NF_NL_ATTRS_H

#include <arpa/inet.h>
#include <endian.h>
#include <libmnl/libmnl.h>
#include <linux/netfilter/nfnetlink.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <utility>

namespace dpsvc::nf {

struct Kind {
    mnl_attr_data_type type = MNL_TYPE_UNSPEC;  // MNL_TYPE_UNSPEC: not read
    size_t len = 0;
};

template <size_t N>
using Kinds = std::array<Kind, N>;

inline constexpr Kind kU8{MNL_TYPE_U8}, kU16{MNL_TYPE_U16}, kU32{MNL_TYPE_U32}, kU64{MNL_TYPE_U64},
    kNest{MNL_TYPE_NESTED}, kString{MNL_TYPE_NUL_STRING}, kV6{MNL_TYPE_BINARY, 16};

// What is read of a message or nest: the kind of each attribute read.
template <size_t N>
constexpr Kinds<N> kinds(std::initializer_list<std::pair<int, Kind>> read) {
    Kinds<N> k{};
    for (const auto &[type, kind] : read) k[static_cast<size_t>(type)] = kind;
    return k;
}

template <size_t N>
struct Attrs {
    const Kinds<N> &kinds;
    const nlattr *tb[N] = {};
    const nlattr *operator[](int type) const { return tb[type]; }
};

template <size_t N>
int keep_valid(const nlattr *a, void *data) {
    auto &attrs = *static_cast<Attrs<N> *>(data);
    const uint16_t type = mnl_attr_get_type(a);
    if (type >= N || attrs.kinds[type].type == MNL_TYPE_UNSPEC) return MNL_CB_OK;
    const Kind &k = attrs.kinds[type];
    if ((k.len != 0 ? mnl_attr_validate2(a, k.type, k.len) : mnl_attr_validate(a, k.type)) < 0) return MNL_CB_OK;
    attrs.tb[type] = a;
    return MNL_CB_OK;
}

// The attributes of a nest (none when the nest is absent).
template <size_t N>
Attrs<N> nested(const nlattr *nest, const Kinds<N> &kinds) {
    Attrs<N> attrs{kinds};
    if (nest != nullptr) mnl_attr_parse_nested(nest, keep_valid<N>, &attrs);
    return attrs;
}

// The attributes of a netfilter message, after its nfgenmsg header.  The
// caller has checked that the message holds the header.
template <size_t N>
Attrs<N> message_attrs(const nlmsghdr *nlh, const Kinds<N> &kinds) {
    Attrs<N> attrs{kinds};
    mnl_attr_parse(nlh, sizeof(nfgenmsg), keep_valid<N>, &attrs);
    return attrs;
}

// Values of validated attributes in host order; 0 for an absent one.
inline uint8_t u8_or_0(const nlattr *a) {
    return a != nullptr ? mnl_attr_get_u8(a) : 0;
}
inline uint16_t be16_or_0(const nlattr *a) {
    return a != nullptr ? ntohs(mnl_attr_get_u16(a)) : 0;
}
inline uint32_t be32_or_0(const nlattr *a) {
    return a != nullptr ? ntohl(mnl_attr_get_u32(a)) : 0;
}
inline uint64_t be64_or_0(const nlattr *a) {
    return a != nullptr ? be64toh(mnl_attr_get_u64(a)) : 0;
}

}  // namespace dpsvc::nf

#endif
