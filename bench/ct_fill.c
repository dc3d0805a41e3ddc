/* SPDX-License-Identifier: Apache-2.0 */
/* Fills the connection table of the current network namespace with N
 * established TCP entries over one netlink socket (bench only: run it in a
 * namespace of its own, `unshare -n`).
 *
 *   ct_fill N */
#include <arpa/inet.h>
#include <libnetfilter_conntrack/libnetfilter_conntrack.h>
#include <libnetfilter_conntrack/libnetfilter_conntrack_tcp.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: ct_fill N\n");
        return 2;
    }
    const long n = strtol(argv[1], NULL, 10);
    struct nfct_handle *h = nfct_open(CONNTRACK, 0);
    struct nf_conntrack *ct = nfct_new();
    if (h == NULL || ct == NULL) {
        perror("ct_fill: nfct_open");
        return 1;
    }
    nfct_set_attr_u8(ct, ATTR_L3PROTO, AF_INET);
    nfct_set_attr_u8(ct, ATTR_L4PROTO, IPPROTO_TCP);
    nfct_set_attr_u8(ct, ATTR_TCP_STATE, TCP_CONNTRACK_ESTABLISHED);
    nfct_set_attr_u32(ct, ATTR_TIMEOUT, 3600);
    for (long i = 0; i < n; ++i) {
        /* 10.s.x.y -> 198.18.0.1:443, a distinct source for every entry */
        nfct_set_attr_u32(ct, ATTR_IPV4_SRC, htonl(0x0A000000u + (uint32_t)(i / 60000) * 256u * 256u +
                                                   (uint32_t)(i % 60000 / 250) * 256u + (uint32_t)(i % 250) + 1u));
        nfct_set_attr_u32(ct, ATTR_IPV4_DST, htonl(0xC6120001u));
        nfct_set_attr_u16(ct, ATTR_PORT_SRC, htons((uint16_t)(1024 + i % 60000)));
        nfct_set_attr_u16(ct, ATTR_PORT_DST, htons(443));
        nfct_setobjopt(ct, NFCT_SOPT_SETUP_REPLY);  /* the reply tuple: the original, turned */
        if (nfct_query(h, NFCT_Q_CREATE, ct) != 0) {
            fprintf(stderr, "ct_fill: entry %ld: ", i);
            perror("");
            return 1;
        }
    }
    nfct_destroy(ct);
    nfct_close(h);
    return 0;
}
