# SPDX-License-Identifier: Apache-2.0
"""A second run of the daemon's tests, with the options that the package ships: ZEPHRAN_OPTIONS=shipped.

A gateway of the tests sets no option unless the test does. In the second run it begins with the whole configuration of
the package. A test that knows an unconfigured daemon bears the mark `differs` with an entry of docs/shipped-options.md:
that entry's options, and no others, are left out for it. So whatever else the options change would be a failed test.

With ZEPHRAN_OPTIONS=differences nothing is left out, only the marked tests are run, and each of them must fail: what
passes differs no longer. A test that differs by chance is marked with `sometimes=True`, and is not run then.
"""
import os
import re

from gateway_bench import CONFIG, PROJECT

PACKAGED = PROJECT / "packaging/openwrt/files/zephran.config"
PAGE = PROJECT / "docs/shipped-options.md"
# The daemon's own note, which the package's file has for the sake of its name.
NOTES = {"service.rebooted"}
MARK = "differs"
RUNS = ("", "shipped", "differences")

SECTION = re.compile(r"config (\w+) ")
OPTION = re.compile(r"\toption (\w+) '(.*)'")
ENTRY = re.compile(r"^\| `([a-z-]+)` \| ((?:`[a-z_.0-9]+`(?:, )?)+) \| (.+) \|$", re.M)


def chosen_run():
    """The one that the environment asks for. Raises ValueError for an unknown one."""
    run = os.environ.get("ZEPHRAN_OPTIONS", "")
    if run not in RUNS:
        raise ValueError(f"ZEPHRAN_OPTIONS must be one of {', '.join(RUNS[1:])}, or not be set: {run!r}")
    return run


def entries():
    """The options of each entry of the page, by its name."""
    found = ENTRY.findall(PAGE.read_text(encoding="utf-8"))
    return {name: tuple(re.findall(r"`([^`]+)`", options)) for name, options, _ in found}


def marks_of(item):
    """The names of the entries by which a test differs."""
    return {name for mark in item.iter_markers(MARK) for name in mark.args}


def must_differ(item):
    """Whether the test is sure to fail if nothing is left out for it."""
    return any(not mark.kwargs.get("sometimes") for mark in item.iter_markers(MARK))


def read_options(text):
    """The options of a configuration, by "section.name"."""
    options = {}
    section = None
    for line in text.splitlines():
        if found := SECTION.match(line):
            section = found[1]
        elif found := OPTION.match(line):
            options[f"{section}.{found[1]}"] = found[2]
    return options


def without(text, names):
    """A configuration without these options."""
    kept = []
    section = None
    for line in text.splitlines(keepends=True):
        if found := SECTION.match(line):
            section = found[1]
        found = OPTION.match(line)
        if not (found and f"{section}.{found[1]}" in names):
            kept.append(line)
    return "".join(kept)


def configuration_for(item):
    """What the gateway of a test begins with."""
    run = chosen_run()
    if run == "":
        return CONFIG
    packaged = without(PACKAGED.read_text(encoding="utf-8"), NOTES)
    if run == "differences":
        return packaged
    known = entries()
    return without(packaged, {option for name in marks_of(item) for option in known[name]})
