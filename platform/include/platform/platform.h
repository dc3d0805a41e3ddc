/* SPDX-License-Identifier: Apache-2.0 */
/* Every platform service the library calls. */
#ifndef PLATFORM_PLATFORM_H
#define PLATFORM_PLATFORM_H

#include "platform/cli.h"
#include "platform/dbm.h"
#include "platform/dev.h"
#include "platform/dump.h"
#include "platform/iface.h"
#include "platform/names.h"
#include "platform/rc.h"
#include "platform/service.h"
#include "platform/socket.h"
#include "platform/stlv.h"
#include "platform/textutil.h"

#endif
