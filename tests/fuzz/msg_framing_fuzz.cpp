// SPDX-License-Identifier: Apache-2.0
// The framing of the session service's replies: the check of a received
// message, the blocking and the patient receive, and the whole exchange,
// against a scripted socket.  Each outcome is compared with the framing
// rules themselves: a reply is accepted only when the count is positive and
// within the maximum, the message has a header, is not the error reply and
// its length field equals the count; then exactly its payload is copied and
// nothing else of the caller's buffer is touched.  On every other outcome
// the caller's buffer is untouched, and every socket opened is closed.
//
// Input: one byte choosing the operation, one byte of socket faults (bit 0:
// no socket, bit 1: connect refused, bit 2: send fails), a u16 reply
// maximum, then the receives: a byte of kind and its data.
#include <cerrno>
#include <cstring>
#include <vector>

#include "dpmgmt/channels.h"
#include "fuzz/fuzz_support.h"

namespace {

constexpr uint32_t kFailed = 0x40010001u;

uint32_t be32(const uint8_t *p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

// The message check on raw bytes.
void general_check(fuzz::Input &in) {
    const fake::Bytes msg = in.take(in.left());
    uint32_t type = 0xA5A5A5A5u, len = 0xA5A5A5A5u;
    void *payload = &type;
    const uint32_t rc = SESSION_MSG_GeneralCheck(msg.data(), static_cast<uint32_t>(msg.size()), &type, &len, &payload);
    const bool valid = msg.size() >= 8 && be32(msg.data()) != 0xFFFFFFFFu && be32(msg.data() + 4) == msg.size();
    fuzz::check((rc == 0) == valid);
    if (valid) {
        fuzz::check(type == be32(msg.data()) && len == msg.size() - 8 && payload == msg.data() + 8);
    } else {
        fuzz::check(rc == kFailed && type == 0xA5A5A5A5u && len == 0xA5A5A5A5u && payload == &type);
    }
}

// One scripted receive; datagrams go in with or without a true header.
fake::Recv receive(fuzz::Input &in) {
    static const int kErrors[] = {EAGAIN, EINTR, ECONNRESET, ETIMEDOUT};
    const uint8_t kind = in.byte() % 7;
    if (kind == 0) return {1, 0, in.body(fuzz::kMaxChunk)};
    if (kind == 1) {
        const uint32_t type = in.byte() & 1 ? 0xFFFFFFFFu : in.u32();
        return {1, 0, fake::datagram(type, in.body(fuzz::kMaxChunk))};
    }
    if (kind == 2) return {0, 0, {}};
    return {-1, kErrors[kind - 3], {}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1) return 0;
    fake::reset();
    fuzz::Input in(data, size);
    const uint8_t op = in.byte() % 5;
    if (op == 0) {
        general_check(in);
        return 0;
    }
    const uint8_t faults = in.byte();
    const uint32_t replyMax = in.u16() % (fuzz::kMaxChunk + 1);
    std::vector<fake::Recv> script;
    while (!in.empty() && script.size() < 24) script.push_back(receive(in));
    fake::SocketScript &sock = fake::sockets();
    sock.receives.assign(script.begin(), script.end());
    if (faults & 1) sock.socketResult = -1;
    if (faults & 2) sock.connectResult = -1;
    if (faults & 4) sock.sendResult = -1;

    // What the framing rules make of the script: the blocking receive takes
    // the first receive as it comes, the patient one waits past time-outs
    // and interruptions.  The socket cuts a datagram to the buffer.
    const bool patient = op == 2 || op == 4;
    const bool exchange = op >= 3;
    bool expectOk = !(exchange && (faults & 7));
    const fake::Recv *taken = nullptr;
    for (const fake::Recv &r : script) {
        if (patient && r.ret < 0 && (r.err == EAGAIN || r.err == EINTR)) continue;
        taken = &r;
        break;
    }
    size_t n = 0;
    if (taken == nullptr || taken->ret <= 0) {
        expectOk = false;
    } else {
        n = std::min<size_t>(taken->bytes.size(), size_t{replyMax} + 8);
        const uint8_t *m = taken->bytes.data();
        expectOk = expectOk && n >= 8 && be32(m) != 0xFFFFFFFFu && be32(m + 4) == n;
    }

    fuzz::Canary reply(replyMax);
    uint32_t rc;
    if (op == 1)
        rc = SESSION_MSG_RecvMsg(7, replyMax, reply.data());
    else if (op == 2)
        rc = SESSION_MSG_RecvMsg_DontWait(7, replyMax, reply.data());
    else if (op == 3)
        rc = SESSION_MSG_SendRecvMsg(3184, 9, 4, "abcd", replyMax, reply.data());
    else
        rc = SESSION_MSG_SendRecvMsg_DontWait(3184, 9, 4, "abcd", replyMax, reply.data());
    fuzz::check(rc == (expectOk ? 0u : kFailed));
    if (expectOk) {
        fuzz::check(std::memcmp(reply.data(), taken->bytes.data() + 8, n - 8) == 0);
        fuzz::check(reply.untouched(n - 8, replyMax + fuzz::Canary::kGuard));
    } else {
        fuzz::check(reply.untouched());
    }
    fuzz::check(fake::socket_log().opened == fake::socket_log().closed);
    return 0;
}
