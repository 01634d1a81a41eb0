// How a command ends: with a report, or with a failure that is thrown.
#pragma once

#include <json/value.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kova::cli {

enum class Exit { kSuccess, kLocal, kUsage, kNotSignedIn, kRefused, kUnreachable, kService };

struct Report {
  Json::Value result{Json::objectValue};  // the members beside "ok"
  std::string text;                       // the same for people: whole lines
  std::vector<std::string> notes;         // what went wrong without failing the command
};

struct Failure : std::runtime_error {
  Failure(Exit exit, int code, std::string name, const std::string &message)
      : std::runtime_error(message), exit(exit), code(code), name(std::move(name)) {}

  Exit exit;
  int code;          // the library's error code; 0 where the failure is not the library's
  std::string name;  // what a script compares
  Json::Value result{Json::objectValue};
};

// A signal ended the command while it waited for the user.
struct Interrupted {
  int signal;
};

Failure usageFailure(const std::string &message);
Failure localFailure(const std::string &message);
Failure notSignedIn(const std::string &message);

// What refused credentials mean.
inline constexpr char kWrongDevice[] = "the service no longer accepts this device; sign in again";
inline constexpr char kWrongPassword[] = "the service does not accept this e-mail address and password";
inline constexpr char kWrongCurrentPassword[] =
    "the service does not accept the current password, or no longer accepts this device";

// The failure that the library's error code stands for.
Failure libraryFailure(const char *wrongCredentials = kWrongDevice);

// The same for what tells the service the time zone: to have none is the one failure without a code.
Failure zonedFailure();

// A reply of the service without the keys that must not be shown.
Json::Value withoutKeys(Json::Value reply);

// Adds the service's reply, if there was one, to the failure: it may tell more.
Failure withReply(Failure failure, const Json::Value &reply);

// What an error code means, as a sentence without its end.
std::string meaningOf(int code);

}  // namespace kova::cli
