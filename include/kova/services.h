/*
 * Device services: register an account, see what it holds, list its purchases. C++ only.
 */
#ifndef KOVA_SERVICES_H
#define KOVA_SERVICES_H

#include <kova/export.h>

#ifdef __cplusplus

#include <json/value.h>

/*
 * Creates an account on the service. The password and the name are sent as they are, empty ones too; `criticalRelease`
 * asks for mail about critical releases. Does not sign the device in and changes nothing on it.
 *
 * Returns 0, else -1 with code 0 (the device cannot name its time zone), 1 (a null text), 4, 6 (its time zone is
 * unknown, or memory), 8, 22, 23, or what the service's refusal maps to: 16 for an address that has an account, 17 for
 * a device that has registered enough of them.
 */
KOVA_API int TARVKOVAAccountRegister(const char *email, const char *password, const char *fullName,
                                     bool criticalRelease);

/*
 * Which remote services an account holds for this device. `accountId` is the service's identifier of the account,
 * `authKey` its authentication key. `result` must not be null; it is replaced by an object with "alias" and "ddns", as
 * the service gave them, and the boolean "mcafee": whether the account ever obtained the antivirus application.
 *
 * Returns 0, else -1 with code 1 (a null argument or result value), 2, 4, 5 (the reply lacks a member), 6, 8, 23, or
 * what the service's refusal maps to. `result` is as it was, or holds "alias" and "ddns" alone when the second of the
 * two requests failed.
 */
KOVA_API int TARVKOVAAccountServiceCheck(const char *accountId, const char *authKey, Json::Value &result);

/*
 * The signed-in account's purchases. `language` is the user's; `dateFrom` and `dateTo` may be null, which leaves that
 * end open; each filter is an array of texts or numbers, or null for none (anything else counts as none). `result` must
 * not be null; it is replaced by an object with "total", "offset" (0) and "logs", an array of objects with "date",
 * "item", "buyer_id", "transaction_id", "model", "serial", "price" (a real number) and "pay_status".
 *
 * Returns 0, else -1, with `result` as it was, and code 1 (null `language` or result value), 2, 3, 4, 5, 6, 8, 23, or
 * what the service's refusal maps to. No refusal signs the device out.
 */
KOVA_API int TARVKOVAAccountPurchaseList(const char *language, const char *dateFrom, const char *dateTo,
                                         const Json::Value &apps, const Json::Value &serials, const Json::Value &prices,
                                         const Json::Value &paypals, Json::Value &result);

#endif

#endif
