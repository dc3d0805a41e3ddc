// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include <regex.h>
#include <unistd.h>

#include <memory>

#include "cli.h"
#include "grammar.h"
#include "json_out.h"

namespace cli {

Capture::Capture() {
    std::fflush(stdout);
    file_ = std::tmpfile();
    if (file_ == nullptr) return;
    saved_ = ::dup(STDOUT_FILENO);
    if (saved_ < 0 || ::dup2(::fileno(file_), STDOUT_FILENO) < 0) {
        std::fclose(file_);
        file_ = nullptr;
    }
}

Capture::~Capture() {
    release();
    if (file_ != nullptr) std::fclose(file_);
}

FILE *Capture::release() {
    if (saved_ >= 0) {
        std::fflush(stdout);
        ::dup2(saved_, STDOUT_FILENO);
        ::close(saved_);
        saved_ = -1;
        if (file_ != nullptr) std::rewind(file_);
    }
    return file_;
}

long copy_out(FILE *file) {
    char buf[65536];
    long total = 0;
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, file)) > 0) {
        std::fwrite(buf, 1, n, stdout);
        total += static_cast<long>(n);
    }
    return total;
}

namespace {

struct Filter {
    enum Kind { kInclude, kExclude, kCount } kind = kCount;
    std::unique_ptr<regex_t, void (*)(regex_t *)> re{nullptr, [](regex_t *r) {
                                                        regfree(r);
                                                        delete r;
                                                    }};
};

// For a refusal already reported: false.
bool refused(int) { return false; }

// The filters after the first "|"; false after reporting a bad one.
bool parse_filters(const std::vector<std::string> &words, size_t from, std::vector<Filter> &out) {
    size_t i = from;
    while (i < words.size()) {
        if (words[i] != "|")
            return refused(fail("unexpected '%s' after an output filter; another one begins with '|'", words[i].c_str()));
        if (++i == words.size()) return refused(fail("output filter missing after '|': include, exclude or count"));
        Filter f;
        if (same_word(words[i], "count")) {
            out.push_back(std::move(f));
            ++i;
            continue;
        }
        if (same_word(words[i], "include"))
            f.kind = Filter::kInclude;
        else if (same_word(words[i], "exclude"))
            f.kind = Filter::kExclude;
        else
            return refused(fail("bad output filter '%s': include, exclude or count", words[i].c_str()));
        std::string pattern;
        for (++i; i < words.size() && words[i] != "|"; ++i) pattern += (pattern.empty() ? "" : " ") + words[i];
        if (pattern.empty()) return refused(fail("regular expression missing after '%s'", words[i - 1].c_str()));
        f.re.reset(new regex_t);
        if (regcomp(f.re.get(), pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
            delete f.re.release();
            return refused(fail("bad regular expression '%s'", pattern.c_str()));
        }
        out.push_back(std::move(f));
    }
    return true;
}

// Passes the lines of the file through the filters to standard output.
void filter_lines(FILE *in, const std::vector<Filter> &filters) {
    char *line = nullptr;
    size_t cap = 0;
    ssize_t len;
    std::vector<unsigned long> counts(filters.size(), 0);
    while ((len = ::getline(&line, &cap, in)) > 0) {
        // Lines are matched without their ending (LF or CR LF).
        std::string text(line, static_cast<size_t>(len));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        bool pass = true;
        size_t f = 0;
        for (; f < filters.size() && pass; ++f) {
            if (filters[f].kind == Filter::kCount) {
                ++counts[f];
                pass = false;  // a count swallows the lines, later filters see its total
                break;
            }
            const bool hit = regexec(filters[f].re.get(), text.c_str(), 0, nullptr, 0) == 0;
            pass = filters[f].kind == Filter::kInclude ? hit : !hit;
        }
        if (pass) std::fwrite(line, 1, static_cast<size_t>(len), stdout);
    }
    std::free(line);
    // Only the first count prints: it stands for the lines that reached it.
    for (size_t f = 0; f < filters.size(); ++f)
        if (filters[f].kind == Filter::kCount) {
            std::printf("Count: %lu\r\n", counts[f]);
            break;
        }
}

}  // namespace

int run_line(const std::vector<std::string> &typed) {
    const std::vector<std::string> words = expand(typed);
    size_t bar = 0;
    while (bar < words.size() && words[bar] != "|") ++bar;
    if (bar == words.size()) return dispatch(words);
    if (json::enabled()) return fail("output filters do not apply to JSON output; filter it with jq");
    std::vector<Filter> filters;
    if (!parse_filters(words, bar, filters)) return kRefused;
    const std::vector<std::string> command(words.begin(), words.begin() + static_cast<long>(bar));
    Capture capture;
    if (!capture.ok()) return report(kEnvironment, "cannot hold the output back for the filter: no temporary file");
    const int status = dispatch(command);
    FILE *out = capture.release();
    filter_lines(out, filters);
    std::fflush(stdout);
    return status;
}

}  // namespace cli
