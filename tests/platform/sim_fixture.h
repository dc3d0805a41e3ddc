// Shared pieces of the stand-in runtime's tests: a fresh temporary
// directory, environment variables set for one test, bounded waits.
#ifndef DPSIM_TEST_SIM_FIXTURE_H
#define DPSIM_TEST_SIM_FIXTURE_H

#include <dirent.h>
#include <ftw.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace dpsim_test {

inline void remove_tree(const std::string &path) {
    if (!path.empty())
        ::nftw(path.c_str(), [](const char *p, const struct stat *, int, FTW *) { return ::remove(p); }, 16,
               FTW_DEPTH | FTW_PHYS);
}

class TempDir {
public:
    TempDir() {
        char tmpl[] = "/tmp/dpsim-test-XXXXXX";
        const char *made = ::mkdtemp(tmpl);
        if (made != nullptr) path_ = made;
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    ~TempDir() { remove_tree(path_); }
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

// Sets (or, with null, removes) a variable for the scope, then restores it.
class ScopedEnv {
public:
    ScopedEnv(const char *name, const char *value) : name_(name) {
        if (const char *old = std::getenv(name)) old_ = old;
        if (value != nullptr) ::setenv(name, value, 1);
        else ::unsetenv(name);
    }
    ScopedEnv(const ScopedEnv &) = delete;
    ScopedEnv &operator=(const ScopedEnv &) = delete;
    ~ScopedEnv() {
        if (old_) ::setenv(name_.c_str(), old_->c_str(), 1);
        else ::unsetenv(name_.c_str());
    }

private:
    std::string name_;
    std::optional<std::string> old_;
};

// Polls the condition until it holds or the time is up.
inline bool wait_until(const std::function<bool()> &cond, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// Number of descriptors the process has open.
inline int open_fd_count() {
    int n = 0;
    if (DIR *d = ::opendir("/proc/self/fd")) {
        while (::readdir(d) != nullptr) ++n;
        ::closedir(d);
    }
    return n;
}

}  // namespace dpsim_test

#endif
