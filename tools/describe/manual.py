"""manual.py --tools JSON --root DIR --output DIR --version VERSION --date DATE --scdoc PROGRAM: writes the pages.

The commands and options come from the tools' description as kova-describe prints it, the functions from the comments of
the public headers, and everything else from the pages in docs/man, where a line "@NAME@" stands for what is put in.
"""

import argparse
import datetime
import json
import os
import re
import subprocess
import textwrap
from pathlib import Path

from headers import Header

WIDTH = 66  # of a literal block on a terminal of 80 columns


def escaped(text):
    """The text as scdoc's, without any markup."""
    text = re.sub(r"([\\*_`~+])", r"\\\1", text)
    return re.sub(r"^([-.|:;#<\[\]])", r"\\\1", text)


def bold(text):
    return f"*{escaped(text)}*"


def underlined(text):
    return f"_{escaped(text)}_"


def sentence(text):
    text = text[:1].upper() + text[1:]
    return text if text.endswith((".", ":")) or not text else text + "."


def item(term, text):
    """A term with its explanation indented below it."""
    return f"{term}\n\t{text}\n\n" if text else f"{term}\n\n"


def literal(text):
    return "```\n" + text.replace("\\", "\\\\") + "\n```\n\n"


# The tools' commands.


def value_of(option):
    """What stands for the option's value: its choices or its name."""
    if option["choices"]:
        return "|".join(bold(choice) for choice in option["choices"])
    return underlined(option["value"])


def term_of(option):
    if "positional" in option:
        return underlined(option["positional"])
    names = ", ".join(bold(name) for name in option["names"])
    return f"{names} {value_of(option)}" if "value" in option else names


def explanation_of(option):
    text = sentence(marked_options(option["description"]))
    if "range" in option:
        limits = re.fullmatch(r"\w+ in \[(\S+) - (\S+)\]", option["range"])
        allowed = {"NONNEGATIVE": "0 or more", "POSITIVE": "more than 0"}.get(option["range"])
        if limits:
            allowed = "{} to {}".format(*(f"{float(limit):.15g}" for limit in limits.groups()))
        text += f" Allowed: {allowed or escaped(option['range'])}."
    if option["default"]:
        text += f" Default: {escaped(option['default'])}."
    if option["required"] and "names" in option:
        text += " Required."
    if option["repeatable"] and "repeat" not in text:
        text += " May be given more than once."
    for relation, words in (("needs", "Only together with"), ("excludes", "Not together with")):
        if relation in option:
            text += f" {words} {' and '.join(bold(name) for name in sorted(option[relation]))}."
    return text


def marked_options(text):
    """Help text with its options in bold."""
    return re.sub(r"(?<![\w\\])(--[a-z](?:[\w\\-]*\w)?)", r"*\1*", escaped(text))


def synopsis_of(path, command):
    parts = [bold(path)]
    parts += [term_of(option) for option in command["options"] if option["required"] and "names" in option]
    parts.append("[_OPTION_...]")
    for option in command["options"]:
        if "positional" in option:
            name = term_of(option) + ("..." if option["repeatable"] else "")
            parts.append(name if option["required"] else f"[{name}]")
    if command["operands"]:
        parts.append(re.sub(r"[A-Z]+", r"_\g<0>_", escaped(command["operands"])))
    return " ".join(parts)


def leaves(command):
    """The commands below that have no commands of their own."""
    return [leaf for each in command["commands"] for leaf in (leaves(each) or [each])]


def common_options(program):
    """What every command has: its help, and what else they share."""
    first, *others = leaves(program) or [program]
    return [option for option in first["options"] if all(option in each["options"] for each in others)]


def commands(program, above, known_options, known_paragraphs):
    text = ""
    for command in program["commands"]:
        path = f"{above} {command['name']}"
        text += f"## {escaped(path.split(' ', 1)[1])}\n\n"
        if not command["commands"]:
            text += synopsis_of(path, command) + "\n\n"
        text += sentence(marked_options(command["description"])) + "\n\n"
        for option in sorted(command["options"], key=lambda option: "names" in option):
            if option not in known_options:
                text += item(term_of(option), explanation_of(option))
        for paragraph in command["footer"].split("\n\n"):
            if paragraph and paragraph not in known_paragraphs:
                text += sentence(marked_options(" ".join(paragraph.split()))) + "\n\n"
        text += commands(command, path, known_options, known_paragraphs)
    return text


