// SPDX-License-Identifier: Apache-2.0
#include "grammar.h"

#include <netdb.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <functional>
#include <map>
#include <set>

#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"

namespace cli {

namespace {

// ------------------------------------------------------------- syntax ----

// A word (keyword or slot) or a group of alternatives, optional or not.
struct Node {
    std::string atom;
    bool optional = false;
    std::vector<std::vector<Node>> alternatives;
    bool group() const { return atom.empty(); }
};
using Seq = std::vector<Node>;

std::vector<std::string> tokens_of(const char *syntax) {
    std::vector<std::string> out;
    std::string word;
    auto flush = [&] {
        if (!word.empty()) out.push_back(word);
        word.clear();
    };
    for (const char *p = syntax; p != nullptr && *p != '\0'; ++p) {
        if (std::strchr("[]()|", *p) != nullptr) {
            flush();
            out.emplace_back(1, *p);
        } else if (*p == ' ') {
            flush();
        } else {
            word += *p;
        }
    }
    flush();
    return out;
}

Seq parse_seq(const std::vector<std::string> &t, size_t &i);

Node parse_group(const std::vector<std::string> &t, size_t &i) {
    Node g;
    g.optional = t[i] == "[";
    const char *close = g.optional ? "]" : ")";
    ++i;
    g.alternatives.push_back(parse_seq(t, i));
    while (i < t.size() && t[i] == "|") {
        ++i;
        g.alternatives.push_back(parse_seq(t, i));
    }
    if (i < t.size() && t[i] == close) ++i;
    return g;
}

Seq parse_seq(const std::vector<std::string> &t, size_t &i) {
    Seq s;
    while (i < t.size() && t[i] != "]" && t[i] != ")" && t[i] != "|") {
        if (t[i] == "[" || t[i] == "(")
            s.push_back(parse_group(t, i));
        else
            s.push_back(Node{t[i++], false, {}});
    }
    return s;
}

// Parsed once per command.
const Seq &syntax_of(const Command &c) {
    static std::map<const Command *, Seq> cache;
    auto it = cache.find(&c);
    if (it != cache.end()) return it->second;
    const std::vector<std::string> t = tokens_of(c.syntax);
    size_t i = 0;
    return cache.emplace(&c, parse_seq(t, i)).first->second;
}

bool is_slot(const std::string &atom) { return !atom.empty() && std::isupper(static_cast<unsigned char>(atom[0])); }
bool takes_rest(const std::string &slot) { return slot == "TEXT" || slot == "REGEX"; }
bool numeric_slot(const std::string &slot) {
    static const std::set<std::string> words = {"PROTOCOL", "STATE", "APPLICATION", "INTERFACE",
                                                "ACL-NAME", "DSCP",  "TEXT",        "REGEX",
                                                "CALL-ID",  "A",     "ADDRESS1",    "ADDRESS2"};
    return words.count(slot) == 0;
}

// Walks the typed words through a syntax and collects what could come
// next once they are used up.  A run of optional groups matches in any
// order, each at most once.
class Matcher {
public:
    explicit Matcher(const std::vector<std::string> &words) : w_(words) {}
    Next next;

    void seq(const Seq &s, size_t i, size_t wi, const std::function<void(size_t)> &k) {
        if (--budget_ < 0) return;
        if (i == s.size()) return k(wi);
        if (s[i].group() && s[i].optional) {
            size_t j = i;
            while (j < s.size() && s[j].group() && s[j].optional) ++j;
            return block(s, i, j, 0, wi, k);
        }
        node(s[i], wi, [&](size_t w2) { seq(s, i + 1, w2, k); });
    }

private:
    void block(const Seq &s, size_t i, size_t j, uint64_t used, size_t wi, const std::function<void(size_t)> &k) {
        seq(s, j, wi, k);
        for (size_t m = i; m < j && m - i < 64; ++m) {
            const uint64_t bit = uint64_t{1} << (m - i);
            if (used & bit) continue;
            for (const Seq &alt : s[m].alternatives)
                seq(alt, 0, wi, [&](size_t w2) {
                    if (w2 > wi) block(s, i, j, used | bit, w2, k);
                });
        }
    }

    void node(const Node &n, size_t wi, const std::function<void(size_t)> &k) {
        if (n.group()) {
            for (const Seq &alt : n.alternatives) seq(alt, 0, wi, k);
            if (n.optional) k(wi);
            return;
        }
        if (wi == w_.size()) {
            add(is_slot(n.atom) ? next.slots : next.keywords, n.atom);
            return;
        }
        if (is_slot(n.atom))
            k(takes_rest(n.atom) ? w_.size() : wi + 1);
        else if (same_word(w_[wi], n.atom.c_str()))
            k(wi + 1);
    }

    static void add(std::vector<std::string> &v, const std::string &s) {
        if (std::find(v.begin(), v.end(), s) == v.end()) v.push_back(s);
    }

