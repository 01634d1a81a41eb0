// The steps of signing in with the device's API key. They are the same with a password and without one.
#pragma once

#include <json/value.h>

#include "base/secret.h"
#include "core/log.h"
#include "transport/exchange.h"

namespace kova {

// The sign-in request of an exchange. Its steps report failure as those of the exchange do.
class SignIn {
 public:
  explicit SignIn(Exchange &exchange) : exchange_(exchange) {}
  SignIn(const SignIn &) = delete;
  SignIn &operator=(const SignIn &) = delete;

  // Reads the device's MAC address (code 20) and API key (the cloud-service layer's code).
  int readMacAddressAndApiKey(const Where &where = Where::current());
  // Sets all parameters. `password` is null where the API key alone has to do.
  void setParameters(const char *type, const char *email, const char *password);
  // Sends the request; code 4.
  int send(const Where &where = Where::current());
  // Registers a new API key and sets it in the parameters. A failure leaves the error code alone.
  int registerApiKey(const Where &where = Where::current());

 private:
  Exchange &exchange_;
  char mac_[24] = "";
  char apiKey_[1024] = "";
  WipedAtEnd<char[1024]> wiped_{apiKey_};
};

// Stores the reply's account serial and auth key as the signed-in account. Returns what TARVKOVAAccountSet does.
int storeSignedInAccount(const Json::Value &reply);

}  // namespace kova
