/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief Connection limits: limits and filters, configuration store,
 * policy commands, limit statistics.
 *
 * A policy is a numbered set of limit rules (1-32, separately for IPv4 and
 * IPv6), ordered by rule identifier (1-256).  The address-family index of
 * every record, key and message is a u32: 0 IPv4, 1 IPv6.
 *
 * Every function runs to completion on the caller's thread.  The three
 * database handles are the module's only state; the embedding process
 * serialises initialisation, configuration changes and finalisation. */
#ifndef DPMGMT_CONNLMT_H
#define DPMGMT_CONNLMT_H

#include "dpmgmt/channels.h"

DPMGMT_EXTERN_C_BEGIN

/** @defgroup connlmt Connection limits
 * @brief Limits and filters, the configuration store, policy commands and limit statistics.
 * @{ */

/* ================================================================ limits == */

#define CONNLMT_MAX_POLICY_NUM 33u /**< one more than the highest policy identifier */
#define CONNLMT_MAX_RULE_NUM 257u  /**< one more than the highest rule identifier */
#define CONNLMT_MAX_APPLY_NUM 2048u  /**< interfaces in an apply list at the most */
#define CONNLMT_IPV4 0u  /**< family index of IPv4 */
#define CONNLMT_IPV6 1u  /**< family index of IPv6 */
#define CONNLMT_ACL_MODE_NAME 1u   /**< uiAclMode: the rule names its ACL */
#define CONNLMT_ACL_NAME_LEN 64  /**< bytes of an ACL name */
#define CONNLMT_DESCRIPTION_LEN 130  /**< bytes of a description */

/** A limit rule, 96 bytes.  The same layout in memory and in the database
 * (host order) and on the session service socket (numeric fields in
 * network order; szAclName never swapped). */
typedef struct CONNLMT_RULE {
    uint32_t uiAclMode;                  /**< 1: by szAclName; otherwise by uiAclNum */
    uint32_t uiAclNum;  /**< ACL number */
    char szAclName[CONNLMT_ACL_NAME_LEN];  /**< ACL name */
    uint32_t uiIpVersion;                /**< address-family index of the policy */
    uint16_t usPolicyId;                 /**< 1-32 */
    uint16_t usRuleId;                   /**< 1-256; order and key of a rule in its policy */
    uint32_t auiLimitData[3];            /**< carried, not interpreted */
    uint32_t uiAclType;                  /**< the platform's ACL type; 1 by default */
} CONNLMT_RULE_S;
DPMGMT_CHECK_SIZE(CONNLMT_RULE_S, 96);
DPMGMT_CHECK_OFFSET(CONNLMT_RULE_S, uiAclMode, 0);
DPMGMT_CHECK_OFFSET(CONNLMT_RULE_S, uiAclNum, 4);
DPMGMT_CHECK_OFFSET(CONNLMT_RULE_S, szAclName, 8);
DPMGMT_CHECK_OFFSET(CONNLMT_RULE_S, uiIpVersion, 72);
DPMGMT_CHECK_OFFSET(CONNLMT_RULE_S, usPolicyId, 76);
DPMGMT_CHECK_OFFSET(CONNLMT_RULE_S, usRuleId, 78);
DPMGMT_CHECK_OFFSET(CONNLMT_RULE_S, auiLimitData, 80);
DPMGMT_CHECK_OFFSET(CONNLMT_RULE_S, uiAclType, 92);

/** 33 */
DPMGMT_API uint32_t CONNLMT_Spec_GetMaxPolicyNum(void);
/** 257 */
DPMGMT_API uint32_t CONNLMT_Spec_GetMaxRuleNum(void);
/** 1 while the maximum policy number is not 0. */
DPMGMT_API uint32_t CONNLMT_Spec_IsEnable(void);
/** 1 for 1 .. CONNLMT_Spec_GetMaxPolicyNum() - 1, else 0. */
DPMGMT_API uint32_t CONNLMT_Spec_IsValidPolicyID(uint16_t policyId);
/** 1 for 1 .. CONNLMT_Spec_GetMaxRuleNum() - 1, else 0. */
DPMGMT_API uint32_t CONNLMT_Spec_IsValidRuleID(uint16_t ruleId);
/** What the platform's ACL lookup answers for the rule's szAclName under its
 * uiAclType. */
