// SPDX-License-Identifier: Apache-2.0
// The session service message client: one datagram out, one datagram back,
// on a socket of its own that never outlives the exchange.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "channels/heap_buffer.h"
#include "channels/wire.h"
#include "dpmgmt/channels.h"
#include "platform/socket.h"

using namespace dpmgmt;

namespace {

constexpr uint8_t kAddrRecordSelector = 128;  // bytes 4-5 of the address record, host order

// The socket of one exchange, closed on every path.
class ServiceSocket {
public:
    explicit ServiceSocket(uint16_t port) : fd_(SESSION_MSG_Connect2Server(port)) {}
    ~ServiceSocket() {
        if (fd_ != -1) SESSION_MSG_Disconnect2Server(fd_);
    }
    ServiceSocket(const ServiceSocket &) = delete;
    ServiceSocket &operator=(const ServiceSocket &) = delete;
    bool ok() const { return fd_ != -1; }
    int32_t fd() const { return fd_; }

private:
    int32_t fd_;
};

// reply maximum + 8, or 0 when that does not fit in 32 bits.
uint32_t receive_size(uint32_t replyMax) {
    return replyMax > UINT32_MAX - SESSION_MSG_HEADER_SIZE ? 0 : replyMax + SESSION_MSG_HEADER_SIZE;
}

// Validates n received bytes and copies the payload to the caller.
uint32_t accept_reply(const uint8_t *msg, uint32_t n, void *reply) {
    uint32_t type = 0;
    uint32_t payloadLen = 0;
    void *payload = nullptr;
    if (SESSION_MSG_GeneralCheck(msg, n, &type, &payloadLen, &payload) != DPMGMT_OK) return DPMGMT_ERR_FAILED;
    if (payloadLen != 0) std::memcpy(reply, payload, payloadLen);
    return DPMGMT_OK;
}

using Receiver = uint32_t (*)(int32_t, uint32_t, void *);

uint32_t exchange(uint16_t port, uint32_t type, uint32_t reqLen, const void *req, uint32_t replyMax, void *reply,
                  Receiver receive) {
    const ServiceSocket socket(port);
    if (!socket.ok()) return DPMGMT_ERR_FAILED;
    const uint32_t rc = SESSION_MSG_SendMsg(socket.fd(), type, reqLen, req);
    if (rc != DPMGMT_OK) return rc;
    return receive(socket.fd(), replyMax, reply);
}

}  // namespace

