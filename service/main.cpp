// SPDX-License-Identifier: Apache-2.0
// dpservice: the reference data plane.  It answers the session service's
// datagrams on <rundir>/svc-3184.sock and serves the kernel's dumps and
// control calls on <rundir>/kernel.sock, from one thread, until SIGTERM or
// SIGINT.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "dpsim.h"
#include "loop.h"
#include "options.h"
#ifdef DPSVC_NETFILTER
#include "netfilter/netfilter.h"
#endif

namespace {

// Written under a temporary name and renamed, so that whoever waits for the
// file never reads half of it.  The temporary is a new file of our own
// (mode 0600), never reached through a link: one left by a predecessor,
// or planted, is removed (the name, not what it may point to) first.
bool write_pidfile(const std::string &path) {
    const std::string tmp = path + ".tmp";
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    int fd = ::open(tmp.c_str(), flags, 0600);
    if (fd < 0 && errno == EEXIST && ::unlink(tmp.c_str()) == 0) fd = ::open(tmp.c_str(), flags, 0600);
    std::FILE *f = fd >= 0 ? ::fdopen(fd, "w") : nullptr;
    if (f == nullptr) {
        const int err = errno;
        if (fd >= 0) ::close(fd);
        std::fprintf(stderr, "dpservice: cannot write %s: %s\n", tmp.c_str(), std::strerror(err));
        return false;
    }
    const bool ok = std::fprintf(f, "%d\n", static_cast<int>(::getpid())) > 0;
    if (std::fclose(f) != 0 || !ok || std::rename(tmp.c_str(), path.c_str()) != 0) {
        std::fprintf(stderr, "dpservice: cannot write %s\n", path.c_str());
        ::unlink(tmp.c_str());
        return false;
    }
    return true;
}

// Removes the pid file only while it still names this process: a successor
// may have written its own.
void remove_pidfile(const std::string &path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    std::FILE *f = fd >= 0 ? ::fdopen(fd, "r") : nullptr;
    if (f == nullptr) {
        if (fd >= 0) ::close(fd);
        return;
    }
    int pid = 0;
    const bool ours = std::fscanf(f, "%d", &pid) == 1 && pid == static_cast<int>(::getpid());
    std::fclose(f);
    if (ours) ::unlink(path.c_str());
}

// Detaches from the launching process once the sockets are bound.  The
// launcher's process exits only after the pid file exists, so a parent that
// waits for either can connect at once.  Returns false in the launcher's
// process (which then exits), true in the service.
bool detach(const std::string &pidfile, int &launcherStatus) {
    int ready[2];
    if (::pipe2(ready, O_CLOEXEC) != 0) {
        launcherStatus = 1;
        return false;
    }
    const pid_t child = ::fork();
    if (child < 0) {
        launcherStatus = 1;
        return false;
    }
    if (child > 0) {
        ::close(ready[1]);
        char byte = 0;
        ssize_t n;
        do n = ::read(ready[0], &byte, 1);
        while (n < 0 && errno == EINTR);
        launcherStatus = n == 1 ? 0 : 1;
        return false;
    }
    ::close(ready[0]);
    ::setsid();
    if (::chdir("/") != 0) {
        // Not fatal: the service uses absolute paths only.
    }
    const bool ok = pidfile.empty() || write_pidfile(pidfile);
    // A log file the launcher gave us for complaints is kept; a terminal or
    // a pipe of the launcher is not, or the launcher's reader would wait for
    // us for ever.
    struct stat st {};
    const bool keepStderr = ::fstat(2, &st) == 0 && S_ISREG(st.st_mode);
    const int devnull = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (devnull >= 0) {
        ::dup2(devnull, 0);
        ::dup2(devnull, 1);
        if (!keepStderr) ::dup2(devnull, 2);
        ::close(devnull);
    }
    if (ok) (void)!::write(ready[1], "R", 1);
    ::close(ready[1]);
    launcherStatus = ok ? 0 : 1;
    return ok;
}

}  // namespace

int main(int argc, char **argv) {
    dpsvc::Options &opts = dpsvc::mutable_options();
    switch (dpsvc::parse_options(argc, argv, opts)) {
    case dpsvc::ParseResult::kHelp:
        dpsvc::print_usage(stdout);
        return 0;
    case dpsvc::ParseResult::kVersion:
        std::printf("dpservice %s\n", DPMGMT_VERSION);
        return 0;
    case dpsvc::ParseResult::kError:
        dpsvc::print_usage(stderr);
        return 2;
    case dpsvc::ParseResult::kRun:
        break;
    }

    if (!opts.dataPlaneGiven && dpsim::profile().netfilter) opts.dataPlane = dpsvc::DataPlane::kNetfilter;
    if (opts.dataPlane == dpsvc::DataPlane::kNetfilter) {
#ifdef DPSVC_NETFILTER
        if (!dpsvc::nf::start()) return 1;
#else
        std::fprintf(stderr, "dpservice: this build has no netfilter data plane (libnetfilter-conntrack-dev was missing)\n");
        return 1;
#endif
    }

    // The loop takes SIGTERM and SIGINT through a descriptor: block them
    // before anything else so that none is lost or kills us half-started.
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGTERM);
    sigaddset(&mask, SIGINT);
    sigprocmask(SIG_BLOCK, &mask, nullptr);
    signal(SIGPIPE, SIG_IGN);

    // The daemon leaves its working directory: a relative pid file path
    // is taken from where we were started.
    if (!opts.pidfile.empty() && opts.pidfile.front() != '/') {
        char cwd[4096];
        if (::getcwd(cwd, sizeof cwd) != nullptr) opts.pidfile = std::string(cwd) + "/" + opts.pidfile;
    }

    const std::string rundir = dpsvc::run_directory();
    if (!dpsvc::make_run_directory(rundir)) return 1;

    dpsvc::Loop loop;
    if (!loop.open(rundir)) return 1;

    if (opts.daemon) {
        int launcherStatus = 0;
        if (!detach(opts.pidfile, launcherStatus)) {
            // The launcher (or a service that could not finish detaching)
            // leaves without touching what the service owns.
            std::fflush(nullptr);
            ::_exit(launcherStatus == 0 ? 0 : 1);
        }
    } else if (!opts.pidfile.empty() && !write_pidfile(opts.pidfile)) {
        return 1;
    }

    const int rc = loop.run();
    loop.close();
    if (!opts.pidfile.empty()) remove_pidfile(opts.pidfile);
    return rc;
}
