/*
 * Requests to the account service: base URLs, user agent, device identity and the one HTTPS request.
 */
#ifndef KOVA_TRANSPORT_H
#define KOVA_TRANSPORT_H

#include <kova/account.h>
#include <kova/export.h>
#include <kova/platform.h>
#include <stdint.h>

KOVA_BEGIN_C

/* The service's base URLs, each "https://" and a host name. */
typedef struct ServerConfig {
  char first_url[2048];   /* base of "api/query.php" */
  char service_url[2048]; /* base of "dnsauth.php" and "account.php" */
} ServerConfig;

/* One request. The caller zeroes it before use and owns everything it points to. Its URL, for a GET with the
 * parameters, is cut to 4095 bytes. */
typedef struct HttpsRequest {
  const char *base;      /* required: "https://" and the host */
  const char *path;      /* required: the script path under the base, without a leading "/" */
  TLIBCSzHash *params;   /* the parameters, sent in the hash's order; null or empty: code 4 */
  AccountInfo account;   /* kovaID and kovaPW are mixed into the device token; both may be empty */
  int32_t method;        /* 1: the parameters are the query of a GET; any other value: the form body of a POST */
  int32_t short_timeout; /* non-zero: time-outs of 15 s and 2 attempts instead of 120 s and 3 */
} HttpsRequest;

/* One reply. */
typedef struct _tag_libkova_tarv_response_ {
  int32_t transfer_result; /* libcurl's result code of the transfer; 0 on success or when none ran */
  int32_t http_status;     /* the HTTP status; 0 when there was none */
  char *body;              /* owned by this record: the body without surrounding white space, or null */
} HttpsResponse;

/*
 * Fills both base URLs for the service environment that "tarvpkg_server" in "/etc.defaults/tarvinfo.conf" names
 * ("test", "dev", "test2"; anything else: production). Returns 0, leaving the error code alone, or -1 with code 1
 * (`config` is null) or 6.
 */
KOVA_API int TARVKOVAServerConfigGet(ServerConfig *config);

/*
 * Fills `buffer` (`size` bytes) with the user agent of this package. Returns -1 with code 1 when `buffer` is null or
 * `size` is below 1, else 0: also when the platform knows no user agent, so zero the buffer first.
 */
KOVA_API int TARVKOVAUserAgentNameGet(char *buffer, int32_t size);

/*
 * Sends `request` and fills `response`. Every request begins with "vx_sn" (the parameter of that name, else the
 * device's serial number) and "vx_token". Blocks for at most 3 attempts of 120 s, or 2 of 15 s, and a pause of 1 s
 * after each; an attempt whose name server is silent lasts until the system's resolver gives up.
 *
 * A body has at most 64 MiB, and at most 30 redirects lead to it, from an https base to https alone. In a process with
 * more rights than its user (set-user-ID, file capabilities) the call removes the variables from the environment by
 * which the user could choose the route (proxies), the certificates or a file for TLS secrets.
 *
 * Returns 0 when a body with HTTP status 200 arrived, else -1 with code 1 (a null argument), 6 (memory) or 4
 * (anything else). The body may be null even then: when its copy could not be allocated. `response` need not be
 * initialised; a body from an earlier call must have been released. A failure's log line holds the URL, with the
 * parameters of a GET, or the parameter value that could not be encoded.
 */
KOVA_API int TARVKOVAHttpsRequestSend(const HttpsRequest *request, HttpsResponse *response);

/* Overwrites and releases the body and clears it and the HTTP status; the transfer result stays. Null is allowed. */
KOVA_API void TARVKOVAHttpsResponseFree(HttpsResponse *response);

/*
 * Fills `buffer` (`size` bytes, cut to them) with the custom serial number or, when there is none, the factory one.
 * Returns 0, or -1 when `buffer` is null or `size` below 1, neither can be read, or the first character is not an
 * ASCII letter or digit. The error code stays.
 */
KOVA_API int TARVKOVAGetSerialNumber(char *buffer, int32_t size);

/*
 * Derives the device token from the serial number and two texts, each of which may be null. `serial` (`serial_size`
 * bytes) is filled from the device when it is empty. `token` takes 32 lowercase hexadecimal digits and a NUL, cut to
 * `token_size`. Returns 0, or -1 when `serial` or `token` is null, `token_size` is below 1, there is no valid serial
 * number, MD5 fails or memory runs out. The error code stays.
 */
KOVA_API int TARVKOVAGenerateToken(const char *text1, const char *text2, char *serial, int32_t serial_size, char *token,
                                   int32_t token_size);

/*
 * Clears `output` (`size` bytes) and writes the MD5 of `text` as 32 lowercase hexadecimal digits and a NUL. Returns 0,
 * or -1 when `text` or `output` is null, `size` is below 32 or MD5 fails. The error code stays. `output` must have room
 * for 33 bytes, also where `size` says 32.
 */
KOVA_API int KovaGetMd5String(const char *text, char *output, int32_t size);

KOVA_END_C

#endif
