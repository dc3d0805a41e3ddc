// Shared by the command-line tests: a dpservice of a few sessions per node
// and the checks every refused command must pass.
#ifndef DPTEST_CLI_SUPPORT_H
#define DPTEST_CLI_SUPPORT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "support/service_process.h"

namespace clitest {

// Runs dpmgmt with the words; the test fails when it did not exit 0.
inline std::string ok(std::vector<std::string> words) {
    const std::string shown = [&] {
        std::string s;
        for (const auto &w : words) s += w + " ";
        return s;
    }();
    const dptest::CliResult r = dptest::run_cli(std::move(words));
    EXPECT_EQ(r.status, 0) << shown << "\nstderr: " << r.err;
    EXPECT_EQ(r.err, "") << shown;
    return r.out;
}

// A refused command: non-zero status, exactly one line on standard error
// (naming `mention`), nothing on standard output.
inline void refused(std::vector<std::string> words, const std::string &mention) {
    const dptest::CliResult r = dptest::run_cli(std::move(words));
    EXPECT_NE(r.status, 0);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_EQ(r.err.rfind("dpmgmt: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find(mention), std::string::npos) << r.err;
    EXPECT_EQ(r.out, "");
}

// The first number captured by the pattern's group 1, if it matches.
inline std::optional<unsigned long> number_after(const std::string &text, const std::string &pattern) {
    std::smatch m;
    if (!std::regex_search(text, m, std::regex(pattern))) return std::nullopt;
    return std::stoul(m[1].str());
}

}  // namespace clitest

#endif
