// SPDX-License-Identifier: Apache-2.0
// The scriptable, recording platform the unit tests link the library
// against.
//
// Every platform call is recorded (name, numeric arguments, the bytes it was
// handed) and answered by a hook when the test set one, else by a default:
// scripted dumps, control calls and socket receives, an in-memory
// configuration database, and the real text helpers.  fake::reset() (called
// by FakePlatformTest::SetUp) clears everything.
#ifndef TESTS_FAKE_FAKE_PLATFORM_H
#define TESTS_FAKE_FAKE_PLATFORM_H

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace fake {

using Bytes = std::vector<uint8_t>;

// ------------------------------------------------------------ recording --
struct Call {
    std::string name;
    std::vector<uint64_t> args;  // numeric arguments in call order
    Bytes bytes;                 // key, request or element bytes handed over
    std::string text;            // a text argument (names, keywords)
};
std::vector<Call> &calls();
size_t count(std::string_view name);
// The n-th (from 0) recorded call of that name; fails the test if absent.
const Call &nth(std::string_view name, size_t n = 0);
const Call &last(std::string_view name);
// Names of all recorded calls in order; with a prefix, only those names.
std::vector<std::string> call_names(std::string_view prefix = "");

// ---------------------------------------------------------------- dumps --
struct Pull {
    uint32_t result;  // what DUMP_Pull returns
    Bytes bytes;      // what it delivers (cut to the caller's buffer length)
};
// The next DUMP_Request of this dump type (any node) opens a dump that
// answers the pulls in order; after them, 0 with nothing delivered.
void script_dump(uint32_t dumpType, std::vector<Pull> pulls);
// DUMP_Request of this type answers 0xFFFFFFFF.
void fail_dump(uint32_t dumpType);
// DUMP_Request of this type addressed to this node answers 0xFFFFFFFF.
void fail_dump_on(uint32_t dumpType, uint16_t node);
// Dumps requested and not yet terminated.
int open_dumps();
// Convenience: a chunk of records with the continuation code.
Pull chunk(const Bytes &bytes);
// A misbehaving kernel: from now on every pull that delivers bytes reports
// `extra` bytes more than it wrote (and than the caller asked for).
void overstate_pulls(uint32_t extra);

// ---------------------------------------------------------- control calls --
struct Control {
    uint32_t result;
    Bytes reply;  // copied up to the caller's capacity; its length reported
};
void script_control(uint32_t command, Control answer);

// --------------------------------------------------------------- sockets --
struct Recv {
    long ret;  // > 0: deliver `bytes` (cut to the buffer); 0; -1 with err
    int err;
    Bytes bytes;
};
struct SocketScript {
    int socketResult = 7;  // descriptor SOCK_Socket returns (or -1)
    int connectResult = 0;
    int setOptResult = 0;
    long sendResult = -2;       // -2: the whole length
    std::deque<Recv> receives;  // when empty: -1 with ECONNREFUSED
};
SocketScript &sockets();
struct SocketLog {
    std::vector<Bytes> addresses;  // records passed to SOCK_Connect
    std::vector<Bytes> sent;       // datagrams passed to SOCK_Send
    int opened = 0;
    int closed = 0;
};
SocketLog &socket_log();
// A reply datagram: header (type, 8 + payload length) and payload.
Bytes datagram(uint32_t type, const Bytes &payload);
// Queues the datagram of type and payload as the next receive.
void reply(uint32_t type, const Bytes &payload);
// Queues a failed receive with that errno.
void fail_recv(int err);
// The i-th datagram sent, as hex, or "<nothing sent>".
std::string sent(size_t i = 0);

// ------------------------------------------------------------------ hooks --
// The platform calls a test may answer itself, through the hook of the same
// name: X(return type, name, parameters, numeric arguments recorded, text
// argument recorded, arguments handed to the hook, answer without a hook).
#define FAKE_HOOKED_CALLS(X)                                                                                           \
    X(uint16_t, DEV_GetSelf, (void), (), nullptr, (), return 1;)                                                       \
    X(uint16_t, DEV_GetSystemMaster, (void), (), nullptr, (), return 1;)                                               \
    X(uint32_t, DEV_IsController, (uint16_t node), (node), nullptr, (node), return 0;)                                 \
    X(uint32_t, DEV_GetControllerTeamByLip, (uint16_t lip), (lip), nullptr, (lip), return 0;)                          \
    X(uint16_t *, DEV_GetAllNodes, (uint32_t * count), (), nullptr, (count), *count = 0; return nullptr;)              \
    X(uint32_t, DEV_IsMultiChassis, (void), (), nullptr, (), return 0;)                                                \
    X(uint32_t, DEV_IsMultiCpu, (uint32_t chassis, uint32_t slot), (chassis, slot), nullptr, (chassis, slot),          \
      return 0;)                                                                                                       \
    X(uint32_t, LIP_GetChassID, (uint16_t node), (node), nullptr, (node), return 0;)                                   \
    X(uint32_t, LIP_GetSlotID, (uint16_t node), (node), nullptr, (node), return 0;)                                    \
    X(uint32_t, LIP_GetCpuID, (uint16_t node), (node), nullptr, (node), return 0;)                                     \
    X(uint32_t, IF_GetDataByIfIndex, (uint32_t ifIndex, uint32_t item, void *buf), (ifIndex, item), nullptr,           \
      (ifIndex, item, buf), return 1;)                                                                                 \
    X(uint32_t, IF_GetIfIndexByFullName, (const char *name), (), name, (name), return 0;)                              \
    X(uint16_t *, IF_GetRelyNodesByIfIndex, (uint32_t ifIndex, uint64_t * count), (ifIndex), nullptr,                  \
      (ifIndex, count), *count = 0;                                                                                    \
      return nullptr;)                                                                                                 \
    X(uint32_t, IF_IsLocalIf, (uint32_t ifIndex), (ifIndex), nullptr, (ifIndex), return 0;)                            \
    X(uint32_t, IF_IsTempIf, (uint32_t ifIndex), (ifIndex), nullptr, (ifIndex), return 0;)                             \
    X(uint32_t, IF_IsNodeUp, (uint16_t node), (node), nullptr, (node), return 1;)                                      \
    X(uint32_t, ACL_GetIndexByName, (uint32_t aclType, const char *name), (aclType), name, (aclType, name), return 0;) \
    X(uint32_t, ACL_GetNameByIndex, (uint32_t aclType, uint32_t aclNum, char *name), (aclType, aclNum), nullptr,       \
      (aclType, aclNum, name), return 1;)                                                                              \
    X(uint32_t, APR_GetProtoNameByID, (uint32_t protocol, char *name), (protocol), nullptr, (protocol, name),          \
      return 1;)                                                                                                       \
    X(uint32_t, APR_GetAppNameByID, (uint32_t appId, char *name), (appId), nullptr, (appId, name), return 1;)          \
    X(uint32_t, L3VPN_GetNameByVrfIndex, (uint32_t vrfIndex, uint32_t size, char *name), (vrfIndex, size), nullptr,    \
      (vrfIndex, size, name), return 1;)                                                                               \
    X(uint32_t, SERVICE_GetStatus, (uint16_t node, const char *name, uint32_t reserved, uint32_t *status),             \
      (node, reserved), name, (node, name, reserved, status), *status = 2;                                             \
      return 0;)                                                                                                       \
    X(uint32_t, SERVICE_Start, (uint16_t node, const char *name, uint32_t reserved1, uint32_t reserved2),              \
      (node, reserved1, reserved2), name, (node, name, reserved1, reserved2), return 0;)                               \
    X(const char *, RC_LoadString, (uint32_t id), (id), nullptr, (id), return "";)

// Set one to answer a call yourself; the call is still recorded.
struct Hooks {
#define FAKE_HOOK(Ret, name, params, ...) std::function<Ret params> name;
    FAKE_HOOKED_CALLS(FAKE_HOOK)
#undef FAKE_HOOK
    // Database calls; when unset, the in-memory database answers (a batch
    // moves nothing).
    std::function<uint32_t(const char *, const char *, uint32_t, uint64_t *)> DBM_Open;
    std::function<uint32_t(const char *, const char *, uint64_t *, uint64_t *)> DBM_OpenCfgDB;
    std::function<int32_t(uint64_t, const std::string &key)> DBM_IsKeyExist;
    std::function<int32_t(uint64_t, const std::string &key, uint32_t size, void *buf)> DBM_GetBinary;
    std::function<int32_t(uint64_t, const std::string &key, const Bytes &value, uint32_t attribute)> DBM_SetBinary;
    std::function<int32_t(uint64_t, const std::string &key)> DBM_DeleteKey;
    std::function<int32_t(uint64_t, const std::string &key, uint32_t mode)> DBM_CreateSortList;
    std::function<int32_t(uint64_t, uint64_t, const DBM_BATCH_S *, uint32_t)> DBM_Batch_Proc;
};
Hooks &hooks();

// ------------------------------------------------- in-memory database ----
// Keys are the exact bytes handed over (the NUL included); a database is
// identified by its handle.  Handles: "name/module" -> 100, 101, ...
struct DbEntry {
    bool isList = false;
    Bytes value;  // binary value
    std::vector<DBM_SORTKEY_S> sortKeys;
    std::vector<Bytes> elements;  // sorted list, in sort-key order
};
// The entry of key (text without NUL; the key length must have been
// strlen + 1) in the database of handle; null when absent.
DbEntry *db_entry(uint64_t handle, std::string_view key);
void db_put_binary(uint64_t handle, std::string_view key, const Bytes &value);
uint64_t db_handle(std::string_view dbName);  // handle of an opened database, or -1
int open_iterators();                         // iterators not yet freed

// ---------------------------------------------------------------- output --
// Captures everything written to standard output (C stdio) while alive.
class CaptureStdout {
public:
    CaptureStdout();
    ~CaptureStdout();
    // Stops capturing (if still capturing) and returns the bytes.
    std::string take();

private:
    int saved_ = -1;
    int file_ = -1;
    std::string taken_;
};

// --------------------------------------------------------------- helpers --
void reset();
Bytes be16(uint16_t v);
Bytes be32(uint32_t v);
Bytes be64(uint64_t v);
Bytes cat(std::initializer_list<Bytes> parts);
std::string hex(const Bytes &b);  // "00 0a ff"
std::string hex(const void *p, size_t n);

}  // namespace fake

// Base fixture: resets the fake platform before each test.
class FakePlatformTest : public ::testing::Test {
protected:
    void SetUp() override { fake::reset(); }
};

#endif
