#include <kova/error.h>
#include <kova/session.h>

#include <optional>
#include <string>

#include "common/terminal_text.h"
#include "tarvkova/commands.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/spinner.h"

namespace kova::cli {
namespace {

struct Options {
  std::string email;
  std::optional<std::string> alias;
  std::string passwordFile;
};

Report check(const Options &options) {
  const Secret password = SecretSource(options.passwordFile).ask("Password of " + options.email);
  Json::Value reply;
  const int result = callWithSpinner(
      [&] { return TARVKOVAAccountAuthen(options.email.c_str(), password.c_str(), textOrNull(options.alias), reply); });
  if (result < 0) throw withReply(libraryFailure(kPasswordRefused), reply);
  // For the library a reply without a result is not a refusal.
  if (!reply.isObject() || !reply.isMember("code")) throw withReply(codeFailure(KOVA_ERR_RESPONSE), reply);
  Report report;
  report.result["email"] = options.email;
  report.result["reply"] = withoutKeys(reply);
  report.text = "The service accepts the password of " + printable(options.email) + ".\n";
  return report;
}

}  // namespace

void addCheck(Command program, ChosenCommand &chosen) {
  const auto [command, options] =
      addCommand(program, chosen, "check", "Check an e-mail address and password; changes nothing", check);
  addEmail(command, options.email);
  command.addOption("--alias", options.alias, "Name of this device, for the service");
  addPasswordFile(command, options.passwordFile);
}

}  // namespace kova::cli
