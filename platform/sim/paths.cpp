// Where the stand-in runtime keeps its sockets and databases.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "dpsim.h"

namespace {

// mkdir -p with mode 0700 for what it creates; an existing directory is
// left as it is.
void make_dirs(const std::string &path) {
    if (path.empty()) return;
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) return;
    const auto slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0) make_dirs(path.substr(0, slash));
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return;
}

std::string env_dir(const char *name) {
    const char *value = std::getenv(name);
    if (value == nullptr || *value == '\0') return {};
    std::string dir(value);
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    return dir;
}

}  // namespace

namespace dpsim {

std::string rundir() {
    std::string dir = env_dir("DPMGMT_RUNDIR");
    if (dir.empty()) dir = "/tmp/dpmgmt-" + std::to_string(::getuid());
    make_dirs(dir);
    return dir;
}

std::string datadir() {
    std::string dir = env_dir("DPMGMT_DATADIR");
    if (dir.empty()) return rundir();
    make_dirs(dir);
    return dir;
}

std::string service_socket_path(uint16_t port) { return rundir() + "/svc-" + std::to_string(port) + ".sock"; }

std::string kernel_socket_path() { return rundir() + "/kernel.sock"; }

std::string service_pidfile_path() { return rundir() + "/dpservice.pid"; }

}  // namespace dpsim
