// SPDX-License-Identifier: Apache-2.0
// Runs a command with its standard output discarded and prints the peak
// resident set size of that process in KiB.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: peak_rss_driver COMMAND [ARGS...]\n");
        return 2;
    }
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        execvp(argv[1], argv + 1);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) < 0) return 2;
    std::printf("%ld\n", usage.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
