// Prints the command lines of the tools as JSON, of which the manual pages and the shells' completions are made: an
// array of programs. Each, like each of its commands, has its name, description, options and commands; the programs
// have their exit codes too.
#include <json/value.h>
#include <json/writer.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>

#include "platform_check/program.h"
#include "tarvkova/program.h"
#ifdef KOVA_CENTER
#include "kovacenter/commands.h"
#include "kovacenter/exit_code.h"
#endif

namespace kova {
namespace {

// The parts of a type's name, such as "TEXT:{on,off}" or "INT:INT in [0 - 65535]": the name of the value, and what is
// allowed for it.
void describeValue(const std::string &type, Json::Value &option) {
  const std::size_t colon = type.find(':');
  option["value"] = type.substr(0, colon);
  option["choices"] = Json::Value(Json::arrayValue);
  if (colon == std::string::npos) return;
  const std::string allowed = type.substr(colon + 1);
  if (allowed.front() == '{') {
    std::istringstream choices(allowed.substr(1, allowed.size() - 2));
    for (std::string choice; std::getline(choices, choice, ',');) option["choices"].append(choice);
  } else {
    option["range"] = allowed;
  }
}

Json::Value optionJson(const CLI::Option &option) {
  Json::Value json(Json::objectValue);
  if (option.get_positional()) {
    json["positional"] = option.get_name(true);
  } else {
    json["names"] = Json::Value(Json::arrayValue);
    for (const std::string &name : option.get_snames()) json["names"].append("-" + name);
    for (const std::string &name : option.get_lnames()) json["names"].append("--" + name);
  }
  json["description"] = option.get_description();
  for (const CLI::Option *other : option.get_needs()) json["needs"].append(other->get_name());
  for (const CLI::Option *other : option.get_excludes()) json["excludes"].append(other->get_name());
  json["required"] = option.get_required();
  json["repeatable"] = option.get_items_expected_max() > 1;
  json["default"] = option.get_default_str();
  if (option.get_items_expected_max() > 0) describeValue(option.get_type_name(), json);
  return json;
}

Json::Value commandJson(const CLI::App &command) {
  Json::Value json(Json::objectValue);
  json["name"] = command.get_name();
  // What follows the options without being an option of the parser's stands at the description's end.
  const std::string description = command.get_description();
  const std::size_t operands = description.find(": ... ");
  json["description"] = description.substr(0, operands);
  json["operands"] = operands == std::string::npos ? "" : description.substr(operands + sizeof ": ... " - 1);
  json["footer"] = command.get_footer();
  json["falls_through"] = command.get_fallthrough();
  json["options"] = Json::Value(Json::arrayValue);
  for (const CLI::Option *option : command.get_options()) json["options"].append(optionJson(*option));
  json["commands"] = Json::Value(Json::arrayValue);
  for (const CLI::App *child : command.get_subcommands({})) json["commands"].append(commandJson(*child));
  return json;
}

template <class Meanings>
Json::Value programJson(const CLI::App &program, const Meanings &exitCodes) {
  Json::Value json = commandJson(program);
  for (const auto &exit : exitCodes) {
    Json::Value &code = json["exit_codes"].append(Json::objectValue);
    code["code"] = static_cast<int>(exit.code);
    code["meaning"] = exit.meaning;
  }
  return json;
}

void print() {
  Json::Value programs(Json::arrayValue);
  const cli::Program tarvkova;
  programs.append(programJson(tarvkova.app(), cli::kExitCodes));
  const check::Program platformCheck;
  programs.append(programJson(platformCheck.app(), check::kExitCodes));
#ifdef KOVA_CENTER
  CLI::App kovacenter;
  center::ChosenCommand chosen;
  center::addCommands(kovacenter, chosen, {});
  programs.append(programJson(kovacenter, center::kExitCodes));
#endif
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "  ";
  std::cout << Json::writeString(writer, programs) << '\n';
}

}  // namespace
}  // namespace kova

int main() try {
  kova::print();
  return std::cout.flush() ? 0 : 1;
} catch (const std::exception &error) {
  std::cerr << "kova-describe: " << error.what() << '\n';
  return 1;
}
