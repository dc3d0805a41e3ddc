// SPDX-License-Identifier: Apache-2.0
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
#include <memory>
#include <algorithm>

#include "grammar.h"
#include "json_out.h"
#include "platform/dev.h"
#include "platform/iface.h"
#include "platform/names.h"
#include "platform/cli.h"
#include "platform/rc.h"
#include "platform/service.h"
#include "platform/wait.h"
#include "replay.h"

namespace cli {

namespace {

std::vector<Command> &table() {
    static std::vector<Command> t;
    return t;
}

std::vector<std::string> split(const char *text) { return split_words(text); }

unsigned long g_line = 0;     // the batch line being run, 0 outside a batch
bool g_faultReported = false;  // the recorded fault was reported already
bool g_reported = false;       // a line was reported since the last clear
int g_reportedStatus = 0;      // the status of that line

constexpr size_t kShownWord = 64;

// Cuts every quoted word longer than kShownWord characters.
std::string cut_quoted(const std::string &text) {
    std::string out;
    size_t i = 0;
    while (i < text.size()) {
        const size_t open = text.find('\'', i);
        const size_t close = open == std::string::npos ? open : text.find('\'', open + 1);
        if (close == std::string::npos) break;
        out.append(text, i, open + 1 - i);
        if (close - open - 1 > kShownWord)
            out.append(text, open + 1, kShownWord).append("...");
        else
            out.append(text, open + 1, close - open - 1);
        out += '\'';
        i = close + 1;
    }
    out.append(text, i, std::string::npos);
    return out;
}

void vreport(const char *fmt, va_list ap) {
    std::fflush(stdout);
    g_reported = true;
    char small[512];
    va_list copy;
    va_copy(copy, ap);
    const int n = std::vsnprintf(small, sizeof small, fmt, copy);
    va_end(copy);
    std::string text;
    if (n >= 0 && static_cast<size_t>(n) < sizeof small) {
        text = small;
    } else if (n >= 0) {
        text.resize(static_cast<size_t>(n) + 1);
        std::vsnprintf(text.data(), text.size(), fmt, ap);
        text.resize(static_cast<size_t>(n));
    }
    if (g_line != 0)
        std::fprintf(stderr, "dpmgmt: line %lu: %s\n", g_line, cut_quoted(text).c_str());
    else
        std::fprintf(stderr, "dpmgmt: %s\n", cut_quoted(text).c_str());
}


// " (<system error text>)" of a fault, or "".
std::string cause(const PLAT_FAULT_S &f) {
    return f.sysErrno != 0 ? std::string(" (") + std::strerror(f.sysErrno) + ")" : std::string();
}

// What a recorded fault says, in words.
std::string fault_text(const PLAT_FAULT_S &f) {
    char text[PLAT_ENDPOINT_SIZE + 160];
    const std::string why = cause(f);
    switch (f.kind) {
    case PLAT_FAULT_TIMEOUT:
        std::snprintf(text, sizeof text, "%s did not answer within %.1f s", f.endpoint, f.waitedMs / 1000.0);
        break;
    case PLAT_FAULT_GONE:
        std::snprintf(text, sizeof text, "%s went away%s", f.endpoint, why.c_str());
        break;
    case PLAT_FAULT_UNREACHABLE:
        std::snprintf(text, sizeof text, "nobody answers at %s%s", f.endpoint, why.c_str());
        break;
    case PLAT_FAULT_UNTRUSTED:
        std::snprintf(text, sizeof text, "%s belongs to another user or is open to others; refused", f.endpoint);
        break;
    case PLAT_FAULT_START:
        std::snprintf(text, sizeof text, "cannot start the session service %s%s", f.endpoint, why.c_str());
        break;
    case PLAT_FAULT_DIRECTORY:
        std::snprintf(text, sizeof text, "directory %s refused%s", f.endpoint, why.c_str());
        break;
    case PLAT_FAULT_STALLED:
        std::snprintf(text, sizeof text, "%s kept answering \"more\" with nothing", f.endpoint);
        break;
    default:
        std::snprintf(text, sizeof text, "%s failed (fault %u)%s", f.endpoint, f.kind, why.c_str());
    }
    return text;
}

int fault_status(const PLAT_FAULT_S &f) {
    const bool environment =
        f.kind == PLAT_FAULT_UNTRUSTED || f.kind == PLAT_FAULT_START || f.kind == PLAT_FAULT_DIRECTORY;
    return environment ? kEnvironment : kServiceFailed;
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

std::vector<std::string> split_words(const char *text) {
    std::vector<std::string> words;
    std::string w;
    for (const char *p = text; p != nullptr && *p; ++p) {
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

int report(int status, const char *fmt, ...) {
    g_reportedStatus = status;
    va_list ap;
    va_start(ap, fmt);
    vreport(fmt, ap);
    va_end(ap);
    return status;
}

int fail(const char *fmt, ...) {
    g_reportedStatus = kRefused;
    va_list ap;
    va_start(ap, fmt);
    vreport(fmt, ap);
    va_end(ap);
    return kRefused;
}

int not_found(const char *fmt, ...) {
    g_reportedStatus = kNotFound;
    va_list ap;
    va_start(ap, fmt);
    vreport(fmt, ap);
    va_end(ap);
    return kNotFound;
}

int failed(const char *what, uint32_t code) {
    PLAT_FAULT_S f{};
    if (PLAT_GetFault(&f) == PLAT_FAULT_NONE) return report(kServiceFailed, "%s failed (0x%08x)", what, code);
    if (g_faultReported) return fault_status(f);
    g_faultReported = true;
    return report(fault_status(f), "%s failed: %s", what, fault_text(f).c_str());
}

int check_fault(int status) {
    // A failed command's status is that of the line it reported.
    if (status != kOk && g_reported) status = g_reportedStatus;
    PLAT_FAULT_S f{};
    if (g_faultReported || PLAT_GetFault(&f) == PLAT_FAULT_NONE) return status;
    g_faultReported = true;
    // The command said why it failed already: one line is enough.
    if (status != kOk && g_reported) return fault_status(f);
    if (status == kOk) return report(fault_status(f), "the listing is incomplete: %s", fault_text(f).c_str());
    return report(fault_status(f), "%s", fault_text(f).c_str());
}

void clear_fault() {
    PLAT_ClearFault();
    g_faultReported = false;
    g_reported = false;
}

void set_line(unsigned long line) { g_line = line; }

bool plain_text(const char *what, const std::string &text) {
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7F) {
            fail("control character 0x%02x in the %s: not accepted", u, what);
            return false;
        }
    }
    return true;
}

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

int dispatch(const std::vector<std::string> &typed) {
    if (typed.empty()) return kOk;
    for (const std::string &w : typed)
        if (!plain_text("command line", w)) return kRefused;
    const std::vector<std::string> words = expand(typed);
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
    clear_fault();
    const int started = ensure_service(std::strcmp(best->keywords, "recover") != 0);
    if (started != kOk) return started;
    clear_fault();
    return check_fault(json::enabled() ? json::run(*best, args) : best->run(args));
}

void show_help(const std::vector<std::string> &given, bool partial) {
    // Unique prefixes count as the keywords they begin; a partly typed
    // last word stays as it is.
    std::vector<std::string> typed = given;
    if (partial && !typed.empty()) {
        const std::string last = typed.back();
        typed.pop_back();
        typed = expand(typed);
        typed.push_back(last);
    } else {
        typed = expand(typed);
    }
    // The commands that begin with the typed words, then what the
    // arguments take: the help a command collects through the platform, or
    // else what its syntax says.
    using Lines = std::vector<std::pair<std::string, std::string>>;
    Lines commandLines, argumentLines;
    auto collect = [&argumentLines] {
        const uint32_t n = CLI_TakeHelpInfo();
        for (uint32_t i = 0; i < n; ++i) {
            const char *keyword = "", *help = "";
            if (CLI_GetHelpLine(i, &keyword, &help) == 0) argumentLines.emplace_back(keyword, help);
        }
    };
    CLI_ClearHelpInfo();
    for (const Command &c : table()) {
        const int kwCount = static_cast<int>(split(c.keywords).size());
        const int m = matched(c, typed, partial);
        if (m < 0) continue;
        if (m < static_cast<int>(typed.size())) {
            if (m == kwCount && c.arg_help != nullptr && matched(c, typed) == kwCount) {
                c.arg_help(std::vector<std::string>(typed.begin() + kwCount, typed.end()), partial);
                collect();
            }
            continue;
        }
        if (m == kwCount && c.arg_help != nullptr && !partial) {
            c.arg_help({}, false);
            collect();
        }
        std::string line = c.keywords;
        if (c.syntax && *c.syntax) line += std::string(" ") + c.syntax;
        commandLines.emplace_back(line, c.help);
    }
    if (argumentLines.empty() && find(expand(typed)) != nullptr) argumentLines = argument_help(typed, partial);
    for (const Lines *lines : {&commandLines, &argumentLines})
        for (const auto &[keyword, help] : *lines) std::printf("  %-60s %s\n", keyword.c_str(), help.c_str());
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

int ensure_service(bool replay) {
    const uint16_t master = DEV_GetSystemMaster();
    uint32_t status = 0;
    if (SERVICE_GetStatus(master, "SESSION", 0, &status) == 0 && status == SERVICE_STATUS_RUNNING) return kOk;
    const uint32_t rc = SERVICE_Start(master, "SESSION", 0, 0);
    if (rc != 0) {
        PLAT_FAULT_S f{};
        if (PLAT_GetFault(&f) != PLAT_FAULT_NONE) {
            g_faultReported = true;
            return report(fault_status(f), "%s", fault_text(f).c_str());
        }
        return report(kEnvironment, "the session service cannot be started (0x%08x); see dpservice.log in the run directory",
                   rc);
    }
    if (!replay) return kOk;
    const Replayed r = replay_stored();
    if (r.status != kOk) return r.status;
    std::fflush(stdout);
    std::fprintf(stderr, "dpmgmt: started the session service; replayed the stored configuration (%s)\n",
                 r.summary().c_str());
    return r.refused();
}

namespace {

// The device's nodes, through the platform.
std::vector<uint16_t> all_nodes() {
    uint32_t count = 0;
    std::unique_ptr<uint16_t, decltype(&std::free)> nodes(DEV_GetAllNodes(&count), &std::free);
    if (!nodes) return {};
    return std::vector<uint16_t>(nodes.get(), nodes.get() + count);
}

}  // namespace

std::vector<uint32_t> slots() {
    std::vector<uint32_t> out;
    for (uint16_t n : all_nodes())
        if (std::find(out.begin(), out.end(), LIP_GetSlotID(n)) == out.end()) out.push_back(LIP_GetSlotID(n));
    return out;
}

std::optional<uint16_t> node_of_slot(uint32_t slot) {
    std::optional<uint16_t> found;
    for (uint16_t n : all_nodes())
        // The first CPU of the slot stands for it.
        if (LIP_GetSlotID(n) == slot && (!found || LIP_GetCpuID(n) < LIP_GetCpuID(*found))) found = n;
    if (!found) {
        std::vector<std::string> names;
        for (uint32_t s : slots()) names.push_back(std::to_string(s));
        not_found("no slot %u; the device has slot %s", slot, list_words(names).c_str());
    }
    return found;
}

std::vector<uint16_t> nodes_up() {
    std::vector<uint16_t> out;
    for (uint16_t n : all_nodes())
        if (IF_IsNodeUp(n) == 1) out.push_back(n);
    return out;
}

std::vector<uint32_t> interface_indexes() {
    uint32_t count = 0;
    std::unique_ptr<uint32_t, decltype(&std::free)> all(IF_GetAllIfIndexes(&count), &std::free);
    if (!all) return {};
    return std::vector<uint32_t>(all.get(), all.get() + count);
}

std::optional<uint32_t> interface_index(const std::string &name) {
    std::vector<std::string> names;
    for (uint32_t i : interface_indexes()) {
        names.push_back(interface_name(i));
        if (same_word(name, names.back().c_str())) return i;
    }
    not_found("no interface '%s'; the device has %s", name.c_str(), list_words(names).c_str());
    return std::nullopt;
}

std::string interface_name(uint32_t ifIndex) {
    if (ifIndex == 0) return "global";
    char name[IF_NAME_SIZE] = {};
    if (IF_GetDataByIfIndex(ifIndex, IF_DATA_FULLNAME, name) != 0) return "ifindex " + std::to_string(ifIndex);
    name[sizeof name - 1] = '\0';
    return name;
}

std::vector<uint32_t> acl_numbers(uint32_t type) {
    uint32_t count = 0;
    std::unique_ptr<uint32_t, decltype(&std::free)> all(ACL_GetAllIndexes(type, &count), &std::free);
    if (!all) return {};
    return std::vector<uint32_t>(all.get(), all.get() + count);
}

std::string acl_name(uint32_t type, uint32_t number) {
    char name[ACL_NAME_SIZE] = {};
    if (ACL_GetNameByIndex(type, number, name) != 0) return {};
    name[sizeof name - 1] = '\0';
    return name;
}

std::vector<std::string> help_keywords(void (*call)()) {
    CLI_ClearHelpInfo();
    call();
    std::vector<std::string> words;
    const uint32_t lines = CLI_TakeHelpInfo();
    for (uint32_t i = 0; i < lines; ++i) {
        const char *keyword = nullptr;
        if (CLI_GetHelpLine(i, &keyword, nullptr) == 0) words.emplace_back(keyword);
    }
    return words;
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
