// SPDX-License-Identifier: Apache-2.0
// Kernel control wrappers for the embedding configuration processes.
#include "dpmgmt/channels.h"
#include "platform/dev.h"
#include "platform/dump.h"

namespace {

constexpr uint32_t kReplySize = 4;  // the wrappers' reply, discarded

enum class Mode { kSync, kAsync };

// Sends a control unless the module's switch is 1 (the kernel need not
// hear it); a synchronous one waits for the reply and discards it.
void send(uint16_t sw, Mode mode, uint32_t cmd, uint32_t len, const void *data) {
    if (sw == 1) return;
    if (mode == Mode::kAsync) {
        (void)CIOCTL_Async(DEV_GetSelf(), cmd, len, data);
        return;
    }
    uint8_t reply[kReplySize] = {};
    uint32_t replyLen = 0;
    (void)CIOCTL(DEV_GetSelf(), cmd, len, data, kReplySize, reply, &replyLen);
}

}  // namespace

extern "C" {

DPMGMT_API uint16_t g_bConnlmtNotNeedSendToKernel = 0;
DPMGMT_API uint16_t g_bSessionNotNeedSendToKernel = 0;

DPMGMT_API void CONNLMT_ioctl_Send(uint32_t cmd, uint32_t len, const void *data) {
    send(g_bConnlmtNotNeedSendToKernel, Mode::kSync, cmd, len, data);
}

DPMGMT_API void CONNLMT_ioctl_Send_Async(uint32_t cmd, uint32_t len, const void *data) {
    send(g_bConnlmtNotNeedSendToKernel, Mode::kAsync, cmd, len, data);
}

DPMGMT_API void SESSION_ioctl_Send(uint32_t cmd, uint32_t len, const void *data) {
    send(g_bSessionNotNeedSendToKernel, Mode::kSync, cmd, len, data);
}

DPMGMT_API void SESSION_ioctl_Send_Async(uint32_t cmd, uint32_t len, const void *data) {
    send(g_bSessionNotNeedSendToKernel, Mode::kAsync, cmd, len, data);
}

}  // extern "C"
