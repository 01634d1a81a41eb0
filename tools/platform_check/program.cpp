#include "platform_check/program.h"

#include <json/value.h>

#include <algorithm>
#include <iostream>

#include "base/json.h"
#include "common/command_line.h"
#include "common/suggestion.h"
#include "common/terminal_text.h"
#include "platform_check/runner.h"

namespace kova::check {
namespace {

std::string notEmpty(const std::string &value) {
  return value.empty() ? "must not be empty" : "";
}

constexpr char kFooter[] = R"(Without --root the rules are checked on a scratch root, which is made, filled
and removed for each of them. With --root they make files in its
/var/kova-platform-check, which is removed (but not a /var that was made for it),
and leave the rest alone. With --intrusive as well they change the device:
/etc/kova.conf and /etc/tarvinfo.conf, which are then as they were; entries of
the scheduler, which are removed; an event in its log; a notification; a new API
key, which is registered with the service and stays. What the platform makes for
these stays, too, such as lock files and empty directories. While such a rule is
checked, the two files themselves have the names
/etc/kova.conf.kova-platform-check and /etc/tarvinfo.conf.kova-platform-check:
move them back where the check was killed. The device should not be in use
meanwhile.)";

std::string fullName(const Rule &rule) {
  return std::string(rule.function) + "/" + rule.name;
}

bool isNamed(const Rule &rule, const std::string &name) {
  return name == rule.function || name == rule.name || name == fullName(rule);
}

bool isRootRule(const Rule &rule) {
  return rule.function == std::string_view(kRootRule.function) && rule.name == std::string_view(kRootRule.name);
}

std::string counted(std::size_t count, const char *what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

Program::Program()
    : app_(std::make_unique<CLI::App>("Checks whether a library keeps the contract of <kova/platform.h>.")) {
  app_->name("kova-platform-check");
  addVersionOption(*app_);
  app_->add_option("PLATFORM", library_, "The library to check; else the platform that this program is linked with")
      ->type_name("FILE")
      ->check(notEmpty);
  app_->add_option("--root", root_, "The device's root directory, such as /")->type_name("DIR")->check(notEmpty);
  app_->add_flag("--intrusive", intrusive_, "With --root: check also what changes the device")->needs("--root");
  app_->add_flag("--list", list_, "Print the rules and check nothing");
  app_->add_option("--only", only_, "The functions or rules to check, such as TLIBCPopen, null or TLIBCPopen/null")
      ->type_name("NAME");
  app_->add_flag("--json", json_, "Print one JSON object");
  app_->add_option("--time-limit", seconds_, "How many seconds a rule may take")
      ->check(CLI::Range(1, 3600))
      ->capture_default_str();
  app_->footer(std::string(kFooter) + "\n\n" + exitCodeList(kExitCodes));
}

Program::~Program() = default;

int Program::fail(int exitCode, const std::string &message) const {
  if (json_) {
    Json::Value json;
    json["ok"] = false;
    json["error"] = message;
    std::cout << jsonLine(json) << '\n';
  } else {
    std::cerr << "kova-platform-check: " << printable(message) << '\n';
  }
  return exitCode;
}

std::vector<Rule> Program::chosenRules() const {
  std::vector<Rule> rules = allRules();
  for (const std::string &name : only_) {
    if (std::ranges::any_of(rules, [&](const Rule &rule) { return isNamed(rule, name); })) continue;
    std::vector<std::string> names;
    for (const Rule &rule : rules) names.insert(names.end(), {rule.function, rule.name, fullName(rule)});
    throw CLI::ValidationError("--only", "there is no function or rule \"" + name + "\"" + suggestionFor(name, names));
  }
  const auto isChosen = [&](const Rule &rule) {
    return only_.empty() || std::ranges::any_of(only_, [&](const std::string &name) { return isNamed(rule, name); });
  };
  const bool needsRoot =
      std::ranges::any_of(rules, [&](const Rule &rule) { return rule.touches == Touches::kDevice && isChosen(rule); });
  std::erase_if(rules, [&](const Rule &rule) { return !isChosen(rule) && !(needsRoot && isRootRule(rule)); });
  return rules;
}

int Program::list(const std::vector<Rule> &rules) const {
  Json::Value json(Json::arrayValue);
  for (const Rule &rule : rules) {
    if (!json_) std::cout << fullName(rule) << ": " << rule.sentence << '\n';
    Json::Value &each = json.append(Json::objectValue);
    each["function"] = rule.function;
    each["rule"] = rule.name;
    each["sentence"] = rule.sentence;
  }
  if (json_) std::cout << jsonLine(json) << '\n';
  return kClean;
}

Outcome Program::outcomeOf(const Rule &rule, const Functions &functions, const Outcome &onRoot) const {
  if (rule.touches == Touches::kDevice && !onRoot.notJudged.empty()) return {{}, onRoot.notJudged};
  if (rule.touches == Touches::kDevice && !onRoot.findings.empty()) {
    return {{},
            std::string(kRootRule.function) + "/" + kRootRule.name +
                " must hold first; without KOVA_DEVICE_ROOT check on the device, with --root /"};
  }
  if (rule.touches == Touches::kDevice && !root_.empty() && !intrusive_) {
    return {{}, "it would change the device: needs --intrusive"};
  }
  return runRule(rule, functions, DeviceRoot(root_, rule.touches), seconds_);
}

int Program::checkPlatform(const std::vector<Rule> &rules) {
  const Platform platform = loadPlatform(library_);
  const Descriptor lock = root_.empty() ? Descriptor() : lockedRoot(root_);
  holdSignals();
  Json::Value json;
  json["findings"] = json["not_judged"] = Json::Value(Json::arrayValue);
  const auto add = [&](const char *array, const std::string &function, const std::string &rule, const char *sentence,
                       const std::string &text) {
    Json::Value &each = json[array].append(Json::objectValue);
    each["function"] = function;
    each["rule"] = rule;
    each["sentence"] = sentence;
    each["seen"] = text;
    if (json_) return;
    const std::string judged = array == std::string_view("findings") ? "" : "not judged: ";
    std::cout << printable(judged + function + "/" + rule + ": " + sentence + ": " + text) << '\n' << std::flush;
  };
  for (const std::string &name : platform.missing) {
    add("findings", name, "exported", "the library exports every function", "it is missing");
  }
  Outcome onRoot{{}, std::string(kRootRule.function) + " is missing"};
  std::size_t judged = 0;
  for (const Rule &rule : rules) {
    if (std::ranges::count(platform.missing, rule.function) > 0) continue;
    const Outcome outcome = outcomeOf(rule, platform.functions, onRoot);
    if (isRootRule(rule)) onRoot = outcome;
    for (const std::string &text : outcome.findings) add("findings", rule.function, rule.name, rule.sentence, text);
    if (!outcome.notJudged.empty()) add("not_judged", rule.function, rule.name, rule.sentence, outcome.notJudged);
    if (outcome.notJudged.empty() || !outcome.findings.empty()) ++judged;
  }
  const std::size_t findings = json["findings"].size();
  json["ok"] = findings == 0;
  json["rules_checked"] = static_cast<Json::UInt64>(judged);
  if (json_) {
    std::cout << jsonLine(json) << '\n';
  } else {
    std::cout << counted(judged, "rule") << " checked, " << counted(findings, "finding") << ", "
              << json["not_judged"].size() << " not judged\n";
  }
  return findings == 0 ? kClean : kFindings;
}

int Program::run(int argc, char **argv) {
  const int exitCode = answer(argc, argv);
  return std::cout.flush() ? exitCode : kNotRun;
}

int Program::answer(int argc, char **argv) try {
  json_ = std::find(argv, argv + argc, std::string_view("--json")) != argv + argc;  // also for wrong usage
  if (const auto text = parseArguments(*app_, argc, argv)) {
    std::cout << *text;
    return kClean;
  }
  const std::vector<Rule> rules = chosenRules();
  if (list_) return list(rules);
  return checkPlatform(rules);
} catch (const CLI::ParseError &error) {
  return fail(kWrongUsage, error.what());
} catch (const Interrupted &interrupted) {
  endBySignal(interrupted.signal);
} catch (const std::exception &error) {
  return fail(kNotRun, error.what());
}

}  // namespace kova::check
