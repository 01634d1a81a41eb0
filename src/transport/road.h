// The road that every operation on the service walks: base URLs, serial number, parameters, request, reply.
//
// Each step returns 0, or -1 after it has logged and set the error code; the log line is the operation's own, with the
// line at which the operation takes the step. The operation chooses the order. What the road holds is released with it.
#pragma once

#include <json/value.h>
#include <kova/transport.h>

#include "core/handles.h"
#include "core/log.h"
#include "transport/identity.h"

namespace kova {

// Where a request goes.
struct Target {
  const char *base;
  const char *path;
  bool shortTimeout = false;
  const char *failure = "Failed to send https request. err=[0x%04X]";
};

class Road {
 public:
  Road() = default;
  Road(const Road &) = delete;
  Road &operator=(const Road &) = delete;
  ~Road() { TARVKOVAHttpsResponseFree(&response_); }

  // Reads the stored account; code 3.
  static int account(AccountInfo &account, const Where &where = Where::current());
  // Gets the base URLs; code 23.
  int configure(const Where &where = Where::current());
  // Reads the serial number; code 8.
  int identify(const Where &where = Where::current());
  // Makes the device token of the serial number alone; code 22.
  int makeToken(const Where &where = Where::current());
  // Allocates the parameters; code 6.
  int open(const Where &where = Where::current());
  // Sets one parameter, in the order of the calls. Throws where memory runs out: a request never goes out incomplete.
  void set(const char *key, const char *value);
  // Sends the parameters; code 4, whatever the transport set. May be taken again.
  int send(const Target &target, const Where &where = Where::current());
  // Parses the reply into `reply`; code 2, with `reply` as it was.
  int parse(Json::Value &reply, const Where &where = Where::current());

  const char *firstUrl() const { return config_.first_url; }
  const char *serviceUrl() const { return config_.service_url; }
  const char *serial() const { return serial_; }
  const char *token() const { return token_; }
  int httpStatus() const { return response_.http_status; }
  // The last reply's body; empty when there is none.
  const char *body() const { return response_.body != nullptr ? response_.body : ""; }

 private:
  ServerConfig config_{};
  Serial serial_{};
  char token_[33]{};
  SzHash parameters_;
  HttpsResponse response_{};
};

// Maps the result of a JSON reply, sets that error code and returns it. A missing result maps as an empty text.
int32_t mapResult(const Json::Value &reply);

}  // namespace kova
