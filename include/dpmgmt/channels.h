/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief Service channels.
 *
 * The client of the session service's datagram protocol and the kernel
 * control wrappers; the result codes every module shares are in
 * dpmgmt/result.h, included here.
 *
 * Every function runs to completion on the caller's thread; none keeps a
 * socket, a dump or a buffer between calls.  Nothing is thrown. */
#ifndef DPMGMT_CHANNELS_H
#define DPMGMT_CHANNELS_H

#include "dpmgmt/api.h"
#include "dpmgmt/result.h"

/** The session service. */
#define SESSION_MSG_PORT 3184u
#define SESSION_MSG_HEADER_SIZE 8u  /**< bytes of a message header */
#define SESSION_MSG_ERROR_TYPE 0xFFFFFFFFu  /**< message type of the error reply */
#define SESSION_MSG_AF 37  /**< address family of the service socket */
#define SESSION_MSG_PROTOCOL 1  /**< protocol of the service socket */

DPMGMT_EXTERN_C_BEGIN

/** @defgroup channels Service channels
 * @brief The session service message client and the kernel control wrappers.
 * @{ */

/* ---- session service message client --------------------------------------
 * A message is one datagram: u32 type, u32 total length (payload + 8), both
 * in network byte order, then the payload.  Type 0xFFFFFFFF is the error
 * reply. */

/** Opens a socket of family 37, connects it to the port; -1 on failure. */
DPMGMT_API int32_t SESSION_MSG_Connect2Server(uint16_t port);
/** Closes the descriptor; returns what closing returns. */
DPMGMT_API int32_t SESSION_MSG_Disconnect2Server(int32_t fd);
/** A new zero-filled message of payloadLen + 8 bytes with its header, the
 * payload copied behind it when payloadLen is not 0; *totalLen receives its
 * length.  Null (and *totalLen untouched) when memory is short.  Free it
 * with _msg_DestroyMsg. */
DPMGMT_API void *_msg_CreateMsg(uint32_t type, uint32_t payloadLen, const void *payload, uint32_t *totalLen);
/** Frees a message made by _msg_CreateMsg (null is allowed). */
DPMGMT_API void _msg_DestroyMsg(void *msg);
/** Validates a received message of recvLen bytes; on success reports its
 * type (host order), payload length and payload.  Outputs are written only
 * on success. */
DPMGMT_API uint32_t SESSION_MSG_GeneralCheck(const void *msg, uint32_t recvLen, uint32_t *type,
                                             uint32_t *payloadLen, void **payload);
/** Sends one message; 0 or 0x40010001. */
DPMGMT_API uint32_t SESSION_MSG_SendMsg(int32_t fd, uint32_t type, uint32_t payloadLen, const void *payload);
/** Sends the error reply (type 0xFFFFFFFF, length 8). */
DPMGMT_API uint32_t SESSION_MSG_ErrorMsgReply(int32_t fd);
/** Receives one reply (waiting as long as it takes) and copies its payload
 * into reply, which holds at least replyMax bytes.  A shorter payload
 * leaves the rest of reply as it was.  0 or 0x40010001 (reply untouched). */
DPMGMT_API uint32_t SESSION_MSG_RecvMsg(int32_t fd, uint32_t replyMax, void *reply);
/** As SESSION_MSG_RecvMsg, waiting in one-second steps: after the first
 * second it prints "Resetting session" and a dot a second, and "Done.\r"
 * with a line end when the wait is over. */
DPMGMT_API uint32_t SESSION_MSG_RecvMsg_DontWait(int32_t fd, uint32_t replyMax, void *reply);
/** One exchange: connect, send, receive, close.  0 or 0x40010001. */
DPMGMT_API uint32_t SESSION_MSG_SendRecvMsg(uint16_t port, uint32_t type, uint32_t reqLen, const void *req,
                                            uint32_t replyMax, void *reply);
/** The same exchange with the patient receive. */
DPMGMT_API uint32_t SESSION_MSG_SendRecvMsg_DontWait(uint16_t port, uint32_t type, uint32_t reqLen,
                                                     const void *req, uint32_t replyMax, void *reply);

/* ---- kernel control wrappers ----------------------------------------------
 * For the embedding configuration processes: the call goes to the local
 * node with a 4-byte reply that is discarded.  When the family's switch
 * holds exactly 1 nothing is sent. */
DPMGMT_API extern uint16_t g_bConnlmtNotNeedSendToKernel;  /**< 1: the connection-limit wrappers send nothing */
DPMGMT_API extern uint16_t g_bSessionNotNeedSendToKernel;  /**< 1: the session wrappers send nothing */

/** Sends a connection-limit control call to the local kernel and waits. */
DPMGMT_API void CONNLMT_ioctl_Send(uint32_t cmd, uint32_t len, const void *data);
/** Sends a connection-limit control call to the local kernel without waiting. */
DPMGMT_API void CONNLMT_ioctl_Send_Async(uint32_t cmd, uint32_t len, const void *data);
/** Sends a session control call to the local kernel and waits. */
DPMGMT_API void SESSION_ioctl_Send(uint32_t cmd, uint32_t len, const void *data);
/** Sends a session control call to the local kernel without waiting. */
DPMGMT_API void SESSION_ioctl_Send_Async(uint32_t cmd, uint32_t len, const void *data);

/** @} */

DPMGMT_EXTERN_C_END

#endif
