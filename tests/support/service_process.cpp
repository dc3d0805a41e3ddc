// SPDX-License-Identifier: Apache-2.0
// Integration-test support: service child, command-line runs, stdout
// capture and raw session-service exchanges.
#include "support/service_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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

using Clock = std::chrono::steady_clock;

constexpr uint32_t kProbeType = 0xFFFFFFFEu;  // no such message: any answer proves the service is up
constexpr auto kStartLimit = std::chrono::seconds(10);
constexpr auto kStopLimit = std::chrono::seconds(10);

[[noreturn]] void fail(const std::string &what) { throw std::runtime_error(what + ": " + std::strerror(errno)); }

std::vector<char *> make_argv(const std::string &path, const std::vector<std::string> &args) {
    std::vector<char *> argv;
    argv.push_back(const_cast<char *>(path.c_str()));
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    return argv;
}

// Waits for the child up to `limit`, polling; true once reaped.
bool wait_child(pid_t pid, Clock::duration limit, int &status) {
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const pid_t r = ::waitpid(pid, &status, WNOHANG);
        if (r == pid || (r < 0 && errno == ECHILD)) return true;
        if (Clock::now() >= deadline) return false;
        ::poll(nullptr, 0, 10);
    }
}

int decode_status(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

}  // namespace

// ------------------------------------------------------- ServiceProcess ----

ServiceProcess::ServiceProcess(std::vector<std::string> args) {
    if (dir_.path().empty()) fail("mkdtemp");
    try {
        start(args);
    } catch (...) {
        stop();
        throw;
    }
}

ServiceProcess::~ServiceProcess() { stop(); }

void ServiceProcess::start(const std::vector<std::string> &args) {
    const std::string path = DPSERVICE_PATH;
    std::vector<char *> argv = make_argv(path, args);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0) fail("fork");
    if (child == 0) {
        // Never outlive a test binary that dies.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(127);
        ::execv(path.c_str(), argv.data());
        ::_exit(127);
    }
    pid_ = child;

    SvcClient probe(dir_.path());
    const auto deadline = Clock::now() + kStartLimit;
    while (Clock::now() < deadline) {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            throw std::runtime_error("dpservice exited at start with status " + std::to_string(decode_status(status)));
        }
        if (probe.exchange(kProbeType, {}, 50)) return;
        ::poll(nullptr, 0, 10);  // the socket is not bound yet: look again shortly
    }
    throw std::runtime_error("dpservice did not answer within 10 s in " + dir_.path());
}

void ServiceProcess::kill9() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    int status = 0;
    wait_child(pid_, kStopLimit, status);
    pid_ = -1;
}

int ServiceProcess::stop() {
    if (pid_ <= 0) return -1;
    int status = 0;
    ::kill(pid_, SIGTERM);
    if (!wait_child(pid_, kStopLimit, status)) {
        ::kill(pid_, SIGKILL);
        wait_child(pid_, kStopLimit, status);
    }
    pid_ = -1;
    return status;
}

void ServiceProcess::restart(std::vector<std::string> args) {
    stop();
    start(args);
}

// ------------------------------------------------------------- programs ----

namespace {

std::string read_back(std::FILE *f) {
    std::string out;
    std::rewind(f);
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
    std::fclose(f);
    return out;
}

}  // namespace

// The outputs go to files rather than pipes, so a child that writes a lot
// never blocks on a parent that is only waiting for it.
CliResult run_program(const std::string &path, const std::vector<std::string> &args, int timeoutSec) {
    std::FILE *out = std::tmpfile();
    std::FILE *err = std::tmpfile();
    if (out == nullptr || err == nullptr) fail("tmpfile");
    std::vector<char *> argv = make_argv(path, args);
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) fail("fork");
    if (child == 0) {
        const int devnull = ::open("/dev/null", O_RDONLY);
        if (devnull >= 0) ::dup2(devnull, 0);
        ::dup2(::fileno(out), 1);
        ::dup2(::fileno(err), 2);
        ::execv(path.c_str(), argv.data());
        ::_exit(127);
    }
    CliResult result;
    int status = 0;
    if (!wait_child(child, std::chrono::seconds(timeoutSec), status)) {
        result.timedOut = true;
        ::kill(child, SIGKILL);
        wait_child(child, kStopLimit, status);
    }
    result.status = decode_status(status);
    result.out = read_back(out);
    result.err = read_back(err);
    return result;
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
    std::fflush(stdout);
    std::FILE *tmp = std::tmpfile();
    if (tmp == nullptr) fail("tmpfile");
    const int saved = ::dup(1);
    if (saved < 0 || ::dup2(::fileno(tmp), 1) < 0) {
        std::fclose(tmp);
        fail("dup");
    }
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
    return read_back(tmp);
}

// ------------------------------------------------------------ SvcClient ----

Bytes be16(uint16_t v) { return {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)}; }
Bytes be32(uint32_t v) { return be16(static_cast<uint16_t>(v >> 16)) + be16(static_cast<uint16_t>(v)); }

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

uint16_t get_be16(const Bytes &b, size_t off) { return static_cast<uint16_t>(b.at(off) << 8 | b.at(off + 1)); }
uint32_t get_be32(const Bytes &b, size_t off) {
    return static_cast<uint32_t>(get_be16(b, off)) << 16 | get_be16(b, off + 2);
}
uint64_t get_be64(const Bytes &b, size_t off) {
    return static_cast<uint64_t>(get_be32(b, off)) << 32 | get_be32(b, off + 4);
}

const Bytes &error_reply() {
    static const Bytes reply = {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 8};
    return reply;
}

SvcClient::SvcClient(const std::string &rundir) : path_(rundir + "/svc-3184.sock") {
    fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0) fail("socket");
    sockaddr_un self{};
    self.sun_family = AF_UNIX;
    if (::bind(fd_, reinterpret_cast<sockaddr *>(&self), sizeof(sa_family_t)) != 0) {  // autobind
        ::close(fd_);
        fail("bind");
    }
    int big = 1 << 20;
    ::setsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &big, sizeof big);
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &big, sizeof big);
}

SvcClient::~SvcClient() { ::close(fd_); }

bool SvcClient::send_raw(const Bytes &datagram) {
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    std::strncpy(to.sun_path, path_.c_str(), sizeof to.sun_path - 1);
    return ::sendto(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to) ==
           static_cast<ssize_t>(datagram.size());
}

std::optional<Bytes> SvcClient::receive(int timeoutMs) {
    pollfd p{fd_, POLLIN, 0};
    if (::poll(&p, 1, timeoutMs) <= 0) return std::nullopt;
    Bytes buf(128 * 1024);
    const ssize_t n = ::recv(fd_, buf.data(), buf.size(), MSG_DONTWAIT);
    if (n < 0) return std::nullopt;
    buf.resize(static_cast<size_t>(n));
    return buf;
}

std::optional<Bytes> SvcClient::exchange(uint32_t type, const Bytes &payload, int timeoutMs) {
    if (!send_raw(be32(type) + be32(static_cast<uint32_t>(8 + payload.size())) + payload)) return std::nullopt;
    return receive(timeoutMs);
}

std::optional<uint32_t> SvcClient::command(uint32_t type, const Bytes &payload) {
    const auto reply = exchange(type, payload);
    if (!reply || reply->size() != 12 || get_be32(*reply, 0) != type || get_be32(*reply, 4) != 12) return std::nullopt;
    return get_be32(*reply, 8);
}

}  // namespace dptest
