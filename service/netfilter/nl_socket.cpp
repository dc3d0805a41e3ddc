// SPDX-License-Identifier: Apache-2.0
#include "nl_socket.h"

#include <linux/netfilter/nfnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <ctime>
#include <cstring>

namespace dpsvc::nf {

namespace {

// A dump datagram the kernel fills as the reader's buffer allows.
constexpr size_t kReceiveBuffer = 64 * 1024;
// A kernel that stops answering is given up on after this long.
constexpr time_t kReceiveTimeoutSeconds = 10;

}  // namespace

NlSocket::~NlSocket() {
    if (nl_ != nullptr) mnl_socket_close(nl_);
}

bool NlSocket::open(std::string &error) {
    nl_ = mnl_socket_open(NETLINK_NETFILTER);
    if (nl_ == nullptr) {
        error = std::string("netlink socket: ") + std::strerror(errno);
        return false;
    }
    if (mnl_socket_bind(nl_, 0, MNL_SOCKET_AUTOPID) < 0) {
        error = std::string("netlink bind: ") + std::strerror(errno);
        mnl_socket_close(nl_);
        nl_ = nullptr;
        return false;
    }
    const timeval tv{kReceiveTimeoutSeconds, 0};
    ::setsockopt(mnl_socket_get_fd(nl_), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    portid_ = mnl_socket_get_portid(nl_);
    seq_ = static_cast<uint32_t>(::time(nullptr));
    buf_.resize(kReceiveBuffer);
    return true;
}

bool NlSocket::request(uint8_t subsys, uint8_t msg, uint16_t flags, uint8_t family,
                       const std::function<void(nlmsghdr *)> &fill) {
    if (nl_ == nullptr) return false;
    nlmsghdr *nlh = mnl_nlmsg_put_header(buf_.data());
    nlh->nlmsg_type = static_cast<uint16_t>(subsys << 8 | msg);
    nlh->nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    nlh->nlmsg_seq = lastSeq_ = next_seq();
    auto *nfh = static_cast<nfgenmsg *>(mnl_nlmsg_put_extra_header(nlh, sizeof(nfgenmsg)));
    nfh->nfgen_family = family;
    nfh->version = NFNETLINK_V0;
    nfh->res_id = 0;
    if (fill) fill(nlh);
    return mnl_socket_sendto(nl_, nlh, nlh->nlmsg_len) >= 0;
}

int NlSocket::receive(mnl_cb_t cb, void *data) {
    const ssize_t n = mnl_socket_recvfrom(nl_, buf_.data(), buf_.size());
    if (n <= 0) return MNL_CB_ERROR;
    return mnl_cb_run(buf_.data(), static_cast<size_t>(n), lastSeq_, portid_, cb, data);
}

bool NlSocket::finish(mnl_cb_t cb, void *data) {
    int rc;
    do rc = receive(cb, data);
    while (rc == MNL_CB_OK);
    return rc == MNL_CB_STOP;
}

bool NlSocket::send_batch(std::span<const uint8_t> batch) {
    if (nl_ == nullptr) return false;
    const bool sent = mnl_socket_sendto(nl_, batch.data(), batch.size()) >= 0;
    drain();
    return sent;
}

void NlSocket::drain() {
    while (::recv(mnl_socket_get_fd(nl_), buf_.data(), buf_.size(), MSG_DONTWAIT) > 0) {
    }
}

}  // namespace dpsvc::nf
