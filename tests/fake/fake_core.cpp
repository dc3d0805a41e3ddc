// SPDX-License-Identifier: Apache-2.0
// Recording, scripting, stdout capture and small helpers of the fake platform.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "fake/fake_state.h"

namespace fake {

State &state() {
    static State s;
    return s;
}

std::vector<Call> &calls() {
    return state().calls;
}

size_t count(std::string_view name) {
    return std::count_if(state().calls.begin(), state().calls.end(), [&](const Call &c) { return c.name == name; });
}

const Call &nth(std::string_view name, size_t n) {
    size_t seen = 0;
    for (const Call &c : state().calls)
        if (c.name == name && seen++ == n) return c;
    ADD_FAILURE() << "no call " << n << " of " << name;
    static const Call none{};
    return none;
}

const Call &last(std::string_view name) {
    for (auto it = state().calls.rbegin(); it != state().calls.rend(); ++it)
        if (it->name == name) return *it;
    ADD_FAILURE() << "no call of " << name;
    static const Call none{};
    return none;
}

std::vector<std::string> call_names(std::string_view prefix) {
    std::vector<std::string> names;
    for (const Call &c : state().calls)
        if (c.name.compare(0, prefix.size(), prefix) == 0) names.push_back(c.name);
    return names;
}

Call &record(const char *name, std::initializer_list<uint64_t> args, const void *bytes, size_t len, const char *text) {
    const auto *b = static_cast<const uint8_t *>(bytes);
    state().calls.push_back({name, args, b != nullptr ? Bytes(b, b + len) : Bytes(), text != nullptr ? text : ""});
    return state().calls.back();
}

void script_dump(uint32_t dumpType, std::vector<Pull> pulls) {
    state().dumpScripts[dumpType].push_back(std::deque<Pull>(pulls.begin(), pulls.end()));
}
void fail_dump(uint32_t dumpType) {
    state().failedDumps.insert(dumpType);
}
void fail_dump_on(uint32_t dumpType, uint16_t node) {
    state().failedNodeDumps.insert({dumpType, node});
}
int open_dumps() {
    return static_cast<int>(state().openDumps.size());
}
Pull chunk(const Bytes &bytes) {
    return Pull{0x40010009u, bytes};
}
void overstate_pulls(uint32_t extra) {
    state().overstate = extra;
}

void script_control(uint32_t command, Control answer) {
    state().controls[command].push_back(std::move(answer));
}

SocketScript &sockets() {
    return state().sockets;
}
SocketLog &socket_log() {
    return state().socketLog;
}

Bytes datagram(uint32_t type, const Bytes &payload) {
    return cat({be32(type), be32(static_cast<uint32_t>(payload.size() + 8)), payload});
}

void reply(uint32_t type, const Bytes &payload) {
    state().sockets.receives.push_back({1, 0, datagram(type, payload)});
}
void fail_recv(int err) {
    state().sockets.receives.push_back({-1, err, {}});
}
std::string sent(size_t i) {
    const auto &log = state().socketLog.sent;
    return i < log.size() ? hex(log[i]) : "<nothing sent>";
}

Hooks &hooks() {
    return state().hooks;
}

void reset() {
    for (auto &it : state().iterators) delete it;
    state().~State();
    new (&state()) State();
}

Bytes be16(uint16_t v) {
    return {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
}
Bytes be32(uint32_t v) {
    return {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8),
            static_cast<uint8_t>(v)};
}
Bytes be64(uint64_t v) {
    return cat({be32(static_cast<uint32_t>(v >> 32)), be32(static_cast<uint32_t>(v))});
}
Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}
std::string hex(const void *p, size_t n) {
    std::string s;
    char byte[4];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(byte, sizeof byte, i != 0 ? " %02x" : "%02x", static_cast<const uint8_t *>(p)[i]);
        s += byte;
    }
    return s;
}
std::string hex(const Bytes &b) {
    return hex(b.data(), b.size());
}

CaptureStdout::CaptureStdout() {
    std::fflush(stdout);
    file_ = memfd_create("fake-stdout", MFD_CLOEXEC);
    if (file_ < 0) return;
    saved_ = dup(STDOUT_FILENO);
    dup2(file_, STDOUT_FILENO);
}

std::string CaptureStdout::take() {
    if (saved_ >= 0) {
        std::fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        saved_ = -1;
        lseek(file_, 0, SEEK_SET);
        char buf[65536];
        ssize_t n;
        while ((n = read(file_, buf, sizeof buf)) > 0) taken_.append(buf, static_cast<size_t>(n));
        close(file_);
        file_ = -1;
    }
    return taken_;
}

CaptureStdout::~CaptureStdout() {
    take();
}

}  // namespace fake
