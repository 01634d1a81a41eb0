#include "tarvkova/outcome.h"

#include <kova/error.h>
#include <kova/error_text.h>

#include <algorithm>
#include <iterator>

namespace kova::cli {
namespace {

struct CodeExit {
  int code;
  ExitCode exitCode;
};

// Where no row has a code, its cause is on this device.
constexpr CodeExit kExits[] = {
    {KOVA_ERR_BAD_PARAMETERS, ExitCode::kService},    {KOVA_ERR_JSON_FORMAT, ExitCode::kService},
    {KOVA_ERR_ACCOUNT_GET, ExitCode::kNotSignedIn},   {KOVA_ERR_REQUEST, ExitCode::kUnreachable},
    {KOVA_ERR_RESPONSE, ExitCode::kService},          {KOVA_ERR_AUTHENTICATION, ExitCode::kRefused},
    {KOVA_ERR_NETWORK, ExitCode::kUnreachable},       {KOVA_ERR_ACCOUNT_IN_USE, ExitCode::kService},
    {KOVA_ERR_ACCOUNT_LIMIT, ExitCode::kService},     {KOVA_ERR_UNVERIFIED, ExitCode::kRefused},
    {KOVA_ERR_UNKNOWN_RESULT, ExitCode::kService},    {KOVA_ERR_ACCOUNT_NOT_FOUND, ExitCode::kRefused},
    {KOVA_ERR_API_KEY_NOT_FOUND, ExitCode::kRefused},
};

ExitCode exitCodeOf(int code) {
  const auto *found = std::ranges::find(kExits, code, &CodeExit::code);
  return found != std::end(kExits) ? found->exitCode : ExitCode::kLocal;
}

// The texts of a failure, which may have left no code.
const KovaErrorText &textsOf(int code) {
  return *KovaErrorTextGet(code != KOVA_SUCCESS ? code : -1);
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
  return {exitCodeOf(KOVA_ERR_ACCOUNT_GET), KOVA_ERR_ACCOUNT_GET, textsOf(KOVA_ERR_ACCOUNT_GET).name, message};
}

Failure libraryFailure(const char *refused) {
  const int code = TARVKOVAErrGet();
  const std::string message = code == KOVA_ERR_AUTHENTICATION ? refused : textsOf(code).sentence;
  return {exitCodeOf(code), code, textsOf(code).name, message};
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
  return code == KOVA_ERR_AUTHENTICATION ? "the service no longer accepts this device" : textsOf(code).sentence;
}

}  // namespace kova::cli
