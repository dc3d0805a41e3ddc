// SPDX-License-Identifier: Apache-2.0
#include "shell.h"

#include <editline/readline.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "cli.h"
#include "grammar.h"
#include "output.h"

namespace shell {

namespace {

volatile sig_atomic_t g_interrupted = 0;

void on_interrupt(int) { g_interrupted = 1; }

// Reads a key; Ctrl-C ends the line (which the loop then drops).
int read_key(FILE *in) {
    for (;;) {
        unsigned char c = 0;
        const ssize_t n = ::read(::fileno(in), &c, 1);
        if (n == 1) return c;
        if (n < 0 && errno == EINTR) {
            if (g_interrupted) return '\n';
            continue;
        }
        return EOF;
    }
}

// The candidates of the completion under way, handed out one by one.
std::vector<std::string> g_candidates;

char *next_candidate(const char *, int state) {
    static size_t next = 0;
    if (state == 0) next = 0;
    return next < g_candidates.size() ? ::strdup(g_candidates[next++].c_str()) : nullptr;
}

// The completion of the word at [start, end) of the line: null when there
// is none, else the common part and the matches, as readline hands them.
char **complete_at(const std::string &line, const char *text, int start) {
    const std::vector<std::string> before = words_of(line.substr(0, static_cast<size_t>(start)));
    g_candidates = cli::complete(before, text);
    return rl_completion_matches(text, next_candidate);
}

char **attempted_completion(const char *text, int start, int) {
    rl_attempted_completion_over = 1;  // never fall back to file names
    return complete_at(rl_line_buffer != nullptr ? rl_line_buffer : "", text, start);
}

// '?' anywhere on the line: the help for the words before the cursor; a
// word touching the cursor is a partly typed one.
int help_key(int, int) {
    std::printf("?\n");
    const std::string before(rl_line_buffer, static_cast<size_t>(rl_point));
    const bool partial = !before.empty() && before.back() != ' ';
    cli::show_help(words_of(before), partial);
    std::fflush(stdout);
    rl_on_new_line();
    return 0;
}

}  // namespace

std::vector<std::string> words_of(const std::string &line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    std::string w;
    while (in >> w) words.push_back(w);
    return words;
}

int run_words(std::vector<std::string> words) {
    if (words.empty()) return cli::kOk;
    // "... ?" asks what may follow; "... af?" what the partly typed word
    // may become.
    if (!words.back().empty() && words.back().back() == '?') {
        std::string &last = words.back();
        last.pop_back();
        const bool partial = !last.empty();
        if (!partial) words.pop_back();
        cli::show_help(words, partial);
        return cli::kOk;
    }
    if (words.size() == 1 && words[0] == "help") {
        cli::show_help({});
        return cli::kOk;
    }
    return cli::run_line(words);
}

int print_completions(const std::string &line) {
    const size_t cut = line.find_last_of(" \t");
    const size_t start = cut == std::string::npos ? 0 : cut + 1;
    const std::string text = line.substr(start);
    char **matches = complete_at(line, text.c_str(), static_cast<int>(start));
    if (matches == nullptr) return cli::kNotFound;
    // [0] is the common part; the matches follow (or [0] alone is the one).
    for (size_t i = matches[1] != nullptr ? 1 : 0; matches[i] != nullptr; ++i) std::printf("%s\n", matches[i]);
    for (size_t i = 0; matches[i] != nullptr; ++i) std::free(matches[i]);
    std::free(matches);
    return cli::kOk;
}

int run() {
    struct sigaction sa {};
    sa.sa_handler = on_interrupt;  // no SA_RESTART: the key read sees EINTR
    sigemptyset(&sa.sa_mask);
    ::sigaction(SIGINT, &sa, nullptr);
    rl_catch_signals = 0;
    rl_getc_function = read_key;
    rl_readline_name = "dpmgmt";
    rl_attempted_completion_function = attempted_completion;
    rl_initialize();
    rl_add_defun("dpmgmt-help", help_key, '?');

    const char *home = std::getenv("HOME");
    const std::string historyFile = std::string(home ? home : ".") + "/.dpmgmt_history";
    read_history(historyFile.c_str());
    int last = cli::kOk;
    for (;;) {
        g_interrupted = 0;
        char *line = readline("dpmgmt> ");
        if (g_interrupted) {
            // Ctrl-C: the line is dropped, the shell goes on.
            std::free(line);
            continue;
        }
        if (line == nullptr) break;
        const std::string text(line);
        std::free(line);
        const std::vector<std::string> words = words_of(text);
        if (words.empty()) continue;
        if (words[0] == "quit" || words[0] == "exit") break;
        // Saved as you go: a shell that dies keeps what was typed.
        add_history(text.c_str());
        write_history(historyFile.c_str());
        last = run_words(words);
        std::fflush(stdout);
    }
    return last;
}

}  // namespace shell
