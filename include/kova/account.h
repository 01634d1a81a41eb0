/*
 * The account record and the account file.
 *
 * The device keeps the account it is signed in to in the key file "/etc/kova.conf": one line key="value" for each key,
 * booleans as "yes" and "no". The file exists as long as an account is stored.
 */
#ifndef KOVA_ACCOUNT_H
#define KOVA_ACCOUNT_H

#include <kova/export.h>
#include <stdint.h>

KOVA_BEGIN_C

/*
 * The account record. The caller owns it and zeroes it before a read. Every text is NUL-terminated and cut to its
 * width; each field is named by its key in the account file.
 */
typedef struct _tag_kova_INFO_ {
  char kovaID[4096];                  /* the account's e-mail or login name */
  char kovaPW[4096];                  /* the stored password; only TARVPaymentKovaAccountGet fills it */
  char kovaIDSerial[4096];            /* the service's identifier of the account */
  char vx_auth_key[4096];             /* the device's authentication key, issued at sign-in */
  char full_name[1024];               /* the account holder's name */
  char country[256];                  /* country */
  char timezone[256];                 /* time zone name */
  char notify_language[256];          /* language of notification mail */
  char critical_version_list[1024];   /* critical versions, joined by commas */
  char critical_version_domain[1024]; /* all versions that could be critical, joined by commas */
  int32_t activated;                  /* 0 or 1: the account is activated */
  int32_t disabled;                   /* 0 or 1: the account is disabled */
  int32_t enews;                      /* 0 or 1: subscribed to the newsletter */
  int32_t critical_release;           /* 0 or 1: told of critical releases */
  int32_t enews_local_promotion;      /* 0 or 1: subscribed to local promotion mail */
  int32_t last_query_time;            /* seconds since the epoch of the last good query; 0: the profile is unknown */
} AccountInfo;

/*
 * Reads the stored account into `info`. Returns 0, or -1 with code 1 (`info` is null), 3 (no file, an unreadable one,
 * or one without auth key or account serial) or 6 (memory).
 *
 * The auth key and the account serial are required. From there on, in the order last_query_time, kovaID and the rest of
 * the record, the first missing key (for kovaID and full_name: also an empty one) ends the read with success and leaves
 * the fields not yet read, last_query_time among them, as the caller had them: an account whose profile was never
 * queried has only the first keys. A failed read may leave the record partly filled.
 */
KOVA_API int TARVKOVAAccountGet(AccountInfo *info);

/*
 * Writes `info` to the account file and keeps the file's other keys. The profile is written only when last_query_time
 * is above 0; the password never is; nor are empty kovaID, vx_auth_key, kovaIDSerial, full_name, notify_language and
 * critical_version_domain, whose old values stay. Returns 0, or -1 with code 1 (`info` is null), 6 (memory) or 19 (not
 * written, also when a text cannot be kept as one line; the file is then as it was, or the new one when only the final
 * sync to the disk failed). Waits for another writer of the file, on the stand-alone platform for up to 30 seconds.
 */
KOVA_API int TARVKOVAAccountSet(const AccountInfo *info);

/*
 * Signs the device out locally: runs the sign-out action of the device's other components, then deletes the account
 * file. Returns 0, or -1 when that action failed; the file then stays. Whether the file could be deleted is not
 * told. Does not touch the error code.
 */
KOVA_API int TARVKOVAAccountRemove(void);

/*
 * Reads the stored account ID and password into the first two fields of `buf` and leaves the rest alone. Returns 0, or
 * -1 with code 1 (`buf` is null), 3 (no file, unreadable, or one of the two missing or empty) or 6 (memory). Success
 * does not reset the error code.
 */
KOVA_API int TARVPaymentKovaAccountGet(AccountInfo *buf);

KOVA_END_C

#endif
