/* SPDX-License-Identifier: Apache-2.0 */
/* A C program built only from the installed headers: it exchanges message
 * type 49 with a datagram service it forks on $DPMGMT_RUNDIR/svc-3184.sock. */
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <dpmgmt/channels.h>
#include "platform/dump.h"

/* The platform headers are found the way the library's own sources name them. */
typedef char platform_and_library_agree[DUMP_CONTINUE == DPMGMT_DUMP_CONTINUE ? 1 : -1];

int main(void) {
    const char *rundir = getenv("DPMGMT_RUNDIR");
    struct sockaddr_un addr;
    int fd;
    pid_t child;
    unsigned char reply[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    const unsigned char req[2] = {0, 1};
    uint32_t rc;
    int status = 0;

    if (rundir == NULL) return 2;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    snprintf(addr.sun_path, sizeof addr.sun_path, "%s/svc-3184.sock", rundir);
    fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    if (fd < 0 || bind(fd, (struct sockaddr *)&addr, sizeof addr) != 0) return 2;
    child = fork();
    if (child == 0) {
        unsigned char buf[64];
        struct sockaddr_un peer;
        socklen_t len = sizeof peer;
        ssize_t n = recvfrom(fd, buf, sizeof buf, 0, (struct sockaddr *)&peer, &len);
        unsigned char out[12] = {0, 0, 0, 49, 0, 0, 0, 12, 0, 0, 0, 0};
        if (n != 10 || memcmp(buf, "\0\0\0\x31\0\0\0\x0a\0\x01", 10) != 0) out[11] = 0x63;
        sendto(fd, out, sizeof out, 0, (struct sockaddr *)&peer, len);
        _exit(0);
    }
    rc = SESSION_MSG_SendRecvMsg(3184, 49, sizeof req, req, sizeof reply, reply);
    waitpid(child, &status, 0);
    close(fd);
    printf("result 0x%08x reply %02x %02x %02x %02x\n", rc, reply[0], reply[1], reply[2], reply[3]);
    return rc == 0 && memcmp(reply, "\0\0\0\0", 4) == 0 ? 0 : 1;
}
