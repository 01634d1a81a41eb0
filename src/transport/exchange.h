// The steps that the operations on the service have in common: base URLs, serial number, parameters, request and reply.
//
// A step that can fail returns 0, or -1 after it has logged and set the error code. Its log line names the operation's
// file and the line on which the operation takes the step. The operation decides on the order of the steps.
#pragma once

#include <json/value.h>
#include <kova/account.h>
#include <kova/transport.h>

#include <cstdint>

#include "core/handles.h"
#include "core/log.h"
#include "transport/kova_token_generation.h"

namespace kova {

// Where a request goes, and what is logged when it cannot be sent.
struct Target {
  const char *base;
  const char *path;
  bool shortTimeout = false;
  const char *failure = "Failed to send https request. err=[0x%04X]";
};

// One exchange with the service, which may have several requests. It owns its parameters and its response.
class Exchange {
 public:
  Exchange() = default;
  Exchange(const Exchange &) = delete;
  Exchange &operator=(const Exchange &) = delete;
  ~Exchange() { TARVKOVAHttpsResponseFree(&response_); }

  // Reads the stored account; code 3.
  static int readAccount(AccountInfo &account, const Where &where = Where::current());
  // Reads the base URLs; code 23.
  int readServerConfig(const Where &where = Where::current());
  // Reads the device's serial number; code 8.
  int readSerialNumber(const Where &where = Where::current());
  // Makes the device token of the serial number alone; code 22.
  int makeToken(const Where &where = Where::current());
  // Allocates the parameters; code 6.
  int allocateParameters(const Where &where = Where::current());
  // Sets one parameter; they are sent in the order in which they were first set. Throws std::bad_alloc when the
  // parameter cannot be stored, so that an incomplete request is never sent.
  void setParameter(const char *key, const char *value);
  // Sends the parameters; code 4, whatever code the transport set. May be repeated, also with changed parameters.
  int send(const Target &target, const Where &where = Where::current());
  // Parses the last reply into `reply`; code 2, with `reply` as it was.
  int parseReply(Json::Value &reply, const Where &where = Where::current()) const;

  const char *firstUrl() const { return config_.first_url; }
  const char *serviceUrl() const { return config_.service_url; }
  const char *serialNumber() const { return serialNumber_; }
  const char *token() const { return token_; }
  int httpStatus() const { return response_.http_status; }
  // The last reply's body; empty when there is none.
  const char *body() const { return response_.body != nullptr ? response_.body : ""; }

 private:
  ServerConfig config_{};
  SerialNumber serialNumber_{};
  char token_[33]{};
  SzHash parameters_;
  HttpsResponse response_{};
};

// Maps the result of a JSON reply to its error code, sets that code and returns it. A missing result counts as an empty
// text.
int32_t mapResult(const Json::Value &reply);

}  // namespace kova
