// SPDX-License-Identifier: Apache-2.0
// What the stand-in runtime offers its own programs (dpservice, dpmgmt and
// the tests) beyond the platform calls: where the run and data directories
// are, the device profile, and the command-line help collected through
// CLI_NewHelpInfo.  Nothing in libdpmgmt includes this header.
#ifndef DPSIM_DPSIM_H
#define DPSIM_DPSIM_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#define DPSIM_API __attribute__((visibility("default")))

namespace dpsim {

// ------------------------------------------------------------ directories --

// $DPMGMT_RUNDIR, or by default $XDG_RUNTIME_DIR/dpmgmt (when that is the
// user's own private directory), /run/dpmgmt for root, /tmp/dpmgmt-<uid>
// otherwise.  Only the name: nothing is checked or made.  Read anew on
// every call, so that a test may point it elsewhere.
DPSIM_API std::string rundir();
// $DPMGMT_DATADIR, or the run directory.  Only the name.
DPSIM_API std::string datadir();
// The run directory, made (mode 0700, in a parent that exists) when
// missing.  An existing one must be a directory of the effective user with
// no group or other permissions (the default one must not be a symbolic
// link either).  False when refused, with the fault recorded
// (PLAT_FAULT_DIRECTORY or PLAT_FAULT_UNTRUSTED) and errno set; dir holds
// the name either way.
DPSIM_API bool trusted_rundir(std::string &dir);
// The data directory: made (mode 0700) when missing in a parent that
// exists; refused (PLAT_FAULT_DIRECTORY, errno set) when it is not a
// directory or takes no new files.  Without $DPMGMT_DATADIR, the run
// directory and its checks.
DPSIM_API bool trusted_datadir(std::string &dir);
// The run directory checks for a program that serves the directory
// (dpservice): false with one line saying why in `why`, nothing recorded.
DPSIM_API bool check_run_directory(const std::string &dir, std::string &why);
// <rundir>/svc-<port>.sock: where the session service of a port listens.
DPSIM_API std::string service_socket_path(uint16_t port);
// <rundir>/kernel.sock: where the kernel side takes dumps and control calls.
DPSIM_API std::string kernel_socket_path();
// <rundir>/dpservice.pid
DPSIM_API std::string service_pidfile_path();

constexpr uint16_t kSessionServicePort = 3184;

// ---------------------------------------------------------------- profile --

struct Node {
    uint16_t id = 0;         // the logical node number (LIP)
    uint32_t chassis = 0;
    uint32_t slot = 0;
    uint32_t cpu = 0;
    bool controller = false;
    uint32_t team = 1;       // controller team
    bool up = true;
};

struct Interface {
    uint32_t ifindex = 0;
    std::string name;              // full name, at most 47 characters
    std::vector<uint16_t> nodes;   // the nodes it relies on
    uint32_t attribute = 0;        // item 25; 4 = global
    bool temporary = false;
    bool local = false;            // defaults to "relies on the local node"
};

// An address prefix: family 4 or 6; address in network order.
struct Prefix {
    int family = 0;                // 0: any address of either family
    uint8_t addr[16] = {};
    uint8_t length = 0;            // prefix length in bits
};

struct Acl {
    uint32_t type = 1;             // 1: IPv4, 2: IPv6 (the ACL type codes)
    uint32_t number = 0;
    std::string name;              // at most 63 characters
    Prefix source;
    Prefix destination;
    uint8_t protocol = 0;          // 0: every protocol
    uint16_t sourcePorts[2] = {0, 65535};       // inclusive range; the whole range: any port
    uint16_t destinationPorts[2] = {0, 65535};
};

struct DPSIM_API Profile {
    std::string origin;            // the file it came from, or "(built-in)"
    bool multiChassis = false;
    uint16_t self = 0;
    uint16_t master = 0;
    std::vector<Node> nodes;
    std::vector<Interface> interfaces;
    std::vector<Acl> acls;
    std::map<uint32_t, std::string> vpns;          // vrf index -> name
    std::map<uint32_t, std::string> applications;  // application id -> name
    bool netfilter = false;        // data-plane = netfilter: the host's interfaces, one node

    const Node *node(uint16_t id) const;
    const Interface *interface(uint32_t ifindex) const;
    const Interface *interface(const std::string &name) const;
};

// The device profile: $DPMGMT_PROFILE or the built-in one, loaded on first
// use (thread-safe).  A profile that does not parse ends the process with a
// message naming the file and the line.
DPSIM_API const Profile &profile();

// Parses one profile file (or, with a null path, the built-in text) without
// touching the process's profile.  False with a message "<file>:<line>: ..."
// in error when it is malformed.
DPSIM_API bool load_profile(const char *path, Profile &out, std::string &error);
// The built-in profile's text, as documented.
DPSIM_API const char *builtin_profile_text();

// Does the address (family 4 or 6, network order) fall in the prefix?
DPSIM_API bool prefix_matches(const Prefix &prefix, int family, const uint8_t *addr);

// --------------------------------------------------------- command help ----

struct HelpLine {
    std::string keyword;
    std::string help;
    void *context = nullptr;       // as handed to CLI_NewHelpInfo
};

// The lines CLI_NewHelpInfo collected so far, in order; taking them clears
// the collector.
DPSIM_API std::vector<HelpLine> take_help_lines();
DPSIM_API void clear_help_lines();

}  // namespace dpsim

#endif
