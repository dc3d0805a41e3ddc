/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief Result codes shared by every module of the library.
 *
 * Results are unsigned 32-bit values.  Codes that come from the session
 * service, the kernel or the database are passed through unchanged. */
#ifndef DPMGMT_RESULT_H
#define DPMGMT_RESULT_H

/** @defgroup result Result codes
 * @brief What every function of the library returns.
 * @{ */
#define DPMGMT_OK 0u                      /**< success */
#define DPMGMT_ERR_FAILED 0x40010001u     /**< every failure the library detects */
#define DPMGMT_ERR_NOT_EXIST 0x40010005u  /**< the requested entry does not exist */
#define DPMGMT_ERR_EXIST 0x40010006u      /**< the entry exists already */
#define DPMGMT_DUMP_CONTINUE 0x40010009u  /**< DUMP_Pull delivered a chunk */
/** @} */

#endif
