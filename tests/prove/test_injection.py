# SPDX-License-Identifier: Apache-2.0
"""Whether faults of system calls come about, and what is seen of them."""
import contextlib
import signal

import pytest

from gateway import Powerline
from injection import FIRST, KILL, Injection, TracedHistory
from tracer import CHILDREN, IS_AVAILABLE

needs_tracer = pytest.mark.skipif(not IS_AVAILABLE, reason="knows the calls of one kind of processor only")


@pytest.mark.parametrize("injection, status", [
    (Injection(1, "rename", 1, "ENOSPC"), None), (Injection(2, "fsync", 1, KILL), -9)], ids=["failure", "end"])
def test_fault_comes_about(tmp_path, pki, injection, status):
    with contextlib.closing(TracedHistory(tmp_path, pki, "shipped", injection)) as history:
        history.play()

        assert history.has_come_about()
        if status is not None:
            assert history.bench.gateway.daemons[injection.process - 1].exit_status == status
        assert history.crashes() == []


@needs_tracer
@pytest.mark.parametrize("injection, told", [
    (Injection(2, "rename", 1, "EACCES", place="5"), "Failed to write to file"),
    (Injection(1, "execve", 4, "ENOENT", place=CHILDREN), "Expected version does not match")], ids=["thread", "child"])
def test_fault_of_another_place_comes_about(tmp_path, pki, injection, told):
    with contextlib.closing(TracedHistory(tmp_path, pki, "shipped", injection)) as history:
        history.play()

        assert history.has_come_about()
        assert told in "".join(daemon.log for daemon in history.bench.gateway.daemons) + str(history.action.messages())
        assert history.crashes() == []


@needs_tracer
def test_end_in_another_thread_comes_about(tmp_path, pki):
    with contextlib.closing(TracedHistory(tmp_path, pki, "shipped", Injection(1, "sendto", 2, KILL, "4"))) as history:
        history.play()

        assert history.has_come_about()
        assert history.bench.gateway.daemons[0].exit_status == -9


@needs_tracer
def test_calls_of_other_places_are_counted(tmp_path, pki):
    with contextlib.closing(TracedHistory(tmp_path, pki, "shipped", of_others=True)) as history:
        history.play()

        calls = history.calls_of_others(2)
        assert calls[CHILDREN, "execve"] == 8
        assert {place for place, call in calls if call == "rename"} == {"4", "5", "6", "7", "8"}
        assert {call for place, call in calls if place == FIRST} == set()


@pytest.mark.parametrize("number", [1, 2], ids=["watchdog", "receiver"])
def test_bus_without_a_thread_ends_the_daemon_in_order(tmp_path, pki, number):
    with contextlib.closing(TracedHistory(tmp_path, pki, "none", Injection(1, "clone3", number, "ENOMEM"))) as history:
        history.play()

        first = history.bench.gateway.daemons[0]
        assert first.exit_status == 1
        assert "what=" in first.log
        assert "Failed to start a thread" in first.log


class Searching(TracedHistory):
    """On a gateway that looks for adapters, half a minute after its start."""

    def __init__(self, directory, pki, options, thread):
        super().__init__(directory, pki, options, Injection(1, "clone3", thread, "ENOMEM"), parts=("script",))
        self.adapter = Powerline(self.bench.gateway).add("02:00:00:00:00:10")

    def start_daemon(self, *more):
        return super().start_daemon("--ghn-agents", *more)

    def wait_for_line(self, text):
        self.bench.wait_until(lambda: text in self.log(), text)

    def log(self):
        return "".join(daemon.log for daemon in self.bench.gateway.daemons)


# Two threads are the bus's; with the shipped options a download has the third.
@pytest.mark.parametrize("options, thread, status", [("none", 3, 1), ("shipped", 4, None)])
def test_search_without_a_thread_is_a_failed_search(tmp_path, pki, options, thread, status):
    with contextlib.closing(Searching(tmp_path, pki, options, thread)) as history:
        history.play()

        history.wait_for_line(f"event=ghn_device_found mac={history.adapter.mac}")

        assert history.bench.gateway.daemons[0].exit_status == status
        assert "Failed to start a thread" in history.log()


def test_call_for_the_virtual_clock_is_told(tmp_path, pki):
    with contextlib.closing(TracedHistory(tmp_path / "undisturbed", pki, "none")) as history:
        history.play()
        number = history.number_of_call(1, "openat", str(history.bench.clock.path))
    with contextlib.closing(TracedHistory(tmp_path / "disturbed", pki, "none",
                                          Injection(1, "openat", number, "EMFILE"))) as history:
        history.play()

        assert history.has_hit_the_clock()
        assert history.crashes() == [-signal.SIGABRT]


# Of its process, the first program is the one that asks for the running version, and the second one the script.
@pytest.mark.parametrize("number, is_lost", [(1, False), (2, True), (3, False)])
def test_script_that_is_only_recorded_is_told(tmp_path, pki, number, is_lost):
    with contextlib.closing(TracedHistory(tmp_path, pki, "shipped", Injection(2, "vfork", number, KILL))) as history:
        history.play()

        assert history.has_left_only_the_record_of_a_script() == is_lost
        assert history.missing_parts() == ["script"] * is_lost
        assert not history.has_hit_the_clock()


def test_call_that_is_not_made_is_no_fault(tmp_path, pki):
    with contextlib.closing(TracedHistory(tmp_path, pki, "none", Injection(1, "rename", 999, "EIO"))) as history:
        history.play()

        assert not history.has_come_about()


def test_all_calls_are_counted(tmp_path, pki):
    with contextlib.closing(TracedHistory(tmp_path, pki, "none")) as history:
        history.play()

        assert history.calls(1)["execve"] == 1
        assert history.calls(2)["openat"] > 100


def test_end_by_a_signal_of_its_own_is_a_crash(tmp_path, pki):
    with contextlib.closing(TracedHistory(tmp_path, pki, "none")) as history:
        history.play()
        history.bench.supervisor.daemon.signal(11)
        history.bench.supervisor.daemon.wait()
        history.bench.wait_until(lambda: history.crashes(), "the note of the end")

        assert history.crashes() == [-11]
