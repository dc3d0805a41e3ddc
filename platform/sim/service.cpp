// SPDX-License-Identifier: Apache-2.0
// The platform's service manager, for the one service it knows: "SESSION",
// played by dpservice.  The service runs when its datagram socket in the run
// directory takes a connection: a bound socket is proof of a live process
// (a stale file from a dead one refuses).
#include "platform/service.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dpsim.h"
#include "platform/wait.h"
#include "unix_fd.h"
#include "wait_state.h"

extern char **environ;

using dpsim::detail::Fd;

namespace {

constexpr uint32_t kFailed = 0x40010001u;
constexpr int kStartWaitMs = 5000;
constexpr int kPollMs = 20;

bool known_service(uint16_t node, const char *name) {
    return name != nullptr && std::strcmp(name, "SESSION") == 0 && dpsim::profile().node(node) != nullptr;
}

bool service_answers() {
    std::string dir;
    if (!dpsim::trusted_rundir(dir)) return false;
    const std::string path = dir + "/svc-" + std::to_string(dpsim::kSessionServicePort) + ".sock";
    // A socket of another user is not our service, whoever answers on it.
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0 || !S_ISSOCK(st.st_mode) || st.st_uid != ::geteuid()) return false;
    Fd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) return false;
    sockaddr_un addr{};
    socklen_t len = 0;
    if (!dpsim::detail::make_unix_addr(path, addr, len)) return false;
    return ::connect(fd.get(), reinterpret_cast<const sockaddr *>(&addr), len) == 0;
}

std::string service_binary() {
    const char *env = std::getenv("DPMGMT_SERVICE");
    if (env != nullptr && *env != '\0') return env;
    // Beside this library: where the install puts it, then where the build
    // tree has it.
    Dl_info self{};
    if (::dladdr(reinterpret_cast<const void *>(&service_binary), &self) != 0 && self.dli_fname != nullptr) {
        std::string dir(self.dli_fname);
        const std::size_t slash = dir.rfind('/');
        dir.erase(slash == std::string::npos ? 0 : slash + 1);
        for (const char *relative : {DPMGMT_SERVICE_FROM_LIBDIR, DPMGMT_SERVICE_FROM_BUILD_LIBDIR}) {
            const std::string path = dir + relative;
            if (::access(path.c_str(), X_OK) == 0) return path;
        }
    }
    return "dpservice";
}

void sleep_ms(int ms) {
    timespec ts{ms / 1000, static_cast<long>(ms % 1000) * 1000000L};
    while (::nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

void start_fault(const std::string &binary, int err, const std::string &line) {
    dpsim::detail::record_fault(PLAT_FAULT_START, err, 0, binary, line);
}

// Starts dpservice detached: it forks away once its sockets are bound.  Its
// standard input and output go to /dev/null, so that it keeps no pipe of
// its starter open; its complaints go to <rundir>/dpservice.log, a file of
// our own that is never reached through a link.
pid_t spawn_service(const std::string &dir, const std::string &binary) {
    const std::string pidfile = dir + "/dpservice.pid";
    const std::string log = dir + "/dpservice.log";
    struct stat st {};
    if (::lstat(log.c_str(), &st) == 0 && (!S_ISREG(st.st_mode) || st.st_uid != ::geteuid())) {
        dpsim::detail::record_fault(PLAT_FAULT_UNTRUSTED, EPERM, 0, log, log + " is not a file of our own");
        return -1;
    }
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) return -1;
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW, 0600);
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    // Its own session: the starter's terminal signals are not its business.
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSID);
    char *argv[] = {const_cast<char *>(binary.c_str()), const_cast<char *>("--daemon"),
                    const_cast<char *>("--pidfile"), const_cast<char *>(pidfile.c_str()), nullptr};
    pid_t pid = -1;
    const int rc = binary.find('/') != std::string::npos
                       ? posix_spawn(&pid, binary.c_str(), &actions, &attr, argv, environ)
                       : posix_spawnp(&pid, binary.c_str(), &actions, &attr, argv, environ);
    posix_spawnattr_destroy(&attr);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        start_fault(binary, rc, "cannot start " + binary + ": " + std::strerror(rc));
        return -1;
    }
    return pid;
}

}  // namespace

extern "C" {

PLAT_API uint32_t SERVICE_GetStatus(uint16_t node, const char *name, uint32_t reserved, uint32_t *status) {
    (void)reserved;
    if (status == nullptr || !known_service(node, name)) return kFailed;
    *status = service_answers() ? SERVICE_STATUS_RUNNING : 0;
    return 0;
}

PLAT_API uint32_t SERVICE_Start(uint16_t node, const char *name, uint32_t reserved1, uint32_t reserved2) {
    (void)reserved1;
    (void)reserved2;
    if (!known_service(node, name)) return kFailed;
    if (service_answers()) return 0;
    std::string dir;
    if (!dpsim::trusted_rundir(dir)) return kFailed;
    const std::string binary = service_binary();
    const pid_t pid = spawn_service(dir, binary);
    if (pid < 0) return kFailed;
    const std::string log = dir + "/dpservice.log";
    bool reaped = false;
    for (int waited = 0; waited <= kStartWaitMs; waited += kPollMs) {
        if (service_answers()) {
            // Collect the first process as it leaves (bounded: a service
            // that stays in the foreground is left to run).
            for (int grace = 0; !reaped && grace < 1000; grace += kPollMs) {
                if (::waitpid(pid, nullptr, WNOHANG) != 0) break;
                sleep_ms(kPollMs);
            }
            return 0;
        }
        if (!reaped) {
            int st = 0;
            const pid_t done = ::waitpid(pid, &st, WNOHANG);
            if (done == pid) {
                reaped = true;
                // The daemon's first process leaves once it has forked; a
                // failure status means it never got that far.
                if (!WIFEXITED(st) || WEXITSTATUS(st) != 0) {
                    const std::string how = WIFEXITED(st) ? "exited with status " + std::to_string(WEXITSTATUS(st))
                                                          : "was killed by signal " + std::to_string(WTERMSIG(st));
                    start_fault(binary, 0, binary + " " + how + " (see " + log + ")");
                    return kFailed;
                }
            }
        }
        sleep_ms(kPollMs);
    }
    start_fault(binary, ETIMEDOUT, binary + " did not answer within " + std::to_string(kStartWaitMs) + " ms (see " + log + ")");
    return kFailed;
}

}  // extern "C"
