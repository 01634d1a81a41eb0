#include <kova/error.h>
#include <kova/session.h>

#include "tarvkova/commands.h"
#include "tarvkova/refresh.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/stored_account.h"
#include "tarvkova/text.h"
#include "tarvkova/waiting.h"

namespace kova::cli {
namespace {

struct Options {
  std::string email;
  std::string passwordFile;
};

// Whether the device keeps the reply's keys. In place of missing ones those of an earlier account stay stored.
bool keeps(const Json::Value &reply) {
  const StoredAccount account = findStoredAccount();
  return account && textOf(reply["kova_id"]) == account->kovaIDSerial &&
         textOf(reply["auth_key"]) == account->vx_auth_key;
}

Report login(const Options &options) {
  const Secret password = SecretSource(options.passwordFile).ask("Password of " + options.email);
  Json::Value reply;
  const int result =
      whileWaiting([&] { return TARVKOVAAccountLogin(options.email.c_str(), password.c_str(), reply, false); });
  if (result < 0) throw withReply(libraryFailure(kWrongPassword), reply);
  const int refresh = TARVKOVAErrGet();
  // The library signs in also with keys that the reply lacks, or that the service refuses at once.
  if (refresh == KOVA_ERR_ACCOUNT_GET || !keeps(reply)) {
    throw withReply(notSignedIn("the service accepts the password, but gave this device no key that works; it is not "
                                "signed in as " +
                                options.email),
                    reply);
  }
  Report report;
  report.result["email"] = options.email;
  report.result["reply"] = withoutKeys(reply);
  report.text = "Signed in as " + printable(options.email) + ".\n";
  noteRefresh(report, refresh);
  return report;
}

}  // namespace

void addLogin(CLI::App &program, Action &action) {
  const auto [command, options] = addCommand(program, action, "login", "Sign this device in to an account", login);
  command->add_option("EMAIL", options.email, "The account's e-mail address")->required();
  addPasswordFile(*command, options.passwordFile);
}

}  // namespace kova::cli
