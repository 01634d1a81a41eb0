/*
 * The account session: the operations on the signed-in account. C++ but for TARVKOVAAccountIsUnified_C.
 */
#ifndef KOVA_SESSION_H
#define KOVA_SESSION_H

#include <kova/export.h>

/* What signing in schedules once a week, and signing out removes: a program that calls TARVKOVAReportInfo. */
#define KOVA_REPORT_COMMAND "/usr/tarv/bin/tarvkova --report_info"

#ifdef __cplusplus

#include <json/value.h>
#include <kova/platform.h>

/*
 * Asks the service whether `email` and `password` (clear text; only its MD5 is sent) are right. `alias`, a name for
 * the device, may be null. Nothing on the device changes.
 *
 * Returns 0 when they were accepted, else -1 with code 0 (the digest failed), 1 (null e-mail or password), 2 (the reply
 * is not JSON), 4, 6, 8, 23, or what the service's refusal maps to: 14 for wrong credentials, 18 for an unverified
 * account. `reply` takes the service's whole reply whenever that is JSON, also on a refusal; else it stays as it was.
 */
KOVA_API int TARVKOVAAccountAuthen(const char *email, const char *password, const char *alias, Json::Value &reply);

/*
 * Signs the device in to an account with its e-mail address and password and the device's API key; an API key that the
 * service does not know is registered anew, once. Stores the account, schedules the weekly report (unless
 * "kova_disable_report" in "/etc/tarvinfo.conf" is "yes"), writes the event and fetches the profile. With `checkOnly`
 * it stops when the service has accepted, and changes nothing but, where needed, the API key.
 *
 * Returns 0, else -1 with code 1 (null e-mail or password), 2, 4, 5, 6, 8, 15 or 24 (no API key), 19 (account not
 * stored), 20, 23, or what the service's refusal maps to. `reply` takes the service's last reply that is JSON; it holds
 * the auth key. Reseeds rand().
 *
 * Failures of the schedule and of the fetched profile do not fail the sign-in; the error code is then what they left.
 * Code 3 is one of them: no account is stored, or the service refused the auth key and the library has tried to sign
 * the device out again. Where the reply lacks "kova_id" or "auth_key", the account file keeps the one that it had.
 */
KOVA_API int TARVKOVAAccountLogin(const char *email, const char *password, Json::Value &reply, bool checkOnly);

/*
 * Signs the device out: tells the service to drop the auth key, then removes the account file and the weekly report and
 * writes the event. Once the service has answered in JSON the device is signed out here, also when it refused; its
 * refusal is then the error code although the result is 0. That the account file could not be removed
 * (TARVKOVAAccountRemove) is not reported.
 *
 * Returns 0, also when no account was stored; else -1 with code 2, 4, 6, 8 or 23 and nothing changed.
 */
KOVA_API int TARVKOVAAccountLogout();

/*
 * The signed-in account's profile: from the account file when its last refresh lies within 599 seconds of now and
 * `force` is false, else from the service, which also refreshes the file. `shortTimeout` bounds the request to 2
 * attempts of 15 s.
 *
 * Assigns into `info`, which is null or an object and keeps its other members: "auth_key", "email", "full_name",
 * "country", "timezone", "notify_language", "activated", "disabled", "enews", "critical_release",
 * "enews_local_promotion". From the file these are texts, cut to their fields, and booleans; from the service they are
 * its own values, beside "critical_version_list" and "critical_version_domain", texts joined by commas.
 *
 * Returns 0, also when the profile could not be stored: the code then tells (19). Else -1, with `info` as it was, and
 * code 1 (`info` is neither null nor an object), 2, 3 (no account; also when the service no longer knows the auth key:
 * the account is then removed), 4, 5 (the reply lacks a member), 6, 8, 23, or what the service's refusal maps to.
 */
KOVA_API int TARVKOVAAccountQueryInfo(Json::Value &info, bool force, bool shortTimeout);

/*
 * Changes the signed-in account on the service. A null text or a negative flag leaves that detail unchanged. `email`
 * and `newPassword` count only together with `password`, the current one. After a change of the password the profile is
 * refreshed and the administrators are notified; a failure of that does not fail the update, though the refresh may
 * leave its error code. With a result of 0, code 3 means that the service no longer knows the auth key, and that the
 * library has tried to sign the device out.
 *
 * Returns 0, else -1 with code 3, 4, 6, 8, 23, or what the service's refusal maps to.
 */
KOVA_API int TARVKOVAAccountSetInfo(const char *fullName, const char *email, const char *password,
                                    const char *newPassword, const char *country, const char *notifyLang,
                                    const char *timezone, BOOL enews, BOOL criticalRelease, BOOL enewsLocalPromotion,
                                    const char *criticalVersionList);

/*
 * Reports the device's time zone for the signed-in account: what the schedule calls once a week. Returns 0, also with
 * no account and when "kova_disable_report" in "/etc/tarvinfo.conf" is "yes"; else -1 with code 0 (the device cannot
 * name its time zone), 2, 4, 5, 6 (its time zone is unknown, or memory), 8, 23, or what the service's refusal maps to.
 */
KOVA_API int TARVKOVAReportInfo();

/*
 * Decides whether the device has settled on one account, and settles on it where its services use exactly one: it then
 * signs in to that account with the device's API key. `accounts` takes the accounts in use, as
 * TARVKOVAAccountScanExisting gives them; a device that is marked as unified is not scanned, and `accounts` stays.
 *
 * Returns 0 when the device is unified; the code is then 0, or 19 where the mark could not be written, or 3 where no
 * service uses an account. Else -1, with code 0 when its services use more than one account, or with code 2, 4, 6, 8,
 * 15 or 24 (no API key), 19 (account not stored), 20, 23, or what the service's refusal maps to. What the service's
 * reply lacks of "kova_id" and "auth_key" is not stored: the account file keeps what it had.
 */
KOVA_API int TARVKOVAAccountIsUnified(Json::Value &accounts);

#endif

KOVA_BEGIN_C

/* The same for C, and for callers that want no more than the answer. Also exported under its C++ name. */
KOVA_API int TARVKOVAAccountIsUnified_C(void);

KOVA_END_C

#endif
