# SPDX-License-Identifier: Apache-2.0
"""What script/mutate keeps, accepts and counts."""
from __future__ import annotations

import pytest

from mutation.results import KILLED, STILLBORN, SURVIVED, UNREACHED, Results, Verdict, digest, digest_of_files
from mutation.review import Place, read_review, text_of_line
from mutation.table import table_of

ENTRIES = """# About this list.

a.cpp: if (x == 1: 2) {
    x == 1 -> !=
    1 -> 2
    because it is the same

b.h: return x;
    x -> {}
    because of another reason
"""


def test_verdict_is_there_in_the_next_run(tmp_path):
    path = tmp_path / "folder/results"
    Results(path, resume=True).put("key", Verdict(KILLED, "test"))

    assert Results(path, resume=True).get("key") == Verdict(KILLED, "test")
    assert Results(path, resume=True).get("other") is None
    assert Results(path, resume=False).get("key") is None


def test_run_can_begin_afresh(tmp_path):
    Results(tmp_path / "results", resume=True).put("key", Verdict(SURVIVED))
    Results(tmp_path / "results", resume=False).put("other", Verdict(SURVIVED))

    assert Results(tmp_path / "results", resume=True).get("key") is None


@pytest.mark.parametrize("state, is_survivor", [
    (KILLED, False), (STILLBORN, False), (SURVIVED, True), (UNREACHED, True)])
def test_survivor_is_what_no_test_notices(state, is_survivor):
    assert Verdict(state).is_survivor == is_survivor


def test_digest_tells_where_one_part_ends():
    assert digest(["ab", "c"]) != digest(["a", "bc"])


def test_digest_of_a_folder_depends_on_its_files(tmp_path):
    (tmp_path / "sub").mkdir()
    (tmp_path / "sub/a").write_text("1", encoding="utf-8")
    before = digest_of_files([tmp_path])
    (tmp_path / "sub/a").write_text("2", encoding="utf-8")

    assert digest_of_files([tmp_path]) != before


def test_entries_name_place_and_reason(tmp_path):
    (tmp_path / "list").write_text(ENTRIES, encoding="utf-8")

    assert read_review(tmp_path / "list") == {
        Place("a.cpp", "if (x == 1: 2) {", "x == 1 -> !="): "it is the same",
        Place("a.cpp", "if (x == 1: 2) {", "1 -> 2"): "it is the same",
        Place("b.h", "return x;", "x -> {}"): "of another reason"}


@pytest.mark.parametrize("entry", ["a.cpp: x\n    1 -> 2", "a.cpp: x\n    because y", "a.cpp: x", "    because y"])
def test_incomplete_entry_is_refused(tmp_path, entry):
    (tmp_path / "list").write_text(entry, encoding="utf-8")

    with pytest.raises(ValueError, match="list: not an entry"):
        read_review(tmp_path / "list")


@pytest.mark.parametrize("at, text", [(0, "x;"), (1, "x; y();"), (2, "return something();")])
def test_short_line_is_named_with_the_one_before(at, text):
    assert text_of_line(["x;", "  y();", "  return something();"], at) == text


def test_table_counts_by_folder():
    lines = table_of([
        ("lib/a.cpp", Verdict(KILLED), False), ("lib/a.cpp", Verdict(SURVIVED), True),
        ("lib/b.cpp", Verdict(UNREACHED), False),
        ("src/c.cpp", Verdict(STILLBORN), False)])

    assert lines[2:] == [
        "| lib | 3 | 0 | 1 | 1 | 1 | 50.0 |",
        "| src | 1 | 1 | 0 | 0 | 0 | - |",
        "| all | 4 | 1 | 1 | 1 | 1 | 50.0 |"]
