// SPDX-License-Identifier: Apache-2.0
// Where the stand-in runtime keeps its sockets and databases, and whether
// those directories can be trusted.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "dpsim.h"
#include "platform/wait.h"
#include "wait_state.h"

namespace {

std::string env_dir(const char *name) {
    const char *value = std::getenv(name);
    if (value == nullptr || *value == '\0') return {};
    std::string dir(value);
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    return dir;
}

bool private_dir_of(const struct stat &st, uid_t uid) {
    return S_ISDIR(st.st_mode) && st.st_uid == uid && (st.st_mode & 077) == 0;
}

// The platform's conventions: the user's runtime directory where it is set
// (and is what it should be: the user's own, private), /run for root, and a
// per-user name in /tmp otherwise.
std::string pick_default_rundir(const std::string &xdg) {
    const uid_t uid = ::geteuid();
    struct stat st {};
    if (!xdg.empty() && xdg.front() == '/' && ::stat(xdg.c_str(), &st) == 0 && private_dir_of(st, uid))
        return xdg + "/dpmgmt";
    if (uid == 0) return "/run/dpmgmt";
    return "/tmp/dpmgmt-" + std::to_string(uid);
}

// Decided once for each value of $XDG_RUNTIME_DIR: every exchange asks.
std::string default_rundir() {
    static std::mutex lock;
    static bool decided = false;
    static std::string forXdg;
    static std::string dir;
    std::string xdg = env_dir("XDG_RUNTIME_DIR");
    std::lock_guard guard(lock);
    if (!decided || xdg != forXdg) {
        dir = pick_default_rundir(xdg);
        forXdg = std::move(xdg);
        decided = true;
    }
    return dir;
}

std::string mode_text(mode_t mode) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "%04o", static_cast<unsigned>(mode & 07777));
    return buf;
}

struct Verdict {
    uint32_t kind = PLAT_FAULT_NONE;
    int err = 0;
    std::string line;
};

Verdict refuse(uint32_t kind, int err, std::string line) { return Verdict{kind, err, std::move(line)}; }

// A run directory is made when missing (its parent must exist); one that
// exists must be a directory of the effective user that nobody else may
// enter.  A named directory may be reached through a symbolic link; the
// default one may not, since anyone can plant a link in /tmp.
Verdict check_run(const std::string &dir, bool followLinks) {
    struct stat st {};
    auto look = [&] { return followLinks ? ::stat(dir.c_str(), &st) : ::lstat(dir.c_str(), &st); };
    if (look() != 0) {
        if (errno != ENOENT) return refuse(PLAT_FAULT_DIRECTORY, errno, "run directory " + dir + ": " + std::strerror(errno));
        if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST)
            return refuse(PLAT_FAULT_DIRECTORY, errno, "cannot create run directory " + dir + ": " + std::strerror(errno));
        if (look() != 0) return refuse(PLAT_FAULT_DIRECTORY, errno, "run directory " + dir + ": " + std::strerror(errno));
    }
    if (S_ISLNK(st.st_mode))
        return refuse(PLAT_FAULT_UNTRUSTED, ELOOP, "run directory " + dir + " is a symbolic link");
    if (!S_ISDIR(st.st_mode))
        return refuse(PLAT_FAULT_DIRECTORY, ENOTDIR, "run directory " + dir + " is not a directory");
    const uid_t uid = ::geteuid();
    if (st.st_uid != uid)
        return refuse(PLAT_FAULT_UNTRUSTED, EPERM,
                      "run directory " + dir + " belongs to uid " + std::to_string(st.st_uid) + ", not " +
                          std::to_string(uid));
    if ((st.st_mode & 077) != 0)
        return refuse(PLAT_FAULT_UNTRUSTED, EPERM,
                      "run directory " + dir + " is open to other users (mode " + mode_text(st.st_mode) + ")");
    return {};
}

// A data directory may be shared (its files are private); it must exist or
// be made in a parent that exists, and take new files.
Verdict check_data(const std::string &dir) {
    struct stat st {};
    if (::stat(dir.c_str(), &st) != 0) {
        if (errno != ENOENT) return refuse(PLAT_FAULT_DIRECTORY, errno, "data directory " + dir + ": " + std::strerror(errno));
        if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST)
            return refuse(PLAT_FAULT_DIRECTORY, errno, "cannot create data directory " + dir + ": " + std::strerror(errno));
        if (::stat(dir.c_str(), &st) != 0)
            return refuse(PLAT_FAULT_DIRECTORY, errno, "data directory " + dir + ": " + std::strerror(errno));
    }
    if (!S_ISDIR(st.st_mode))
        return refuse(PLAT_FAULT_DIRECTORY, ENOTDIR, "data directory " + dir + " is not a directory");
    if (::access(dir.c_str(), W_OK | X_OK) != 0)
        return refuse(PLAT_FAULT_DIRECTORY, errno, "data directory " + dir + ": " + std::strerror(errno));
    return {};
}

// The last directory of each kind that passed its checks.  A directory
// that passed stays trusted for the life of the process: only its owner
// (or root) can take it away, and every socket in it is checked again as
// it is used.  A refusal is never remembered, so that the fault is recorded
// on every use.
struct Trusted {
    std::mutex lock;
    std::string run;
    std::string data;
};

Trusted &trusted() {
    static Trusted *t = new Trusted;  // outlives every static destructor
    return *t;
}

bool accept(const std::string &dir, const Verdict &v) {
    if (v.kind == PLAT_FAULT_NONE) return true;
    dpsim::detail::record_fault(v.kind, v.err, 0, dir, v.line);
    errno = v.err;
    return false;
}

}  // namespace

namespace dpsim {

std::string rundir() {
    std::string dir = env_dir("DPMGMT_RUNDIR");
    return dir.empty() ? default_rundir() : dir;
}

std::string datadir() {
    std::string dir = env_dir("DPMGMT_DATADIR");
    return dir.empty() ? rundir() : dir;
}

bool check_run_directory(const std::string &dir, std::string &why) {
    const Verdict v = check_run(dir, !env_dir("DPMGMT_RUNDIR").empty());
    why = v.line;
    if (v.kind != PLAT_FAULT_NONE) errno = v.err;
    return v.kind == PLAT_FAULT_NONE;
}

bool trusted_rundir(std::string &dir) {
    const std::string named = env_dir("DPMGMT_RUNDIR");
    dir = named.empty() ? default_rundir() : named;
    Trusted &t = trusted();
    {
        std::lock_guard guard(t.lock);
        if (dir == t.run) return true;
    }
    if (!accept(dir, check_run(dir, !named.empty()))) return false;
    std::lock_guard guard(t.lock);
    t.run = dir;
    return true;
}

bool trusted_datadir(std::string &dir) {
    dir = env_dir("DPMGMT_DATADIR");
    if (dir.empty()) return trusted_rundir(dir);
    Trusted &t = trusted();
    {
        std::lock_guard guard(t.lock);
        if (dir == t.data) return true;
    }
    if (!accept(dir, check_data(dir))) return false;
    std::lock_guard guard(t.lock);
    t.data = dir;
    return true;
}

std::string service_socket_path(uint16_t port) { return rundir() + "/svc-" + std::to_string(port) + ".sock"; }

std::string kernel_socket_path() { return rundir() + "/kernel.sock"; }

std::string service_pidfile_path() { return rundir() + "/dpservice.pid"; }

}  // namespace dpsim
