#include "tarvkova/outcome.h"

#include <kova/error.h>

#include <algorithm>
#include <iterator>

namespace kova::cli {
namespace {

struct Meaning {
  int code;
  Exit exit;
  const char *name;
  const char *message;
};

constexpr Meaning kMeanings[] = {
    {KOVA_ERR_BAD_PARAMETERS, Exit::kService, "bad_parameters", "the service does not accept these values"},
    {KOVA_ERR_JSON_FORMAT, Exit::kService, "bad_reply", "the service's reply cannot be read"},
    {KOVA_ERR_ACCOUNT_GET, Exit::kNotSignedIn, "not_signed_in", "this device is not signed in"},
    {KOVA_ERR_REQUEST, Exit::kUnreachable, "unreachable", "the service cannot be reached, or gives no proper answer"},
    {KOVA_ERR_RESPONSE, Exit::kService, "incomplete_reply", "the service's reply is incomplete"},
    {KOVA_ERR_SYSTEM, Exit::kLocal, "system_error", "a system error; the system log has its details"},
    {KOVA_ERR_SERIAL_NUMBER, Exit::kLocal, "no_serial_number", "the device's serial number cannot be read"},
    {KOVA_ERR_AUTHENTICATION, Exit::kRefused, "authentication_failed", "the service no longer accepts this device"},
    {KOVA_ERR_NETWORK, Exit::kUnreachable, "network_failure", "the network failed"},
    {KOVA_ERR_ACCOUNT_IN_USE, Exit::kService, "account_in_use", "this e-mail address already has an account"},
    {KOVA_ERR_ACCOUNT_LIMIT, Exit::kService, "account_limit",
     "this device has registered as many accounts as the service allows"},
    {KOVA_ERR_UNVERIFIED, Exit::kRefused, "account_unverified", "the account's e-mail address is not verified yet"},
    {KOVA_ERR_STORE, Exit::kLocal, "not_stored", "the device cannot store the account or the setting"},
    {KOVA_ERR_MAC_ADDRESS, Exit::kLocal, "no_mac_address", "the device's MAC address cannot be read"},
    {KOVA_ERR_TOKEN, Exit::kLocal, "no_token", "the device token cannot be made"},
    {KOVA_ERR_SERVER_CONFIG, Exit::kLocal, "no_server", "the device does not know its service's address"},
    {KOVA_ERR_UNKNOWN_RESULT, Exit::kService, "unknown_result", "the service answered something unknown"},
    {KOVA_ERR_ACCOUNT_NOT_FOUND, Exit::kRefused, "account_not_found", "the service does not know this account"},
    {KOVA_ERR_API_KEY_NOT_FOUND, Exit::kRefused, "api_key_not_found",
     "the service does not know this device's API key"},
};

constexpr Meaning kUnknown = {0, Exit::kLocal, "failed", "the operation failed; the system log has its details"};

const Meaning &find(int code) {
  const auto *found = std::ranges::find(kMeanings, code, &Meaning::code);
  return found != std::end(kMeanings) ? *found : kUnknown;
}

}  // namespace

Failure usageFailure(const std::string &message) {
  return {Exit::kUsage, 0, "usage", message};
}

Failure localFailure(const std::string &message) {
  return {Exit::kLocal, 0, "local_failure", message};
}

Failure notSignedIn(const std::string &message) {
  const Meaning &meaning = find(KOVA_ERR_ACCOUNT_GET);
  return {meaning.exit, meaning.code, meaning.name, message};
}

Failure libraryFailure(const char *wrongCredentials) {
  const int code = TARVKOVAErrGet();
  const Meaning &meaning = find(code);
  return {meaning.exit, code, meaning.name, code == KOVA_ERR_AUTHENTICATION ? wrongCredentials : meaning.message};
}

Failure zonedFailure() {
  return TARVKOVAErrGet() == KOVA_SUCCESS ? localFailure("the device cannot name its time zone") : libraryFailure();
}

Json::Value withoutKeys(Json::Value reply) {
  if (reply.isObject()) {
    for (const char *key : {"auth_key", "api_key"}) reply.removeMember(key);
  }
  if (reply.isObject() || reply.isArray()) {
    for (Json::Value &element : reply) element = withoutKeys(element);
  }
  return reply;
}

Failure withReply(Failure failure, const Json::Value &reply) {
  if (!reply.isNull()) failure.result["reply"] = withoutKeys(reply);
  return failure;
}

std::string meaningOf(int code) {
  return find(code).message;
}

}  // namespace kova::cli
