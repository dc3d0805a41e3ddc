/* dpmgmt: voice call quality analysis (SQA) for SIP and H.323: store,
 * commands, call displays, statistics, DSCP keywords. */
#ifndef DPMGMT_SQA_H
#define DPMGMT_SQA_H

#include "dpmgmt/channels.h"

DPMGMT_EXTERN_C_BEGIN

DPMGMT_EXTERN_C_END

#endif
