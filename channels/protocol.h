// SPDX-License-Identifier: Apache-2.0
// Every protocol identifier the library puts on a wire: the message types of
// the session service, the kernel's dump types and its control commands.
// Each number is written here once; the modules name them.  dpservice keeps
// its own description of the same numbers on purpose, so that the two sides
// check each other.
#ifndef DPMGMT_CHANNELS_PROTOCOL_H
#define DPMGMT_CHANNELS_PROTOCOL_H

#include <cstdint>

namespace dpmgmt {

// Message types of the session service.
namespace msg {
enum : uint32_t {
    // session settings
    kSetAppAging = 0,
    kSetL4Aging = 1,
    kSetLogPolicy = 2,
    kGetLogPolicy = 3,
    kSetLogFlow = 4,
    kSetLogTime = 5,
    kGetLogFlow = 6,
    kGetLogTime = 7,
    kSetPersist = 9,
    kGetPersist = 10,
    kSetDebug = 11,
    kSetTcpDebug = 12,
    kGetAllAppAging = 13,
    kGetAllL4Aging = 14,
    kGetAllDebug = 15,
    kGetTcpDebug = 16,
    kDisTopStatistics = 17,
    kGetTopStatistics = 18,
    kGetTopSampleTime = 19,
    kResetSession = 20,
    kResetRelation = 21,
    kResetStatistics = 22,
    // connection limits
    kConnlmtGetDebug = 24,
    kConnlmtSetDebug = 25,
    kConnlmtAddPolicy = 26,
    kConnlmtDelPolicy = 27,
    kConnlmtAddRule = 28,
    kConnlmtGetRule = 29,
    kConnlmtDelRule = 30,
    kConnlmtApplyPolicy = 31,
    kConnlmtCancelPolicy = 32,
    kConnlmtGetApplyPolicy = 33,
    kConnlmtIsPolicyExist = 34,
    kConnlmtGetPolicy = 35,
    kConnlmtGetNextPolicy = 36,
    kConnlmtGetNextPolicyId = 37,
    kConnlmtGetPolicyApplyList = 38,
    kConnlmtGetPolicyTotalNumber = 39,
    kConnlmtResetStatistics = 40,
    kConnlmtSetDes = 41,
    kConnlmtGetPolicyInfo = 42,
    kConnlmtGetNextPolicyInfo = 43,
    // hot backup
    kHotBackupGetDebug = 44,
    kHotBackupSetDebug = 45,
    kHotBackupResetStatistics = 46,
    // session settings, continued
    kSetSessionSyncSwitch = 47,
    kGetSessionSyncSwitch = 48,
    kSetStatEnable = 49,
    kSetSessionSyncAppSwitch = 50,
    kGetSessionSyncAppSwitch = 51,
    kSetHisTopStatEnable = 52,
    kGetHisTopStatEnable = 53,
    kSetMaximum = 54,
    kSetRate = 55,
    kGetMaximum = 56,
    kGetRate = 57,
    kResetMcfsSession = 58,
    kResetMcfsStatistics = 59,
    kResetStatFail = 60,
    kResetEventStatistics = 61,
    kSetTrafficLogTime = 62,
    kGetTrafficLogTime = 63,
    kSetTrafficLogFlow = 64,
    kGetTrafficLogFlow = 65,
    kSetTrafficLogBegin = 68,
    kGetTrafficLogBegin = 69,
    kTrafficLogEnableBill = 70,
    // SQA
    kSqaSetSipEnable = 71,
    kSqaSetSipPort = 72,
    kSqaSetSipDbg = 73,
    kSqaSetSipFilterIp = 74,
    kSetNumLog = 75,
    kSqaSetH323Enable = 77,
    kSqaSetH225Port = 78,
    kSqaSetH323FilterIp = 79,
    kSqaSetSqaView = 80,
    kSqaSetH323Dbg = 81,
    kSqaSetRemark = 82,
    kSqaGetRemark = 83,
    kSqaGetSqaEnable = 84,
    kSqaGetListeningPort = 85,
    kSqaGetFilterAddress = 86,
    kResetFdbStatistics = 87,
};
}  // namespace msg

// Dump types of the kernel's tables and records.  The connection-limit
// dumps are public (CONNLMT_*_DUMP_TYPE in dpmgmt/connlmt.h).
namespace dump {
// clang-format off
enum : uint32_t {
    kSession = 0x140001, kRelation = 0x140002, kStatistics = 0x140003,
    kFastForward = 0x140006, kHotBackupPeer = 0x140009, kMcfs = 0x140014,
    kMcfsStatistics = 0x140015, kStatFail = 0x140016, kHistory = 0x140017,
    kHotBackupRemain = 0x140019, kTopStatistics = 0x14001a, kSipBrief = 0x14001b,
    kSipVerbose = 0x14001c, kH323Brief = 0x14001f, kH323Verbose = 0x140020,
    kH323Probe = 0x140021, kFdbStatistics = 0x140022, kGlobalKernel = 0x140023,
    kSessionKernel = 0x140024, kRelationInfo = 0x140025, kAgingQueue = 0x140026,
    kIfKernel = 0x140027, kAlgFailCount = 0x140029, kAlgReset = 0x14002a,
    kAlgSwitch = 0x14002b,
};
// clang-format on

// Session entries in one chunk of the session and Mcfs dumps.
inline constexpr uint32_t kSessionsPerBatch = 46;
}  // namespace dump

// Kernel control commands (CIOCTL) of the SQA module.
namespace ctl {
inline constexpr uint32_t kSipDebug = 0x480061, kSipStatistics = 0x480062;
inline constexpr uint32_t kH323Statistics = 0x480068, kH323Debug = 0x48006a;
}  // namespace ctl

}  // namespace dpmgmt

#endif
