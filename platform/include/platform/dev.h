/* SPDX-License-Identifier: Apache-2.0 */
/* Device topology: nodes (chassis, slot, CPU) of the system.
 * Nodes are u16 logical identifiers.  Answers documented as "low 16 bits"
 * are judged by their low 16 bits only. */
#ifndef PLATFORM_DEV_H
#define PLATFORM_DEV_H

#include "platform/plat_common.h"

PLAT_EXTERN_C_BEGIN

PLAT_API uint16_t DEV_GetSelf(void);
PLAT_API uint16_t DEV_GetSystemMaster(void);
/* Non-zero in its low 16 bits when the node is a controller. */
PLAT_API uint32_t DEV_IsController(uint16_t node);
PLAT_API uint32_t DEV_GetControllerTeamByLip(uint16_t lip);
/* A malloc'ed array of *count node identifiers that the caller frees with
 * free(); null and 0 when there are none. */
PLAT_API uint16_t *DEV_GetAllNodes(uint32_t *count);
/* Non-zero (low 16 bits) on a device of several chassis. */
PLAT_API uint32_t DEV_IsMultiChassis(void);
/* 1 (low 16 bits) when that slot carries several CPUs; chassis 0xFFFFFFFF
 * stands for the only chassis. */
PLAT_API uint32_t DEV_IsMultiCpu(uint32_t chassis, uint32_t slot);
PLAT_API uint32_t LIP_GetChassID(uint16_t node);
PLAT_API uint32_t LIP_GetSlotID(uint16_t node);
PLAT_API uint32_t LIP_GetCpuID(uint16_t node);

PLAT_EXTERN_C_END

#endif
