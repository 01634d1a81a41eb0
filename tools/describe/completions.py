"""completions.py --tools JSON --output DIR: writes the completions of bash, zsh and fish.

They are made of the tools' description as kova-describe prints it. What is offered for a value is told by its choices
or its name: files for FILE, directories for DIR, the program's commands for COMMAND, and nothing for others.
"""

import argparse
import json
from pathlib import Path


class Argument:
    """An option or a positional argument of a command."""

    def __init__(self, described, program):
        self.names = described.get("names", [])
        self.description = described["description"]
        self.takes_value = "value" in described
        self.ends_command = not self.takes_value and bool({"--help", "--version"} & set(self.names))
        self.is_repeatable = described["repeatable"]
        self.is_required = described["required"]
        self.words = described.get("choices", [])
        if described.get("positional") == "COMMAND":
            self.words = [command["name"] for command in program["commands"]]
        self.kind = {"FILE": "files", "DIR": "directories"}.get(described.get("value"), "")


class Command:
    """A command, the program too, with what may be given to it."""

    def __init__(self, described, path, program, inherited=()):
        self.path = f"{path} {described['name']}".strip()
        self.name = described["name"]
        self.description = described["description"]
        arguments = [Argument(each, program) for each in described["options"]]
        own = [each for each in arguments if each.names]
        self.options = own + [each for each in inherited if not any(set(each.names) & set(mine.names) for mine in own)]
        self.positionals = [each for each in arguments if not each.names]
        # Another program's command line follows a "--".
        self.takes_command = described["operands"].startswith("-- ")
        handed_down = [each for each in own if not each.ends_command] if described["falls_through"] else ()
        self.commands = [Command(each, self.path, program, handed_down) for each in described["commands"]]

    def all(self):
        return [self] + [each for command in self.commands for each in command.all()]


def function_name(path):
    return "_" + path.replace(" ", "_").replace("-", "_")


# bash


def single_quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def bash_words(argument):
    return f"@{argument.kind}" if argument.kind else " ".join(argument.words)


def bash(program):
    words, values = [], []
    for command in program.all():
        positional = [bash_words(each) for each in command.positionals] + [each.name for each in command.commands]
        words.append(f"    [{single_quoted(command.path)}]={single_quoted(' '.join(filter(None, positional)))}")
        options = " ".join(name for option in command.options for name in option.names)
        words.append(f"    [{single_quoted(command.path + ' -')}]={single_quoted(options)}")
        values += [f"    [{single_quoted(command.path + ' ' + name)}]={single_quoted(bash_words(option))}"
                   for option in command.options if option.takes_value for name in option.names]
    behind = "|".join(single_quoted(command.path) for command in program.all() if command.takes_command)
    return BASH.format(program=program.name, words="\n".join(words), values="\n".join(values), behind=behind or "''")


BASH = """\
# bash completion for {program}
_{program}() {{
  # What may stand at each command: words, "@files" or "@directories"; behind " -" its options.
  local -A words=(
{words}
  )
  # What may stand behind each option that takes a value.
  local -A values=(
{values}
  )
  local at={program} option= cur=${{COMP_WORDS[COMP_CWORD]}} offered i word
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${{COMP_WORDS[i]}}
    if [[ $word == = ]]; then  # between an option and its value
      continue
    elif [[ $option ]]; then
      option=
    elif [[ $word == -- ]]; then
      # What follows may be another program's command line, which bash-completion completes.
      case $at in
        {behind}) declare -F _command_offset >/dev/null && _command_offset $((i + 1)) ;;
      esac
      return
    elif [[ ${{values["$at $word"]+set}} ]]; then
      option=$word
    elif [[ $word != -* && ${{words["$at $word"]+set}} ]]; then
      at+=" $word"
    fi
  done
  if [[ $cur == = ]]; then cur=; fi
  if [[ $option ]]; then
    offered=${{values["$at $option"]}}
  elif [[ $cur == -* ]]; then
    offered=${{words["$at -"]}}
  else
    offered=${{words[$at]}}
  fi
  case $offered in
    @files) compopt -o default ;;
    @directories) compopt -o dirnames ;;
    *) mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$cur") ;;
  esac
}}
complete -F _{program} {program}
"""

# zsh


def zsh_text(text):
    """For the explanation of an option in brackets, inside single quotes."""
    for character in "\\[]:":
        text = text.replace(character, "\\" + character)
    return text.replace("'", "'\\''")


def zsh_action(argument):
    if argument.words:
        return f"({' '.join(argument.words)})"
    return {"files": "_files", "directories": "_files -/"}.get(argument.kind, " ")


