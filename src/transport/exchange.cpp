#include "transport/exchange.h"

#include <kova/error.h>
#include <kova/platform.h>

#include <new>

#include "core/json.h"

namespace kova {

int Exchange::readAccount(AccountInfo &account, const Where &where) {
  if (TARVKOVAAccountGet(&account) >= 0) return 0;
  return fail(where, KOVA_ERR_ACCOUNT_GET, "TARVKOVAAccountGet failed");
}

int Exchange::readServerConfig(const Where &where) {
  if (TARVKOVAServerConfigGet(&config_) >= 0) return 0;
  return fail(where, KOVA_ERR_SERVER_CONFIG, "TARVKOVAServerConfigGet, code=%u",
              static_cast<unsigned>(TARVKOVAErrGet()));
}

int Exchange::readSerialNumber(const Where &where) {
  if (kova::readSerialNumber(serialNumber_) >= 0) return 0;
  return fail(where, KOVA_ERR_SERIAL_NUMBER, "Failed to get serial number, err=[0x%04X]", TLIBCErrGet());
}

int Exchange::makeToken(const Where &where) {
  if (TARVVxtokenGenerateToken(serialNumber_, token_, sizeof token_) >= 0) return 0;
  return fail(where, KOVA_ERR_TOKEN, "TARVVxtokenGenerateToken Failed, err=[0x%04X]", TLIBCErrGet());
}

int Exchange::allocateParameters(const Where &where) {
  parameters_.reset(TLIBCSzHashAlloc(1024));
  if (parameters_) return 0;
  return fail(where, KOVA_ERR_SYSTEM, "Failed to alloc https request, err=[0x%04X]", TLIBCErrGet());
}

void Exchange::setParameter(const char *key, const char *value) {
  if (TLIBCSzHashSetValue(parameters_.get(), key, value) < 0) throw std::bad_alloc();
}

int Exchange::send(const Target &target, const Where &where) {
  HttpsRequest request{};
  request.base = target.base;
  request.path = target.path;
  request.params = parameters_.get();
  request.short_timeout = target.shortTimeout ? 1 : 0;
  TARVKOVAHttpsResponseFree(&response_);
  if (TARVKOVAHttpsRequestSend(&request, &response_) >= 0) return 0;
  return fail(where, KOVA_ERR_REQUEST, target.failure, TLIBCErrGet());
}

int Exchange::parseReply(Json::Value &reply, const Where &where) const {
  if (parseJson(reply, body())) return 0;
  return fail(where, KOVA_ERR_JSON_FORMAT, "Failed to parse json: %s", body());
}

int32_t mapResult(const Json::Value &reply) {
  return MapLibKovaCenterErrorCode(textOf(member(reply, "code")).c_str());
}

}  // namespace kova
