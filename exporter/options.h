// SPDX-License-Identifier: Apache-2.0
// dpmgmt-exporter's command line.
#ifndef DPMGMT_EXPORTER_OPTIONS_H
#define DPMGMT_EXPORTER_OPTIONS_H

#include <cstdint>
#include <cstdio>
#include <string>

namespace exporter {

struct Options {
    std::string host = "127.0.0.1";  // an IPv6 address without its brackets
    uint16_t port = 9563;
    uint32_t timeoutMs = 2000;  // bound of every wait on the service or the kernel
    bool relations = false;     // also read the relation counts
};

enum class ParseResult { kRun, kHelp, kVersion, kError };

// Reads argv into out; on kError a one-line message went to stderr.
ParseResult parse_options(int argc, char **argv, Options &out);
void print_usage(std::FILE *to);

// "ADDR:PORT" or "[ADDR6]:PORT"; false when it is not of that form.
bool parse_listen(const std::string &text, std::string &host, uint16_t &port);

}  // namespace exporter

#endif
