#include "cli.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <strings.h>

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dpsim.h"
#include "platform/dev.h"
#include "platform/iface.h"
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

bool begins_word(const std::string &typed, const std::string &word) {
    return typed.size() <= word.size() && strncasecmp(typed.c_str(), word.c_str(), typed.size()) == 0;
}

// How many of the command's keywords the typed words match, in order; -1
// when a typed word contradicts them.  With partial, the last typed word
// (when it falls among the keywords) need only begin its keyword.
int matched(const Command &c, const std::vector<std::string> &typed, bool partial = false) {
    const std::vector<std::string> kw = split(c.keywords);
    size_t i = 0;
    for (; i < kw.size() && i < typed.size(); ++i) {
        const bool last = i + 1 == typed.size();
        const bool ok = (partial && last) ? begins_word(typed[i], kw[i]) : same_word(typed[i], kw[i].c_str());
        if (!ok) return -1;
    }
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

std::string list_words(const std::vector<std::string> &words) {
    std::string out;
    for (size_t i = 0; i < words.size(); ++i) {
        if (i > 0) out += (i + 1 == words.size()) ? " or " : ", ";
        out += words[i];
    }
    return out;
}

const Command *find(const std::vector<std::string> &words) {
    const Command *best = nullptr;
    size_t bestLen = 0;
    for (const Command &c : table()) {
        const size_t n = split(c.keywords).size();
        if (n <= words.size() && matched(c, words) == static_cast<int>(n) && n > bestLen) {
            best = &c;
            bestLen = n;
        }
    }
    return best;
}

int dispatch(const std::vector<std::string> &words) {
    if (words.empty()) return 0;
    const Command *best = find(words);
    // Words that stop inside a longer command's keywords ("display sqa sip")
    // are that command, unfinished, not arguments of a shorter one.
    bool unfinished = false;
    if (best != nullptr && split(best->keywords).size() < words.size())
        for (const Command &c : table())
            if (split(c.keywords).size() > words.size() && matched(c, words) == static_cast<int>(words.size()))
                unfinished = true;
    if (best == nullptr || unfinished) {
        // Name what could come next, so that the one line says what is
        // accepted there.
        size_t common = 0;
        std::vector<std::string> next;
        for (const Command &c : table()) {
            const std::vector<std::string> kw = split(c.keywords);
            size_t i = 0;
            while (i < kw.size() && i < words.size() && same_word(words[i], kw[i].c_str())) ++i;
            if (i > common) {
                common = i;
                next.clear();
            }
            if (i == common && i < kw.size()) {
                bool seen = false;
                for (const std::string &n : next) seen = seen || n == kw[i];
                if (!seen) next.push_back(kw[i]);
            }
        }
        if (common == words.size())
            return fail("incomplete command; '%s' goes on with %s", words.back().c_str(), list_words(next).c_str());
        return fail("unknown word '%s'; expected %s", words[common].c_str(), list_words(next).c_str());
    }
    const size_t n = split(best->keywords).size();
    Args args(std::vector<std::string>(words.begin() + static_cast<long>(n), words.end()));
    if (!ensure_service()) return 1;
    return best->run(args);
}

void show_help(const std::vector<std::string> &typed, bool partial) {
    dpsim::clear_help_lines();
    for (const Command &c : table()) {
        const int kwCount = static_cast<int>(split(c.keywords).size());
        const int m = matched(c, typed, partial);
        if (m < 0) continue;
        if (m < static_cast<int>(typed.size())) {
            // The typed words go past the keywords: the command's own
            // arguments may have help to offer.
            if (m == kwCount && c.arg_help != nullptr && matched(c, typed) == kwCount)
                c.arg_help(std::vector<std::string>(typed.begin() + kwCount, typed.end()), partial);
            continue;
        }
        if (m == kwCount && c.arg_help != nullptr && !partial) {
            c.arg_help({}, false);
        }
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

int Args::choose(const char *what, std::initializer_list<const char *> keywords) {
    const bool missing = done();
    const std::string word = peek();
    const int i = take_one_of(keywords);
    if (i >= 0) return i;
    const std::string accepted = list_words(std::vector<std::string>(keywords.begin(), keywords.end()));
    if (missing)
        fail("%s missing: %s", what, accepted.c_str());
    else
        fail("bad %s '%s': %s", what, word.c_str(), accepted.c_str());
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
    const unsigned long long v = std::strtoull(w.c_str(), &end, 10);
    if (w.empty() || *end != '\0' || errno != 0 || w[0] < '0' || w[0] > '9' || v < min || v > max) {
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

std::optional<uint8_t> Args::protocol(const char *what) {
    if (done()) {
        fail("%s missing: a protocol number from 0 to 255 or a name such as tcp, udp or icmp", what);
        return std::nullopt;
    }
    const std::string w = next();
    char *end = nullptr;
    errno = 0;
    const unsigned long v = std::strtoul(w.c_str(), &end, 10);
    if (!w.empty() && w[0] >= '0' && w[0] <= '9' && *end == '\0' && errno == 0 && v <= 255)
        return static_cast<uint8_t>(v);
    std::string lower = w;
    for (char &ch : lower) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    if (const protoent *p = getprotobyname(lower.c_str()); p != nullptr && p->p_proto >= 0 && p->p_proto <= 255)
        return static_cast<uint8_t>(p->p_proto);
    fail("bad %s '%s': a protocol number from 0 to 255 or a name such as tcp, udp or icmp", what, w.c_str());
    return std::nullopt;
}

std::string Args::rest() {
    std::string out;
    while (!done()) {
        if (!out.empty()) out += ' ';
        out += next();
    }
    return out;
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

std::optional<uint16_t> node_of_slot(uint32_t slot) {
    const dpsim::Profile &p = dpsim::profile();
    const dpsim::Node *found = nullptr;
    std::vector<std::string> slots;
    for (const dpsim::Node &n : p.nodes) {
        const std::string s = std::to_string(n.slot);
        bool seen = false;
        for (const std::string &x : slots) seen = seen || x == s;
        if (!seen) slots.push_back(s);
        // The first CPU of the slot stands for it.
        if (n.slot == slot && (found == nullptr || n.cpu < found->cpu)) found = &n;
    }
    if (found == nullptr) {
        fail("no slot %u; the device has slot %s", slot, list_words(slots).c_str());
        return std::nullopt;
    }
    return found->id;
}

std::vector<uint16_t> nodes_up() {
    std::vector<uint16_t> out;
    for (const dpsim::Node &n : dpsim::profile().nodes)
        if (IF_IsNodeUp(n.id) == 1) out.push_back(n.id);
    return out;
}

namespace {

bool family_fits(Family f, const Args::Address &a) {
    return f == Family::kAny || (f == Family::kIpv4 && a.family == 4) || (f == Family::kIpv6 && a.family == 6);
}

}  // namespace

std::optional<SessionFilter> parse_session_filter(Args &args, unsigned allowed) {
    SessionFilter f;
    while (!args.done()) {
        const std::string word = args.peek();
        if ((allowed & kFilterFamily) && f.family == Family::kAny && args.take("ipv4")) {
            f.family = Family::kIpv4;
        } else if ((allowed & kFilterFamily) && f.family == Family::kAny && args.take("ipv6")) {
            f.family = Family::kIpv6;
        } else if ((allowed & kFilterVerbose) && !f.verbose && args.take("verbose")) {
            f.verbose = true;
        } else if ((allowed & kFilterAddresses) && !f.source && args.take("source-ip")) {
            auto a = args.address("source address");
            if (!a) return std::nullopt;
            f.source = *a;
        } else if ((allowed & kFilterAddresses) && !f.destination && args.take("destination-ip")) {
            auto a = args.address("destination address");
            if (!a) return std::nullopt;
            f.destination = *a;
        } else if ((allowed & kFilterProtocol) && f.protocol == 0 && args.take("protocol")) {
            auto p = args.protocol("protocol");
            if (!p) return std::nullopt;
            f.protocol = *p;
        } else if ((allowed & kFilterPort) && f.destinationPort == 0 && args.take("destination-port")) {
            auto p = args.number("destination port", 1, 65535);
            if (!p) return std::nullopt;
            f.destinationPort = static_cast<uint16_t>(*p);
        } else if ((allowed & kFilterSlot) && !f.node && args.take("slot")) {
            auto s = args.number("slot", 0, 0xFFFF);
            if (!s) return std::nullopt;
            auto n = node_of_slot(*s);
            if (!n) return std::nullopt;
            f.node = n;
        } else {
            std::vector<std::string> accepted;
            if (allowed & kFilterFamily) accepted.insert(accepted.end(), {"ipv4", "ipv6"});
            if (allowed & kFilterVerbose) accepted.push_back("verbose");
            if (allowed & kFilterAddresses) accepted.insert(accepted.end(), {"source-ip", "destination-ip"});
            if (allowed & kFilterProtocol) accepted.push_back("protocol");
            if (allowed & kFilterPort) accepted.push_back("destination-port");
            if (allowed & kFilterSlot) accepted.push_back("slot");
            fail("unexpected '%s'; accepted here, each once: %s", word.c_str(), list_words(accepted).c_str());
            return std::nullopt;
        }
    }
    if (f.source && f.destination && f.source->family != f.destination->family) {
        fail("the source and destination addresses are of different families");
        return std::nullopt;
    }
    for (const auto *a : {&f.source, &f.destination}) {
        if (*a && !family_fits(f.family, **a)) {
            fail("address family does not match '%s'", f.family == Family::kIpv4 ? "ipv4" : "ipv6");
            return std::nullopt;
        }
    }
    // An address names its family when none was given.
    if (f.family == Family::kAny) {
        const auto &a = f.source ? f.source : f.destination;
        if (a) f.family = a->family == 4 ? Family::kIpv4 : Family::kIpv6;
    }
    return f;
}

std::optional<uint16_t> parse_slot_only(Args &args) {
    auto f = parse_session_filter(args, kFilterSlot);
    if (!f) return std::nullopt;
    return f->node ? *f->node : DEV_GetSelf();
}

}  // namespace cli
