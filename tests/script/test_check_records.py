# SPDX-License-Identifier: Apache-2.0
"""script/check-records accepts records that describe themselves and names the others."""
from __future__ import annotations

import pathlib
import subprocess

import pytest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "script/check-records"
GOOD = {
    "lib/common/record.h": "using NAME##_tag = ::boost::error_info<struct NAME##_record, TYPE>;\n",
    "lib/common/record.cpp": "RecordDescription e{reported_at(10), print_record<boost::errinfo_errno>};\n",
    "src/a.h": "ZEPHRAN_RECORD(size, int, reported_at(20));\n"
               "ZEPHRAN_RECORD(secret,\n               std::string, not_reported);\n",
    "src/a.cpp": "#include <boost/exception/errinfo_file_name.hpp>\nZEPHRAN_REPORTED(size);\n"
                 "auto x = boost::get_error_info<size_tag>(e); // error_info<Y>\nauto y = boost::errinfo_errno{1};\n",
}


def check(root: pathlib.Path, files: dict[str, str]) -> tuple[int, str]:
    """The exit status and the errors for a tree with these files."""
    for name, text in files.items():
        path = root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
    done = subprocess.run([SCRIPT, root], capture_output=True, text=True, check=False)
    assert done.stdout == ""
    return done.returncode, done.stderr


def test_records_that_describe_themselves_pass(tmp_path):
    assert check(tmp_path, GOOD) == (0, "")


@pytest.mark.parametrize("text, error", [
    ("using x_tag = boost::error_info<struct x, int>;", "declare records with ZEPHRAN_RECORD"),
    ("ZEPHRAN_RECORD(other, int, sometimes);", "in a form that this check cannot read"),
    ("ZEPHRAN_RECORD(size, int, not_reported);", "name size is used by several records: src/a.h, src/b.cpp"),
    ("ZEPHRAN_RECORD(other, int, reported_at(20));ZEPHRAN_REPORTED(other);",
     "position 20 is used by several records: src/a.h (size), src/b.cpp"),
    ("ZEPHRAN_RECORD(other, int, reported_at(10));ZEPHRAN_REPORTED(other);", "position 10 is used by several records"),
    ("ZEPHRAN_RECORD(other, int, reported_at(30));", "record other is entered 0 times"),
    ("ZEPHRAN_REPORTED(size);", "record size is entered 2 times"),
    ("auto z = boost::errinfo_file_name{n};", "errinfo_file_name is not described in lib/common/record.cpp"),
], ids=["plain record", "unreadable", "name twice", "position twice", "position of Boost's", "not entered",
        "entered twice", "not described"])
def test_fault_is_named(tmp_path, text, error):
    status, errors = check(tmp_path, {**GOOD, "src/b.cpp": text + "\n"})

    assert status == 1
    assert errors.startswith("Error: ")
    assert error in errors
    assert errors.count("\n") == 1


def test_entry_in_a_header_is_a_fault(tmp_path):
    files = {**GOOD, "src/b.h": "ZEPHRAN_RECORD(other, int, reported_at(30));\nZEPHRAN_REPORTED(other);\n"}

    assert check(tmp_path, files) == (1, "Error: src/b.h: ZEPHRAN_REPORTED(other) belongs into a source file\n")


def test_tree_without_records_is_a_fault(tmp_path):
    assert check(tmp_path, {}) == (1, "Error: no records found: this check no longer fits the sources\n")
