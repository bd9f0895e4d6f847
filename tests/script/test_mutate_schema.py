# SPDX-License-Identifier: Apache-2.0
"""Many mutations of script/mutate in one program."""
from __future__ import annotations

import pathlib
import subprocess

import pytest

from mutation.change import Mutation
from mutation.mutations import find_mutations
from mutation.schema import is_choosable, write_schema
from mutation.tokens import TokenList

# The first argument chooses, as the environment does in the tests.
FRAME = """
#include <cstdio>
#include <cstdlib>
static int chosen = -1;
extern "C" bool zephran_mutant(int number) { return number == chosen; }
"""
CODE = """
int count = 0;
void step() { ++count; }
int f(int a, int b) {
    if (a > 1 && !(b == 2)) {
        step();
        return a + b * (a - 1);
    } else if (a < 0) return b > 0 ? b : -b;
    for (int i = 0; i < 3; ++i) {
        if (i == 1) { continue; }
        step();
    }
    switch (b) {
        case 1: return 7;
        default: break;
    }
    return a ? count : 5;
}
"""
MAIN = """
int main(int argc, char** argv) {
    if (argc > 1) { chosen = std::atoi(argv[1]); }
    std::printf("%d %d %d %d %d\\n", f(3, 1), f(-1, 4), f(-1, -4), f(1, 1), f(1, 2) * 100 + f(0, 2));
}
"""


def run(directory: pathlib.Path, text: str, *arguments: str) -> str:
    source, program = directory / "a.cpp", directory / "a"
    source.write_text(text, encoding="utf-8")
    subprocess.run(["c++", "-w", source, "-o", program], check=True)
    return subprocess.run([program, *arguments], check=True, capture_output=True, text=True, timeout=10).stdout


@pytest.fixture(name="mutations")
def fixture_mutations() -> dict[int, Mutation]:
    tokens = TokenList(CODE)
    return {number: one for number, one in enumerate(find_mutations(tokens))
            # Without a step the loop would not end.
            if is_choosable(one) and CODE[one.start:one.end] != "++"}


def test_without_a_choice_nothing_changes(tmp_path, mutations):
    schema = write_schema(CODE, mutations)

    assert len(mutations) > 20
    assert run(tmp_path, FRAME + schema.text + MAIN) == run(tmp_path, FRAME + CODE + MAIN)


@pytest.mark.parametrize("what", ["&&", "b == 2", "b * (a - 1)", "step();", "b > 0", "count", "7", "i == 1"])
def test_choice_has_the_effect_of_the_changed_source(tmp_path, mutations, what):
    schema = write_schema(CODE, mutations)
    chosen = [number for number, one in mutations.items() if one.start >= CODE.index(what)][:2]
    program = FRAME + schema.text + MAIN

    results = {number: run(tmp_path, program, str(number)) for number in chosen}

    assert results == {number: run(tmp_path, FRAME + mutations[number].applied_to(CODE) + MAIN) for number in chosen}


def test_lines_tell_which_mutation_the_compiler_refuses(mutations):
    schema = write_schema(CODE, mutations)
    lines = schema.text.splitlines()

    for number in mutations:
        line = next(index for index, text in enumerate(lines, 1) if f"zephran_mutant({number})" in text)
        assert schema.lines[line] == {number}


def test_line_of_the_original_expression_concerns_its_mutations(mutations):
    schema = write_schema(CODE, mutations)
    lines = schema.text.splitlines()
    line = next(index for index, text in enumerate(lines, 1) if "static_cast<bool>(a > 1 && !((" in text)

    assert {mutations[number].replacement for number in schema.lines[line]} >= {">=", "||"}
