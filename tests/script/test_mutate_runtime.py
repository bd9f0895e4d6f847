# SPDX-License-Identifier: Apache-2.0
"""What the programs that script/mutate tries note about the mutations that their tests reach."""
from __future__ import annotations

import pathlib
import subprocess

import pytest

OWN_FILES = pathlib.Path(__file__).resolve().parents[2] / "script/lib/mutation"
PROGRAM = r"""
#include <csignal>
#include <thread>
#include <vector>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include "choice.h"

namespace {

struct Limit {
    Limit(int resource, rlim_t most) : which{resource} {
        getrlimit(which, &before);
        const rlimit limited{most, before.rlim_max};
        setrlimit(which, &limited);
        std::signal(SIGXFSZ, SIG_IGN);
    }
    ~Limit() { setrlimit(which, &before); }
    int which;
    rlimit before{};
};

TEST(Mutant, IsReached) { EXPECT_FALSE(zephran_mutant(1)); }
TEST(Mutant, IsReachedWithoutRoomInFiles) {
    const Limit limit{RLIMIT_FSIZE, 3};
    EXPECT_FALSE(zephran_mutant(2));
}
TEST(Mutant, IsReachedWithoutDescriptors) {
    const Limit limit{RLIMIT_NOFILE, 0};
    EXPECT_FALSE(zephran_mutant(3));
}
TEST(MutantOfThreads, IsReached) {
    std::vector<std::thread> threads;
    for (int first = 1000; first < 5000; first += 1000) {
        threads.emplace_back([first] {
            for (int number = first; number < first + 1000; ++number) {
                EXPECT_FALSE(zephran_mutant(number));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
"""


@pytest.fixture(name="program", scope="module")
def fixture_program(tmp_path_factory) -> pathlib.Path:
    directory = tmp_path_factory.mktemp("program")
    (directory / "test.cpp").write_text(PROGRAM, encoding="utf-8")
    subprocess.run(["c++", "-std=c++17", "-I", OWN_FILES, directory / "test.cpp", OWN_FILES / "runtime.cpp", "-o",
                    directory / "program", "-lgtest", "-lgtest_main", "-pthread"], check=True)
    return directory / "program"


def reached(program: pathlib.Path, chosen: str) -> list[str]:
    """The notes of one or several tests."""
    log = program.parent / f"reached by {chosen.replace('*', 'all')}"
    subprocess.run([program], env={"GTEST_FILTER": chosen, "ZEPHRAN_MUTANT_LOG": str(log)}, check=True,
                   stdout=subprocess.DEVNULL)
    return log.read_text(encoding="utf-8").splitlines()


def test_each_mutation_is_noted_with_its_test(program):
    assert reached(program, "Mutant.*") == ["1 Mutant.IsReached", "2 Mutant.IsReachedWithoutRoomInFiles",
                                            "3 Mutant.IsReachedWithoutDescriptors"]


def test_mutations_are_noted_that_threads_reach_at_once(program):
    notes = reached(program, "MutantOfThreads.*")

    assert sorted(notes) == [f"{number} MutantOfThreads.IsReached" for number in range(1000, 5000)]


@pytest.mark.parametrize("name, number", [("IsReachedWithoutRoomInFiles", 2), ("IsReachedWithoutDescriptors", 3)])
def test_what_cannot_be_written_at_once_is_written_at_the_end(program, name, number):
    assert reached(program, f"Mutant.{name}") == [f"{number} Mutant.{name}"]


@pytest.mark.parametrize("chosen, status", [("1", 1), ("2", 1), ("7", 0)])
def test_chosen_mutation_is_shown(program, chosen, status):
    done = subprocess.run([program], env={"ZEPHRAN_MUTANT": chosen}, check=False, stdout=subprocess.DEVNULL)

    assert done.returncode == status
