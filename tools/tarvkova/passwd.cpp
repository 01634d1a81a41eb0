#include <kova/error.h>
#include <kova/session.h>

#include "tarvkova/commands.h"
#include "tarvkova/refresh.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/stored_account.h"
#include "tarvkova/waiting.h"

namespace kova::cli {
namespace {

Report passwd(const std::string &passwordFile) {
  storedAccount();
  SecretSource source(passwordFile);
  const Secret current = source.ask("Current password");
  const Secret next = source.askNew("New password");
  const int result = whileWaiting([&] {
    return TARVKOVAAccountSetInfo(nullptr, nullptr, current.c_str(), next.c_str(), nullptr, nullptr, nullptr, -1, -1,
                                  -1, nullptr);
  });
  if (result < 0) throw libraryFailure(kWrongCurrentPassword);
  Report report;
  report.text = "The password is changed.\n";
  noteRefresh(report, TARVKOVAErrGet());
  return report;
}

}  // namespace

void addPasswd(CLI::App &program, Action &action) {
  const auto [command, passwordFile] =
      addCommand(program, action, "passwd", "Change the account's password: the current one, then the new", passwd);
  addPasswordFile(*command, passwordFile);
}

}  // namespace kova::cli
