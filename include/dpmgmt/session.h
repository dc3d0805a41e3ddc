/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief The session (connection) table: every declaration of the session
 * module.
 *
 * Includes the three parts, which may also be included on their own:
 * dpmgmt/session_records.h (records, converters, vocabulary),
 * dpmgmt/session_commands.h (settings commands) and
 * dpmgmt/session_displays.h (displays, statistics, history, hot backup). */
#ifndef DPMGMT_SESSION_H
#define DPMGMT_SESSION_H

#include "dpmgmt/channels.h"
#include "dpmgmt/session_commands.h"
#include "dpmgmt/session_displays.h"
#include "dpmgmt/session_records.h"

#endif
