// Header-only helpers shared by the platform and integration tests: a
// fresh temporary directory, environment variables set for one scope,
// bounded polling and a descriptor count.
#ifndef DPTEST_TEST_ENV_H
#define DPTEST_TEST_ENV_H

#include <dirent.h>
#include <ftw.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>

namespace dptest {

inline void remove_tree(const std::string &path) {
    if (!path.empty())
        ::nftw(path.c_str(), [](const char *p, const struct stat *, int, FTW *) { return ::remove(p); }, 16,
               FTW_DEPTH | FTW_PHYS);
}

// A directory under /tmp, removed with everything in it at the end.
class TempDir {
public:
    TempDir() {
        char tmpl[] = "/tmp/dptest-XXXXXX";
        if (::mkdtemp(tmpl) != nullptr) path_ = tmpl;
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

// Polls the condition until it holds, for at most `limit`.
inline bool wait_until(const std::function<bool()> &cond, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        ::poll(nullptr, 0, 5);
    }
    return true;
}

// Descriptors this process has open.
inline int open_fd_count() {
    int n = 0;
    if (DIR *d = ::opendir("/proc/self/fd")) {
        while (::readdir(d) != nullptr) ++n;
        ::closedir(d);
    }
    return n;
}

}  // namespace dptest

#endif
