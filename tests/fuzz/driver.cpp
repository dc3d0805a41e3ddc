// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target without a fuzzing engine: every input named on the
// command line (a directory stands for every file in it, in name order, so
// a checked-in corpus replays as a regression test), then a fixed number of
// seeded random inputs, with the displays' text sent to /dev/null and the
// report to standard error.  With a libFuzzer build the engine's own main
// takes this one's place.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

void run_file(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(data.data(), data.size());
}

// The files of a corpus directory, or the one file named; 0 when the path
// names nothing (a missing corpus is a broken test, not an empty one).
size_t run_path(const char *arg) {
    const std::filesystem::path path(arg);
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        std::vector<std::filesystem::path> files;
        for (const auto &e : std::filesystem::directory_iterator(path))
            if (e.is_regular_file()) files.push_back(e.path());
        std::sort(files.begin(), files.end());
        for (const auto &f : files) run_file(f);
        return files.size();
    }
    if (!std::filesystem::is_regular_file(path, ec)) return 0;
    run_file(path);
    return 1;
}

}  // namespace

int main(int argc, char **argv) {
    unsigned long iterations = 20000;
    unsigned long seed = 1;
    size_t replayed = 0;
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return 2;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--iterations") == 0 && i + 1 < argc) {
            iterations = std::strtoul(argv[++i], nullptr, 10);
        } else if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
            seed = std::strtoul(argv[++i], nullptr, 10);
        } else {
            const size_t n = run_path(argv[i]);
            if (n == 0) {
                std::fprintf(stderr, "fuzz: no input at %s\n", argv[i]);
                return 2;
            }
            replayed += n;
        }
    }
    std::mt19937_64 rng(seed);
    std::vector<uint8_t> buf;
    for (unsigned long n = 0; n < iterations; ++n) {
        // Mostly short inputs, some as long as a whole pull buffer.
        const size_t len = (rng() % 8 == 0) ? rng() % 9000 : rng() % 600;
        buf.resize(len);
        for (auto &b : buf) b = static_cast<uint8_t>(rng());
        LLVMFuzzerTestOneInput(buf.data(), buf.size());
    }
    std::fprintf(stderr, "fuzz: %zu corpus inputs and %lu random inputs, no fault\n", replayed, iterations);
    return 0;
}
