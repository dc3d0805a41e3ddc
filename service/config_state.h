// SPDX-License-Identifier: Apache-2.0
// The running configuration of the reference data plane.
//
// The session-service message handlers (msg_*.cpp) change it; the kernel
// side reads it (aging times for the tables it generates, debug switches
// for the call-analysis control commands, connection-limit policies for the
// limit statistics nodes, ...).  Everything lives on dpservice's one thread:
// no locks.  All numbers are in host order; bytes the service only carries
// (filter addresses, ACL names, padding) are kept exactly as received.
//
// Reach it with dpsvc::config().  It starts from the defaults below and is
// not persisted: after a restart, the command line's recover replays it.
#ifndef DPSVC_CONFIG_STATE_H
#define DPSVC_CONFIG_STATE_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace dpsvc {

inline constexpr uint32_t kAppCount = 17;        // application aging rows
inline constexpr uint32_t kL4StateCount = 19;    // layer-4 aging rows
inline constexpr uint32_t kDebugWordCount = 19;
inline constexpr uint32_t kTcpDebugWordCount = 3;
inline constexpr uint32_t kLimitSelectorCount = 16;  // session limit / rate selectors 0-15

// Default aging times in seconds, by application index and layer-4 state index.
inline constexpr std::array<uint32_t, kAppCount> kDefaultAppAging = {
    1, 3600, 60, 3600, 3600, 300, 3600, 300, 60, 3600, 60, 3600, 3600, 60, 3600, 600, 3600};
inline constexpr std::array<uint32_t, kL4StateCount> kDefaultL4Aging = {
    30, 3600, 30, 30, 60, 60, 30, 30, 60, 30, 60, 30, 3600, 30, 30, 3600, 30, 60, 30};

// ------------------------------------------------------------ session ----

// The log policy of one interface, as the set request carried it.
struct LogPolicy {
    std::array<uint32_t, 4> words{};  // [0] interface index, [1] policy value, [2], [3] further words
    uint16_t option = 0;              // the u16 at 16
    std::array<uint8_t, 2> extra{};   // the 2 bytes at 18, uninterpreted
};

// Log flow and traffic-log flow: word 0 the unit (0 packets, 1 bytes),
// word 1 the threshold.
using FlowSetting = std::array<uint32_t, 2>;

// The traffic-log bill setting, fields at the offsets of the request.
struct TrafficLogBill {
    uint16_t enable = 0;              // u16 at 0
    std::array<uint8_t, 2> b2{};      // bytes 2-3
    uint16_t format = 0;              // u16 at 4
    std::array<uint8_t, 2> b6{};      // bytes 6-7
    std::array<uint8_t, 16> host{};   // bytes 8-23 (a server address, as sent)
    uint16_t port = 0;                // u16 at 24
    std::array<uint8_t, 18> b26{};    // bytes 26-43
};

// How often each reset was asked for, and its last arguments; the kernel
// side zeroes its counters when a number here moves.
struct ResetLog {
    uint32_t sessions = 0;          // types 20 and 58 (tables)
    uint32_t relations = 0;         // 21
    uint32_t statistics = 0;        // 22
    uint32_t mcfsStatistics = 0;    // 59
    uint32_t statFail = 0;          // 60
    uint32_t eventStatistics = 0;   // 61
    uint32_t fdbStatistics = 0;     // 87
    uint32_t hotBackup = 0;         // 46
    uint16_t lastScope = 0;         // the u16 scope of the latest reset
};

struct SessionConfig {
    std::array<uint32_t, kAppCount> appAging = kDefaultAppAging;
    std::array<uint32_t, kL4StateCount> l4Aging = kDefaultL4Aging;
    std::map<uint32_t, LogPolicy> logPolicies;  // by interface index
    FlowSetting logFlow{};
    uint32_t logTime = 0;
    std::array<uint32_t, 3> persist{};
    std::array<uint32_t, kDebugWordCount> debug{};
    std::array<uint32_t, kTcpDebugWordCount> tcpDebug{};
    uint16_t syncSwitch = 0;
    uint16_t statEnable = 0;
    uint16_t syncAppSwitch = 0;
    uint16_t syncAppAux = 0;     // the second word of the sync-app request
    uint16_t hisTopStatEnable = 0;
    std::array<uint32_t, kLimitSelectorCount> maximum{};  // 0: no limit
    std::array<uint32_t, kLimitSelectorCount> rate{};     // 0: no limit
    uint32_t trafficLogTime = 0;
    FlowSetting trafficLogFlow{};
    uint16_t trafficLogBegin = 0;
    TrafficLogBill trafficLogBill;
    uint16_t numLog = 0;
};

