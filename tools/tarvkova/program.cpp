#include "tarvkova/program.h"

#include <string>

#include "tarvkova/secret_source.h"

namespace kova::cli {
namespace {

constexpr void (*kCommands[])(CLI::App &, ChosenCommand &) = {
    addCheck,    addLogin,     addLogout,   addStatus, addSet,     addPasswd, addRegister,
    addServices, addPurchases, addAccounts, addUnify,  addMigrate, addAbandon};

std::string exitCodeList() {
  std::string list = "Exit codes:";
  for (const ExitCodeMeaning &exit : kExitCodes) {
    list += "\n  " + std::to_string(static_cast<int>(exit.code)) + "  " + exit.meaning;
  }
  return list;
}

}  // namespace

Program::Program() {
  app.name("tarvkova")->fallthrough()->require_subcommand(0, 1);
  addVersionOption(app);
  app.add_flag("--json", json, "Print every outcome as a JSON object");
  app.add_flag("--report_info", reportInfo, "Send the weekly report; silent when it was sent or is not wanted");
  for (const auto add : kCommands) add(app, chosen);
  app.footer(std::string(kPasswordHelp) + "\n\n" + exitCodeList());
}

}  // namespace kova::cli
