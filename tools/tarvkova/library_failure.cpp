#include "tarvkova/library_failure.h"

#include <kova/error.h>
#include <kova/error_text.h>
#include <kova/platform.h>
#include <kova/transport.h>

#include <algorithm>
#include <iterator>
#include <optional>

#include "tarvkova/device_files.h"
#include "tarvkova/log_lines.h"

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

// The library has one code for a service that answers something unknown and for an API key that cannot be used. The
// platform knows the second: its layer has 1 for the network and other numbers for this device.
bool isApiKeyFailure(int code) {
  return code == KOVA_ERR_UNKNOWN_RESULT && TARVCloudServiceGetErrorCode() > 1;
}

// The files of this device of which a code may tell.
struct CodeFile {
  int code;
  const char *file;
  std::string (*obstacle)(const char *file);
};

constexpr CodeFile kFiles[] = {{KOVA_ERR_SERIAL_NUMBER, kDeviceFile, readObstacle},
                               {KOVA_ERR_MAC_ADDRESS, kDeviceFile, readObstacle},
                               {KOVA_ERR_STORE, kAccountFile, writeObstacle},
                               {KOVA_ERR_STORE, kInformationFile, writeObstacle},
                               {KOVA_ERR_UNKNOWN_RESULT, kApiKeyFile, writeObstacle}};

ExitCode exitCodeOf(int code) {
  const auto *found = std::ranges::find(kExits, code, &CodeExit::code);
  return found != std::end(kExits) && !isApiKeyFailure(code) ? found->exitCode : ExitCode::kLocal;
}

// The texts of a failure, which may have left no code.
const KovaErrorText &textsOf(int code) {
  return *KovaErrorTextGet(code != KOVA_SUCCESS ? code : -1);
}

std::string nameOf(int code) {
  return isApiKeyFailure(code) ? "api_key_unusable" : textsOf(code).name;
}

std::string sentenceOf(int code) {
  if (code == KOVA_ERR_REQUEST) {
    return std::string(textsOf(code).sentence) + "; try " + (areLogLinesShown() ? "" : "--verbose or ") +
           "\"tarvkova doctor\"";
  }
  if (code != KOVA_ERR_UNKNOWN_RESULT) return textsOf(code).sentence;
  return isApiKeyFailure(code) ? "the device's API key cannot be read or made"
                               : "the service answered something unknown";
}

// The sentence, with what is wrong with a file of this device.
std::string explanationOf(int code) {
  const std::string reason = localReason(code);
  const bool isUnexplained = reason.empty() && exitCodeOf(code) == ExitCode::kLocal;
  return withReason(sentenceOf(code), reason) + (isUnexplained ? "; try \"tarvkova doctor\"" : "");
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

Failure libraryFailure(const char *refused) {
  // A request without a valid serial number has the code of one that was not answered.
  char serial[64];
  const bool isUnsent = TARVKOVAErrGet() == KOVA_ERR_REQUEST && TARVKOVAGetSerialNumber(serial, sizeof serial) < 0;
  return codeFailure(isUnsent ? KOVA_ERR_SERIAL_NUMBER : TARVKOVAErrGet(), refused);
}

Failure codeFailure(int code, const char *refused) {
  if (code == KOVA_ERR_ACCOUNT_GET) {
    if (std::optional<Failure> failure = accountFileFailure()) return *failure;
  }
  return {exitCodeOf(code), code, nameOf(code), code == KOVA_ERR_AUTHENTICATION ? refused : explanationOf(code)};
}

Failure notSignedInFailure(const std::string &message) {
  return {exitCodeOf(KOVA_ERR_ACCOUNT_GET), KOVA_ERR_ACCOUNT_GET, nameOf(KOVA_ERR_ACCOUNT_GET), message};
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

std::string localReason(int code) {
  if (exitCodeOf(code) != ExitCode::kLocal) return "";
  for (const CodeFile &row : kFiles) {
    if (row.code != code) continue;
    if (std::string obstacle = row.obstacle(row.file); !obstacle.empty()) return obstacle;
  }
  const bool isRefusedValue = code == KOVA_ERR_STORE && TLIBCErrGet() == TLIBC_ERR_BAD_VALUE;
  return isRefusedValue ? "a value cannot be stored, such as one with a line break" : "";
}

std::string errorMeaning(int code) {
  return code == KOVA_ERR_AUTHENTICATION ? "the service no longer accepts this device" : explanationOf(code);
}

}  // namespace kova::cli
