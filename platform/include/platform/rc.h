/* SPDX-License-Identifier: Apache-2.0 */
/* Resource strings and command-line help. */
#ifndef PLATFORM_RC_H
#define PLATFORM_RC_H

#include "platform/plat_common.h"

PLAT_EXTERN_C_BEGIN

/* The text of a resource string; never null (empty when unknown). */
PLAT_API const char *RC_LoadString(uint32_t id);
/* Adds one line (keyword and help text) to the command line's help. */
PLAT_API uint32_t CLI_NewHelpInfo(const char *keyword, const char *help, void *helpContext);

PLAT_EXTERN_C_END

#endif
