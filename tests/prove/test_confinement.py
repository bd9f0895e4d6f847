# SPDX-License-Identifier: Apache-2.0
"""Whether a gateway is held to its limits, and whether it is noticed when it is not enough."""
import contextlib
import pathlib

import pytest

from confinement import MEGABYTE, Confinement, descendants, is_available
from gateway import Gateway
from part import VIOLATION, Workshop
from parts import small_machine


@pytest.fixture(name="confined")
def fixture_confined(tmp_path):
    """A gateway with 32 MB of memory and a fifth of a processor, and its confinement."""
    if not is_available():
        pytest.skip("there are no control groups of version 1 that this user may change")
    with Gateway(tmp_path / "gateway") as gateway:
        confinement = Confinement(gateway, 32 * MEGABYTE, 0.2)
        yield gateway, confinement
    confinement.close()


def run_python(gateway, program):
    return gateway.run(["/usr/bin/python3", "-c", program])


def choose_as_first_victim(gateway, program):
    """Has the kernel end this program before any other, such as those that the gateway is made of."""
    [pid] = [pid for pid in descendants(gateway.outer_pid)
             if program in pathlib.Path(f"/proc/{pid}/cmdline").read_text(encoding="utf-8").split("\0")]
    pathlib.Path(f"/proc/{pid}/oom_score_adj").write_text("1000", encoding="ascii")


def test_program_that_needs_more_memory_is_ended(confined):
    gateway, confinement = confined
    program = ("import pathlib, time\nwhile not pathlib.Path('/tmp/go').exists(): time.sleep(0.01)\n"
               f"bytearray({40 * MEGABYTE})")
    daemon = gateway.start_daemon(["/usr/bin/python3", "-c", program])
    choose_as_first_victim(gateway, program)

    (gateway.tmp / "go").touch()

    assert daemon.wait() == -9
    assert confinement.killed == 1


def test_file_in_tmp_counts_as_memory(confined):
    gateway, confinement = confined

    daemon = run_python(gateway, f"open('/tmp/file', 'wb').write(bytes({16 * MEGABYTE}))")

    assert daemon.exit_status == 0
    assert confinement.killed == 0
    assert confinement.peak > 16 * MEGABYTE


def test_processor_is_slow(confined):
    gateway, _ = confined

    daemon = run_python(gateway, "import time\nbegan = time.monotonic()\nwhile time.process_time() < 0.3: pass\n"
                                 "print(time.monotonic() - began)")

    assert float(daemon.out) > 0.6


def test_machine_that_is_too_small_is_a_violation(tmp_path, pki, monkeypatch):
    monkeypatch.setattr(small_machine, "DESCRIPTORS", 5)
    monkeypatch.setattr("bench.TIMEOUT", 5)
    case = small_machine.Cases(Workshop(tmp_path, tmp_path, pki))

    outcome, details = case.run(case.cases()["none / artifact and 1 MB"])

    assert outcome == VIOLATION
    assert details


def test_installation_without_room_for_it_is_a_violation(tmp_path, pki):
    history = small_machine.SmallHistory(tmp_path / "gateway", pki, "shipped", 5 * MEGABYTE)

    with contextlib.closing(history):
        history.play()
        with pytest.raises(small_machine.Violation, match="without room"):
            small_machine.judge(history, is_enough=False)
