"""Reads a public header: its comments, and the declarations that they stand before."""

import re
import sys
from pathlib import Path


class Declaration:
    """A function, variable, type or macro, with its comment's paragraphs."""

    def __init__(self, text, comment):
        self.comment = comment
        self.members = []  # of a structure or an enumeration: (declaration, comment)
        body = re.search(r"\{(.*)\}", text, re.S)
        self.kind = next((kind for kind in ("struct", "enum") if re.match(rf"(typedef )?{kind}\b.*\{{", text)), "other")
        if self.kind != "other":
            for member, after in re.findall(r"^\s*([^\s/][^;,]*)[;,]?[ ]*(?:/\*(.*?)\*/)?$", body[1].rstrip(), re.M):
                self.members.append((member.strip(), after.strip()))
            tag = re.match(r"(?:typedef )?(?:struct|enum) (\w+)", text)[1]
            self.name = re.search(r"(\w*)\s*;?$", text)[1] or tag
            return
        text = re.sub(r"\{.*", "", text, flags=re.S) if body else text
        text = re.sub(r"KOVA_API |static inline |;$", "", re.sub(r"\s+", " ", text).strip())
        self.prototype = text.strip() + ("" if text.startswith("#") else ";")
        if text.startswith("#define"):
            self.kind, self.name = "macro", text.split()[1]
        elif text.startswith("typedef"):
            self.name = text.split()[-1].lstrip("*")
        else:
            self.kind = "function" if "(" in text else "variable"
            self.name = re.search(r"(\w+)\s*(?:[(\[]|$)", text)[1]

    @property
    def is_exported(self):
        return self.kind in ("function", "variable")


class Section:
    """What stands below a heading of the header; the first section has no title."""

    def __init__(self, title):
        self.title = title
        self.paragraphs = []
        self.declarations = []


def paragraphs_of(comment):
    """The comment's paragraphs; each item of a numbered list is one, and begins with its number."""
    lines = re.sub(r"^\s*\*? ?", "", comment.strip(), flags=re.M)
    return [re.sub(r"\s+", " ", each).strip() for each in re.split(r"\n\s*\n|\n(?=\d+\. )", lines) if each.strip()]


class Header:
    def __init__(self, path: Path):
        self.name = path.stem
        self.include = f"#include <kova/{path.name}>"
        self.sections = [Section(None)]
        text = path.read_text(encoding="utf-8")
        first = re.match(r"/\*(.*?)\*/\n", text, re.S)
        if not first:
            sys.exit(f"{path}: begins with no comment")
        self.paragraphs = paragraphs_of(first[1])
        self._read(path, text[first.end():])

    def _read(self, path, text):
        text = re.sub(r"^#(?!define \w+ ).*\n|^KOVA_(BEGIN|END)_C\n", "", text, flags=re.M)
        token = re.compile(
            r"\s*(?:/\*(?P<comment>.*?)\*/(?P<apart>\n\s*\n)?"
            r"|(?P<declaration>\#define.*?$"
            r"|static\ inline[^{]*\{.*?^\}"
            r"|(?:[^;{/]|/(?!\*))*(?:\{.*?^\}[^;]*)?;))", re.S | re.M | re.X)
        comment, at = [], 0
        while text[at:].strip():
            found = token.match(text, at)
            if not found:
                sys.exit(f"{path}: cannot read {text[at:at + 60]!r}")
            at = found.end()
            heading = re.match(r" -+ (.*?) -+ $", found["comment"] or "")
            if heading:
                self.sections.append(Section(heading[1]))
            elif found["declaration"]:
                self.sections[-1].declarations.append(Declaration(found["declaration"], comment))
                comment = []
            elif found["apart"]:
                self.sections[-1].paragraphs += paragraphs_of(found["comment"])
            else:
                comment = paragraphs_of(found["comment"])

    @property
    def declarations(self):
        return [declaration for section in self.sections for declaration in section.declarations]

    @property
    def exported(self):
        return [declaration for declaration in self.declarations if declaration.is_exported]
