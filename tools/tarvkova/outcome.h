// How a command ends: with a report, or with a failure that is thrown.
#pragma once

#include <json/value.h>

#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "common/exit_codes.h"

namespace kova::cli {

enum class ExitCode { kSuccess, kLocal, kUsage, kNotSignedIn, kRefused, kUnreachable, kService };

inline constexpr ExitCodeMeaning<ExitCode> kExitCodes[] = {
    {ExitCode::kSuccess, "success"},
    {ExitCode::kLocal, "failure on this device"},
    {ExitCode::kUsage, "wrong usage"},
    {ExitCode::kNotSignedIn, "not signed in"},
    {ExitCode::kRefused, "the service refused the credentials"},
    {ExitCode::kUnreachable, "the service cannot be reached, or answers with an HTTP error"},
    {ExitCode::kService, "the service refused for another reason, or its reply is unusable"},
};

struct Report {
  Json::Value result{Json::objectValue};  // the members of the JSON output beside "ok" and "command"
  std::string text;                       // the same for people: whole lines
  std::vector<std::string> notes;         // what went wrong without failing the command
  // Writes the text instead, from the result, where it may be too long to be held beside it.
  std::function<void(std::ostream &out, const Json::Value &result)> writeText;
};

struct Failure : std::runtime_error {
  Failure(ExitCode exitCode, int code, std::string name, const std::string &message)
      : std::runtime_error(message), exitCode(exitCode), code(code), name(std::move(name)) {}

  ExitCode exitCode;
  int code;          // the library's error code; 0 where the failure is not the library's
  std::string name;  // identifies the failure for scripts
  Json::Value result{Json::objectValue};
  std::string answer;  // for people on standard output, in place of the message on standard error: whole lines
};

// A signal ended the command while it waited for the user.
struct Interrupted {
  int signal;
};

Failure usageFailure(const std::string &message);
Failure localFailure(const std::string &message);

}  // namespace kova::cli
