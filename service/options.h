// dpservice's command-line options, parsed once by main before the first
// request is served; features read them when they build their state.
#ifndef DPSVC_OPTIONS_H
#define DPSVC_OPTIONS_H

#include <cstdint>
#include <string>

namespace dpsvc {

struct Options {
    uint64_t seed = 1;          // --seed S: the traffic model's seed
    uint32_t sessions = 300;    // --sessions N: sessions per node
    uint32_t calls = 24;        // --calls N: SIP and H.323 calls each on the local node
    bool daemon = false;        // --daemon: detach after the sockets are bound
    std::string pidfile;        // --pidfile PATH
};

const Options &options();
Options &mutable_options();  // for main only

}  // namespace dpsvc

#endif
