# SPDX-License-Identifier: Apache-2.0
"""Reads, changes and writes configuration files of UCI."""
import dataclasses
import os
import pathlib


class UciError(Exception):
    """The real command ends with status 1."""


@dataclasses.dataclass
class Section:
    type: str
    name: str
    # option name to its value; a list of values for a list option
    options: dict = dataclasses.field(default_factory=dict)


def root():
    """The directory that replaces / for the configuration and pending changes."""
    return pathlib.Path(os.environ["OPENWRT_ROOT"])


def config_path(package):
    return root() / "etc/config" / package


def quote(value):
    return "'" + value.replace("'", "'\\''") + "'"


def split_lines(text):
    """The words of each line. Quotes may span several lines, # begins a comment."""
    lines, words, word, quoted_by, escaped = [], [], None, None, False
    position = 0
    while position < len(text):
        char = text[position]
        position += 1
        if escaped:
            word, escaped = (word or "") + char, False
        elif quoted_by:
            if char == quoted_by:
                quoted_by = None
            elif char == "\\" and quoted_by == '"':
                escaped = True
            else:
                word += char
        elif char in "'\"":
            quoted_by, word = char, word or ""
        elif char == "\\":
            escaped = True
        elif char == "#" and word is None:
            position = (text + "\n").index("\n", position)
        elif char.isspace():
            if word is not None:
                words.append(word)
                word = None
            if char == "\n":
                lines.append(words)
                words = []
        else:
            word = (word or "") + char
    if quoted_by:
        raise UciError("Parse error (unterminated quote)")
    return [*lines, words + ([word] if word is not None else [])]


def parse(text):
    sections = []
    for words in filter(None, split_lines(text)):
        match words:
            case ["config", type_]:
                sections.append(Section(type_, f"cfg{len(sections):02x}"))
            case ["config", type_, name]:
                sections.append(Section(type_, name))
            case ["option", name, value] if sections:
                # An option never holds the empty string.
                if value:
                    sections[-1].options[name] = value
            case ["list", name, value] if sections:
                sections[-1].options.setdefault(name, []).append(value)
            case _:
                raise UciError(f"Parse error ({' '.join(words)})")
    return sections


def render(sections):
    text = ""
    for section in sections:
        text += f"\nconfig {section.type} {quote(section.name)}\n"
        for name, value in section.options.items():
            if isinstance(value, list):
                text += "".join(f"\tlist {name} {quote(item)}\n" for item in value)
            else:
                text += f"\toption {name} {quote(value)}\n"
    return text + "\n"


def find(sections, name):
    return next((section for section in sections if section.name == name), None)


def apply(sections, key, value):
    """Sets an option, or creates a section if the key names no option."""
    _, name, *option = key.split(".")
    section = find(sections, name)
    if not option:
        if section:
            section.type = value
        else:
            sections.append(Section(value, name))
    elif section is None:
        raise UciError("Invalid argument")
    elif value:
        section.options[option[0]] = value
    else:
        section.options.pop(option[0], None)


def delta_path(package):
    return root() / "tmp/.uci" / package


def load(package):
    """The sections of a package, including uncommitted changes."""
    try:
        sections = parse(config_path(package).read_text(encoding="utf-8"))
    except FileNotFoundError:
        raise UciError("Entry not found") from None
    if delta_path(package).exists():
        for change in filter(None, split_lines(delta_path(package).read_text(encoding="utf-8"))):
            apply(sections, *change[0].split("=", 1))
    return sections
