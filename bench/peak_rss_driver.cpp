// SPDX-License-Identifier: Apache-2.0
// Runs a command with its standard output discarded and prints the peak
// resident set size of that process in KiB; with -t first, also the
// command's own elapsed time in seconds (from fork to its exit), so that
// the caller's process start-up is not counted.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

int main(int argc, char **argv) {
    const bool timed = argc > 1 && std::strcmp(argv[1], "-t") == 0;
    char **command = argv + (timed ? 2 : 1);
    if (*command == nullptr) {
        std::fprintf(stderr, "usage: peak_rss_driver [-t] COMMAND [ARGS...]\n");
        return 2;
    }
    timespec start{}, end{};
    clock_gettime(CLOCK_MONOTONIC, &start);
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        execvp(command[0], command);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) < 0) return 2;
    clock_gettime(CLOCK_MONOTONIC, &end);
    if (timed) {
        const double seconds = double(end.tv_sec - start.tv_sec) + double(end.tv_nsec - start.tv_nsec) / 1e9;
        std::printf("%ld %.4f\n", usage.ru_maxrss, seconds);
    } else {
        std::printf("%ld\n", usage.ru_maxrss);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