// ---------------------------------------------------------- hot backup ----

struct HotBackupConfig {
    uint32_t debug = 0;  // debug bits
};

// ---------------------------------------------------- connection limit ----

// A limit rule as the service keeps it: the 96-byte rule record, in host
// order, ACL name as received.
struct ConnlmtRule {
    uint32_t aclMode;
    uint32_t aclNum;
    char aclName[64];
    uint32_t ipVersion;
    uint16_t policyId;
    uint16_t ruleId;
    uint32_t limitData[3];
    uint32_t aclType;
};
static_assert(sizeof(ConnlmtRule) == 96);

inline constexpr uint16_t kConnlmtMaxPolicy = 32;
inline constexpr uint16_t kConnlmtMaxRule = 256;
inline constexpr size_t kConnlmtDescriptionSize = 130;

struct ConnlmtPolicy {
    std::vector<ConnlmtRule> rules;  // ordered by ruleId, at most 256
    std::string description;         // empty: none
};

struct ConnlmtConfig {
    // Per family (0 IPv4, 1 IPv6): policies by id, and where each is
    // applied (interface index, 0 = globally, -> policy id).
    std::array<std::map<uint16_t, ConnlmtPolicy>, 2> policies;
    std::array<std::map<uint32_t, uint16_t>, 2> applied;
    // Words 0-3: the four values of the latest SetDebug (a, b, c, d);
    // word 4: how many SetDebug requests were taken.
    std::array<uint32_t, 5> debug{};

    ConnlmtPolicy *find(uint32_t family, uint16_t id);
    // Interface indexes where the policy is applied, ascending.
    std::vector<uint32_t> applied_at(uint32_t family, uint16_t id) const;
};

// ---------------------------------------------------------------- SQA ----

// An address filter: the two address words exactly as the client sent them
// (network order), the filter number in host order.
struct SqaFilter {
    std::array<uint8_t, 4> ip1{};
    std::array<uint8_t, 4> ip2{};
    uint16_t flag = 0;

    bool operator==(const SqaFilter &) const = default;
};

// SIP and H.323 debug switch bits.
inline constexpr uint32_t kSqaDebugEvent = 1u << 0;
inline constexpr uint32_t kSqaDebugError = 1u << 1;
inline constexpr uint32_t kSqaDebugPacket = 1u << 2;
inline constexpr uint32_t kSqaDebugMask = kSqaDebugEvent | kSqaDebugError | kSqaDebugPacket;

struct SqaConfig {
    uint16_t sipEnable = 0;
    uint16_t sipPort = 5060;
    SqaFilter sipFilter;
    uint16_t h323Enable = 0;
    uint16_t h225Port = 1720;
    SqaFilter h323Filter;
    uint16_t view = 0;
    uint32_t sipDebug = 0;   // kSqaDebug* bits
    uint32_t h323Debug = 0;  // kSqaDebug* bits
    // Remark entries: (key1, key2) -> value.
    std::map<std::pair<uint32_t, uint32_t>, uint16_t> remarks;

    // Back to the initial settings: ports 5060 and 1720, both disabled, no
    // filters.  Debug switches and remarks stay.
    void restore_defaults();
};

// ------------------------------------------------------------- all ----

struct ConfigState {
    SessionConfig session;
    HotBackupConfig hotBackup;
    ConnlmtConfig connlmt;
    SqaConfig sqa;
    ResetLog resets;
};

// The one running configuration of this process.
ConfigState &config();

}  // namespace dpsvc

#endif
