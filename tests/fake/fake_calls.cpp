// SPDX-License-Identifier: Apache-2.0
// The platform calls of the fake: dumps, control calls, sockets, topology,
// names, services, resource strings and help.
#include <cerrno>
#include <cstring>

#include "fake/fake_state.h"

using namespace fake;

extern "C" {

// ---------------------------------------------------------------- dumps --
uint32_t DUMP_Request(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen) {
    record("DUMP_Request", {node, dumpType, keyLen}, key, key ? keyLen : 0);
    State &s = state();
    if (s.failedDumps.count(dumpType) || s.failedNodeDumps.count({dumpType, node})) return DUMP_INVALID_HANDLE;
    std::deque<Pull> pulls;
    auto it = s.dumpScripts.find(dumpType);
    if (it != s.dumpScripts.end() && !it->second.empty()) {
        pulls = std::move(it->second.front());
        it->second.erase(it->second.begin());
    }
    const uint32_t handle = s.nextHandle++;
    s.openDumps[handle] = std::move(pulls);
    return handle;
}

uint32_t DUMP_Pull(uint32_t handle, uint32_t bufLen, void *buf, uint32_t *delivered) {
    record("DUMP_Pull", {handle, bufLen});
    auto it = state().openDumps.find(handle);
    if (it == state().openDumps.end()) {
        ADD_FAILURE() << "pull of a handle that is not open: " << handle;
        return 0x40010001u;
    }
    if (it->second.empty()) {
        *delivered = 0;
        return 0;
    }
    Pull p = std::move(it->second.front());
    it->second.pop_front();
    const size_t n = p.bytes.size() < bufLen ? p.bytes.size() : bufLen;
    if (n) std::memcpy(buf, p.bytes.data(), n);
    *delivered = static_cast<uint32_t>(n) + (n ? state().overstate : 0);
    return p.result;
}

void DUMP_Terminate(uint32_t handle) {
    record("DUMP_Terminate", {handle});
    if (state().openDumps.erase(handle) == 0) ADD_FAILURE() << "terminate of a handle that is not open: " << handle;
}

uint32_t CIOCTL(uint16_t node, uint32_t cmd, uint32_t reqLen, const void *req, uint32_t replyCap, void *reply,
                uint32_t *replyLen) {
    record("CIOCTL", {node, cmd, reqLen, replyCap}, req, req ? reqLen : 0);
    auto it = state().controls.find(cmd);
    if (it == state().controls.end() || it->second.empty()) return 0x40010001u;
    Control c = std::move(it->second.front());
    it->second.pop_front();
    const size_t n = c.reply.size() < replyCap ? c.reply.size() : replyCap;
    if (n && reply) std::memcpy(reply, c.reply.data(), n);
    if (replyLen) *replyLen = static_cast<uint32_t>(n);
    return c.result;
}

uint32_t CIOCTL_Async(uint16_t node, uint32_t cmd, uint32_t reqLen, const void *req) {
    record("CIOCTL_Async", {node, cmd, reqLen}, req, req ? reqLen : 0);
    return 0;
}

// --------------------------------------------------------------- sockets --
int SOCK_Socket(int domain, int type, int protocol) {
    record("SOCK_Socket",
           {static_cast<uint64_t>(domain), static_cast<uint64_t>(type), static_cast<uint64_t>(protocol)});
    if (state().sockets.socketResult >= 0) state().socketLog.opened++;
    return state().sockets.socketResult;
}

int SOCK_Connect(int fd, const void *addr, uint32_t addrLen) {
    state().socketLog.addresses.push_back(
        record("SOCK_Connect", {static_cast<uint64_t>(fd), addrLen}, addr, addrLen).bytes);
    if (state().sockets.connectResult != 0) errno = ECONNREFUSED;
    return state().sockets.connectResult;
}

long SOCK_Send(int fd, const void *buf, size_t len, int flags) {
    const Call &c = record("SOCK_Send", {static_cast<uint64_t>(fd), len, static_cast<uint64_t>(flags)}, buf, len);
    state().socketLog.sent.push_back(c.bytes);
    const long r = state().sockets.sendResult;
    if (r == -1) errno = EPIPE;
    return r == -2 ? static_cast<long>(len) : r;
}

long SOCK_Recv(int fd, void *buf, size_t len, int flags) {
    record("SOCK_Recv", {static_cast<uint64_t>(fd), len, static_cast<uint64_t>(flags)});
    auto &q = state().sockets.receives;
    if (q.empty()) {
        errno = ECONNREFUSED;
        return -1;
    }
    Recv r = std::move(q.front());
    q.pop_front();
    if (r.ret < 0) {
        errno = r.err;
        return -1;
    }
    if (r.ret == 0) return 0;
    // A datagram longer than the buffer is cut, as the kernel cuts it.
    const size_t n = r.bytes.size() < len ? r.bytes.size() : len;
    if (n) std::memcpy(buf, r.bytes.data(), n);
    return static_cast<long>(n);
}

int SOCK_SetSockOpt(int fd, int level, int option, const void *value, uint32_t len) {
    record("SOCK_SetSockOpt",
           {static_cast<uint64_t>(fd), static_cast<uint64_t>(level), static_cast<uint64_t>(option), len}, value, len);
    return state().sockets.setOptResult;
}

int SOCK_Close(int fd) {
    record("SOCK_Close", {static_cast<uint64_t>(fd)});
    state().socketLog.closed++;
    return 0;
}

// ------------------------------------- topology, interfaces, names, services --
#define FAKE_UNPACK(...) __VA_ARGS__
#define FAKE_CALL(Ret, name, params, recArgs, text, hookArgs, ...)  \
    Ret name params {                                               \
        record(#name, {FAKE_UNPACK recArgs}, nullptr, 0, text);     \
        if (state().hooks.name) return state().hooks.name hookArgs; \
        __VA_ARGS__                                                 \
    }
FAKE_HOOKED_CALLS(FAKE_CALL)

uint32_t CLI_NewHelpInfo(const char *keyword, const char *help, void *helpContext) {
    record("CLI_NewHelpInfo", {reinterpret_cast<uint64_t>(helpContext)}, help, help ? std::strlen(help) : 0, keyword);
    return 0;
}

}  // extern "C"