DPMGMT_API uint32_t Connlmt_util_GetAclNumByName(const CONNLMT_RULE_S *rule);
/** The rule's ACL number: looked up by name when uiAclMode is 1, else
 * uiAclNum as stored. */
DPMGMT_API uint32_t Connlmt_util_GetRuleAclNum(const CONNLMT_RULE_S *rule);
/** 1 when the local node must process a configuration change of the
 * interface (the node is a controller, the interface is global or local). */
DPMGMT_API uint32_t CONNLMT_ifcfg_need_proc(uint32_t ifIndex);
/** 1 when the node must process an event of the interface (the node is a
 * controller, the interface is global or served by the node). */
DPMGMT_API uint32_t CONNLMT_if_need_proc(uint16_t node, uint32_t ifIndex);

/* ================================================= configuration store == */
/* Module "connlmt": database "gConnlmt" (policies' rule lists, descriptions,
 * the globally applied policy), "eConnlmt" / "pConnlmt" (the used and the
 * unused applied policies of interfaces).  Values are stored in host order
 * exactly as handed over.  A handle of all ones means "not open". */

#define CONNLMT_DB_KEY_SIZE 129u  /**< bytes of a database key buffer */
#define CONNLMT_DB_INVALID_HANDLE UINT64_MAX  /**< no database handle */

/** A policy's description, 136 bytes; an empty text means none. */
typedef struct CONNLMT_DESCRIPTION {
    uint32_t uiIpVersion;  /**< IP version */
    uint16_t usPolicyId;  /**< Policy ID */
    char szDescription[CONNLMT_DESCRIPTION_LEN];  /**< Description */
} CONNLMT_DESCRIPTION_S;
DPMGMT_CHECK_SIZE(CONNLMT_DESCRIPTION_S, 136);
DPMGMT_CHECK_OFFSET(CONNLMT_DESCRIPTION_S, uiIpVersion, 0);
DPMGMT_CHECK_OFFSET(CONNLMT_DESCRIPTION_S, usPolicyId, 4);
DPMGMT_CHECK_OFFSET(CONNLMT_DESCRIPTION_S, szDescription, 6);

DPMGMT_API extern uint64_t g_hConnlmtGlobalCfgHandle;  /**< the global configuration database */
DPMGMT_API extern uint64_t g_hConnlmtIFCfgUsedHandle;  /**< the interface database in use */
DPMGMT_API extern uint64_t g_hConnlmtIFCfgUnusedHandle;  /**< the interface database not in use */

/** Opens the three databases.  0, or the OR of the two opening results;
 * on failure whatever was opened is closed again. */
DPMGMT_API uint32_t CONNLMT_DB_Init(void);
/** Closes every open handle and sets it to all ones. */
DPMGMT_API void CONNLMT_DB_Fini(void);
/** Opens "gConnlmt" into g_hConnlmtGlobalCfgHandle; 0 or 0x40010001. */
DPMGMT_API uint32_t _db_OpenGlobalCfgDB(void);
/** Opens "eConnlmt" and "pConnlmt", moves every key of the first into the
 * second, and keeps both handles; the raw result of the opening. */
DPMGMT_API uint32_t _db_OpenAndMoveIFCfgDB(void);
/** A handle of the module's database, or all ones (also for a null name).
 * The caller closes it with CONNLMT_DB_Close. */
DPMGMT_API uint64_t CONNLMT_DB_Open(const char *dbName, uint32_t mode);
/** Closes a handle from CONNLMT_DB_Open; the platform's result. */
DPMGMT_API uint32_t CONNLMT_DB_Close(uint64_t handle);
/** Formats "policy-%u" (family 0) or "ipv6-policy-%u" (family 1) into key
 * (size bytes) and its length, NUL included, into *keyLen.  Another family
 * gives the empty key of length 0. */
DPMGMT_API void CONNLMT_DB_GetPolicyKeyAndLen(uint32_t family, uint16_t policyId, uint64_t size, char *key,
                                              uint64_t *keyLen);
