// SPDX-License-Identifier: Apache-2.0
// Support for the integration tests: a real dpservice in a fresh run
// directory, the operator command line as a child process, raw exchanges
// with the session service, and byte-exact capture of this process's
// standard output.
//
// Every wait here is bounded and polls; nothing sleeps blindly.  Failures to
// set things up throw std::runtime_error, which GoogleTest reports as a
// test failure.
//
//   dptest::ServiceProcess svc;                  // dpservice is answering now
//   auto reply = dptest::svc_exchange(svc.rundir(), 49, dptest::be16(1));
//   auto cli = dptest::run_cli({"display", "session", "table"});
#ifndef DPTEST_SERVICE_PROCESS_H
#define DPTEST_SERVICE_PROCESS_H

#include <sys/types.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/child_process.h"

namespace dptest {

// A dpservice child serving a run directory of its own.
//
// The constructor makes a fresh temporary run directory, points
// DPMGMT_RUNDIR and DPMGMT_DATADIR of this process at it (so the library
// and the command line find the same service), starts dpservice in the
// foreground with `args`, and returns once it answers on svc-3184.sock.
// The destructor stops the service (SIGTERM, bounded wait, then SIGKILL),
// removes the directory and restores the two variables.
class ServiceProcess {
public:
    explicit ServiceProcess(std::vector<std::string> args = {}) { start(args); }
    ~ServiceProcess() { stop(); }
    ServiceProcess(const ServiceProcess &) = delete;
    ServiceProcess &operator=(const ServiceProcess &) = delete;

    pid_t pid() const { return child_ ? child_->pid() : -1; }  // -1 while stopped
    const std::string &rundir() const { return dir_.path(); }

    // SIGKILL and reap: the socket files stay behind, as after a crash.
    void kill9() { child_.reset(); }
    // SIGTERM, bounded wait (SIGKILL after 10 s) and reap: the exit code,
    // or -1 when the service was not running.
    int stop();
    // Stops the service if it runs, starts it again on the same run
    // directory with `args`, and waits until it answers.
    void restart(std::vector<std::string> args = {}) {
        stop();
        start(args);
    }

private:
    void start(const std::vector<std::string> &args);

    TempDir dir_;
    ScopedEnv rundirEnv_{"DPMGMT_RUNDIR", dir_.path().c_str()};
    ScopedEnv datadirEnv_{"DPMGMT_DATADIR", dir_.path().c_str()};
    std::optional<Child> child_;
};

// Runs the dpmgmt command line with `args`.
CliResult run_cli(std::vector<std::string> args, int timeoutSec = 30);

// The newlines in a text.
inline size_t lines_of(const std::string &text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// The number the pattern's first group matches in text; nothing without a match.
std::optional<unsigned long> number_after(const std::string &text, const std::string &pattern);

// Runs fn with this process's standard output (descriptor 1) sent to a
// temporary file and returns what was written, byte for byte.  stdout is
// flushed before and after, and restored even if fn throws.
std::string capture_stdout(std::function<void()> fn);

// Sends header (type, 8 + payload length) + payload to <rundir>/svc-3184.sock
// from a socket of its own and returns the whole reply datagram, or nothing
// after timeoutMs.
std::optional<Bytes> svc_exchange(const std::string &rundir, uint32_t type, const Bytes &payload = {},
                                  int timeoutMs = 5000);

}  // namespace dptest

#endif
