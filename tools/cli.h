// SPDX-License-Identifier: Apache-2.0
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
// Handlers print through the library and return an exit status (Status):
// on failure they report one line with cli::fail(...) (refused input),
// cli::not_found(...) or cli::failed(...) (the service or the kernel) and
// return its result.  A handler checks all of its input before it changes
// anything, so that a refused command leaves the configuration as it was.
//
// The syntax text is also the grammar completion and prefix matching walk:
// lower-case words are keywords, upper-case words argument slots (whose
// values, where the device or the library knows them, complete: see
// grammar.h), [ ] optional, ( | ) a choice; a run of optional groups may
// come in any order.
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

// Exit statuses, the same in every command.
enum Status : int {
    kOk = 0,
    kRefused = 1,        // bad arguments, refused input
    kNotFound = 2,       // what the command names does not exist
    kServiceFailed = 3,  // the service or the kernel failed or did not answer in time
    kEnvironment = 4,    // the service binary cannot start, a bad run or data directory
};

// Reports one line "dpmgmt: <message>" on standard error (prefixed with
// "line N: " in a batch); a quoted word longer than 64 characters is cut.
// Returns kRefused.
int fail(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// The same with the status given; returns it.
int report(int status, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
// The same for what does not exist; returns kNotFound.
int not_found(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// Reports a failed library call: the platform's fault when it recorded one
// (the socket, binary or directory and the cause), else "<what> failed
// (0x%08x)".  Returns kServiceFailed, or kEnvironment for a fault of the
// environment.
int failed(const char *what, uint32_t code);
// After a command: when the platform recorded a fault that no message
// reported yet, reports it (for a command that otherwise succeeded, as an
// incomplete listing) and returns its status; else returns status.
int check_fault(int status);
// Forgets the recorded fault (before each command).
void clear_fault();
// The batch line messages are prefixed with ("line N: "); 0 for none.
void set_line(unsigned long line);

// The blank-separated words of a text.
std::vector<std::string> split_words(const char *text);
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
// service manager).  A service it had to start gets the stored
// configuration replayed (with replay), said in one line on standard
// error.  kOk, or the status after reporting why not.
int ensure_service(bool replay);

// ------------------------------------------------------------- nodes ------

// The node of a slot of the device (its first CPU), or nothing after
// reporting the slots there are.
std::optional<uint16_t> node_of_slot(uint32_t slot);
// The device's slots, in its order, without repeats.
std::vector<uint32_t> slots();
// The nodes of the device that are up, in its order.
std::vector<uint16_t> nodes_up();
// The device's interfaces, by index, in its order.
std::vector<uint32_t> interface_indexes();
// The interface of a name (letter case aside), or nothing after reporting
// the names there are.
std::optional<uint32_t> interface_index(const std::string &name);
// "global" for 0, else the interface's full name ("ifindex N" when it has
// none).
std::string interface_name(uint32_t ifIndex);
// The numbers of the device's ACLs of a type (1 IPv4, 2 IPv6).
std::vector<uint32_t> acl_numbers(uint32_t type);
std::string acl_name(uint32_t type, uint32_t number);
// The keywords of the help lines a help call adds through the platform.
std::vector<std::string> help_keywords(void (*call)());
// Refuses a text with control characters (one line); true when plain.
bool plain_text(const char *what, const std::string &text);

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