def program_parts(program):
    paragraphs = program["footer"].split("\n\n")
    common = common_options(program)
    options = program["options"] + [option for option in common if option not in program["options"]]
    told = [each for each in paragraphs if not each.startswith("Exit codes:")]
    return {
        "OPTIONS": "".join(item(term_of(option), explanation_of(option)) for option in options),
        "COMMANDS": commands(program, program["name"], common, paragraphs),
        "EXIT_CODES": "".join(
            item(bold(str(each["code"])), sentence(marked_options(each["meaning"]))) for each in program["exit_codes"]),
        "FOOTER": "\n\n".join(marked_options(" ".join(each.split())) for each in told),
    }


# The public headers.


class Interface:
    """All public headers, and how they become pages."""

    def __init__(self, directory):
        self.headers = {path.stem: Header(path) for path in sorted(directory.glob("*.h")) if path.name != "export.h"}
        self.error_texts = dict((code, (name, text)) for code, name, text in re.findall(
            r'\{(\w+), "(\w+)",\s*"([^"]*)"\}', (directory / "error_text.h").read_text(encoding="utf-8")))
        self.names = {each.name for header in self.headers.values() for each in header.exported}

    def page_of(self, header):
        return "kova-platform(7)" if header.name == "platform" else f"kova_{header.name}(3)"

    def marked(self, text, own_name=None):
        """A comment's text: parameters underlined, functions in bold. What is a comment there is a description here."""

        def mark(token):
            if token.startswith("`"):
                return underlined(token.strip("`"))
            if token in self.names:
                return bold(token) + ("" if token == own_name else "(3)")
            return escaped(token)

        text = re.sub(r"\bcomment\b", "description", text)
        return "".join(mark(token) for token in re.findall(r"`[^`]+`|\w+|[^\w`]+|`", text))

    def paragraphs(self, paragraphs, own_name=None):
        return "".join(self.marked(paragraph, own_name) + "\n\n" for paragraph in paragraphs)

    def members(self, declaration):
        text = ""
        for member, comment in declaration.members:
            name, _, value = member.partition(" = ")
            if value:
                text += item(f"{bold(name)} ({value})", self.marked(comment))
            else:
                text += item(bold(member), self.marked(comment))
        return text

    def errors(self):
        codes = next(each for each in self.headers["error"].declarations if each.kind == "enum")
        text = ""
        for member, comment in codes.members:
            name, _, value = member.partition(" = ")
            word, fallback = self.error_texts[name]
            text += item(f"*{value}* {bold(name)}, \"{escaped(word)}\"", self.marked(comment or fallback))
        return text

    def page(self, header):
        """The page of a header: kova_NAME(3)."""
        title = re.sub(r"\.$", "", header.paragraphs[0].split(". ")[0])
        rest = header.paragraphs[0][len(title):].lstrip(". ")
        names = [f"kova\\_{escaped(header.name)}"] + [escaped(each.name) for each in header.exported]
        text = f"# NAME\n\n{', '.join(names)} - {escaped(title[0].lower() + title[1:])}\n\n"
        text += "# SYNOPSIS\n\n" + literal(
            header.include + "\n\n" + "\n".join(prototype(each) for each in header.exported))
        description = self.paragraphs(([rest] if rest else []) + header.paragraphs[1:])
        if description.strip():
            text += "# DESCRIPTION\n\n" + description
        described = [each for each in header.declarations if each.comment or each.members]
        for heading, kinds in (("FUNCTIONS", ("function",)), ("VARIABLES", ("variable",)),
                               ("TYPES", ("struct", "enum")), ("MACROS", ("macro",))):
            chosen = [each for each in described if each.kind in kinds]
            if chosen:
                text += f"# {heading}\n\n"
            for each in chosen:
                text += f"## {escaped(each.name)}\n\n"
                if each.kind == "macro":
                    text += literal(each.prototype)
                text += self.paragraphs(each.comment, each.name)
                if each.name == "KovaErrorCode":
                    text += "They are listed in *libkova*(3).\n\n"
                else:
                    text += self.members(each)
        return text + "# SEE ALSO\n\n*libkova*(3), *kova-platform*(7)\n"

    def operations(self):
        """The operations of the platform, by section."""
        text = ""
        for section in self.headers["platform"].sections:
            if section.title:
                text += f"# {escaped(section.title.upper())}\n\n"
            text += self.paragraphs(section.paragraphs)
            for each in section.declarations:
                if each.members:
                    text += literal(("enum " if each.kind == "enum" else "struct ") + each.name)
                else:
                    text += literal(prototype(each))
                text += self.paragraphs(each.comment, each.name) + self.members(each)
        return text

    def parts(self):
        pages = [f"*{self.page_of(header)[:-3]}*({self.page_of(header)[-2]})"
                 for header in self.headers.values() if header.name != "kova"]
        return {
            "CONVENTIONS": self.paragraphs(self.headers["kova"].paragraphs[1:]),
            "ERRORS": self.errors(),
            "HEADERS": "".join(
                item(f"*<kova/{header.name}.h>*, {page.replace('_', chr(92) + '_')}",
                     sentence(self.marked(re.sub(r"\.$", "", header.paragraphs[0].split(". ")[0]))))
                for header, page in zip((each for each in self.headers.values() if each.name != "kova"), pages)),
            "PLATFORM_CONVENTIONS": self.paragraphs(self.headers["platform"].paragraphs),
            "OPERATIONS": self.operations(),
        }


