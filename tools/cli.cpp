#include "cli.h"

#include <arpa/inet.h>
#include <strings.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dpsim.h"
#include "platform/dev.h"
#include "platform/rc.h"
#include "platform/service.h"

namespace cli {

namespace {

std::vector<Command> &table() {
    static std::vector<Command> t;
    return t;
}

std::vector<std::string> split(const char *text) {
    std::vector<std::string> words;
    std::string w;
    for (const char *p = text; *p; ++p) {
        if (*p == ' ') {
            if (!w.empty()) words.push_back(w);
            w.clear();
        } else {
            w += *p;
        }
    }
    if (!w.empty()) words.push_back(w);
    return words;
}

// How many of the command's keywords the typed words match, in order; -1
// when a typed word contradicts them.
int matched(const Command &c, const std::vector<std::string> &typed) {
    const std::vector<std::string> kw = split(c.keywords);
    size_t i = 0;
    for (; i < kw.size() && i < typed.size(); ++i)
        if (!same_word(typed[i], kw[i].c_str())) return -1;
    return static_cast<int>(i);
}

}  // namespace

bool add(std::initializer_list<Command> commands) {
    for (const Command &c : commands) table().push_back(c);
    return true;
}

const std::vector<Command> &commands() { return table(); }

bool same_word(const std::string &a, const char *b) { return strcasecmp(a.c_str(), b) == 0; }

int fail(const char *fmt, ...) {
    std::fflush(stdout);
    std::fputs("dpmgmt: ", stderr);
    va_list ap;
    va_start(ap, fmt);
    std::vfprintf(stderr, fmt, ap);
    va_end(ap);
    std::fputc('\n', stderr);
    return 1;
}

int failed(const char *what, uint32_t code) { return fail("%s failed (0x%08x)", what, code); }

int dispatch(const std::vector<std::string> &words) {
    if (words.empty()) return 0;
    const Command *best = nullptr;
    size_t bestLen = 0;
    for (const Command &c : table()) {
        const size_t n = split(c.keywords).size();
        if (n <= words.size() && matched(c, words) == static_cast<int>(n) && n > bestLen) {
            best = &c;
            bestLen = n;
        }
    }
    if (best == nullptr) {
        bool partial = false;
        for (const Command &c : table())
            if (matched(c, words) == static_cast<int>(words.size())) partial = true;
        if (partial) return fail("incomplete command; type '%s ?' for what may follow", words[0].c_str());
        return fail("unknown command '%s'; type '?' for the commands", words[0].c_str());
    }
    Args args(std::vector<std::string>(words.begin() + static_cast<long>(bestLen), words.end()));
    return best->run(args);
}

void show_help(const std::vector<std::string> &typed) {
    dpsim::clear_help_lines();
    for (const Command &c : table()) {
        const int m = matched(c, typed);
        if (m < 0 || m < static_cast<int>(typed.size())) continue;
        std::string line = c.keywords;
        if (c.syntax && *c.syntax) line += std::string(" ") + c.syntax;
        CLI_NewHelpInfo(line.c_str(), c.help, nullptr);
    }
    for (const dpsim::HelpLine &h : dpsim::take_help_lines())
        std::printf("  %-60s %s\n", h.keyword.c_str(), h.help.c_str());
}

const std::string &Args::peek() const {
    static const std::string empty;
    return done() ? empty : words_[pos_];
}

std::string Args::next() { return done() ? std::string() : words_[pos_++]; }

bool Args::take(const char *keyword) {
    if (done() || !same_word(words_[pos_], keyword)) return false;
    ++pos_;
    return true;
}

int Args::take_one_of(std::initializer_list<const char *> keywords) {
    int i = 0;
    for (const char *k : keywords) {
        if (take(k)) return i;
        ++i;
    }
    return -1;
}

std::optional<uint32_t> Args::number(const char *what, uint32_t min, uint32_t max) {
    if (done()) {
        fail("%s missing: a number from %u to %u", what, min, max);
        return std::nullopt;
    }
    const std::string w = next();
    errno = 0;
    char *end = nullptr;
    const unsigned long long v = std::strtoull(w.c_str(), &end, 0);
    if (w.empty() || *end != '\0' || errno != 0 || w[0] == '-' || v < min || v > max) {
        fail("bad %s '%s': a number from %u to %u", what, w.c_str(), min, max);
        return std::nullopt;
    }
    return static_cast<uint32_t>(v);
}

std::optional<Args::Address> Args::address(const char *what) {
    if (done()) {
        fail("%s missing: an IPv4 or IPv6 address", what);
        return std::nullopt;
    }
    const std::string w = next();
    Address a;
    in_addr v4{};
    if (inet_pton(AF_INET, w.c_str(), &v4) == 1) {
        a.family = 4;
        a.addr4 = ntohl(v4.s_addr);
        return a;
    }
    if (inet_pton(AF_INET6, w.c_str(), a.addr6) == 1) {
        a.family = 6;
        return a;
    }
    fail("bad %s '%s': an IPv4 or IPv6 address", what, w.c_str());
    return std::nullopt;
}

bool Args::finish() {
    if (done()) return true;
    fail("unexpected '%s'", peek().c_str());
    return false;
}

bool ensure_service() {
    const uint16_t master = DEV_GetSystemMaster();
    uint32_t status = 0;
    if (SERVICE_GetStatus(master, "SESSION", 0, &status) == 0 && status == SERVICE_STATUS_RUNNING) return true;
    const uint32_t rc = SERVICE_Start(master, "SESSION", 0, 0);
    if (rc != 0) {
        fail("the session service cannot be started (0x%08x)", rc);
        return false;
    }
    return true;
}

}  // namespace cli
