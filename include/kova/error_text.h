/*
 * The error codes in words: a name for scripts and a sentence for people. They stand in this header, so that a program
 * has them whatever version of the library it runs on.
 */
#ifndef KOVA_ERROR_TEXT_H
#define KOVA_ERROR_TEXT_H

#include <kova/error.h>
#include <stddef.h>
#include <stdint.h>

KOVA_BEGIN_C

typedef struct KovaErrorText {
  int32_t code;
  const char *name;     /* lower-case words joined by "_"; it stays the same in later versions */
  const char *sentence; /* English, without a full stop; begins in lower case */
} KovaErrorText;

/* The texts of an error code; those of a failure without a known cause for a number that is not assigned. Constant. */
static inline const KovaErrorText *KovaErrorTextGet(int32_t code) {
  static const KovaErrorText texts[] = {
      {KOVA_SUCCESS, "success", "the operation succeeded"},
      {KOVA_ERR_BAD_PARAMETERS, "bad_parameters", "the service does not accept these values"},
      {KOVA_ERR_JSON_FORMAT, "bad_reply", "the service's reply cannot be read"},
      {KOVA_ERR_ACCOUNT_GET, "not_signed_in", "this device is not signed in"},
      {KOVA_ERR_REQUEST, "unreachable", "the service cannot be reached, or gives no proper answer"},
      {KOVA_ERR_RESPONSE, "incomplete_reply", "the service's reply is incomplete"},
      {KOVA_ERR_SYSTEM, "system_error", "a system error; the system log has its details"},
      {KOVA_ERR_SERIAL_NUMBER, "no_serial_number", "the device's serial number cannot be read"},
      {KOVA_ERR_AUTHENTICATION, "authentication_failed", "the service does not accept the credentials"},
      {KOVA_ERR_NETWORK, "network_failure", "the network failed"},
      {KOVA_ERR_ACCOUNT_IN_USE, "account_in_use", "this e-mail address already has an account"},
      {KOVA_ERR_ACCOUNT_LIMIT, "account_limit", "this device has registered as many accounts as the service allows"},
      {KOVA_ERR_UNVERIFIED, "account_unverified", "the account's e-mail address is not verified yet"},
      {KOVA_ERR_STORE, "not_stored", "the device cannot store the account or the setting"},
      {KOVA_ERR_MAC_ADDRESS, "no_mac_address", "the device's MAC address cannot be read"},
      {KOVA_ERR_TOKEN, "no_token", "the device token cannot be made"},
      {KOVA_ERR_SERVER_CONFIG, "no_server", "the device does not know its service's address"},
      {KOVA_ERR_UNKNOWN_RESULT, "unknown_result",
       "the service answered something unknown, or the device's API key cannot be read"},
      {KOVA_ERR_ACCOUNT_NOT_FOUND, "account_not_found", "the service does not know this account"},
      {KOVA_ERR_API_KEY_NOT_FOUND, "api_key_not_found", "the service does not know this device's API key"},
      {-1, "failed", "the operation failed; the system log has its details"}};
  size_t i = 0;
  while (texts[i].code != code && texts[i].code != -1) ++i;
  return &texts[i];
}

KOVA_END_C

#endif