def zsh_option(option):
    """The specifications of an option for _arguments, one for each name."""
    excluded = ""
    if option.ends_command:
        excluded = "(- *)"
    elif len(option.names) > 1:
        excluded = f"({' '.join(option.names)})"
    value = f":value:{zsh_action(option)}" if option.takes_value else ""
    for name in option.names:
        if option.takes_value and name.startswith("--"):
            name += "="
        yield f"'{excluded}{'*' if option.is_repeatable else ''}{name}[{zsh_text(option.description)}]{value}'"


def zsh_function(command):
    """The function that completes the arguments of a command."""
    arguments = [each for option in command.options for each in zsh_option(option)]
    for positional in command.positionals:
        where = "*" if positional.is_repeatable else "" if positional.is_required else ":"
        arguments.append(f"'{where}:argument:{zsh_action(positional)}'")
    before = ""
    if command.takes_command:
        before = "  local -a behind\n  if (( words[(i)--] < CURRENT )); then behind=('*:: :_normal'); fi\n"
        arguments.append('"${behind[@]}"')
    if not command.commands:
        return ZSH_LEAF.format(function=function_name(command.path), before=before,
                               arguments=" \\\n    ".join(arguments))
    return ZSH_NODE.format(
        function=function_name(command.path), arguments=" \\\n    ".join(arguments),
        commands="\n".join(f"        '{each.name}:{zsh_text(each.description)}'" for each in command.commands),
        functions="\n".join(f"        {each.name}) {function_name(each.path)} ;;" for each in command.commands))


ZSH_LEAF = """\
{function}() {{
{before}  _arguments -S \\
    {arguments}
}}
"""

ZSH_NODE = """\
{function}() {{
  local curcontext=$curcontext context state state_descr line
  local -A opt_args
  local -a commands
  _arguments -C -S \\
    {arguments} \\
    '1: :->commands' \\
    '*:: :->arguments'
  case $state in
    commands)
      commands=(
{commands}
      )
      _describe command commands
      ;;
    arguments)
      case $line[1] in
{functions}
      esac
      ;;
  esac
}}
"""


def zsh(program):
    functions = "\n".join(zsh_function(command) for command in program.all())
    return f'#compdef {program.name}\n\n{functions}\n{function_name(program.path)} "$@"\n'


# fish


def fish_quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish_lines(command):
    """What is offered at a command, as the arguments of fish's complete."""
    for each in command.commands:
        yield f"-a {each.name} -d {fish_quoted(each.description)}"
    for option in command.options:
        names = " ".join(f"-l {name[2:]}" if name.startswith("--") else f"-s {name[1:]}" for name in option.names)
        yield f"{names}{fish_value(option)} -d {fish_quoted(option.description)}"
    for positional in command.positionals:
        if positional.words or positional.kind:
            yield fish_value(positional).replace(" -r", "").strip()
    if command.takes_command:
        yield f"-a '(__fish_{command.path.split()[0]}_behind_dashes)'"


def fish_value(argument):
    if not argument.takes_value:
        return ""
    if argument.words:
        return f" -x -a {fish_quoted(' '.join(argument.words))}"
    return {"files": " -r -F", "directories": " -x -a '(__fish_complete_directories)'"}.get(argument.kind, " -x")


def fish(program):
    commands = " ".join(fish_quoted(each.path) for each in program.all())
    lines = [f"complete -c {program.name} -n '__fish_{program.name}_at \"{each.path}\"' {line}"
             for each in program.all() for line in fish_lines(each)]
    behind = FISH_BEHIND.format(program=program.name) if any(each.takes_command for each in program.all()) else ""
    return FISH.format(program=program.name, commands=commands, behind=behind, lines="\n".join(lines))


FISH = """\
# fish completion for {program}

# Whether the words before the cursor end in the arguments of this command.
function __fish_{program}_at
    set -l commands {commands}
    set -l at {program}
    for word in (commandline -opc)[2..]
        contains -- "$at $word" $commands
        and set at "$at $word"
    end
    test "$at" = "$argv[1]"
end

{behind}complete -c {program} -f
{lines}
"""

FISH_BEHIND = """\
# Completes another program's command line behind a "--".
function __fish_{program}_behind_dashes
    set -l words (commandline -opc)
    set -l dashes (contains -i -- -- $words)
    and complete -C (string join ' ' -- (string escape -- $words[(math $dashes + 1)..]) (commandline -ct))
end

"""


def main():
    parser = argparse.ArgumentParser()
    for option in ("--tools", "--output"):
        parser.add_argument(option, required=True, type=Path)
    options = parser.parse_args()
    for described in json.loads(options.tools.read_text(encoding="utf-8")):
        program = Command(described, "", described)
        for file, text in ((f"bash-completion/completions/{program.name}", bash(program)),
                           (f"zsh/site-functions/_{program.name}", zsh(program)),
                           (f"fish/vendor_completions.d/{program.name}.fish", fish(program))):
            file = options.output / file
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
