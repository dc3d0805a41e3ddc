// Kernel control wrappers for the embedding configuration processes.
#include "dpmgmt/channels.h"
#include "platform/dev.h"
#include "platform/dump.h"

namespace {

constexpr uint32_t kReplySize = 4;  // the wrappers' reply, discarded

bool suppressed(uint16_t sw) { return sw == 1; }

void send_sync(uint32_t cmd, uint32_t len, const void *data) {
    uint8_t reply[kReplySize] = {};
    uint32_t replyLen = 0;
    (void)CIOCTL(DEV_GetSelf(), cmd, len, data, kReplySize, reply, &replyLen);
}

}  // namespace

extern "C" {

DPMGMT_API uint16_t g_bConnlmtNotNeedSendToKernel = 0;
DPMGMT_API uint16_t g_bSessionNotNeedSendToKernel = 0;

DPMGMT_API void CONNLMT_ioctl_Send(uint32_t cmd, uint32_t len, const void *data) {
    if (suppressed(g_bConnlmtNotNeedSendToKernel)) return;
    send_sync(cmd, len, data);
}

DPMGMT_API void CONNLMT_ioctl_Send_Async(uint32_t cmd, uint32_t len, const void *data) {
    if (suppressed(g_bConnlmtNotNeedSendToKernel)) return;
    (void)CIOCTL_Async(DEV_GetSelf(), cmd, len, data);
}

DPMGMT_API void SESSION_ioctl_Send(uint32_t cmd, uint32_t len, const void *data) {
    if (suppressed(g_bSessionNotNeedSendToKernel)) return;
    send_sync(cmd, len, data);
}

DPMGMT_API void SESSION_ioctl_Send_Async(uint32_t cmd, uint32_t len, const void *data) {
    if (suppressed(g_bSessionNotNeedSendToKernel)) return;
    (void)CIOCTL_Async(DEV_GetSelf(), cmd, len, data);
}

}  // extern "C"