/** Creates the policy's empty rule list; 0 or 0x40010001. */
DPMGMT_API uint32_t CONNLMT_DB_AddPolicy(uint32_t family, uint16_t policyId);
/** Deletes the rule list and the description, if any; the raw result of the
 * last deletion (0x40010001 for a family other than 0 or 1). */
DPMGMT_API uint32_t CONNLMT_DB_DelPolicy(uint32_t family, uint16_t policyId);
/** Inserts (or replaces) the rule in its policy's list, which must exist;
 * 0 or 0x40010001. */
DPMGMT_API uint32_t CONNLMT_DB_AddRule(const CONNLMT_RULE_S *rule);
/** Removes the rule of that identifier; 0 or 0x40010001. */
DPMGMT_API uint32_t CONNLMT_DB_DelRule(uint32_t family, uint16_t policyId, uint16_t ruleId);
/** Reads at most capacity rules of the policy, in rule-identifier order,
 * from the database of handle.  Each slot is cleared with uiAclType 1
 * before it is read into.  The number read, or 0xFFFFFFFF when the policy
 * does not exist (or family, array or capacity is unusable; the array is
 * then untouched). */
DPMGMT_API uint32_t CONNLMT_DB_GetPolicyRule(uint32_t family, uint16_t policyId, uint32_t capacity,
                                             uint64_t handle, CONNLMT_RULE_S *rules);
/** Stores the description; an empty text deletes it (the raw result of the
 * deletion).  0 or 0x40010001. */
DPMGMT_API uint32_t CONNLMT_DB_SetDescription(const CONNLMT_DESCRIPTION_S *description);
/** Reads the policy's description from the database of handle; 0, or
 * 0x40010001 when it is missing or belongs to another family or policy. */
DPMGMT_API uint32_t CONNLMT_DB_GetPolicyDescription(uint32_t family, uint16_t policyId, uint64_t handle,
                                                    CONNLMT_DESCRIPTION_S *description);
/** Records the 4-byte value as the policy applied at the interface (0:
 * globally), or deletes it when value is null; the raw database result. */
DPMGMT_API uint32_t CONNLMT_DB_UpdateAppliedPolicy(uint32_t ifIndex, const void *value);
/** Reads the 4-byte applied value of the interface; 0 or 0x40010001. */
DPMGMT_API uint32_t CONNLMT_DB_GetAppliedPolicy(uint64_t handle, uint32_t ifIndex, void *value);
/** (0, 1) moves the interface's applied key from the used to the unused
 * database, any other pair the other way; the raw result of the move. */
DPMGMT_API uint32_t CONNLMT_DB_MoveAppliedPolicy(uint32_t first, uint32_t second, uint32_t ifIndex);
/** Deletes the applied key from the used database (index 0: the global
 * one); the raw result. */
DPMGMT_API uint32_t CONNLMT_DB_IfDeactiveProc(uint32_t ifIndex);
/** Deletes the applied key from the unused database; the raw result. */
DPMGMT_API uint32_t CONNLMT_DB_DelAppliedPolicyFromUnused(uint32_t ifIndex);

/* ====================================================== policy commands == */
/* Each command is one exchange with the session service (message types 24
 * to 43).  Results: 0, 0x40010001 (exchange failure, a reply naming policy
 * 0xFFFF, a count larger than the record holds, a null record),
 * 0x40010005 (no such rule), or the service's own code in host order.
 * Outputs are written only when the exchange succeeded. */

/** The head of every policy reply. */
typedef struct CONNLMT_POLICY {
    uint32_t uiPolicyWord0;  /**< Policy word 0 */
    uint16_t usPolicyId;       /**< 0xFFFF: no such policy */
    uint8_t aucPad[2];  /**< Padding */
    uint32_t uiRuleNum;        /**< rule records that follow */
    uint32_t uiPolicyWord1;  /**< Policy word 1 */
    CONNLMT_RULE_S astRule[CONNLMT_MAX_RULE_NUM];  /**< Rule */
} CONNLMT_POLICY_S;
DPMGMT_CHECK_SIZE(CONNLMT_POLICY_S, 16 + 257 * 96);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICY_S, uiPolicyWord0, 0);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICY_S, usPolicyId, 4);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICY_S, aucPad, 6);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICY_S, uiRuleNum, 8);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICY_S, uiPolicyWord1, 12);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICY_S, astRule, 16);

