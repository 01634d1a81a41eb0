#include <kova/session.h>

#include <optional>
#include <string>

#include "tarvkova/commands.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/text.h"
#include "tarvkova/waiting.h"

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
  const int result = whileWaiting(
      [&] { return TARVKOVAAccountAuthen(options.email.c_str(), password.c_str(), orNull(options.alias), reply); });
  if (result < 0) throw withReply(libraryFailure(kWrongPassword), reply);
  Report report;
  report.result["email"] = options.email;
  report.result["reply"] = withoutKeys(reply);
  report.text = "The service accepts the password of " + printable(options.email) + ".\n";
  return report;
}

}  // namespace

void addCheck(CLI::App &program, Action &action) {
  const auto [command, options] =
      addCommand(program, action, "check", "Check an e-mail address and password; changes nothing", check);
  command->add_option("EMAIL", options.email, "The account's e-mail address")->required();
  command->add_option("--alias", options.alias, "Name of this device, for the service");
  addPasswordFile(*command, options.passwordFile);
}

}  // namespace kova::cli