    const std::vector<std::string> &w_;
    long budget_ = 100000;
};

std::string lower(std::string s) {
    for (char &c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool begins(const std::string &word, const std::string &typed) {
    return typed.size() <= word.size() && strncasecmp(word.c_str(), typed.c_str(), typed.size()) == 0;
}

std::vector<std::string> protocol_names() {
    std::set<std::string> names;
    setprotoent(1);
    while (const protoent *p = getprotoent()) names.insert(lower(p->p_name));
    endprotoent();
    return {names.begin(), names.end()};
}

bool keywords_lead(const Command &c, const std::vector<std::string> &words, size_t n) {
    const std::vector<std::string> kw = split_words(c.keywords);
    for (size_t i = 0; i < n; ++i)
        if (i >= kw.size() || !same_word(words[i], kw[i].c_str())) return false;
    return true;
}

// What may stand at position words.size(): command keywords of longer
// commands and what the commands whose keywords are all typed take next.
Next candidates(const std::vector<std::string> &words) {
    Next all;
    auto add = [](std::vector<std::string> &v, const std::string &s) {
        if (std::find(v.begin(), v.end(), s) == v.end()) v.push_back(s);
    };
    // Words after "|" belong to the output filters.
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i] != "|") continue;
        if (i + 1 == words.size())
            for (const char *f : {"include", "exclude", "count"}) add(all.keywords, f);
        else if (i + 2 == words.size() && !same_word(words[i + 1], "count"))
            add(all.slots, "REGEX");
        else if (same_word(words.back(), "count"))
            add(all.keywords, "|");
        return all;
    }
    for (const Command &c : commands()) {
        const std::vector<std::string> kw = split_words(c.keywords);
        const size_t n = std::min(kw.size(), words.size());
        if (!keywords_lead(c, words, n)) continue;
        if (words.size() < kw.size()) {
            add(all.keywords, kw[words.size()]);
            continue;
        }
        const Next next = next_of(c, std::vector<std::string>(words.begin() + static_cast<long>(kw.size()), words.end()));
        for (const auto &k : next.keywords) add(all.keywords, k);
        for (const auto &s : next.slots) add(all.slots, s);
    }
    return all;
}

}  // namespace

Next next_of(const Command &command, const std::vector<std::string> &args) {
    Matcher m(args);
    if (args.size() <= 32) m.seq(syntax_of(command), 0, 0, [](size_t) {});
    return m.next;
}

std::vector<std::string> slot_values(const std::string &slot, const std::vector<std::string> &args) {
    std::vector<std::string> out;
    const bool ipv6 = std::any_of(args.begin(), args.end(), [](const std::string &w) { return same_word(w, "ipv6"); });
    if (slot == "PROTOCOL") return protocol_names();
    if (slot == "STATE")
        for (uint32_t i = 0; i < SESSION_L4_AGING_COUNT; ++i) out.push_back(lower(SESSION_GetL4AgingStatusName(i)));
    if (slot == "APPLICATION")
        for (uint32_t i = 0; i < SESSION_APP_COUNT; ++i) out.push_back(lower(SESSION_GetAppName(i)));
    if (slot == "INTERFACE")
        for (uint32_t i : interface_indexes()) out.push_back(interface_name(i));
    if (slot == "ACL")
        for (uint32_t n : acl_numbers(ipv6 ? 2 : 1)) out.push_back(std::to_string(n));
    if (slot == "ACL-NAME")
        for (uint32_t n : acl_numbers(ipv6 ? 2 : 1)) out.push_back(acl_name(ipv6 ? 2 : 1, n));
    if (slot == "DSCP") return help_keywords([] { SQA_CLI_HelpDscp("?", 0, 0, nullptr); });
    if (slot == "SLOT")
        for (uint32_t s : slots()) out.push_back(std::to_string(s));
    return out;
}

std::vector<std::string> complete(const std::vector<std::string> &before, const std::string &partial) {
    const std::vector<std::string> words = expand(before);
    const Next next = candidates(words);
    std::set<std::string> out;
    for (const auto &k : next.keywords)
        if (begins(k, partial)) out.insert(k);
    for (const auto &s : next.slots)
        for (const auto &v : slot_values(s, words))
            if (begins(v, partial)) out.insert(v);
    return {out.begin(), out.end()};
}

std::vector<std::pair<std::string, std::string>> argument_help(const std::vector<std::string> &typed, bool partial) {
    std::vector<std::string> words = expand(typed);
    std::string last;
    if (partial && !words.empty()) {
        last = words.back();
        words.pop_back();
    }
    const Next next = candidates(words);
    std::vector<std::pair<std::string, std::string>> out;
    for (const auto &k : next.keywords)
        if (begins(k, last)) out.emplace_back(k, "keyword");
    for (const auto &s : next.slots) {
        const std::vector<std::string> values = slot_values(s, words);
        if (values.empty() && !partial) out.emplace_back(s, numeric_slot(s) ? "a number" : "a value");
        for (const auto &v : values)
            if (begins(v, last)) out.emplace_back(v, s);
    }
    return out;
}

std::vector<std::string> expand(const std::vector<std::string> &words) {
    std::vector<std::string> out;
    for (const std::string &w : words) {
        const Next next = candidates(out);
        bool exact = false;
        const std::string *only = nullptr;
        size_t begun = 0;
        for (const auto &k : next.keywords) {
            if (same_word(w, k.c_str())) exact = true;
            if (!w.empty() && begins(k, w)) {
                ++begun;
                only = &k;
            }
        }
        // A word that could be a value stays as typed, unless the only
        // values are numbers and the word is none.
        bool valueFits = false;
        for (const auto &s : next.slots)
            valueFits = valueFits || !numeric_slot(s) || std::isdigit(static_cast<unsigned char>(w[0]));
        out.push_back(!exact && begun == 1 && !valueFits ? *only : w);
    }
    return out;
}

}  // namespace cli
