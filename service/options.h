// SPDX-License-Identifier: Apache-2.0
// dpservice's command-line options, parsed once by main before the first
// request is served; features read them when they build their state.
#ifndef DPSVC_OPTIONS_H
#define DPSVC_OPTIONS_H

#include <cstdint>
#include <cstdio>
#include <string>

namespace dpsvc {

// Where the session tables come from.
enum class DataPlane {
    kModel,      // the seeded traffic model (default)
    kNetfilter,  // the connection tracking of dpservice's network namespace
};

struct Options {
    uint64_t seed = 1;          // --seed S: the traffic model's seed
    uint32_t sessions = 300;    // --sessions N: sessions per node
    uint32_t calls = 24;        // --calls N: SIP and H.323 calls each on the local node
    bool daemon = false;        // --daemon: detach after the sockets are bound
    std::string pidfile;        // --pidfile PATH
    DataPlane dataPlane = DataPlane::kModel;  // --data-plane model|netfilter
    bool dataPlaneGiven = false;  // without --data-plane, the device profile's data-plane decides
};

const Options &options();
Options &mutable_options();  // for main only

enum class ParseResult { kRun, kHelp, kVersion, kError };

// Parses argv into out.  kError after a message on stderr for an unknown
// option or a value that is not a whole number in range; kHelp for --help,
// kVersion for --version.
ParseResult parse_options(int argc, char **argv, Options &out);

// The usage text, for --help (stdout) and for errors (stderr).
void print_usage(std::FILE *to);

}  // namespace dpsvc

#endif