def prototype(declaration):
    """The declaration, broken where it is wider than a page."""
    text = declaration.prototype
    if len(text) <= WIDTH or "(" not in text:
        return text
    opening = text.index("(") + 1
    # Only between parameters: the blanks within one do not break.
    parameters = ", ".join(each.replace(" ", "\0") for each in text[opening:].split(", "))
    wrapped = textwrap.fill(parameters, WIDTH, initial_indent="    ", subsequent_indent="    ",
                            break_long_words=False, break_on_hyphens=False)
    return text[:opening] + "\n" + wrapped.replace("\0", " ")


# The pages.


def filled(text, parts):
    return re.sub(r"^@(\w+)@$", lambda found: parts[found[1]].rstrip("\n"), text, flags=re.M)


def tidied(page):
    """scdoc's output without paragraph macros that start nothing, with copyable minus signs and names left whole."""
    page = re.sub(r"^\.P$", ".PP", page, flags=re.M)  # Which of the two it writes depends on its version.
    page = re.sub(r"((?:\.PP\n)+)((?:\.RE\n)+)", r"\2.PP\n", page)
    page = re.sub(r"(\.PP\n)+(?=\.SH|\.SS|\.PP\n|$(?!\n))", "", page)
    page = re.sub(r"^(\.(?:TH|SH|SS|RS) .*\n)(?:\.PP\n)+", r"\1", page, flags=re.M)
    page = re.sub(r"^\.TH .*\n", r"\g<0>.nh\n", page, flags=re.M)
    return re.sub(r"^(?!\.).*", lambda line: re.sub(r"(?<!\\)-", r"\\-", line[0]), page, flags=re.M)


class Manual:
    MANUALS = {"1": "General Commands Manual", "3": "Library Functions Manual", "5": "File Formats Manual",
               "7": "Miscellaneous Information Manual"}

    def __init__(self, output, version, date, scdoc):
        self._output, self._version, self._scdoc = output, version, scdoc
        midnight = datetime.datetime.fromisoformat(date + "T00:00:00+00:00")
        self._environment = {"SOURCE_DATE_EPOCH": f"{midnight.timestamp():.0f}", **os.environ}

    def _file(self, name, section):
        file = self._output / f"man{section}" / f"{name}.{section}"
        file.parent.mkdir(parents=True, exist_ok=True)
        return file

    def add(self, name, section, text):
        source = f'{name}({section}) "libkova {self._version}" "{self.MANUALS[section]}"\n\n{text}'
        page = subprocess.run([self._scdoc], input=source.encode(), stdout=subprocess.PIPE, check=False,
                              env=self._environment)
        if page.returncode != 0:
            raise SystemExit(f"scdoc refuses {name}({section}):\n{source}")
        self._file(name, section).write_text(tidied(page.stdout.decode()), encoding="utf-8")

    def add_link(self, name, page):
        found = re.fullmatch(r"(.*)\((\d)\)", page)
        self._file(name, "3").write_text(f".so man{found[2]}/{found[1]}.{found[2]}\n", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser()
    for option in ("--tools", "--root", "--output"):
        parser.add_argument(option, required=True, type=Path)
    for option in ("--version", "--date", "--scdoc"):
        parser.add_argument(option, required=True)
    options = parser.parse_args()
    interface = Interface(options.root / "include" / "kova")
    programs = {each["name"]: program_parts(each) for each in json.loads(options.tools.read_text(encoding="utf-8"))}
    manual = Manual(options.output, options.version, options.date, options.scdoc)
    for source in sorted((options.root / "docs" / "man").glob("*.scd")):
        name, section, _ = source.name.rsplit(".", 2)
        if section == "1" and name not in programs:
            continue  # the tool is not built
        parts = programs[name] if section == "1" else interface.parts()
        manual.add(name, section, filled(source.read_text(encoding="utf-8"), parts))
    for header in interface.headers.values():
        page = interface.page_of(header)
        if page.endswith("(3)") and header.name != "kova":
            manual.add(page[:-3], "3", interface.page(header))
        for declaration in header.exported:
            manual.add_link(declaration.name, page)


if __name__ == "__main__":
    main()
