// SPDX-License-Identifier: Apache-2.0
// Integration-test support: service child, command-line runs, stdout
// capture and raw session-service exchanges.
#include "support/service_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <regex>
#include <stdexcept>

#ifndef DPSERVICE_PATH
#error "DPSERVICE_PATH must name the dpservice binary"
#endif
#ifndef DPMGMT_CLI_PATH
#error "DPMGMT_CLI_PATH must name the dpmgmt binary"
#endif

namespace dptest {

namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

// ------------------------------------------------------- ServiceProcess ----

void ServiceProcess::start(const std::vector<std::string> &args) {
    if (dir_.path().empty()) fail("mkdtemp");
    child_.emplace([&](int) {
        std::vector<char *> argv{const_cast<char *>(DPSERVICE_PATH)};
        for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        ::execv(DPSERVICE_PATH, argv.data());
        return 127;
    });
    // No such message: any answer proves the service is up.
    if (wait_until([&] {
            return child_->wait_exit(std::chrono::milliseconds(0)) != -1 || svc_exchange(dir_.path(), ~1u, {}, 50);
        }) &&
        child_->pid() > 0)
        return;
    const bool exited = child_->pid() <= 0;
    child_.reset();
    throw std::runtime_error(exited ? "dpservice exited at start" : "dpservice did not answer within 10 s");
}

int ServiceProcess::stop() {
    const int code = child_ ? child_->stop() : -1;
    child_.reset();
    return code;
}

CliResult run_cli(std::vector<std::string> args, int timeoutSec) {
    return run_program(DPMGMT_CLI_PATH, args, timeoutSec);
}

std::optional<unsigned long> number_after(const std::string &text, const std::string &pattern) {
    std::smatch m;
    if (!std::regex_search(text, m, std::regex(pattern))) return std::nullopt;
    return std::stoul(m[1].str());
}

std::string capture_stdout(std::function<void()> fn) {
    TempDir dir;
    const std::string path = dir.path() + "/stdout";
    std::fflush(stdout);
    const int saved = ::dup(1), file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (saved < 0 || file < 0 || ::dup2(file, 1) < 0) fail("capture " + path);
    ::close(file);
    struct Restore {
        int saved;
        ~Restore() {
            std::fflush(stdout);
            ::dup2(saved, 1);
            ::close(saved);
        }
    };
    {
        Restore restore{saved};
        fn();
    }
    return read_text(path);
}

std::optional<Bytes> svc_exchange(const std::string &rundir, uint32_t type, const Bytes &payload, int timeoutMs) {
    const Bytes datagram = be32(type) + be32(static_cast<uint32_t>(8 + payload.size())) + payload;
    const sockaddr_un self{AF_UNIX, {}}, to = unix_address(rundir + "/svc-3184.sock");
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    pollfd p{fd, POLLIN, 0};
    Bytes buf(128 * 1024);
    ssize_t n = -1;
    // Autobound, so that the service can answer.
    if (::bind(fd, reinterpret_cast<const sockaddr *>(&self), sizeof(sa_family_t)) == 0 &&
        ::sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof to) ==
            static_cast<ssize_t>(datagram.size()) &&
        ::poll(&p, 1, timeoutMs) > 0)
        n = ::recv(fd, buf.data(), buf.size(), MSG_DONTWAIT);
    ::close(fd);
    if (n < 0) return std::nullopt;
    buf.resize(static_cast<size_t>(n));
    return buf;
}

}  // namespace dptest
