# SPDX-License-Identifier: Apache-2.0
"""Everything that a program has written is available at once."""
import os

import pytest

from gateway.terminal import Output


class Program:
    """Something that writes to both streams of an output."""

    def __init__(self, path):
        self.output = Output(path)
        self.out, self.err = map(os.dup, self.output.slaves)
        self.output.start()

    def end(self):
        os.close(self.out)
        os.close(self.err)
        self.output.join(10)


@pytest.fixture(name="program")
def fixture_program(tmp_path):
    program = Program(tmp_path / "program.log")
    yield program
    program.end()


def test_everything_written_before_the_call_is_returned(program):
    for number in range(200):
        os.write(program.out, f"line {number}\n".encode())

        assert program.output.text().endswith(f"line {number}\n")


def test_lines_of_both_streams_are_counted_at_once(program):
    for number in range(100):
        os.write(program.out, b"one\n")
        os.write(program.err, b"two\n")

        assert len(program.output.lines) == 2 * (number + 1)


def test_last_line_without_an_end_is_returned_when_the_program_has_ended(tmp_path):
    program = Program(tmp_path / "program.log")
    os.write(program.out, b"whole\nhalf")

    program.end()

    assert program.output.text("out") == "whole\nhalf\n"
    assert (tmp_path / "program.log").read_bytes() == b"whole\nhalf\n"
