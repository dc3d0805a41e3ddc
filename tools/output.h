// SPDX-License-Identifier: Apache-2.0
// Standard output held back: the output filters of a display
// ("| include REGEX", "| exclude REGEX", "| count", chained left to right)
// and the displays that must know whether they printed anything.
#ifndef DPMGMT_TOOLS_OUTPUT_H
#define DPMGMT_TOOLS_OUTPUT_H

#include <cstdio>
#include <string>
#include <vector>

namespace cli {

// Sends standard output (descriptor 1 and stdout) into an unnamed
// temporary file for its life; release() puts standard output back and
// hands the file over, read from its start.
class Capture {
public:
    Capture();
    ~Capture();
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    bool ok() const { return file_ != nullptr; }
    // Standard output restored; the captured text (null when !ok()).  The
    // file is closed with the Capture.
    FILE *release();

private:
    FILE *file_ = nullptr;
    int saved_ = -1;
};

// Copies what a file holds to standard output; the number of bytes.
long copy_out(FILE *file);

// Runs one command line (words, maybe with output filters after a "|"
// word) and returns its exit status.
int run_line(const std::vector<std::string> &words);

}  // namespace cli

#endif
