// The operator command line's framework: a table of commands, each a run
// of fixed keywords followed by arguments its handler parses, and the
// helpers handlers share to parse them.
//
// A command file registers its commands from a static initialiser:
//
//   namespace { const bool registered = cli::add({
//       {"display session table", "[ipv4|ipv6] [verbose] ...", "Show the session table", run_table},
//   }); }
//
// Handlers print through the library and return an exit status: 0 for
// success; on failure they report one line with cli::fail(...) and return
// its result.  A handler checks all of its input before it changes
// anything, so that a refused command leaves the configuration as it was.
#ifndef DPMGMT_TOOLS_CLI_H
#define DPMGMT_TOOLS_CLI_H

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace cli {

class Args;

struct Command {
    const char *keywords;  // the fixed leading words, e.g. "display session table"
    const char *syntax;    // what follows them, for help
    const char *help;      // one line
    int (*run)(Args &args);
    // Optional: adds help lines (through CLI_NewHelpInfo) for what may
    // follow the argument words typed so far; the last word may be a
    // partly typed one (partial true).
    void (*arg_help)(const std::vector<std::string> &args, bool partial) = nullptr;
};

// Adds commands to the table; returns true (for static initialisers).
bool add(std::initializer_list<Command> commands);
const std::vector<Command> &commands();

// The command whose keywords lead the words (the longest such), or null.
const Command *find(const std::vector<std::string> &words);
// Runs one command line (already split into words).  Returns the exit
// status; an unknown or incomplete command reports one line.  The session
// service is started, when it is not running, only for a known command.
int dispatch(const std::vector<std::string> &words);
// Prints the help lines, collected through the platform's command-line
// help, of what may follow the words typed so far.  With partial, the last
// word is only partly typed and selects the keywords it begins.
void show_help(const std::vector<std::string> &typed, bool partial = false);

// Reports one line "dpmgmt: <message>" on standard error; returns 1.
int fail(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// Reports a failed library call: "dpmgmt: <what> failed (0x%08x)"; returns 1.
int failed(const char *what, uint32_t code);

// "a, b or c" of the words.
std::string list_words(const std::vector<std::string> &words);

// The arguments after a command's keywords, consumed left to right.
class Args {
public:
    explicit Args(std::vector<std::string> words) : words_(std::move(words)) {}

    bool done() const { return pos_ >= words_.size(); }
    const std::string &peek() const;
    std::string next();  // "" when done
    // Consumes the next word when it is the keyword (case-insensitive).
    bool take(const char *keyword);
    // Consumes the next word when it is one of the keywords; returns its
    // index in the list, or -1.
    int take_one_of(std::initializer_list<const char *> keywords);
    // The next word, which must be one of the keywords: its index, or -1
    // after reporting what is accepted.
    int choose(const char *what, std::initializer_list<const char *> keywords);
    // The next word as an unsigned number in [min, max]; reports an error
    // naming `what` and the range otherwise.
    std::optional<uint32_t> number(const char *what, uint32_t min, uint32_t max);
    // An IPv4 (family 4, host-order u32 in addr4) or IPv6 (family 6, 16
    // bytes in network order) address.
    struct Address {
        int family = 0;
        uint32_t addr4 = 0;
        uint8_t addr6[16] = {};
    };
    std::optional<Address> address(const char *what);
    // An IP protocol, by number (0-255) or by the name the system's
    // protocol database knows (tcp, udp, icmp, ...).
    std::optional<uint8_t> protocol(const char *what);
    // All words left, joined by single blanks ("" when none).
    std::string rest();
    // Reports the words left over, if any, as an error; true when none.
    bool finish();

private:
    std::vector<std::string> words_;
    size_t pos_ = 0;
};

// Case-insensitive comparison of whole words.
bool same_word(const std::string &a, const char *b);
// Ensures the session service runs (starting it through the platform's
// service manager); false after reporting when it cannot be started.
bool ensure_service();

// ------------------------------------------------------------- nodes ------

// The node of a slot of the device profile (its first CPU), or nothing
// after reporting the slots there are.
std::optional<uint16_t> node_of_slot(uint32_t slot);
// The nodes of the profile that are up, in profile order.
std::vector<uint16_t> nodes_up();

// The IPv4 / IPv6 selector every family-aware command takes.
enum class Family { kAny, kIpv4, kIpv6 };

// The filters shared by the session displays and resets: [ipv4|ipv6]
// [verbose] [source-ip A] [destination-ip A] [protocol P]
// [destination-port N] [slot N], in any order.  Flags say which the
// command takes.
struct SessionFilter {
    Family family = Family::kAny;
    bool verbose = false;
    std::optional<Args::Address> source;
    std::optional<Args::Address> destination;
    uint8_t protocol = 0;
    uint16_t destinationPort = 0;
    std::optional<uint16_t> node;  // from "slot N"
};
enum FilterWords : unsigned {
    kFilterFamily = 1u << 0,
    kFilterVerbose = 1u << 1,
    kFilterAddresses = 1u << 2,
    kFilterProtocol = 1u << 3,
    kFilterPort = 1u << 4,
    kFilterSlot = 1u << 5,
};
// Parses the filter words the flags allow up to the end of the arguments;
// nothing after reporting a bad or unexpected word, or addresses of
// different families (or of another family than the one named).
std::optional<SessionFilter> parse_session_filter(Args &args, unsigned allowed);

// "[slot N]" alone: the node it names, or the local node.
std::optional<uint16_t> parse_slot_only(Args &args);

}  // namespace cli

#endif
