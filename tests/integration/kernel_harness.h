// SPDX-License-Identifier: Apache-2.0
// Kernel-table tests: dumps walked through libdpplatform as the library
// walks them, the big-endian reads the records need, and the service's
// count of open dump cursors.
#ifndef DPTEST_KERNEL_HARNESS_H
#define DPTEST_KERNEL_HARNESS_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "kernel_wire.h"
#include "platform/dump.h"
#include "support/service_process.h"

namespace kerneltest {

constexpr uint32_t kContinue = 0x40010009u;
using dptest::Bytes;
using dptest::get_be16;
using dptest::get_be32;
using dptest::get_be64;
using dptest::operator+;

struct Pull {
    uint32_t rc;
    Bytes chunk;
};

// Opens a dump and pulls until a result other than the continuation code
// (at most maxPulls times) into a buffer of bufLen bytes, failing the test
// on any byte written past it; then terminates the dump.  Nothing when the
// dump does not open.
inline std::optional<std::vector<Pull>> walk(uint16_t node, uint32_t type, const Bytes &key, uint32_t bufLen,
                                             size_t maxPulls = 100000) {
    const uint32_t h = DUMP_Request(node, type, key.empty() ? nullptr : key.data(), static_cast<uint32_t>(key.size()));
    if (h == DUMP_INVALID_HANDLE) return std::nullopt;
    std::vector<Pull> pulls;
    Bytes buf(bufLen + 16, 0xEE);
    for (size_t i = 0; i < maxPulls; ++i) {
        uint32_t got = 0;
        const uint32_t rc = DUMP_Pull(h, bufLen, buf.data(), &got);
        EXPECT_LE(got, bufLen);
        EXPECT_EQ(buf[bufLen], 0xEE) << "written past the buffer, dump " << std::hex << type;
        pulls.push_back(Pull{rc, Bytes(buf.begin(), buf.begin() + std::min(got, bufLen))});
        if (rc != kContinue) break;
    }
    DUMP_Terminate(h);
    return pulls;
}

// Every record of a multi-record dump, checking the kernel's contract on
// each chunk: whole records only, the continuation code with each chunk and
// an empty one with the code that ends the walk.
inline Bytes records(uint16_t node, uint32_t type, const Bytes &key, uint32_t recSize, uint32_t bufLen,
                     std::vector<uint32_t> *chunks = nullptr) {
    const auto pulls = walk(node, type, key, bufLen);
    EXPECT_TRUE(pulls.has_value()) << "dump " << std::hex << type << " not served";
    Bytes out;
    for (const Pull &p : pulls.value_or(std::vector<Pull>{})) {
        if (p.rc != kContinue) {
            EXPECT_EQ(p.rc, 0u);
            EXPECT_TRUE(p.chunk.empty());
            break;
        }
        EXPECT_EQ(p.chunk.size() % recSize, 0u) << "partial record in dump " << std::hex << type;
        if (chunks != nullptr) chunks->push_back(static_cast<uint32_t>(p.chunk.size()));
        out.insert(out.end(), p.chunk.begin(), p.chunk.end());
    }
    return out;
}

inline size_t count(uint16_t node, uint32_t type, const Bytes &key, uint32_t recSize) {
    return records(node, type, key, recSize, 8000).size() / recSize;
}

// A single-record dump: the record, or nothing.
inline Bytes single(uint16_t node, uint32_t type, const Bytes &key, uint32_t size) {
    const auto pulls = walk(node, type, key, size, 1);
    return pulls ? pulls->front().chunk : Bytes{};
}

// The session dump key (88 bytes) selecting a family and protocol.
inline Bytes session_key(uint8_t family = 0, uint16_t protocol = 0) {
    return Bytes(64) + dptest::be16(protocol) + Bytes(14) + Bytes{family} + Bytes(7);
}

// The number of dump cursors the service holds; nothing when it cannot be
// asked.
inline std::optional<uint32_t> open_cursors(const std::string &rundir) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un addr = dptest::unix_address(rundir + "/kernel.sock");
    std::optional<uint32_t> n;
    uint32_t frame[3] = {dpsim::kOpCursorCount, 0, 0};
    const timeval tv{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) == 0 && ::send(fd, frame, 8, 0) == 8 &&
        ::recv(fd, frame, sizeof frame, MSG_WAITALL) == sizeof frame && frame[1] == 4)
        n = frame[2];
    ::close(fd);
    return n;
}

}  // namespace kerneltest

#endif
