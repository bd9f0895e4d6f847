# SPDX-License-Identifier: Apache-2.0
"""Whether faults of system calls come about, and what is seen of them."""
import contextlib

import pytest

from injection import KILL, Injection, TracedHistory


@pytest.mark.parametrize("injection, status", [
    (Injection(1, "rename", 1, "ENOSPC"), None), (Injection(2, "fsync", 1, KILL), -9)], ids=["failure", "end"])
def test_fault_comes_about(tmp_path, pki, injection, status):
    with contextlib.closing(TracedHistory(tmp_path, pki, "shipped", injection)) as history:
        history.play()

        assert history.has_come_about()
        if status is not None:
            assert history.bench.gateway.daemons[injection.process - 1].exit_status == status
        assert history.crashes() == []


@pytest.mark.parametrize("number", [1, 2], ids=["watchdog", "receiver"])
def test_bus_without_a_thread_ends_the_daemon_in_order(tmp_path, pki, number):
    with contextlib.closing(TracedHistory(tmp_path, pki, "none", Injection(1, "clone3", number, "ENOMEM"))) as history:
        history.play()

        first = history.bench.gateway.daemons[0]
        assert first.exit_status == 1
        assert "what=" in first.log
        assert "Failed to start a thread" in first.log


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
