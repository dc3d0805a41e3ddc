// SPDX-License-Identifier: Apache-2.0
#include "channels/exchange.h"

#include "dpmgmt/channels.h"

namespace dpmgmt {

uint32_t svc_command(uint32_t type, const void *req, uint32_t reqLen, Wait wait) {
    uint8_t reply[4] = {};
    const uint32_t rc = wait == Wait::kPatient
                            ? SESSION_MSG_SendRecvMsg_DontWait(SESSION_MSG_PORT, type, reqLen, req, 4, reply)
                            : SESSION_MSG_SendRecvMsg(SESSION_MSG_PORT, type, reqLen, req, 4, reply);
    if (rc != DPMGMT_OK) return rc;
    return load_be32(reply);
}

uint32_t svc_query(uint32_t type, const void *req, uint32_t reqLen, void *reply, uint32_t replyMax) {
    return SESSION_MSG_SendRecvMsg(SESSION_MSG_PORT, type, reqLen, req, replyMax, reply);
}

}  // namespace dpmgmt
