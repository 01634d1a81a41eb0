#include <kova/services.h>

#include "tarvkova/commands.h"
#include "tarvkova/stored_account.h"
#include "tarvkova/streams.h"
#include "tarvkova/table.h"
#include "tarvkova/text.h"
#include "tarvkova/waiting.h"

namespace kova::cli {
namespace {

Report services() {
  const StoredAccount account = storedAccount();
  Report report;
  Json::Value &held = report.result;
  if (whileWaiting([&] { return TARVKOVAAccountServiceCheck(account->kovaIDSerial, account->vx_auth_key, held); }) <
      0) {
    throw libraryFailure();
  }
  report.text = fieldList(outputWidth(), {{"Relay alias", orNone(held["alias"])},
                                          {"Dynamic DNS", orNone(held["ddns"])},
                                          {"Antivirus by McAfee", textOf(held["mcafee"])}});
  return report;
}

}  // namespace

void addServices(CLI::App &program, Action &action) {
  CLI::App *command = program.add_subcommand("services", "Show which remote services the account holds");
  command->callback([&action] { action = services; });
}

}  // namespace kova::cli
