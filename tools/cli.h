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
// its result.
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
};

// Adds commands to the table; returns true (for static initialisers).
bool add(std::initializer_list<Command> commands);
const std::vector<Command> &commands();

// Runs one command line (already split into words).  Returns the exit
// status; an unknown or incomplete command reports one line.
int dispatch(const std::vector<std::string> &words);
// Adds the help lines of the commands that could follow the words typed so
// far through the platform's command-line help and prints them.
void show_help(const std::vector<std::string> &typed);

// Reports one line "dpmgmt: <message>" on standard error; returns 1.
int fail(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// Reports a failed library call: "dpmgmt: <what> failed (0x%08x)"; returns 1.
int failed(const char *what, uint32_t code);

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

}  // namespace cli

#endif
