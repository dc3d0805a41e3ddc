/* SPDX-License-Identifier: Apache-2.0 */
/* Sockets of the appliance's address family 37 (BSD-style).
 *
 * The address record is 16 bytes: length byte (16), family byte (37), u16
 * port in network order, u16 selector, 10 zero bytes.  The receive time-out
 * option is level 1, number 0x1006, a 16-byte time value (8-byte seconds,
 * 8-byte microseconds).  Results and errno follow the POSIX calls of the
 * same names: -1 with errno set on failure (EAGAIN on time-out, EINTR). */
#ifndef PLATFORM_SOCKET_H
#define PLATFORM_SOCKET_H

#include "platform/plat_common.h"

#define PLAT_AF_SERVICE 37
#define PLAT_SOCK_DGRAM 2
#define PLAT_SOL_SOCKET 1
#define PLAT_SO_RCVTIMEO 0x1006
#define PLAT_SOCKADDR_SIZE 16u

PLAT_EXTERN_C_BEGIN

PLAT_API int SOCK_Socket(int domain, int type, int protocol);
PLAT_API int SOCK_Connect(int fd, const void *addr, uint32_t addrLen);
PLAT_API long SOCK_Send(int fd, const void *buf, size_t len, int flags);
PLAT_API long SOCK_Recv(int fd, void *buf, size_t len, int flags);
PLAT_API int SOCK_SetSockOpt(int fd, int level, int option, const void *value, uint32_t len);
PLAT_API int SOCK_Close(int fd);

PLAT_EXTERN_C_END

#endif
