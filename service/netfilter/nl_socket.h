// SPDX-License-Identifier: Apache-2.0
// One netfilter netlink socket (libmnl), owned: the connection-tracking
// requests of the netfilter data plane go through it.
#ifndef DPSVC_NF_NL_SOCKET_H
#define DPSVC_NF_NL_SOCKET_H

#include <libmnl/libmnl.h>

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace dpsvc::nf {

class NlSocket {
public:
    NlSocket() = default;
    ~NlSocket();
    NlSocket(const NlSocket &) = delete;
    NlSocket &operator=(const NlSocket &) = delete;

    // Opens and binds the socket; false with the reason in `error`.
    bool open(std::string &error);
    bool is_open() const { return nl_ != nullptr; }

    // Starts a request of the ctnetlink subsystem `subsys` (conntrack or
    // expectations), message `msg`, on `family` (AF_UNSPEC: both), with
    // `flags` beyond NLM_F_REQUEST.  `fill` may append attributes or a
    // whole object to the message.  False when the kernel cannot be told.
    bool request(uint8_t subsys, uint8_t msg, uint16_t flags, uint8_t family,
                 const std::function<void(nlmsghdr *)> &fill = {});

    // Reads one datagram of the answer and runs `cb` on each message in
    // it.  Returns MNL_CB_OK while more follows, MNL_CB_STOP once the
    // answer is complete, MNL_CB_ERROR on a failure (errno tells which).
    int receive(mnl_cb_t cb, void *data);

    // Sends `request`'s answer through to the end, running cb on each
    // message: true when it ended normally.
    bool finish(mnl_cb_t cb, void *data);

    // Sends the messages already laid out in `batch` (a run of whole
    // netlink messages) without waiting, then reads away whatever the
    // kernel answered so far.  Used for deletions, whose answers are only
    // errors for entries that went away meanwhile.
    bool send_batch(std::span<const uint8_t> batch);
    void drain();

    uint32_t next_seq() { return ++seq_; }

private:
    mnl_socket *nl_ = nullptr;
    uint32_t portid_ = 0;
    uint32_t seq_ = 0;
    uint32_t lastSeq_ = 0;
    std::vector<uint8_t> buf_;
};

}  // namespace dpsvc::nf

#endif