extern "C" {

DPMGMT_API int32_t SESSION_MSG_Connect2Server(uint16_t port) {
    const int fd = SOCK_Socket(SESSION_MSG_AF, PLAT_SOCK_DGRAM, SESSION_MSG_PROTOCOL);
    if (fd < 0) return -1;
    uint8_t addr[PLAT_SOCKADDR_SIZE] = {};
    addr[0] = PLAT_SOCKADDR_SIZE;
    addr[1] = SESSION_MSG_AF;
    store_be16(addr + 2, port);
    store16(addr + 4, kAddrRecordSelector);
    if (SOCK_Connect(fd, addr, sizeof addr) < 0) {
        SOCK_Close(fd);
        return -1;
    }
    return fd;
}

DPMGMT_API int32_t SESSION_MSG_Disconnect2Server(int32_t fd) { return SOCK_Close(fd); }

DPMGMT_API void *_msg_CreateMsg(uint32_t type, uint32_t payloadLen, const void *payload, uint32_t *totalLen) {
    if (payloadLen > UINT32_MAX - SESSION_MSG_HEADER_SIZE) return nullptr;
    if (payloadLen != 0 && payload == nullptr) return nullptr;
    const uint32_t total = payloadLen + SESSION_MSG_HEADER_SIZE;
    auto *msg = static_cast<uint8_t *>(std::calloc(total, 1));
    if (msg == nullptr) return nullptr;
    store_be32(msg, type);
    store_be32(msg + 4, total);
    if (payloadLen != 0) std::memcpy(msg + SESSION_MSG_HEADER_SIZE, payload, payloadLen);
    if (totalLen != nullptr) *totalLen = total;
    return msg;
}

DPMGMT_API void _msg_DestroyMsg(void *msg) { std::free(msg); }

DPMGMT_API uint32_t SESSION_MSG_GeneralCheck(const void *msg, uint32_t recvLen, uint32_t *type,
                                             uint32_t *payloadLen, void **payload) {
    if (msg == nullptr || recvLen < SESSION_MSG_HEADER_SIZE) return DPMGMT_ERR_FAILED;
    const auto *bytes = static_cast<const uint8_t *>(msg);
    const uint32_t msgType = load_be32(bytes);
    if (msgType == SESSION_MSG_ERROR_TYPE) return DPMGMT_ERR_FAILED;
    if (load_be32(bytes + 4) != recvLen) return DPMGMT_ERR_FAILED;
    if (type != nullptr) *type = msgType;
    if (payloadLen != nullptr) *payloadLen = recvLen - SESSION_MSG_HEADER_SIZE;
    if (payload != nullptr) *payload = const_cast<uint8_t *>(bytes + SESSION_MSG_HEADER_SIZE);
    return DPMGMT_OK;
}

DPMGMT_API uint32_t SESSION_MSG_SendMsg(int32_t fd, uint32_t type, uint32_t payloadLen, const void *payload) {
    uint32_t total = 0;
    const MallocPtr<uint8_t> msg(static_cast<uint8_t *>(_msg_CreateMsg(type, payloadLen, payload, &total)));
    if (msg.get() == nullptr) return DPMGMT_ERR_FAILED;
    // A short count is the transport's business: only an error fails.
    return SOCK_Send(fd, msg.get(), total, 0) == -1 ? DPMGMT_ERR_FAILED : DPMGMT_OK;
}

DPMGMT_API uint32_t SESSION_MSG_ErrorMsgReply(int32_t fd) {
    return SESSION_MSG_SendMsg(fd, SESSION_MSG_ERROR_TYPE, 0, nullptr);
}

DPMGMT_API uint32_t SESSION_MSG_RecvMsg(int32_t fd, uint32_t replyMax, void *reply) {
    const uint32_t size = receive_size(replyMax);
    if (size == 0) return DPMGMT_ERR_FAILED;
    const HeapBuffer buf(size);
    if (!buf.ok()) return DPMGMT_ERR_FAILED;
    const long n = SOCK_Recv(fd, buf.data(), size, 0);
    if (n <= 0 || static_cast<unsigned long>(n) > size) return DPMGMT_ERR_FAILED;
    return accept_reply(buf.data(), static_cast<uint32_t>(n), reply);
}

DPMGMT_API uint32_t SESSION_MSG_RecvMsg_DontWait(int32_t fd, uint32_t replyMax, void *reply) {
    const uint32_t size = receive_size(replyMax);
    if (size == 0) return DPMGMT_ERR_FAILED;
    const HeapBuffer buf(size);
    if (!buf.ok()) return DPMGMT_ERR_FAILED;

    struct {
        int64_t seconds;
        int64_t microseconds;
    } timeout = {1, 0};
    static_assert(sizeof timeout == 16);
    if (SOCK_SetSockOpt(fd, PLAT_SOL_SOCKET, PLAT_SO_RCVTIMEO, &timeout, sizeof timeout) != 0)
        return DPMGMT_ERR_FAILED;

    bool progress = false;
    uint32_t rc = DPMGMT_ERR_FAILED;
    for (;;) {
        const long n = SOCK_Recv(fd, buf.data(), size, 0);
        if (n > 0 && static_cast<unsigned long>(n) <= size) {
            rc = accept_reply(buf.data(), static_cast<uint32_t>(n), reply);
            break;
        }
        if (n >= 0) break;  // an empty datagram
        if (errno != EAGAIN && errno != EINTR) break;
        // The service is still working: show that we wait for it.
        if (!progress) {
            std::fputs("Resetting session", stdout);
            progress = true;
        }
        std::putchar('.');
        std::fflush(stdout);
    }
    if (progress) std::puts("Done.\r");
    return rc;
}

DPMGMT_API uint32_t SESSION_MSG_SendRecvMsg(uint16_t port, uint32_t type, uint32_t reqLen, const void *req,
                                            uint32_t replyMax, void *reply) {
    return exchange(port, type, reqLen, req, replyMax, reply, SESSION_MSG_RecvMsg);
}

DPMGMT_API uint32_t SESSION_MSG_SendRecvMsg_DontWait(uint16_t port, uint32_t type, uint32_t reqLen,
                                                     const void *req, uint32_t replyMax, void *reply) {
    return exchange(port, type, reqLen, req, replyMax, reply, SESSION_MSG_RecvMsg_DontWait);
}

}  // extern "C"
