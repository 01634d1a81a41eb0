#include "tarvkova/accounts_in_use.h"
#include "tarvkova/commands.h"

namespace kova::cli {
namespace {

Report accounts() {
  Report report;
  Json::Value &found = report.result["accounts"];
  found = scanAccounts();
  report.text = found.empty() ? "No service of this device uses an account.\n" : accountTable(found);
  return report;
}

}  // namespace

void addAccounts(Command program, ChosenCommand &chosen) {
  addCommand(program, chosen, "accounts", "Show which accounts the services of this device use", accounts);
}

}  // namespace kova::cli
