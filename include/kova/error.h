/*
 * Error state and result codes.
 *
 * Every operation reports its outcome twice: through its return value (0 or more for success, negative for failure)
 * and through one process-wide error code. The code is not locked and not per thread; nothing resets it but the next
 * TARVKOVAErrSet. An operation's own comment says where it leaves a code other than the obvious one.
 */
#ifndef KOVA_ERROR_H
#define KOVA_ERROR_H

#include <kova/export.h>
#include <stdint.h>

KOVA_BEGIN_C

/* The error codes. Numbers absent here are not assigned. */
enum KovaErrorCode {
  KOVA_SUCCESS = 0,
  KOVA_ERR_BAD_PARAMETERS = 1,  /* a required argument is null or empty, or the service says so */
  KOVA_ERR_JSON_FORMAT = 2,     /* a reply is not JSON, or lacks a member in a way that makes it unreadable */
  KOVA_ERR_ACCOUNT_GET = 3,     /* no stored account, or it cannot be read */
  KOVA_ERR_REQUEST = 4,         /* transport failure, an HTTP status other than 200, or an empty body */
  KOVA_ERR_RESPONSE = 5,        /* the reply lacks its result or the data expected in it */
  KOVA_ERR_SYSTEM = 6,          /* memory, file or platform failure, also an unexpected exception */
  KOVA_ERR_SERIAL_NUMBER = 8,   /* the device serial number cannot be read */
  KOVA_ERR_AUTHENTICATION = 14, /* wrong credentials */
  KOVA_ERR_NETWORK = 15,        /* network failure reported by the service or the cloud-service layer */
  KOVA_ERR_ACCOUNT_IN_USE = 16, /* the e-mail address already has an account */
  KOVA_ERR_ACCOUNT_LIMIT = 17,  /* the serial number has registered as many accounts as the service allows */
  KOVA_ERR_UNVERIFIED = 18,     /* the account is not verified yet */
  KOVA_ERR_STORE = 19,          /* the account or a setting cannot be stored */
  KOVA_ERR_MAC_ADDRESS = 20,    /* the device's MAC address cannot be read */
  KOVA_ERR_TOKEN = 22,          /* the device token cannot be made */
  KOVA_ERR_SERVER_CONFIG = 23,  /* the service's base URLs cannot be had */
  KOVA_ERR_UNKNOWN_RESULT = 24, /* the service's result word or the cloud-service error is unknown */
  KOVA_ERR_ACCOUNT_NOT_FOUND = 25,
  KOVA_ERR_API_KEY_NOT_FOUND = 26
};

/* One row of the result table: a result word of the service and the code it stands for. */
typedef struct KovaErrorMapEntry {
  const char *result; /* NUL-terminated; null ends the table */
  int32_t code;
} KovaErrorMapEntry;

/* The result table: 11 words and the terminating row. Writable; the first row that matches wins. */
extern KOVA_API KovaErrorMapEntry gErrorCodeMap[12];

/* Stores `code`, unchecked, as the library's error code and returns it. */
KOVA_API int32_t TARVKOVAErrSet(int32_t code);

/* The stored error code; 0 in a freshly loaded library. */
KOVA_API int32_t TARVKOVAErrGet(void);

/*
 * Maps a result text of the service to an error code, stores the code and returns it: the code of the first row of
 * gErrorCodeMap whose word `result` begins with (case-sensitive), else 24. `result` must not be null.
 */
KOVA_API int32_t MapLibKovaCenterErrorCode(const char *result);

/* The error code for the cloud-service layer's last error number: 0 gives 0, 1 gives 15, anything else 24. Not stored.
 */
KOVA_API int32_t GetErrorCodeFromCloudService(void);

/* Writes one line for `code` to standard error: what codes 1 to 5 mean, "System error" for others, nothing for 0. */
KOVA_API void printErrCode(int32_t code);

KOVA_END_C

#endif
