/*
 * Unification: find the accounts that the device's services use, merge them into one, abandon the rest. C++ only.
 */
#ifndef KOVA_UNIFY_H
#define KOVA_UNIFY_H

#include <kova/export.h>

#ifdef __cplusplus

#include <json/value.h>

/*
 * Finds the accounts that the device's services use and replaces `result` by an object with one member for each: its
 * name is the account as the service names it, its value an object whose array "services" holds objects with "type"
 * ("package", "farlink" or "ddns") and "value", the service's own name for the device. What the dynamic DNS tool prints
 * is taken with its newline. A source that cannot be read is skipped.
 *
 * Returns 0; or -1 with code 6 (memory). Does not reset the error code, and may leave 3 where no account file names an
 * account.
 */
KOVA_API int TARVKOVAAccountScanExisting(Json::Value &result);

/*
 * Merges accounts into the main one, named by its e-mail address and password. `mergeList` is an array of objects with
 * "email" and "passwd". Accounts that the device's services still use and that were neither merged nor are the main one
 * are abandoned, the dynamic DNS service is restarted and the device is marked as unified; of these only the mark can
 * fail the call. With an empty list nothing is sent.
 *
 * Returns 0; the code may then be 3, left by a scan. Else -1 with code 1 (a null text, a list that is not an array,
 * an element without its members: nothing was sent), 4, 6, 8, 19 (mark not written), 22, 23, or what the service's
 * refusal maps to.
 */
KOVA_API int TARVKOVAAccountMigrate(const char *email, const char *password, const Json::Value &mergeList);

/*
 * Tells the services that use the accounts named in the array `accounts`, or all accounts when it is null, to let go of
 * them: runs every hook of "/usr/tarv/tarvkova/unify" with the services' types, joined by commas, in KOVA_ABANDON_LIST.
 * That variable is gone from the environment afterwards. No other thread may use the environment meanwhile.
 *
 * Returns 0, also where there is nothing to tell, else -1 with code 1 (neither null nor an array), 6 (memory), or as
 * the scan left it when the hooks could not be listed. A hook's own failure is ignored.
 */
KOVA_API int TARVKOVAAbandonUnmerged(const Json::Value &accounts);

#endif

#endif
