// SPDX-License-Identifier: Apache-2.0
// The commands' syntax texts read as a grammar: what may come next after
// the words typed so far (for Tab, '?' and the bash completion), the values
// of an argument slot, and the unique keyword prefixes a command may be
// typed with ("dis sess tab").
//
// Slots with values the device or the library knows: PROTOCOL, STATE,
// APPLICATION, INTERFACE, ACL, ACL-NAME, DSCP, SLOT.  Numeric slots (ID,
// RULE, HIGH, LOW, SECONDS, VALUE, ...) take digits only; TEXT and REGEX
// take the rest of the line.
#ifndef DPMGMT_TOOLS_GRAMMAR_H
#define DPMGMT_TOOLS_GRAMMAR_H

#include <string>
#include <vector>

#include "cli.h"

namespace cli {

// What may follow a command's keywords and the argument words typed after
// them (all complete): keywords and slot names.
struct Next {
    std::vector<std::string> keywords;
    std::vector<std::string> slots;
};
Next next_of(const Command &command, const std::vector<std::string> &args);

// The values a slot takes, given the argument words before it (empty when
// it takes any text or number).
std::vector<std::string> slot_values(const std::string &slot, const std::vector<std::string> &args);

// Completions of `partial` (the word being typed, maybe empty) after the
// complete words `before`: command keywords, argument keywords, slot
// values and, after "|", the output filters.  Sorted, without repeats.
std::vector<std::string> complete(const std::vector<std::string> &before, const std::string &partial);

// Lines for '?' after the words (the last one partly typed with partial):
// what may follow, each with what it is.  Empty when nothing is known.
std::vector<std::pair<std::string, std::string>> argument_help(const std::vector<std::string> &typed,
                                                               bool partial);

// The words with every unique prefix of a keyword (command or argument
// keyword, where no value could stand instead) spelt out.
std::vector<std::string> expand(const std::vector<std::string> &words);

}  // namespace cli

#endif
