#include <kova/error.h>
#include <kova/session.h>

#include <string>

#include "tarvkova/commands.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/refresh.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/spinner.h"
#include "tarvkova/stored_account.h"

namespace kova::cli {
namespace {

Report passwd(const std::string &passwordFile) {
  requireStoredAccount();
  SecretSource source(passwordFile);
  const Secret current = source.ask("Current password");
  const Secret next = source.askNew("New password");
  const int result = callWithSpinner([&] {
    return TARVKOVAAccountSetInfo(nullptr, nullptr, current.c_str(), next.c_str(), nullptr, nullptr, nullptr, -1, -1,
                                  -1, nullptr);
  });
  if (result < 0) throw libraryFailure(kCurrentPasswordRefused);
  Report report;
  report.text = "The password is changed.\n";
  addRefreshNotes(report, TARVKOVAErrGet());
  return report;
}

}  // namespace

void addPasswd(Command program, ChosenCommand &chosen) {
  const auto [command, passwordFile] =
      addCommand(program, chosen, "passwd", "Change the account's password: the current one, then the new", passwd);
  addPasswordFile(command, passwordFile);
}

}  // namespace kova::cli
