#include <kova/error.h>
#include <kova/platform.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace {

int32_t lastCode = KOVA_SUCCESS;

const char *describe(int32_t code) {
  switch (code) {
    case KOVA_ERR_BAD_PARAMETERS:
      return "Wrong parameters\n";
    case KOVA_ERR_JSON_FORMAT:
      return "Wrong JSON format\n";
    case KOVA_ERR_ACCOUNT_GET:
      return "Failed to get kova account\n";
    case KOVA_ERR_REQUEST:
      return "Failed to send the request\n";
    case KOVA_ERR_RESPONSE:
      return "Failed to get the response\n";
    default:
      return "System error\n";
  }
}

}  // namespace

KovaErrorMapEntry gErrorCodeMap[12] = {
    {"good", KOVA_SUCCESS},
    {"badparam", KOVA_ERR_BAD_PARAMETERS},
    {"badauth", KOVA_ERR_AUTHENTICATION},
    {"badsys", KOVA_ERR_SYSTEM},
    {"badnetwork", KOVA_ERR_NETWORK},
    {"account_inused", KOVA_ERR_ACCOUNT_IN_USE},
    {"serial_exceed_max_account_register", KOVA_ERR_ACCOUNT_LIMIT},
    {"account_unverified", KOVA_ERR_UNVERIFIED},
    {"account_userid", KOVA_SUCCESS},
    {"account_not_found", KOVA_ERR_ACCOUNT_NOT_FOUND},
    {"apikey_not_found", KOVA_ERR_API_KEY_NOT_FOUND},
    {nullptr, KOVA_ERR_UNKNOWN_RESULT},
};

int32_t TARVKOVAErrSet(int32_t code) {
  return lastCode = code;
}

int32_t TARVKOVAErrGet(void) {
  return lastCode;
}

int32_t MapLibKovaCenterErrorCode(const char *result) {
  for (const KovaErrorMapEntry *entry = gErrorCodeMap; entry->result != nullptr; ++entry) {
    if (std::strncmp(result, entry->result, std::strlen(entry->result)) == 0) return TARVKOVAErrSet(entry->code);
  }
  return TARVKOVAErrSet(KOVA_ERR_UNKNOWN_RESULT);
}

int32_t GetErrorCodeFromCloudService(void) {
  static constexpr int32_t kCodes[] = {KOVA_SUCCESS, KOVA_ERR_NETWORK};
  const auto number = static_cast<uint32_t>(TARVCloudServiceGetErrorCode());
  return number > 1 ? static_cast<int32_t>(KOVA_ERR_UNKNOWN_RESULT) : kCodes[number];
}

void printErrCode(int32_t code) {
  if (code == KOVA_SUCCESS) return;
  const char *text = describe(code);
  // Where standard error cannot be written, the failure cannot be told either.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, std::strlen(text));
}
