/* SPDX-License-Identifier: Apache-2.0 */
/* Exchanges per second with dpservice: the library's command exchange
 * (SESSION_IPC_SetStatEnable(1): socket, connect, send, receive, close
 * through the platform) against a raw loop of the same system calls on the
 * same service socket, sending the same ten bytes, EXCHANGES of each in
 * SLICES alternating slices.
 *
 *   exchange_rate RUNDIR [EXCHANGES] [SLICES] */
#define _GNU_SOURCE
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "dpmgmt/session.h"

static double now_s(void) {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
}

static struct sockaddr_un service;

static int raw_exchange(void) {
    static const unsigned char request[10] = {0, 0, 0, 0x31, 0, 0, 0, 0x0A, 0, 1};
    unsigned char reply[64];
    int ok = 0;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return 0;
    struct sockaddr_un self = {.sun_family = AF_UNIX};
    if (bind(fd, (struct sockaddr *)&self, sizeof(sa_family_t)) == 0 &&
        connect(fd, (struct sockaddr *)&service, sizeof service) == 0 &&
        send(fd, request, sizeof request, 0) == (ssize_t)sizeof request && recv(fd, reply, sizeof reply, 0) == 12)
        ok = 1;
    close(fd);
    return ok;
}

static int library_exchange(void) { return SESSION_IPC_SetStatEnable(1) == 0; }

/* Seconds taken by n exchanges. */
static double run(int (*exchange)(void), int n) {
    const double start = now_s();
    for (int i = 0; i < n; ++i)
        if (!exchange()) {
            fprintf(stderr, "exchange_rate: an exchange failed\n");
            exit(1);
        }
    return now_s() - start;
}

int main(int argc, char **argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: exchange_rate RUNDIR [EXCHANGES] [SLICES]\n");
        return 2;
    }
    const int n = argc > 2 ? atoi(argv[2]) : 20000;
    const int slices = argc > 3 ? atoi(argv[3]) : 40;
    const int per = n / slices > 0 ? n / slices : 1;
    service.sun_family = AF_UNIX;
    snprintf(service.sun_path, sizeof service.sun_path, "%s/svc-3184.sock", argv[1]);
    run(library_exchange, per); /* warm both paths */
    run(raw_exchange, per);
    /* Thin interleaved slices: a machine shared with other work slows both
     * alike. */
    double lib = 0, raw = 0;
    for (int s = 0; s < slices; ++s) {
        lib += run(library_exchange, per);
        raw += run(raw_exchange, per);
    }
    const double total = (double)per * slices;
    printf("library %.0f/s  raw %.0f/s  ratio %.2f\n", total / lib, total / raw, raw / lib);
    return 0;
}
