// SPDX-License-Identifier: Apache-2.0
// The host's nft program, run as a child process: the service hands it a
// batch on its standard input or a listing command on its command line and
// reads what it prints.  The program is found once: DPSVC_NFT when set,
// else /usr/sbin/nft, /sbin/nft, else nft on PATH.
#ifndef DPSVC_NF_NFT_PROGRAM_H
#define DPSVC_NF_NFT_PROGRAM_H

#include <string>
#include <vector>

namespace dpsvc::nf {

struct NftResult {
    bool ok = false;     // started, exited 0, within the bounds
    std::string output;  // what it printed on stdout (at most kNftOutputMax bytes)
    std::string error;   // one line: its first line of stderr, or why it did not run
};

// A listing of a table with many sets stays well below this; more is refused.
inline constexpr size_t kNftOutputMax = 64u << 20;
// A batch or a listing that takes longer than this is killed.
inline constexpr int kNftDeadlineMs = 10000;

// Runs `path args...` (path searched on PATH when it has no slash),
// writing `input` to its standard input; killed after deadlineMs.
NftResult run_program(const std::string &path, const std::vector<std::string> &args, const std::string &input,
                      int deadlineMs);
// run_program of the host's nft with kNftDeadlineMs.
NftResult run_nft(const std::vector<std::string> &args, const std::string &input);

}  // namespace dpsvc::nf

#endif