/** A policy with its rules as the info queries deliver it (head, then up to 257 rules). */
typedef struct CONNLMT_POLICYINFO {
    uint32_t uiPolicyWord0;  /**< Policy word 0 */
    uint16_t usPolicyId;  /**< Policy ID */
    uint8_t aucPad[2];  /**< Padding */
    uint32_t uiRuleNum;  /**< Rule number */
    uint32_t uiPolicyWord1;  /**< Policy word 1 */
    uint8_t aucPolicyInfo[128]; /**< left as received */
    CONNLMT_RULE_S astRule[CONNLMT_MAX_RULE_NUM];  /**< Rule */
} CONNLMT_POLICYINFO_S;
DPMGMT_CHECK_SIZE(CONNLMT_POLICYINFO_S, 144 + 257 * 96);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICYINFO_S, uiPolicyWord0, 0);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICYINFO_S, usPolicyId, 4);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICYINFO_S, aucPad, 6);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICYINFO_S, uiRuleNum, 8);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICYINFO_S, uiPolicyWord1, 12);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICYINFO_S, aucPolicyInfo, 16);
DPMGMT_CHECK_OFFSET(CONNLMT_POLICYINFO_S, astRule, 144);

/** Interface indexes at which a policy is applied, 8196 bytes. */
typedef struct CONNLMT_APPLYLIST {
    uint32_t uiApplyNum;  /**< Apply number */
    uint32_t auiIfIndex[CONNLMT_MAX_APPLY_NUM];  /**< Interface index */
} CONNLMT_APPLYLIST_S;
DPMGMT_CHECK_SIZE(CONNLMT_APPLYLIST_S, 8196);
DPMGMT_CHECK_OFFSET(CONNLMT_APPLYLIST_S, uiApplyNum, 0);
DPMGMT_CHECK_OFFSET(CONNLMT_APPLYLIST_S, auiIfIndex, 4);

/** The feature's debugging settings: five words, not interpreted here. */
typedef struct CONNLMT_DEBUG {
    uint32_t auiDebugWord[5];  /**< Debug word */
} CONNLMT_DEBUG_S;
DPMGMT_CHECK_SIZE(CONNLMT_DEBUG_S, 20);
DPMGMT_CHECK_OFFSET(CONNLMT_DEBUG_S, auiDebugWord, 0);

/** Reads the five debugging words. */
DPMGMT_API uint32_t CONNLMT_ipc_GetDebug(CONNLMT_DEBUG_S *debug);
/** Sets the debugging words (u32, u16, u32, u32 on the wire). */
DPMGMT_API uint32_t CONNLMT_ipc_SetDebug(uint32_t a, uint16_t b, uint32_t c, uint32_t d);
/** Creates the policy in the service. */
DPMGMT_API uint32_t CONNLMT_ipc_AddPolicy(uint16_t policyId, uint32_t family);
/** Deletes the policy in the service. */
DPMGMT_API uint32_t CONNLMT_ipc_DelPolicy(uint16_t policyId, uint32_t family);
/** Adds or replaces a rule in the service. */
DPMGMT_API uint32_t CONNLMT_ipc_AddRule(const CONNLMT_RULE_S *rule);
/** 0x40010005 (rule untouched) when the service has no such rule. */
DPMGMT_API uint32_t CONNLMT_ipc_GetRule(uint16_t policyId, uint16_t ruleId, uint32_t family, CONNLMT_RULE_S *rule);
/** Deletes a rule of a policy in the service. */
DPMGMT_API uint32_t CONNLMT_ipc_DelRule(uint32_t family, uint16_t policyId, uint16_t ruleId);
/** Applies the policy at the interface. */
DPMGMT_API uint32_t CONNLMT_ipc_ApplyPolicy(uint32_t ifIndex, uint16_t policyId, uint32_t family);
/** Removes the policy applied at the interface. */
DPMGMT_API uint32_t CONNLMT_ipc_CancelPolicy(uint32_t ifIndex, uint32_t family);
/** Reads the policy applied at the interface. */
DPMGMT_API uint32_t CONNLMT_ipc_GetApplyPolicy(uint32_t ifIndex, uint32_t family, uint16_t *policyId);
/** Reads whether the policy exists (1) or not (0). */
DPMGMT_API uint32_t CONNLMT_ipc_IsPolicyExist(uint16_t policyId, uint32_t family, uint16_t *exists);
/** The reply lands in *policy; policy 0xFFFF in it gives 0x40010001 with
 * the record left as received.  uiAclType of the rules is left as the
 * service sent it. */
