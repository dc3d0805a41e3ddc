/* SPDX-License-Identifier: Apache-2.0 */
/* Platform service manager. */
#ifndef PLATFORM_SERVICE_H
#define PLATFORM_SERVICE_H

#include "platform/plat_common.h"

#define SERVICE_STATUS_RUNNING 2u

PLAT_EXTERN_C_BEGIN

/* 0 on success with the status in *status (2 = running). */
PLAT_API uint32_t SERVICE_GetStatus(uint16_t node, const char *name, uint32_t reserved, uint32_t *status);
/* 0 once the service runs; non-zero when it could not be started. */
PLAT_API uint32_t SERVICE_Start(uint16_t node, const char *name, uint32_t reserved1, uint32_t reserved2);

PLAT_EXTERN_C_END

#endif
