#include <kova/services.h>

#include <string>

#include "tarvkova/commands.h"
#include "tarvkova/display_text.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/spinner.h"
#include "tarvkova/stored_account.h"
#include "tarvkova/streams.h"
#include "tarvkova/table.h"

namespace kova::cli {
namespace {

Report services() {
  const StoredAccount account = requireStoredAccount();
  Report report;
  Json::Value &held = report.result;
  if (callWithSpinner([&] { return TARVKOVAAccountServiceCheck(account->kovaIDSerial, account->vx_auth_key, held); }) <
      0) {
    throw libraryFailure();
  }
  for (const char *name : {"alias", "ddns"}) {
    const std::string text = displayText(held[name]);
    held[name] = text.empty() ? Json::Value() : Json::Value(text);
  }
  report.text = fieldList(outputWidth(), {{"Relay alias", displayTextOrNone(held["alias"])},
                                          {"Dynamic DNS", displayTextOrNone(held["ddns"])},
                                          {"Antivirus by McAfee", displayText(held["mcafee"])}});
  return report;
}

}  // namespace

void addServices(Command program, ChosenCommand &chosen) {
  addCommand(program, chosen, "services", "Show which remote services the account holds", services);
}

}  // namespace kova::cli
