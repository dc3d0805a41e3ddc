/* SPDX-License-Identifier: Apache-2.0 */
/* The public interface from a plain C program: framing and validation of
 * the message client, without any service. */
#include <stdio.h>
#include <string.h>

#include "dpmgmt/channels.h"
#include "dpmgmt/connlmt.h"
#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"

static int failures = 0;
#define CHECK(cond)                                                   \
    do {                                                              \
        if (!(cond)) {                                                \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                               \
        }                                                             \
    } while (0)

int main(void) {
    static const unsigned char payload[2] = {0x00, 0x01};
    static const unsigned char expected[10] = {0, 0, 0, 0x31, 0, 0, 0, 0x0A, 0, 1};
    uint32_t total = 0;
    uint32_t type = 0;
    uint32_t len = 0;
    void *body = NULL;
    unsigned char *msg = (unsigned char *)_msg_CreateMsg(49, 2, payload, &total);
    CHECK(msg != NULL);
    if (msg != NULL) {
        CHECK(total == 10);
        CHECK(memcmp(msg, expected, 10) == 0);
        CHECK(SESSION_MSG_GeneralCheck(msg, 10, &type, &len, &body) == DPMGMT_OK);
        CHECK(type == 49 && len == 2 && body == msg + 8);
        CHECK(SESSION_MSG_GeneralCheck(msg, 9, &type, &len, &body) == DPMGMT_ERR_FAILED);
        _msg_DestroyMsg(msg);
    }
    CHECK(sizeof(SESSION_TABLEINFO_S) == 172);
    CHECK(g_bSessionNotNeedSendToKernel == 0 && g_bConnlmtNotNeedSendToKernel == 0);
    printf("%d passed, %d failed\n", failures == 0 ? 1 : 0, failures == 0 ? 0 : 1);
    return failures == 0 ? 0 : 1;
}
