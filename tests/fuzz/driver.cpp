// Runs a fuzz target without a fuzzing engine: the inputs named on the
// command line, then a fixed number of seeded random inputs.  With a
// libFuzzer build the engine's own main takes this one's place.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    unsigned long iterations = 20000;
    unsigned long seed = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--iterations") == 0 && i + 1 < argc) {
            iterations = std::strtoul(argv[++i], nullptr, 10);
        } else if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
            seed = std::strtoul(argv[++i], nullptr, 10);
        } else {
            std::ifstream in(argv[i], std::ios::binary);
            std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(data.data(), data.size());
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
    std::printf("fuzz: %lu inputs, no fault\n", iterations);
    return 0;
}
