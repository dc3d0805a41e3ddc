// SPDX-License-Identifier: Apache-2.0
// dpmgmt-exporter's command line.
#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace exporter {

namespace {

constexpr double kMinTimeoutSec = 0.05;
constexpr double kMaxTimeoutSec = 300.0;

bool parse_port(std::string_view text, uint16_t &port) {
    if (text.empty() || text.size() > 5) return false;
    uint32_t v = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + static_cast<uint32_t>(c - '0');
    }
    if (v == 0 || v > 65535) return false;
    port = static_cast<uint16_t>(v);
    return true;
}

bool parse_seconds(const char *text, uint32_t &ms) {
    if (text == nullptr || *text < '0' || *text > '9') return false;
    errno = 0;
    char *end = nullptr;
    const double v = std::strtod(text, &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(v) || v < kMinTimeoutSec || v > kMaxTimeoutSec) return false;
    ms = static_cast<uint32_t>(std::lround(v * 1000.0));
    return true;
}

}  // namespace

bool parse_listen(const std::string &text, std::string &host, uint16_t &port) {
    if (!text.empty() && text.front() == '[') {
        const size_t close = text.find(']');
        if (close == std::string::npos || close == 1 || close + 1 >= text.size() || text[close + 1] != ':')
            return false;
        host = text.substr(1, close - 1);
        return parse_port(std::string_view(text).substr(close + 2), port);
    }
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || text.find(':') != colon) return false;
    host = text.substr(0, colon);
    return parse_port(std::string_view(text).substr(colon + 1), port);
}

void print_usage(std::FILE *to) {
    std::fputs("usage: dpmgmt-exporter [--listen ADDR:PORT] [--timeout SECONDS] [--relations]\n"
               "Serves the node's session, connection-limit, call and hot-backup statistics\n"
               "at /metrics in the Prometheus text format.\n"
               "  --listen ADDR:PORT  address to serve on (default 127.0.0.1:9563; [ADDR6]:PORT for IPv6)\n"
               "  --timeout SECONDS   longest wait on the session service or the kernel (default 2)\n"
               "  --relations         also export the relation counts (the kernel may walk its tables for them)\n"
               "  --help              show this text\n"
               "  --version           show the version\n"
               "Exit status: 0 after SIGTERM or SIGINT, 1 bad arguments, 4 the address cannot be bound.\n",
               to);
}

ParseResult parse_options(int argc, char **argv, Options &out) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "--help" || arg == "-h") return ParseResult::kHelp;
        if (arg == "--version") return ParseResult::kVersion;
        if (arg == "--relations") {
            out.relations = true;
            continue;
        }
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (arg == "--listen") {
            if (value == nullptr || !parse_listen(value, out.host, out.port)) {
                std::fprintf(stderr, "dpmgmt-exporter: --listen needs ADDR:PORT with a port from 1 to 65535\n");
                return ParseResult::kError;
            }
        } else if (arg == "--timeout") {
            if (!parse_seconds(value, out.timeoutMs)) {
                std::fprintf(stderr, "dpmgmt-exporter: --timeout needs seconds from %.2g to %.0f\n", kMinTimeoutSec,
                             kMaxTimeoutSec);
                return ParseResult::kError;
            }
        } else {
            std::fprintf(stderr, "dpmgmt-exporter: unknown option %s (try --help)\n", argv[i]);
            return ParseResult::kError;
        }
        ++i;  // the option's value
    }
    return ParseResult::kRun;
}

}  // namespace exporter
