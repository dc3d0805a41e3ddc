// dpmgmt: the operator command line over the library.
//
//   dpmgmt <command words...>   runs one command; exit status 0 or 1
//   dpmgmt                      an interactive shell (readline, history,
//                               '?' for help on what may follow)
#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "cli.h"

namespace {

std::vector<std::string> words_of(const std::string &line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    std::string w;
    while (in >> w) words.push_back(w);
    return words;
}

int run_words(std::vector<std::string> words) {
    if (words.empty()) return 0;
    // "... ?" asks what may follow; "... af?" what the partly typed word
    // may become.
    if (words.back().size() > 0 && words.back().back() == '?') {
        std::string &last = words.back();
        last.pop_back();
        const bool partial = !last.empty();
        if (!partial) words.pop_back();
        cli::show_help(words, partial);
        return 0;
    }
    if (words.size() == 1 && (words[0] == "help" || words[0] == "--help" || words[0] == "-h")) {
        cli::show_help({});
        return 0;
    }
    return cli::dispatch(words);
}

// '?' typed anywhere on the line shows the help for the words before it;
// a word touching the cursor is a partly typed one.
int help_key(int, int) {
    std::printf("?\n");
    const std::string before(rl_line_buffer, static_cast<size_t>(rl_point));
    const bool partial = !before.empty() && before.back() != ' ';
    cli::show_help(words_of(before), partial);
    rl_on_new_line();
    return 0;
}

int shell() {
    rl_bind_key('?', help_key);
    const char *home = std::getenv("HOME");
    const std::string historyFile = std::string(home ? home : ".") + "/.dpmgmt_history";
    read_history(historyFile.c_str());
    int last = 0;
    for (;;) {
        char *line = readline("dpmgmt> ");
        if (line == nullptr) break;
        const std::string text(line);
        std::free(line);
        const std::vector<std::string> words = words_of(text);
        if (words.empty()) continue;
        if (words[0] == "quit" || words[0] == "exit") break;
        add_history(text.c_str());
        last = run_words(words);
        std::fflush(stdout);
    }
    write_history(historyFile.c_str());
    return last;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc <= 1) {
        if (isatty(STDIN_FILENO)) return shell();
        // Commands from a pipe, one per line; the status of the last.
        int last = 0;
        char buf[4096];
        while (std::fgets(buf, sizeof buf, stdin) != nullptr) {
            last = run_words(words_of(buf));
            std::fflush(stdout);
        }
        return last;
    }
    return run_words(std::vector<std::string>(argv + 1, argv + argc));
}
