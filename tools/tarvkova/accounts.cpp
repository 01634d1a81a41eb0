
#include "tarvkova/commands.h"
#include "tarvkova/services_in_use.h"

namespace kova::cli {
namespace {

Report accounts() {
  Report report;
  Json::Value &found = report.result["accounts"];
  found = scanAccounts();
  report.text = found.empty() ? "No service of this device uses an account.\n" : tableOf(found);
  return report;
}

}  // namespace

void addAccounts(CLI::App &program, Action &action) {
  CLI::App *command = program.add_subcommand("accounts", "Show which accounts the services of this device use");
  command->callback([&action] { action = accounts; });
}

}  // namespace kova::cli
