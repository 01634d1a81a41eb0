#include "tarvkova/outcome.h"

#include <kova/error.h>

#include <algorithm>
#include <iterator>

namespace kova::cli {
namespace {

struct Meaning {
  int code;
  ExitCode exitCode;
  const char *name;
  const char *message;
};

constexpr Meaning kMeanings[] = {
    {KOVA_ERR_BAD_PARAMETERS, ExitCode::kService, "bad_parameters", "the service does not accept these values"},
    {KOVA_ERR_JSON_FORMAT, ExitCode::kService, "bad_reply", "the service's reply cannot be read"},
    {KOVA_ERR_ACCOUNT_GET, ExitCode::kNotSignedIn, "not_signed_in", "this device is not signed in"},
    {KOVA_ERR_REQUEST, ExitCode::kUnreachable, "unreachable",
     "the service cannot be reached, or gives no proper answer"},
    {KOVA_ERR_RESPONSE, ExitCode::kService, "incomplete_reply", "the service's reply is incomplete"},
    {KOVA_ERR_SYSTEM, ExitCode::kLocal, "system_error", "a system error; the system log has its details"},
    {KOVA_ERR_SERIAL_NUMBER, ExitCode::kLocal, "no_serial_number", "the device's serial number cannot be read"},
    {KOVA_ERR_AUTHENTICATION, ExitCode::kRefused, "authentication_failed", "the service no longer accepts this device"},
    {KOVA_ERR_NETWORK, ExitCode::kUnreachable, "network_failure", "the network failed"},
    {KOVA_ERR_ACCOUNT_IN_USE, ExitCode::kService, "account_in_use", "this e-mail address already has an account"},
    {KOVA_ERR_ACCOUNT_LIMIT, ExitCode::kService, "account_limit",
     "this device has registered as many accounts as the service allows"},
    {KOVA_ERR_UNVERIFIED, ExitCode::kRefused, "account_unverified", "the account's e-mail address is not verified yet"},
    {KOVA_ERR_STORE, ExitCode::kLocal, "not_stored", "the device cannot store the account or the setting"},
    {KOVA_ERR_MAC_ADDRESS, ExitCode::kLocal, "no_mac_address", "the device's MAC address cannot be read"},
    {KOVA_ERR_TOKEN, ExitCode::kLocal, "no_token", "the device token cannot be made"},
    {KOVA_ERR_SERVER_CONFIG, ExitCode::kLocal, "no_server", "the device does not know its service's address"},
    {KOVA_ERR_UNKNOWN_RESULT, ExitCode::kService, "unknown_result", "the service answered something unknown"},
    {KOVA_ERR_ACCOUNT_NOT_FOUND, ExitCode::kRefused, "account_not_found", "the service does not know this account"},
    {KOVA_ERR_API_KEY_NOT_FOUND, ExitCode::kRefused, "api_key_not_found",
     "the service does not know this device's API key"},
};

constexpr Meaning kUnknown = {0, ExitCode::kLocal, "failed", "the operation failed; the system log has its details"};

const Meaning &findMeaning(int code) {
  const auto *found = std::ranges::find(kMeanings, code, &Meaning::code);
  return found != std::end(kMeanings) ? *found : kUnknown;
}

void removeKeys(Json::Value &reply) {
  if (reply.isObject()) {
    for (const char *key : {"auth_key", "api_key"}) reply.removeMember(key);
  }
  if (reply.isObject() || reply.isArray()) {
    for (Json::Value &element : reply) removeKeys(element);
  }
}

}  // namespace

Failure usageFailure(const std::string &message) {
  return {ExitCode::kUsage, 0, "usage", message};
}

Failure localFailure(const std::string &message) {
  return {ExitCode::kLocal, 0, "local_failure", message};
}

Failure notSignedInFailure(const std::string &message) {
  const Meaning &meaning = findMeaning(KOVA_ERR_ACCOUNT_GET);
  return {meaning.exitCode, meaning.code, meaning.name, message};
}

Failure libraryFailure(const char *refused) {
  const int code = TARVKOVAErrGet();
  const Meaning &meaning = findMeaning(code);
  return {meaning.exitCode, code, meaning.name, code == KOVA_ERR_AUTHENTICATION ? refused : meaning.message};
}

Failure timeZoneOrLibraryFailure() {
  return TARVKOVAErrGet() == KOVA_SUCCESS ? localFailure("the device cannot name its time zone") : libraryFailure();
}

Json::Value withoutKeys(Json::Value reply) {
  removeKeys(reply);
  return reply;
}

Failure withReply(Failure failure, const Json::Value &reply) {
  if (!reply.isNull()) failure.result["reply"] = withoutKeys(reply);
  return failure;
}

std::string errorMeaning(int code) {
  return findMeaning(code).message;
}

}  // namespace kova::cli
