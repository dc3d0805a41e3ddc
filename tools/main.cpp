// SPDX-License-Identifier: Apache-2.0
// dpmgmt: the operator command line over the library.
//
//   dpmgmt [OPTIONS] COMMAND WORDS...   runs one command
//   dpmgmt [OPTIONS] -f FILE            runs the commands of a file
//   dpmgmt [OPTIONS] < FILE             the same from standard input
//   dpmgmt [OPTIONS]                    an interactive shell on a terminal
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cli.h"
#include "json_out.h"
#include "platform/wait.h"
#include "shell.h"

#ifndef DPMGMT_VERSION
#define DPMGMT_VERSION "unknown"
#endif

namespace {

constexpr double kDefaultTimeout = 5;
constexpr double kDefaultResetTimeout = 600;
constexpr double kMaxTimeout = 86400;

const char kUsage[] =
    "Usage: dpmgmt [OPTIONS] [COMMAND WORDS...]\n"
    "       dpmgmt [OPTIONS] -f FILE\n"
    "\n"
    "Configures, queries and resets the session table, connection limits, call\n"
    "quality analysis and hot backup of the data plane.  With command words it\n"
    "runs that command; with -f FILE or commands on standard input it runs them\n"
    "one per line; on a terminal without words it opens an interactive shell\n"
    "(Tab completes, '?' lists what may follow, Ctrl-C clears the line).\n"
    "'dpmgmt ?' lists every command; 'dpmgmt display session ?' those that begin\n"
    "so.  A display may end with output filters: | include REGEX, | exclude REGEX,\n"
    "| count.  A unique prefix of a keyword is enough (dis sess tab).\n"
    "\n"
    "Options:\n"
    "  -f, --file FILE          run the commands of FILE ('-': standard input)\n"
    "  -k, --keep-going         in a batch, go on after a failing line\n"
    "  -t, --timeout SECONDS    give up on the service or the kernel after SECONDS\n"
    "                           of silence in one exchange or dump pull (default 5;\n"
    "                           0: wait for ever)\n"
    "      --reset-timeout SECONDS\n"
    "                           give up on a session reset after SECONDS (default\n"
    "                           600; 0: wait for ever)\n"
    "  -j, --json               a display writes one JSON document (LF line ends)\n"
    "                           instead of its text; output filters are refused\n"
    "      --complete LINE      list the completions of the last word of LINE\n"
    "  -h, --help               show this help\n"
    "  -V, --version            show the version\n"
    "\n"
    "Batch files: one command per line, lines of any length; blank lines and\n"
    "lines beginning with # are skipped; quit or exit ends the batch.  A failing\n"
    "line stops the batch (dpmgmt: line N: ...) unless --keep-going is given; the\n"
    "exit status is that of the first failing line.\n"
    "\n"
    "Environment:\n"
    "  DPMGMT_RUNDIR     run directory of the service's sockets, pid file and log\n"
    "                    (default $XDG_RUNTIME_DIR/dpmgmt, /run/dpmgmt for root,\n"
    "                    else /tmp/dpmgmt-<uid>)\n"
    "  DPMGMT_DATADIR    directory of the configuration database (default: the run\n"
    "                    directory); must exist\n"
    "  DPMGMT_SERVICE    the session service binary dpmgmt starts when it is not\n"
    "                    running (default: dpservice)\n"
    "  DPMGMT_PROFILE    the device profile (default: a built-in two-slot device)\n"
    "\n"
    "Exit status:\n"
    "  0  success\n"
    "  1  refused input (bad arguments)\n"
    "  2  not found (no such policy, rule, remark, call, interface, slot ...)\n"
    "  3  the service or the kernel failed or did not answer in time\n"
    "  4  environment fault (the service binary cannot start, a bad run or data\n"
    "     directory)\n";

struct Options {
    const char *file = nullptr;
    bool keepGoing = false;
    double timeout = kDefaultTimeout;
    double resetTimeout = kDefaultResetTimeout;
    const char *complete = nullptr;
    int first = 0;  // the first command word
};

bool seconds_of(const char *option, const char *text, double &out) {
    if (text == nullptr) {
        cli::fail("%s needs a number of seconds", option);
        return false;
    }
    char *end = nullptr;
    errno = 0;
    const double v = std::strtod(text, &end);
    if (*text == '\0' || *end != '\0' || errno != 0 || !std::isfinite(v) || v < 0 || v > kMaxTimeout) {
        cli::fail("bad %s '%s': a number of seconds from 0 to %.0f", option, text, kMaxTimeout);
        return false;
    }
    out = v;
    return true;
}

// Options come before the command words; "--" ends them.  kOk, or the
// status after reporting.
int parse_options(int argc, char **argv, Options &o, bool &exitNow) {
    int i = 1;
    for (; i < argc && argv[i][0] == '-' && argv[i][1] != '\0'; ++i) {
        const std::string a = argv[i];
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (a == "--") {
            ++i;
            break;
        } else if (a == "-h" || a == "--help") {
            std::fputs(kUsage, stdout);
            exitNow = true;
            return cli::kOk;
        } else if (a == "-V" || a == "--version") {
            std::printf("dpmgmt %s\n", DPMGMT_VERSION);
            exitNow = true;
            return cli::kOk;
        } else if (a == "-j" || a == "--json") {
            json::set_enabled(true);
        } else if (a == "-k" || a == "--keep-going") {
            o.keepGoing = true;
        } else if (a == "-f" || a == "--file") {
            if (value == nullptr) return cli::fail("%s needs a file name", a.c_str());
            o.file = value;
            ++i;
        } else if (a == "-t" || a == "--timeout") {
            if (!seconds_of(a.c_str(), value, o.timeout)) return cli::kRefused;
            ++i;
        } else if (a == "--reset-timeout") {
            if (!seconds_of(a.c_str(), value, o.resetTimeout)) return cli::kRefused;
            ++i;
        } else if (a == "--complete") {
            o.complete = value != nullptr ? value : "";
            ++i;
        } else {
            return cli::fail("unknown option '%s'; see dpmgmt --help", a.c_str());
        }
    }
    o.first = i;
    return cli::kOk;
}

uint32_t ms_of(double seconds) { return static_cast<uint32_t>(std::llround(seconds * 1000)); }

// Runs the commands of a file, one per line; the status of the first
// failing line (0 when none failed).
int run_batch(FILE *in, bool keepGoing) {
    char *line = nullptr;
    size_t cap = 0;
    ssize_t len;
    unsigned long number = 0;
    int first = cli::kOk;
    while ((len = ::getline(&line, &cap, in)) >= 0) {
        ++number;
        std::string text(line, static_cast<size_t>(len));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        const std::vector<std::string> words = shell::words_of(text);
        if (words.empty() || words[0][0] == '#') continue;
        if (words.size() == 1 && (words[0] == "quit" || words[0] == "exit")) break;
        cli::set_line(number);
        const int status = shell::run_words(words);
        cli::set_line(0);
        std::fflush(stdout);
        if (status == cli::kOk) continue;
        if (first == cli::kOk) first = status;
        if (!keepGoing) break;
    }
    std::free(line);
    if (std::ferror(in)) return cli::report(cli::kEnvironment, "reading the commands failed: %s", std::strerror(errno));
    return first;
}

}  // namespace

int main(int argc, char **argv) {
    Options o;
    bool exitNow = false;
    if (const int status = parse_options(argc, argv, o, exitNow); status != cli::kOk || exitNow) return status;
    PLAT_SetWaitBounds(ms_of(o.timeout), ms_of(o.resetTimeout));
    if (o.complete != nullptr) return shell::print_completions(o.complete);

    const bool words = o.first < argc;
    if (o.file != nullptr) {
        if (words) return cli::fail("-f takes no command words; put '%s' in the file", argv[o.first]);
        if (std::strcmp(o.file, "-") == 0) return run_batch(stdin, o.keepGoing);
        FILE *in = std::fopen(o.file, "r");
        if (in == nullptr) return cli::report(cli::kEnvironment, "cannot read %s: %s", o.file, std::strerror(errno));
        const int status = run_batch(in, o.keepGoing);
        std::fclose(in);
        return status;
    }
    if (words) return shell::run_words(std::vector<std::string>(argv + o.first, argv + argc));
    if (::isatty(STDIN_FILENO)) return shell::run();
    return run_batch(stdin, o.keepGoing);
}
