#include "common/arguments.h"

#include <CLI/CLI.hpp>
#include <optional>

namespace kova {

Argument Argument::typeName(const char *name) const {
  return Argument(option_->type_name(name));
}

Argument Argument::required() const {
  return Argument(option_->required());
}

Argument Argument::check(Check check) const {
  return Argument(option_->check(check));
}

Argument Argument::oneOf(const std::vector<std::string> &values) const {
  return Argument(option_->check(CLI::IsMember(values)));
}

Argument Argument::needs(Argument other) const {
  return Argument(option_->needs(other.option_));
}

Argument Argument::excludes(Argument other) const {
  return Argument(option_->excludes(other.option_));
}

template <class Value>
Argument Command::addOption(const char *name, Value &value, const char *help) const {
  CLI::Option *option = app_->add_option(name, value, help);
  if (!option->get_positional()) option->allow_extra_args(false);
  return Argument(option);
}

template Argument Command::addOption(const char *name, std::string &value, const char *help) const;
template Argument Command::addOption(const char *name, std::optional<std::string> &value, const char *help) const;
template Argument Command::addOption(const char *name, std::vector<std::string> &value, const char *help) const;

Argument Command::addFlag(const char *name, bool &value, const char *help) const {
  return Argument(app_->add_flag(name, value, help));
}

Argument Command::find(const char *name) const {
  return Argument(app_->get_option(name));
}

void Command::setFooter(const char *text) const {
  app_->footer(text);
}

Command Command::addSubcommand(const char *name, const char *help, std::function<void()> whenNamed) const {
  CLI::App *command = app_->add_subcommand(name, help);
  command->callback(std::move(whenNamed));
  return *command;
}

}  // namespace kova
