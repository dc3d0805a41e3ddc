/* SPDX-License-Identifier: Apache-2.0 */
/* The command line's help lines, as collected through CLI_NewHelpInfo
 * (platform/rc.h): the command line takes what a help call added and reads
 * the lines one by one.
 *
 *   CLI_ClearHelpInfo();
 *   SQA_CLI_HelpDscp("?", 0, 0, NULL);        adds one line per keyword
 *   for (uint32_t i = 0, n = CLI_TakeHelpInfo(); i < n; ++i)
 *       CLI_GetHelpLine(i, &keyword, &help);
 */
#ifndef PLATFORM_CLI_H
#define PLATFORM_CLI_H

#include "platform/plat_common.h"

PLAT_EXTERN_C_BEGIN

/* Forgets the lines collected so far. */
PLAT_API void CLI_ClearHelpInfo(void);
/* Moves the lines collected so far out of the collector (which starts
 * empty again) and returns their number.  They stay readable through
 * CLI_GetHelpLine until the next take, in this thread. */
PLAT_API uint32_t CLI_TakeHelpInfo(void);
/* 0 and the keyword and help text of the index-th line taken; non-zero
 * when there is no such line.  The texts live until the next take. */
PLAT_API uint32_t CLI_GetHelpLine(uint32_t index, const char **keyword, const char **help);

PLAT_EXTERN_C_END

#endif
