// What the fuzz targets share: a reader over the engine's input, and
// standard output sent to /dev/null while an input runs, so that the
// displays' text does not bury the driver's report.
#ifndef TESTS_FUZZ_FUZZ_SUPPORT_H
#define TESTS_FUZZ_FUZZ_SUPPORT_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "fake/fake_platform.h"

namespace fuzz {

// Reads past the end as zero bytes and short takes.
class Input {
public:
    Input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
    bool empty() const { return at_ >= size_; }
    size_t left() const { return size_ - at_; }
    uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
    uint16_t u16() {
        const uint8_t high = byte();
        return static_cast<uint16_t>(high << 8 | byte());
    }
    fake::Bytes take(size_t n) {
        if (n > left()) n = left();
        fake::Bytes b(data_ + at_, data_ + at_ + n);
        at_ += n;
        return b;
    }

private:
    const uint8_t *data_;
    size_t size_;
    size_t at_ = 0;
};

class QuietStdout {
public:
    QuietStdout() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        const int devnull = open("/dev/null", O_WRONLY);
        if (devnull >= 0) {
            dup2(devnull, STDOUT_FILENO);
            close(devnull);
        }
    }
    ~QuietStdout() {
        std::fflush(stdout);
        if (saved_ >= 0) {
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
        }
    }
    QuietStdout(const QuietStdout &) = delete;
    QuietStdout &operator=(const QuietStdout &) = delete;

private:
    int saved_ = -1;
};

// A broken invariant stops the engine at the input that broke it.
inline void check(bool ok) {
    if (!ok) __builtin_trap();
}

}  // namespace fuzz

#endif
