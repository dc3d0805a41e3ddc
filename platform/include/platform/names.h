/* SPDX-License-Identifier: Apache-2.0 */
/* Names of ACLs, protocols, applications and VPN instances. */
#ifndef PLATFORM_NAMES_H
#define PLATFORM_NAMES_H

#include "platform/plat_common.h"

#define ACL_NAME_SIZE 64u
#define APR_PROTO_NAME_SIZE 32u
#define APR_APP_NAME_SIZE 64u

PLAT_EXTERN_C_BEGIN

/* The number of the named ACL of that type; 0 when there is none. */
PLAT_API uint32_t ACL_GetIndexByName(uint32_t aclType, const char *name);
/* 0 and the name (64-byte buffer) of the ACL; non-zero when unknown. */
PLAT_API uint32_t ACL_GetNameByIndex(uint32_t aclType, uint32_t aclNum, char *name);
/* A malloc'ed array of the *count numbers of the ACLs of that type, in the
 * device's order; the caller frees it.  Null and 0 when there are none. */
PLAT_API uint32_t *ACL_GetAllIndexes(uint32_t aclType, uint32_t *count);
/* 0 and the protocol's name (32-byte buffer) from the system's protocol
 * database; non-zero (buffer untouched) when unknown. */
PLAT_API uint32_t APR_GetProtoNameByID(uint32_t protocol, char *name);
/* 0 and the application's name (64-byte buffer); non-zero when unknown. */
PLAT_API uint32_t APR_GetAppNameByID(uint32_t appId, char *name);
/* 0 and the VPN instance's name (at most size bytes with its NUL);
 * non-zero (buffer untouched) when unknown. */
PLAT_API uint32_t L3VPN_GetNameByVrfIndex(uint32_t vrfIndex, uint32_t size, char *name);

PLAT_EXTERN_C_END

#endif
