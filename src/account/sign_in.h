// Signing in with the device's API key, with a password or without: what both ways have in common.
#pragma once

#include <json/value.h>

#include <functional>

#include "core/log.h"
#include "transport/exchange.h"

namespace kova {

class SignIn {
 public:
  explicit SignIn(Exchange &exchange) : exchange_(exchange) {}

  // Reads what identifies the device beside its serial number: the MAC address (code 20) and the API key (the
  // cloud-service layer's code).
  int identify(const Where &where = Where::current());
  // Fills the opened parameters; `password` is null where the API key alone has to do.
  void fill(const char *type, const char *email, const char *password);

  // Reads the reply to the first request (`again` is false) or to the second one: 0, or -1 with the error code set.
  using ReadReply = std::function<int(bool again)>;

  // Asks for an auth key and maps the result of `reply`, where `readReply` puts it. When the service does not know the
  // API key it registers a new one and asks once more. Returns 0 when the service accepted, else -1: with the code set,
  // and `refused()` when it was the service's word.
  int ask(Json::Value &reply, const ReadReply &readReply, const Where &where = Where::current());
  bool refused() const { return refused_; }

  // Stores account serial and auth key of the reply as the signed-in account. Sets no code and logs nothing of its own.
  static int store(const Json::Value &reply);

 private:
  int askOnce(Json::Value &reply, const ReadReply &readReply, bool again, const Where &where);

  Exchange &exchange_;
  char mac_[24] = "";
  char apiKey_[1024] = "";
  bool refused_ = false;
};

}  // namespace kova
