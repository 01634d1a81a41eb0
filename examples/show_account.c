/*
 * Shows the device's serial number and the account that it is signed in to; with "--ask" also the service's own answer
 * about the account, as JSON.
 *
 * Exit code: 0 signed in, 1 failure, 2 wrong usage, 3 not signed in.
 */
#define _DEFAULT_SOURCE /* explicit_bzero */
#include <kova/kova.h>
#include <stdio.h>
#include <string.h>

enum { kSuccess, kFailure, kUsage, kNotSignedIn };

/* Tells what failed and why. The next call of the library may set another code, so it is read at once. A failure may
 * leave code 0, where the header says so: -1 has a text for it. */
static int fail(const char *what) {
  const int32_t code = TARVKOVAErrGet();
  const KovaErrorText *text = KovaErrorTextGet(code != KOVA_SUCCESS ? code : -1);
  fprintf(stderr, "%s: %s (%s, code %d)\n", what, text->sentence, text->name, (int)code);
  return code == KOVA_ERR_ACCOUNT_GET ? kNotSignedIn : kFailure;
}

/* Sends the parameters and prints the reply. */
static int print_reply(TLIBCSzHash *parameters) {
  /* Both records are large and are zeroed before use, as static ones are. */
  static ServerConfig server;
  static HttpsRequest request;
  HttpsResponse response;
  int result = kSuccess;
  if (TARVKOVAServerConfigGet(&server) < 0) return fail("service address");
  request.base = server.service_url;
  request.path = "dnsauth.php";
  request.params = parameters;
  request.short_timeout = 1; /* at most 2 attempts of 15 s */
  if (TARVKOVAHttpsRequestSend(&request, &response) < 0) return fail("request");
  /* Success says that a reply came. Whether the service agrees stands in the "code" of its JSON. */
  if (response.body != NULL) {
    puts(response.body);
  } else {
    fputs("no memory for the reply\n", stderr);
    result = kFailure;
  }
  TARVKOVAHttpsResponseFree(&response); /* the one thing that the library allocates and its caller releases */
  return result;
}

static int ask(const AccountInfo *account, const char *serial) {
  int result = kFailure;
  TLIBCSzHash *parameters = TLIBCSzHashAlloc(4);
  if (parameters != NULL && TLIBCSzHashSetValue(parameters, "action", "query") == 0 &&
      TLIBCSzHashSetValue(parameters, "kova_id", account->kovaIDSerial) == 0 &&
      TLIBCSzHashSetValue(parameters, "auth_key", account->vx_auth_key) == 0 &&
      TLIBCSzHashSetValue(parameters, "serial", serial) == 0) {
    result = print_reply(parameters);
  } else {
    fprintf(stderr, "parameters: platform error 0x%04X\n", (unsigned)TLIBCErrGet());
  }
  TLIBCSzHashFree(parameters); /* takes null too, and overwrites the auth key */
  return result;
}

int main(int argc, char **argv) {
  static AccountInfo account; /* zeroed: an account without a profile fills its first fields only */
  char serial[64] = "";
  int result = kSuccess;
  if (argc > 2 || (argc == 2 && strcmp(argv[1], "--ask") != 0)) {
    fputs("usage: show_account [--ask]\n", stderr);
    return kUsage;
  }
  /* This function and its like leave the error code alone, as their comments say. */
  if (TARVKOVAGetSerialNumber(serial, sizeof serial) < 0) {
    fputs("this device has no serial number\n", stderr);
    return kFailure;
  }
  printf("serial number: %s\n", serial);
  if (TARVKOVAAccountGet(&account) < 0) {
    result = fail("account");
  } else {
    printf("account: %s\n", account.kovaID[0] != '\0' ? account.kovaID : account.kovaIDSerial);
    if (argc == 2) result = ask(&account, serial);
  }
  explicit_bzero(&account, sizeof account); /* it holds the auth key */
  return result;
}
