// SPDX-License-Identifier: Apache-2.0
#include "sqa/call_format.h"

#include <cstdio>

#include "platform/textutil.h"

namespace dpmgmt::sqa {

namespace {

constexpr int kAfInet = 2;
constexpr uint32_t kBriefColumnSize = 22;
constexpr uint16_t kVlanNoneLow = 0;
constexpr uint16_t kVlanNoneHigh = 65535;

// The score is kept times 100; the operator sees it as a float.
double mos_value(uint32_t word) { return static_cast<float>(word) / 100.0; }

}  // namespace

void ipv4_text(const uint32_t &address, char (&text)[kIpTextSize]) {
    text[0] = '-';
    text[1] = '\0';
    (void)__wrap_inet_ntop(kAfInet, &address, text, kIpTextSize);
}

void mac_text(const uint8_t (&mac)[6], char (&text)[kMacTextSize]) {
    std::snprintf(text, kMacTextSize, "%02x%02x-%02x%02x-%02x%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
}

void print_brief_column(const uint32_t &address, uint16_t port, int width) {
    char ip[kIpTextSize];
    ipv4_text(address, ip);
    char column[kBriefColumnSize];
    scnprintf(column, sizeof column, "%s:%u", ip, static_cast<unsigned>(port));
    std::printf("%-*s", width, column);
}

void print_endpoint(const uint32_t &address, uint16_t port, const uint8_t (&mac)[6]) {
    char ip[kIpTextSize];
    ipv4_text(address, ip);
    char macText[kMacTextSize];
    mac_text(mac, macText);
    std::printf("    IP: %-19sPort: %-9u", ip, static_cast<unsigned>(port));
    std::printf("MAC: %s\n", macText);
}

void print_vlan(uint16_t vlan, int valueWidth) {
    if (vlan == kVlanNoneLow || vlan == kVlanNoneHigh)
        std::printf("Vlan: -%*s", valueWidth - 1, "");
    else
        std::printf("Vlan: %-*u", valueWidth, static_cast<unsigned>(vlan));
}

void print_start_time(const SQA_CALL_TIME_S &t) {
    std::printf("StartTime: %u-%02u-%02u %02u:%02u:%02u\n", t.uiYear, t.uiMonth, t.uiDay, t.uiHour, t.uiMinute,
                t.uiSecond);
}

// A missing score is a dash padded to the width a present one takes.
void print_mos(uint32_t forward, uint32_t reverse, int valueWidth) {
    const bool haveF = forward != SQA_MOS_NONE;
    const bool haveR = reverse != SQA_MOS_NONE;
    if (haveF && haveR)
        std::printf("  MOS(F): %-*.2fMOS(R): %.2f\n", valueWidth, mos_value(forward), mos_value(reverse));
    else if (haveF)
        std::printf("  MOS(F): %-*.2fMOS(R): -\n", valueWidth, mos_value(forward));
    else if (haveR)
        std::printf("  MOS(F): -%*sMOS(R): %.2f\n", valueWidth - 1, "", mos_value(reverse));
    else
        std::printf("  MOS(F): -%*sMOS(R): -\n", valueWidth - 1, "");
}

void print_flows(uint64_t fwdOctets, uint64_t fwdPackets, uint64_t revOctets, uint64_t revPackets) {
    std::printf("  Forward flow (octets): %-18llu", static_cast<unsigned long long>(fwdOctets));
    std::printf("Forward flow (packets): %llu\n", static_cast<unsigned long long>(fwdPackets));
    std::printf("  Reverse flow (octets): %-18llu", static_cast<unsigned long long>(revOctets));
    std::printf("Reverse flow (packets): %llu\n", static_cast<unsigned long long>(revPackets));
}

void print_driver_contexts(const uint32_t (&caller)[8], const uint32_t (&callee)[8]) {
    std::printf("  CallerDrvContext[0-7]: 0x%-8x  0x%-8x  0x%-8x  0x%-8x\n"
                "                         0x%-8x  0x%-8x  0x%-8x  0x%-8x\n",
                caller[0], caller[1], caller[2], caller[3], caller[4], caller[5], caller[6], caller[7]);
    std::printf("  CalleeDrvContext[0-7]: 0x%-8x  0x%-8x  0x%-8x  0x%-8x\n"
                "                         0x%-8x  0x%-8x  0x%-8x  0x%-8x\n",
                callee[0], callee[1], callee[2], callee[3], callee[4], callee[5], callee[6], callee[7]);
}

}  // namespace dpmgmt::sqa
