// SPDX-License-Identifier: Apache-2.0
// dpservice's command line.
#include "options.h"
#ifdef DPSVC_NFT_LIMITS
#include "netfilter/limits.h"
#endif

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace dpsvc {

namespace {

Options &storage() {
    static Options opts;
    return opts;
}

// A whole decimal number no larger than max; no sign, no trailing text.
bool parse_number(const char *text, uint64_t max, uint64_t &out) {
    if (text == nullptr || *text < '0' || *text > '9') return false;
    errno = 0;
    char *end = nullptr;
    const unsigned long long v = std::strtoull(text, &end, 10);
    if (errno != 0 || *end != '\0' || v > max) return false;
    out = v;
    return true;
}

}  // namespace

const Options &options() { return storage(); }

Options &mutable_options() { return storage(); }

void print_usage(std::FILE *to) {
    std::fputs("usage: dpservice [--seed S] [--sessions N] [--calls N] [--data-plane model|netfilter] [--daemon]\n"
               "                 [--pidfile PATH] [--keep-rules]\n"
               "  --seed S       seed of the traffic model (default 1)\n"
               "  --sessions N   sessions per node (default 300)\n"
               "  --calls N      SIP and H.323 calls each on the local node (default 24)\n"
               "  --data-plane model|netfilter\n"
               "                 where the session tables come from: the seeded model or the connection\n"
               "                 tracking of this network namespace (needs CAP_NET_ADMIN); default:\n"
               "                 the device profile's data-plane (DPMGMT_PROFILE=host: netfilter)\n"
               "  --keep-rules   netfilter data plane: leave the connection-limit table (inet dpmgmt)\n"
               "                 in place when the service stops\n"
               "  --daemon       detach once the sockets are bound\n"
               "  --pidfile PATH write the service's process id to PATH\n"
               "  --help         show this text\n"
               "  --version      show the version\n"
               "The run directory is $DPMGMT_RUNDIR; by default $XDG_RUNTIME_DIR/dpmgmt,\n"
               "/run/dpmgmt for root, else /tmp/dpmgmt-<uid>.\n",
               to);
}

ParseResult parse_options(int argc, char **argv, Options &out) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        uint64_t n = 0;
        if (arg == "--help") return ParseResult::kHelp;
        if (arg == "--version") return ParseResult::kVersion;
        if (arg == "--keep-rules") {
#ifdef DPSVC_NFT_LIMITS
            nf::keep_rules(true);
#endif
            continue;
        }
        if (arg == "--daemon") {
            out.daemon = true;
            continue;
        }
        if (arg == "--pidfile") {
            if (value == nullptr || *value == '\0') {
                std::fprintf(stderr, "dpservice: --pidfile needs a path\n");
                return ParseResult::kError;
            }
            out.pidfile = value;
        } else if (arg == "--data-plane") {
            const std::string_view v = value != nullptr ? value : "";
            if (v != "model" && v != "netfilter") {
                std::fprintf(stderr, "dpservice: --data-plane needs model or netfilter\n");
                return ParseResult::kError;
            }
            out.dataPlane = v == "model" ? DataPlane::kModel : DataPlane::kNetfilter;
            out.dataPlaneGiven = true;
        } else if (arg == "--seed") {
            if (!parse_number(value, std::numeric_limits<uint64_t>::max(), n)) {
                std::fprintf(stderr, "dpservice: --seed needs a whole number\n");
                return ParseResult::kError;
            }
            out.seed = n;
        } else if (arg == "--sessions" || arg == "--calls") {
            if (!parse_number(value, std::numeric_limits<uint32_t>::max(), n)) {
                std::fprintf(stderr, "dpservice: %s needs a whole number below 2^32\n", argv[i]);
                return ParseResult::kError;
            }
            (arg == "--sessions" ? out.sessions : out.calls) = static_cast<uint32_t>(n);
        } else {
            std::fprintf(stderr, "dpservice: unknown option %s\n", argv[i]);
            return ParseResult::kError;
        }
        ++i;  // the option's value
    }
    return ParseResult::kRun;
}

}  // namespace dpsvc
