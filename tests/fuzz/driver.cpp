// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target without a fuzzing engine: every input named on the
// command line (a directory stands for every file in it, in name order, so
// a checked-in corpus replays as a regression test), then a fixed number of
// random inputs (seeded, so a run repeats), with the displays' text sent to
// /dev/null and the report to standard error.  With a libFuzzer build the
// engine's own main takes this one's place.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    namespace fs = std::filesystem;
    unsigned long iterations = 20000;
    size_t replayed = 0;
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return 2;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--iterations") == 0 && i + 1 < argc) {
            iterations = std::strtoul(argv[++i], nullptr, 10);
            continue;
        }
        std::vector<fs::path> files;
        if (fs::is_directory(argv[i]))
            for (const auto &e : fs::directory_iterator(argv[i]))
                if (e.is_regular_file()) files.push_back(e.path());
        if (fs::is_regular_file(argv[i])) files.push_back(argv[i]);
        // A missing corpus is a broken test, not an empty one.
        if (files.empty()) {
            std::fprintf(stderr, "fuzz: no input at %s\n", argv[i]);
            return 2;
        }
        std::sort(files.begin(), files.end());
        for (const fs::path &f : files) {
            std::ifstream in(f, std::ios::binary);
            const std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(data.data(), data.size());
        }
        replayed += files.size();
    }
    std::mt19937_64 rng(1);
    std::vector<uint8_t> buf;
    for (unsigned long n = 0; n < iterations; ++n) {
        // Mostly short inputs, some as long as a whole pull buffer.
        buf.resize((rng() % 8 == 0) ? rng() % 9000 : rng() % 600);
        for (auto &b : buf) b = static_cast<uint8_t>(rng());
        LLVMFuzzerTestOneInput(buf.data(), buf.size());
    }
    std::fprintf(stderr, "fuzz: %zu corpus inputs and %lu random inputs, no fault\n", replayed, iterations);
    return 0;
}
