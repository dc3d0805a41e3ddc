// SPDX-License-Identifier: Apache-2.0
// Display rules the SIP and H.323 call displays share: address, MAC, VLAN,
// start time, MOS, flow and driver-context lines.
#ifndef DPMGMT_SQA_CALL_FORMAT_H
#define DPMGMT_SQA_CALL_FORMAT_H

#include <cstdint>
#include <cstdio>

#include "dpmgmt/sqa.h"

namespace dpmgmt::sqa {

inline constexpr uint32_t kIpTextSize = 16;
inline constexpr uint32_t kMacTextSize = 15;

// Dotted text of an IPv4 address held in network order; "-" if it cannot
// be made.
void ipv4_text(const uint32_t &address, char (&text)[kIpTextSize]);
// "0a1b-2c3d-4e5f".
void mac_text(const uint8_t (&mac)[6], char (&text)[kMacTextSize]);

// One column of a brief table: "address:port", left-aligned in `width`.
void print_brief_column(const uint32_t &address, uint16_t port, int width);

// "    IP: ...Port: ...MAC: ...\n".
void print_endpoint(const uint32_t &address, uint16_t port, const uint8_t (&mac)[6]);
// "Vlan: ..." in a column of valueWidth + 6 characters, no line end.
void print_vlan(uint16_t vlan, int valueWidth);
void print_start_time(const SQA_CALL_TIME_S &time);
// The MOS line; the forward value takes valueWidth characters.
void print_mos(uint32_t forward, uint32_t reverse, int valueWidth);
void print_flows(uint64_t fwdOctets, uint64_t fwdPackets, uint64_t revOctets, uint64_t revPackets);
void print_driver_contexts(const uint32_t (&caller)[8], const uint32_t (&callee)[8]);

// The end of a verbose SIP or H.323 entry: VLAN, start time, MOS, flows,
// the driver contexts when asked for, and the blank line.
template <class Entry>
void print_call_tail(const Entry &e, int vlanWidth, int mosWidth, bool contexts) {
    print_vlan(e.usVlanId, vlanWidth);
    print_start_time(e.stStartTime);
    print_mos(e.uiFwdMos, e.uiRevMos, mosWidth);
    print_flows(e.ulFwdOctets, e.ulFwdPackets, e.ulRevOctets, e.ulRevPackets);
    if (contexts) print_driver_contexts(e.auiCallerDrvContext, e.auiCalleeDrvContext);
    std::putchar('\n');
}

}  // namespace dpmgmt::sqa

#endif
