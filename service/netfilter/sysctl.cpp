// SPDX-License-Identifier: Apache-2.0
#include "netfilter/sysctl.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace dpsvc::nf {

namespace {

std::string path_of(const char *name) { return std::string("/proc/sys/net/netfilter/") + name; }

}  // namespace

std::optional<uint64_t> read_setting(const char *name) {
    const int fd = ::open(path_of(name).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    char text[32] = {};
    const ssize_t n = ::read(fd, text, sizeof text - 1);
    ::close(fd);
    if (n <= 0) return std::nullopt;
    char *end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(text, &end, 10);
    if (errno != 0 || end == text) return std::nullopt;
    return v;
}

bool write_setting(const char *name, uint64_t value) {
    const int fd = ::open(path_of(name).c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd < 0) return false;
    char text[32];
    const int len = std::snprintf(text, sizeof text, "%llu\n", static_cast<unsigned long long>(value));
    const bool ok = ::write(fd, text, static_cast<size_t>(len)) == len;
    const int saved = errno;
    const bool closed = ::close(fd) == 0;
    errno = saved;
    return ok && closed;
}

}  // namespace dpsvc::nf
