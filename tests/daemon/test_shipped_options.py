# SPDX-License-Identifier: Apache-2.0
"""The two runs of these tests: without options, and with those that the package ships."""
import ast
import re
from pathlib import Path

import pytest

import shipped
from gateway_bench import CONFIG

# What the package's file had before there were options of the recommended kind.
BEFORE = shipped.NOTES | {"service.enabled", "service.log_level", "service.automatic_update", "schedule.enabled",
                          "schedule.daysofweek", "schedule.starttime", "schedule.stoptime"}
SECTIONS = ("config service 'service'\n\toption one 'a'\n\toption two 'b'\n"
            "\nconfig network 'network'\n\toption one 'c'\n")


def marked_entries():
    """The entries that the marks of these tests name."""
    names = set()
    for path in Path(__file__).parent.glob("test_*.py"):
        for node in ast.walk(ast.parse(path.read_text(encoding="utf-8"))):
            if isinstance(node, ast.Call) and isinstance(node.func, ast.Attribute) and node.func.attr == shipped.MARK:
                names |= {argument.value for argument in node.args}
    return names


def test_every_entry_has_a_test_and_every_marked_test_an_entry():
    assert marked_entries() == set(shipped.entries())


def test_page_names_every_shipped_option_and_no_other():
    packaged = set(shipped.read_options(shipped.PACKAGED.read_text(encoding="utf-8")))
    page = shipped.PAGE.read_text(encoding="utf-8")

    assert set(re.findall(r"`((?:network|service)\.\w+)`", page)) == packaged - BEFORE


def test_every_line_of_the_table_is_understood():
    table = shipped.PAGE.read_text(encoding="utf-8").partition("| Entry |")[2].partition("\n\n")[0]

    assert len([line for line in table.splitlines() if line.startswith("| `")]) == len(shipped.entries())


def test_gateway_of_an_ordinary_run_has_no_option_that_changes_the_daemon():
    assert shipped.read_options(CONFIG) == {"service.automatic_update": "1", "schedule.enabled": "0"}


def test_option_is_left_out_of_its_own_section():
    assert shipped.without(SECTIONS, {"service.one"}) == SECTIONS.replace("\toption one 'a'\n", "")
    assert shipped.read_options(SECTIONS) == {"service.one": "a", "service.two": "b", "network.one": "c"}


def test_unknown_run_is_refused(monkeypatch):
    monkeypatch.setenv("ZEPHRAN_OPTIONS", "all")

    with pytest.raises(ValueError, match="must be one of shipped, differences"):
        shipped.chosen_run()


def test_gateway_begins_with_what_the_run_asks_for(bench, request):
    assert bench.gateway.config("zephran") == shipped.configuration_for(request.node)
