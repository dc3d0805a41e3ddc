/* SPDX-License-Identifier: Apache-2.0 */
/* Every public header compiles as strict C99. */
#include "dpmgmt/api.h"
#include "dpmgmt/channels.h"
#include "dpmgmt/connlmt.h"
#include "dpmgmt/records.h"
#include "dpmgmt/result.h"
#include "dpmgmt/session.h"
#include "dpmgmt/session_commands.h"
#include "dpmgmt/session_displays.h"
#include "dpmgmt/session_records.h"
#include "dpmgmt/sqa.h"

int dpmgmt_headers_c99_check(void);
int dpmgmt_headers_c99_check(void) { return (int)sizeof(SESSION_TABLEINFO_S); }
