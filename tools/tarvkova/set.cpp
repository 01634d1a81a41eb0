#include <kova/error.h>
#include <kova/session.h>

#include <algorithm>
#include <optional>
#include <string>

#include "tarvkova/commands.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/refresh.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/spinner.h"
#include "tarvkova/stored_account.h"

namespace kova::cli {
namespace {

struct Options {
  std::optional<std::string> name, email, country, language, timeZone, criticalVersions;
  std::optional<std::string> newsletter, criticalReleases, promotion;
  std::string passwordFile;
};

// An option that is "on" or "off", as the library takes it: negative when it was not given.
BOOL flagValue(const std::optional<std::string> &option) {
  if (!option) return -1;
  return *option == "on" ? 1 : 0;
}

Report set(const Options &options) {
  const std::optional<std::string> *changes[] = {&options.name,       &options.email,
                                                 &options.country,    &options.language,
                                                 &options.timeZone,   &options.criticalVersions,
                                                 &options.newsletter, &options.criticalReleases,
                                                 &options.promotion};
  if (std::ranges::none_of(changes, [](auto *change) { return change->has_value(); })) {
    throw usageFailure("nothing is to be changed");
  }
  requireStoredAccount();
  Secret password;
  if (options.email) password = SecretSource(options.passwordFile).ask("Current password");
  const int result = callWithSpinner([&] {
    return TARVKOVAAccountSetInfo(textOrNull(options.name), textOrNull(options.email),
                                  options.email ? password.c_str() : nullptr, nullptr, textOrNull(options.country),
                                  textOrNull(options.language), textOrNull(options.timeZone),
                                  flagValue(options.newsletter), flagValue(options.criticalReleases),
                                  flagValue(options.promotion), textOrNull(options.criticalVersions));
  });
  if (result < 0) throw libraryFailure(options.email ? kCurrentPasswordRefused : kDeviceRefused);
  Report report;
  report.text = "The account is updated.\n";
  Json::Value profile(Json::objectValue);
  callWithSpinner([&] { return TARVKOVAAccountQueryInfo(profile, true, true); });
  addRefreshNotes(report, TARVKOVAErrGet());
  return report;
}

}  // namespace

void addSet(Command program, ChosenCommand &chosen) {
  const auto [command, options] =
      addCommand(program, chosen, "set", "Change the account's details at the service", set);
  command.addOption("--name", options.name, "Full name").check(checkName);
  command.addOption("--email", options.email, "New e-mail address; needs the current password").check(checkEmail);
  command.addOption("--country", options.country, "Country").check(checkText);
  command.addOption("--language", options.language, "Language of notification mail").check(checkText);
  command.addOption("--timezone", options.timeZone, "Time zone").check(checkText);
  command.addOption("--enews", options.newsletter, "Newsletter").oneOf({"on", "off"});
  command.addOption("--critical-release", options.criticalReleases, "Mail about critical releases")
      .oneOf({"on", "off"});
  command.addOption("--promotion", options.promotion, "Local promotion mail").oneOf({"on", "off"});
  command
      .addOption("--critical-versions", options.criticalVersions, "Critical versions to be told of, joined by commas")
      .check(checkText);
  addPasswordFile(command, options.passwordFile).needs(command.find("--email"));
}

}  // namespace kova::cli
