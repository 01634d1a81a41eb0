#include <kova/services.h>

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
  std::string name;
  std::string passwordFile;
  bool criticalReleases = false;
};

Report registerAccount(const Options &options) {
  const Secret password = SecretSource(options.passwordFile).askNew("Password for " + options.email);
  const int result = callWithSpinner([&] {
    return TARVKOVAAccountRegister(options.email.c_str(), password.c_str(), options.name.c_str(),
                                   options.criticalReleases);
  });
  if (result < 0) throw timeZoneOrLibraryFailure();
  Report report;
  report.result["email"] = options.email;
  report.text = "The account " + printable(options.email) + " is registered; sign in with \"tarvkova login\".\n";
  return report;
}

}  // namespace

void addRegister(Command program, ChosenCommand &chosen) {
  const auto [command, options] =
      addCommand(program, chosen, "register", "Create an account at the service", registerAccount);
  addEmail(command, options.email);
  command.addOption("--name", options.name, "Full name of its holder").required().check(checkName);
  command.addFlag("--critical-release", options.criticalReleases, "Mail about critical releases");
  addPasswordFile(command, options.passwordFile);
}

}  // namespace kova::cli