DPMGMT_API uint32_t CONNLMT_ipc_GetPolicy(uint16_t policyId, uint32_t family, CONNLMT_POLICY_S *policy);
/** Reads the policy after policyId, with its rules. */
DPMGMT_API uint32_t CONNLMT_ipc_GetNextPolicy(uint16_t policyId, uint32_t family, CONNLMT_POLICY_S *policy);
/** Reads the identifier of the policy after policyId. */
DPMGMT_API uint32_t CONNLMT_ipc_GetNextPolicyID(uint16_t policyId, uint32_t family, uint16_t *nextId);
/** Reads the interfaces the policy is applied at. */
DPMGMT_API uint32_t CONNLMT_ipc_GetPolicyApplyList(uint16_t policyId, uint32_t family, CONNLMT_APPLYLIST_S *list);
/** Reads the number of policies of the family. */
DPMGMT_API uint32_t CONNLMT_ipc_GetPolicyTotalNumber(uint32_t family, uint32_t *total);
/** Clears the policy's statistics. */
DPMGMT_API uint32_t CONNLMT_ipc_ResetStatistics(uint16_t policyId, uint32_t family);
/** Sets the policy's description in the service. */
DPMGMT_API uint32_t CONNLMT_ipc_SetDes(const CONNLMT_DESCRIPTION_S *description);
/** The reply lands in info, which holds replyMax bytes; no 0xFFFF test. */
DPMGMT_API uint32_t CONNLMT_ipc_GetPolicyInfo(uint16_t policyId, uint32_t family, uint32_t replyMax,
                                              CONNLMT_POLICYINFO_S *info);
/** Reads the policy after policyId in the info form. */
DPMGMT_API uint32_t CONNLMT_ipc_GetNextPolicyInfo(uint16_t policyId, uint32_t family, CONNLMT_POLICYINFO_S *info);

/* ================================================== limit statistics ===== */

#define CONNLMT_STATNODE_DUMP_TYPE 0x14000Bu  /**< dump of the limit statistic nodes */
#define CONNLMT_STATISTICS_DUMP_TYPE 0x14000Cu  /**< dump of the statistics record */
#define CONNLMT_STAT_MODE_COUNT 1u  /**< mode: print only the count */
#define CONNLMT_RC_NO_STATNODE 0x0611008Bu /**< resource string shown when nothing was received */

/** A 16-byte address slot: IPv4 in the first 4 bytes, or IPv6. */
typedef union CONNLMT_ADDR {
    uint32_t uiIpv4;  /**< Ipv4 */
    uint32_t auiIpv6[4];  /**< Ipv6 */
    uint8_t aucIpv6[16];  /**< Ipv6 */
} CONNLMT_ADDR_S;
DPMGMT_CHECK_SIZE(CONNLMT_ADDR_S, 16);

/** The caller's filter, host order (IPv6 addresses in network order). */
typedef struct CONNLMT_STATNODE_FILTER {
    uint32_t uiIpVersion;        /**< 0 IPv4; anything else IPv6 */
    CONNLMT_ADDR_S stAddr1;  /**< Address 1 */
    CONNLMT_ADDR_S stAddr2;  /**< Address 2 */
    uint16_t usFilterValue;  /**< Filter value */
    uint8_t aucReserved[2];      /**< not read */
    uint8_t aucFilterBytes[16];  /**< passed on unchanged */
} CONNLMT_STATNODE_FILTER_S;
DPMGMT_CHECK_SIZE(CONNLMT_STATNODE_FILTER_S, 56);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_FILTER_S, uiIpVersion, 0);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_FILTER_S, stAddr1, 4);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_FILTER_S, stAddr2, 20);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_FILTER_S, usFilterValue, 36);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_FILTER_S, aucReserved, 38);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_FILTER_S, aucFilterBytes, 40);

