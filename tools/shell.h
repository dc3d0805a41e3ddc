// SPDX-License-Identifier: Apache-2.0
// The interactive shell (libedit through its readline-compatible
// interface): Tab completion, '?' help, Ctrl-C clearing the line, history
// kept in ~/.dpmgmt_history as you go.
#ifndef DPMGMT_TOOLS_SHELL_H
#define DPMGMT_TOOLS_SHELL_H

#include <string>
#include <vector>

namespace shell {

// The shell's prompt loop; the status of the last command.
int run();
// The matches the shell's completion function offers for the word at the
// end of the line (after its last blank), one per line on standard output
// as a terminal would list them; for scripts and the bash completion.
int print_completions(const std::string &line);

// The words of a line, split at blanks and tabs.
std::vector<std::string> words_of(const std::string &line);
// Runs the words of one line: '?' help, "help", or a command.
int run_words(std::vector<std::string> words);

}  // namespace shell

#endif
