#include <kova/error.h>
#include <kova/session.h>

#include <algorithm>

#include "tarvkova/commands.h"
#include "tarvkova/refresh.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/stored_account.h"
#include "tarvkova/waiting.h"

namespace kova::cli {
namespace {

struct Options {
  std::optional<std::string> name, email, country, language, timeZone, criticalVersions;
  std::optional<std::string> newsletter, criticalReleases, promotion;
  std::string passwordFile;
};

BOOL stateOf(const std::optional<std::string> &flag) {
  if (!flag) return -1;
  return *flag == "on" ? 1 : 0;
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
  storedAccount();
  Secret password;
  if (options.email) password = SecretSource(options.passwordFile).ask("Current password");
  const int result = whileWaiting([&] {
    return TARVKOVAAccountSetInfo(
        orNull(options.name), orNull(options.email), options.email ? password.c_str() : nullptr, nullptr,
        orNull(options.country), orNull(options.language), orNull(options.timeZone), stateOf(options.newsletter),
        stateOf(options.criticalReleases), stateOf(options.promotion), orNull(options.criticalVersions));
  });
  if (result < 0) throw libraryFailure(options.email ? kWrongCurrentPassword : kWrongDevice);
  Report report;
  report.text = "The account is updated.\n";
  Json::Value profile(Json::objectValue);
  whileWaiting([&] { return TARVKOVAAccountQueryInfo(profile, true, true); });
  noteRefresh(report, TARVKOVAErrGet());
  return report;
}

}  // namespace

void addSet(CLI::App &program, Action &action) {
  const auto [command, options] =
      addCommand(program, action, "set", "Change the account's details at the service", set);
  const auto add = [&set = *command](const char *name, std::optional<std::string> &value, const char *help) {
    return set.add_option(name, value, help);
  };
  add("--name", options.name, "Full name");
  add("--email", options.email, "New e-mail address; needs the current password");
  add("--country", options.country, "Country");
  add("--language", options.language, "Language of notification mail");
  add("--timezone", options.timeZone, "Time zone");
  const CLI::IsMember onOrOff({"on", "off"});
  add("--enews", options.newsletter, "Newsletter")->check(onOrOff);
  add("--critical-release", options.criticalReleases, "Mail about critical releases")->check(onOrOff);
  add("--promotion", options.promotion, "Local promotion mail")->check(onOrOff);
  add("--critical-versions", options.criticalVersions, "Critical versions to be told of, joined by commas");
  addPasswordFile(*command, options.passwordFile)->needs(command->get_option("--email"));
}

}  // namespace kova::cli