/** The dump key of the statistic nodes, 60 bytes, network order. */
typedef struct CONNLMT_STATNODE_KEY {
    uint32_t uiKeyWord;  /**< Key word */
    uint32_t uiIpVersion;  /**< IP version */
    CONNLMT_ADDR_S stAddr1;  /**< Address 1 */
    CONNLMT_ADDR_S stAddr2;  /**< Address 2 */
    uint16_t usFilterValue;  /**< Filter value */
    uint8_t aucPad[2];  /**< Padding */
    uint8_t aucFilterBytes[16];  /**< Filter bytes */
} CONNLMT_STATNODE_KEY_S;
DPMGMT_CHECK_SIZE(CONNLMT_STATNODE_KEY_S, 60);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_KEY_S, uiKeyWord, 0);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_KEY_S, uiIpVersion, 4);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_KEY_S, stAddr1, 8);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_KEY_S, stAddr2, 24);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_KEY_S, usFilterValue, 40);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_KEY_S, aucPad, 42);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_KEY_S, aucFilterBytes, 44);

/** One statistic node as the kernel dumps it, 80 bytes, network order. */
typedef struct CONNLMT_STATNODE {
    CONNLMT_ADDR_S stSrcIp;  /**< Source IP */
    CONNLMT_ADDR_S stDstIp;  /**< Destination IP */
    uint16_t usSrcVrf;  /**< Source VPN index */
    uint16_t usDstVrf;  /**< Destination VPN index */
    CONNLMT_ADDR_S stDsLitePeer;  /**< all zero: no tunnel peer */
    uint8_t ucProtocol;           /**< 0: all protocols */
    uint8_t ucReserved;  /**< reserved, carried as delivered */
    uint16_t usPort;  /**< Port */
    uint16_t usRuleId;  /**< Rule ID */
    uint16_t usNewSessionFlag;    /**< 1: permitted */
    uint32_t uiAclNum;  /**< ACL number */
    uint32_t uiThresholdHigh;  /**< Threshold high */
    uint32_t uiThresholdLow;  /**< Threshold low */
    uint32_t uiSessionCount;  /**< Session count */
    uint32_t uiAclType;  /**< ACL type */
} CONNLMT_STATNODE_S;
DPMGMT_CHECK_SIZE(CONNLMT_STATNODE_S, 80);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, stSrcIp, 0);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, stDstIp, 16);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, usSrcVrf, 32);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, usDstVrf, 34);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, stDsLitePeer, 36);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, ucProtocol, 52);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, ucReserved, 53);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, usPort, 54);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, usRuleId, 56);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, usNewSessionFlag, 58);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, uiAclNum, 60);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, uiThresholdHigh, 64);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, uiThresholdLow, 68);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, uiSessionCount, 72);
DPMGMT_CHECK_OFFSET(CONNLMT_STATNODE_S, uiAclType, 76);

/** The kernel's connection-limit statistics, 16 bytes. */
typedef struct CONNLMT_STATISTICS {
    uint64_t aulCounter[2];  /**< Counter */
} CONNLMT_STATISTICS_S;
DPMGMT_CHECK_SIZE(CONNLMT_STATISTICS_S, 16);
DPMGMT_CHECK_OFFSET(CONNLMT_STATISTICS_S, aulCounter, 0);

/** Prints the statistic nodes of the node matching the filter (mode 1: only
 * their count), lines ending in CR LF.  0x40010001 when the dump cannot be
 * opened or the pull buffer cannot be had; otherwise the result of the
 * pull that ended the dump. */
DPMGMT_API uint32_t CONNLMT_Dump_DisStatNodes(uint16_t node, uint32_t keyWord,
                                              const CONNLMT_STATNODE_FILTER_S *filter, uint16_t mode);
/** Reads the node's statistics record into *stats; 0 or 0x40010001. */
DPMGMT_API uint32_t CONNLMT_Dump_GetStatistics(uint16_t node, uint32_t keyWord, CONNLMT_STATISTICS_S *stats);

/** @} */

DPMGMT_EXTERN_C_END

#endif
