/* dpmgmt: connection limits: limits and filters, configuration store,
 * policy commands, limit statistics. */
#ifndef DPMGMT_CONNLMT_H
#define DPMGMT_CONNLMT_H

#include "dpmgmt/channels.h"

DPMGMT_EXTERN_C_BEGIN

DPMGMT_EXTERN_C_END

#endif
