// SPDX-License-Identifier: Apache-2.0
// The call model of the reference data plane: the SIP and H.323 calls that
// call quality analysis follows on the local node, and their counters.
//
// Calls are not stored.  Call `i` of a protocol is computed from the
// service's seed and `i` alone, so a table of a hundred thousand calls costs
// no more memory than a table of ten, and a dump walks the table by index.
// The same seed always gives the same table.
//
// The model keeps the call tables whether or not monitoring is switched on
// for a protocol: switching it off in the running configuration stops no
// call here, and the statistics always describe the tables as they are
// listed (active = calls listed).
#ifndef DPSVC_CALLS_H
#define DPSVC_CALLS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace dpsvc::calls {

// Numbered as the library's protocol names: 0 "sip", 1 "h323".
enum class Proto : uint32_t { kSip = 0, kH323 = 1 };

constexpr uint32_t kMosMissing = 0xFFFFFFFFu;
constexpr uint32_t kVxlanNone = 0xFFFFFFFFu;
constexpr size_t kCallIdSize = 65;   // text of at most 64 characters and its NUL
constexpr size_t kGuidSize = 67;
constexpr size_t kTagSize = 65;
constexpr size_t kAliasSize = 132;

// Sizes of the entries as the kernel hands them out.
constexpr size_t kBriefSize = 84;          // SIP and H.323 brief entry
constexpr size_t kSipVerboseSize = 384;
constexpr size_t kH323VerboseSize = 472;
constexpr size_t kStatisticsSize = 56;

// One call, host order.  Fields that only one protocol has are zero in the
// other's calls.
struct Call {
    char id[kCallIdSize];
    char guid[kGuidSize];           // H.323
    char callerTag[kTagSize];       // SIP
    char calleeTag[kTagSize];       // SIP
    char alias[kAliasSize];         // H.323 source alias; empty: none
    uint32_t callerIp, calleeIp;    // IPv4, host order
    uint16_t callerPort, calleePort;
    uint8_t callerMac[6], calleeMac[6];
    uint16_t mediaType;             // SIP: 1 audio, else video; H.323: 1 audio, 2 video, else unknown
    uint16_t vlan;                  // 0 and 65535: none
    uint32_t startTime[9];          // second, minute, hour, day, month, year, weekday, day of year, 0
    uint32_t mosForward, mosReverse;  // MOS x 100, kMosMissing: none
    uint64_t fwdPackets, fwdOctets, revPackets, revOctets;
    uint32_t callerContext[8], calleeContext[8];
    uint32_t sipHidden;             // SIP: the kernel's undisplayed word
    uint32_t h245Ip;                // H.323 control channel, host order
    uint16_t h245Port;
    uint32_t sessionId;
    uint8_t appProtocol;            // H.323: 0 none
    uint64_t h323Hidden;            // H.323: the kernel's undisplayed 64-bit number
    uint32_t vxlan;                 // H.323: kVxlanNone: none
    uint32_t samplingRate;
};

struct Statistics {
    uint64_t total, active, successful, timeout, other, abnormal;
    uint32_t number;
};

// Number of calls of each protocol (the service's --calls).
uint32_t count();

// Call `index` (< count()) of the protocol.
Call make(Proto proto, uint32_t index);

// The index of the call whose ID is exactly `id`, if there is one.
std::optional<uint32_t> find(Proto proto, std::string_view id);

Statistics statistics(Proto proto);

// Writers of the kernel's records, network order except where the record
// keeps host order (the SIP MOS words and the driver contexts).  `out`
// holds at least the record's size.
void write_brief(const Call &call, uint8_t *out);
void write_sip_verbose(const Call &call, uint8_t *out);
void write_h323_verbose(const Call &call, uint8_t *out);
void write_statistics(const Statistics &stats, uint8_t *out);

}  // namespace dpsvc::calls

#endif
