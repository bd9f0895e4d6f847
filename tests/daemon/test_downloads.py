# SPDX-License-Identifier: Apache-2.0
"""Downloads that survive bad lines, bad servers and the end of the daemon."""
import contextlib
import os
import signal
import time

import pytest

from hawkbit_server import Code, Cut, Headers, Mutate, Stall, Status
from transfers import (
    configure,
    cut_every,
    downloads,
    large_script,
    lines_with,
    partial_files,
    start_stalled_download,
    wait_for_part,
)

FAILED_TRANSFER = "HTTP request failed"


def test_line_that_is_cut_again_and_again_costs_hardly_any_bytes(bench):
    size = 5_000_000
    configure(bench, attempts="30", retry_delay="0", resume="1")
    action = bench.assign(large_script(bench, size))
    cut_every(bench, 300_000)
    daemon = bench.start()

    bench.wait_for_end(action)

    sent = downloads(bench)
    assert action.status is Status.FINISHED
    assert sum(count for _, count, _ in sent) <= 1.02 * size
    assert [status for status, _, _ in sent] == [200] + [206] * (len(sent) - 1)
    assert len(lines_with(daemon, "download_retry")) == len(sent) - 1
    assert len(lines_with(daemon, "download_resumed")) == len(sent) - 1
    assert partial_files(bench) == []


def test_polls_go_on_while_a_download_runs(bench):
    configure(bench, stop_transfers="1")
    stall = Stall(1000)
    bench.server.order("artifact", stall)
    action = bench.assign(large_script(bench, 3000))
    bench.start()
    stall.reached.wait(60)
    polls = len(bench.exchanges("base"))

    bench.wait_for_exchanges("base", polls + 2)
    stall.release()
    bench.wait_for_end(action)

    assert action.status is Status.FINISHED


def test_server_that_asks_for_patience_gets_it(bench):
    configure(bench, attempts="2", retry_delay="0")
    bench.server.order("artifact", Code(503, headers={"Retry-After": "4"}))
    action = bench.assign(bench.script("one", "echo fine"))
    daemon = bench.start()

    bench.wait_for_end(action)

    first, second = bench.server.exchanges("artifact")
    assert action.status is Status.FINISHED
    assert second.arrived - first.arrived >= 3.5
    assert lines_with(daemon, "download_retry") == [
        "download_retry attempt=2 of=2 delay=00h:00m:04s bytes=0 what=HTTP status 503"]


def test_failure_of_the_last_attempt_is_the_reported_one(bench):
    configure(bench, attempts="2", retry_delay="0", resume="1")
    cut_every(bench, 1000)
    action = bench.assign(large_script(bench, 100_000))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert [status for status, _, _ in downloads(bench)] == [200, 206]
    assert bench.closing_reports()[0][3][0] == FAILED_TRANSFER
    assert bench.gateway.leftovers() == []


def test_refusal_is_not_tried_again(bench):
    configure(bench, attempts="5", retry_delay="0")
    bench.server.order("artifact", Code(403))
    action = bench.assign(bench.script("one", "echo fine"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert len(downloads(bench)) == 1


def test_artifact_that_is_replaced_between_two_tries_never_passes(bench):
    configure(bench, attempts="3", retry_delay="0", resume="1")
    module = large_script(bench, 100_000)
    second_try = Stall()
    bench.server.order("artifact", Cut(40_000))
    bench.server.order("artifact", second_try)
    action = bench.assign(module)
    daemon = bench.start()
    second_try.reached.wait(60)
    bench.server.replace_artifact(module, "large.sh", b"#!/bin/sh\ntouch /tmp/state-ran\n" + b"#" * 99_000)
    second_try.release()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert [status for status, _, _ in downloads(bench)] == [200, 200]
    assert lines_with(daemon, "download_restarted")[0].endswith("what=the server sends the whole file")
    assert "state-ran" not in bench.gateway.leftovers()
    assert bench.closing_reports()[0][3][0] == "Failed to verify artifact"


def test_lying_range_is_not_appended(bench):
    size = 100_000
    configure(bench, attempts="3", retry_delay="0", resume="1")
    bench.server.order("artifact", Cut(40_000))
    bench.server.order("artifact", Headers({"Content-Range": f"bytes 30000-{size - 1}/{size}"}), first=1)
    action = bench.assign(large_script(bench, size))
    daemon = bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert [wanted for _, _, wanted in downloads(bench)] == [None, "bytes=40000-", None]
    assert lines_with(daemon, "download_restarted")[0].endswith("what=the server sends something else than the rest")


def test_range_that_the_server_does_not_have_begins_anew(bench):
    configure(bench, attempts="3", retry_delay="0", resume="1")
    bench.server.order("artifact", Cut(40_000))
    bench.server.order("artifact", Code(416), first=1)
    action = bench.assign(large_script(bench, 100_000))
    daemon = bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert [status for status, _, _ in downloads(bench)] == [200, 416, 200]
    assert lines_with(daemon, "download_restarted")[0].endswith("what=the server does not have the rest")


def test_full_disk_is_noticed_before_the_download(make_bench):
    bench = make_bench(tmp_size="2m")
    configure(bench, check_space="1", reserve_kb="512")
    action = bench.assign(large_script(bench, 1_900_000))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert downloads(bench) == []
    assert bench.closing_reports()[0][3][0] == "Not enough space for the artifact"
    assert "needed: 2424288" in bench.closing_reports()[0][3][1]


def fill(bench):
    """Takes what is left of the gateway's /tmp; returns the file that has it."""
    path = bench.gateway.tmp / "filler"
    with open(path, "wb", buffering=0) as file, contextlib.suppress(OSError):
        while True:
            file.write(b"x" * 4096)
    assert os.statvfs(path).f_bavail == 0
    return path


@pytest.mark.parametrize("options, report", [
    # Then it is the verification that finds it.
    pytest.param({}, "Failed to verify artifact", marks=pytest.mark.differs("free-space", "tries")),
    pytest.param({"stop_transfers": "1"}, "Failed to write to file", marks=pytest.mark.differs("free-space")),
    pytest.param({"resume": "1", "attempts": "5", "retry_delay": "0"}, "Failed to write to file",
                 marks=pytest.mark.differs("free-space")),
    ({"resume": "1", "check_space": "1", "reserve_kb": "0"}, "Not enough space for the artifact"),
], ids=["absent", "beside", "resume", "check"])
def test_disk_that_fills_up_during_a_download_fails_it_once_and_leaves_nothing(make_bench, options, report):
    bench = make_bench(tmp_size="2m")
    configure(bench, **options)
    action, daemon, stall = start_stalled_download(bench, size=1_500_000, after=100_000)
    filler = fill(bench)
    stall.release()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert len(downloads(bench)) == 1
    assert bench.closing_reports()[0][3][0] == report
    assert bench.gateway.leftovers() == ["filler"]
    filler.unlink()
    after = bench.assign(bench.script("next", "echo next"))
    bench.wait_for_end(after)
    assert after.status is Status.FINISHED
    assert daemon.is_running()


def test_more_bytes_than_announced_end_the_download(bench):
    def announce_less(document):
        document["deployment"]["chunks"][0]["artifacts"][0]["size"] = 1000
        return document

    configure(bench, check_space="1", attempts="3", retry_delay="0")
    bench.server.order("deploymentBase", Mutate(announce_less), times=None)
    action = bench.assign(large_script(bench, 100_000))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert len(downloads(bench)) == 1
    assert bench.closing_reports()[0][3][0] == "Not enough space for the artifact"


def change_sums(**sums):
    """A change of the deployment: these sums instead of the stated ones, None for none."""
    def change(document):
        for artifact in document["deployment"]["chunks"][0]["artifacts"]:
            artifact["hashes"] = {name: value for name, value in (artifact["hashes"] | sums).items() if value}
            if sums.get("md5", "") is None:
                artifact["_links"].pop("md5sum", None)
                artifact["_links"].pop("md5sum-http", None)
        return document
    return Mutate(change)


def test_sha256_is_enough_where_it_is_wanted(bench):
    configure(bench, digest="sha256")
    bench.server.order("deploymentBase", change_sums(md5=None), times=None)
    action = bench.assign(bench.script("one", "echo fine"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED


@pytest.mark.parametrize("wanted,status", [("sha256", Status.ERROR), ("md5", Status.FINISHED)])
def test_wrong_sha256_is_refused_where_it_is_wanted(bench, wanted, status):
    configure(bench, digest=wanted)
    bench.server.order("deploymentBase", change_sums(sha256="00" * 32), times=None)
    action = bench.assign(bench.script("one", "echo fine"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is status


def test_cancel_ends_a_download_that_stalls(bench):
    configure(bench, stop_transfers="1", resume="1")
    action, _, _ = start_stalled_download(bench)

    bench.server.cancel(action)
    bench.wait_for_end(action)

    assert action.status is Status.CANCELED
    assert bench.gateway.leftovers() == []


@pytest.mark.differs("partial-files")
def test_stop_ends_a_download_that_stalls_and_leaves_the_action_open(bench):
    configure(bench, stop_transfers="1")
    action, daemon, _ = start_stalled_download(bench)

    begin = time.monotonic()
    daemon.signal(signal.SIGTERM)

    assert daemon.wait() == 0
    assert time.monotonic() - begin < 10
    assert action.active
    assert bench.reports() == []
    assert bench.gateway.leftovers() == []


@pytest.mark.parametrize("end", [signal.SIGTERM, signal.SIGKILL])
@pytest.mark.differs("download-directory")
def test_next_process_goes_on_with_the_download(bench, end):
    configure(bench, stop_transfers="1", resume="1")
    action, daemon, stall = start_stalled_download(bench)
    wait_for_part(bench, bench.gateway.tmp)
    assert partial_files(bench) == [".large.sh.part", "large.sh.part"]
    daemon.signal(end)
    daemon.wait()
    stall.release()

    daemon = bench.start()
    bench.wait_for_end(action)

    first, second = downloads(bench)
    assert action.status is Status.FINISHED
    assert first[2] is None
    assert second[0] == 206
    assert second[1] < 100_000
    assert len(lines_with(daemon, "download_resumed")) == 1
    assert bench.gateway.leftovers() == []


@pytest.mark.differs("download-directory")
def test_partial_file_that_was_swapped_is_not_gone_on_with(bench):
    configure(bench, stop_transfers="1", resume="1")
    action, daemon, stall = start_stalled_download(bench)
    wait_for_part(bench, bench.gateway.tmp)
    daemon.signal(signal.SIGKILL)
    daemon.wait()
    stall.release()
    part = bench.gateway.tmp / "large.sh.part"
    content = bytearray(part.read_bytes())
    content[100] ^= 1
    part.write_bytes(content)

    daemon = bench.start()
    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert [status for status, _, _ in downloads(bench)][1:] == [206, 200]
    assert lines_with(daemon, "download_restarted")[0].endswith("what=the sum of the whole file is wrong")


@pytest.mark.differs("download-directory")
def test_record_of_another_version_begins_the_download_anew(bench):
    configure(bench, stop_transfers="1", resume="1")
    action, daemon, stall = start_stalled_download(bench)
    wait_for_part(bench, bench.gateway.tmp)
    daemon.signal(signal.SIGKILL)
    daemon.wait()
    stall.release()
    (bench.gateway.tmp / ".large.sh.part").write_text('{"version": 0}', encoding="utf-8")

    daemon = bench.start()
    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert [wanted for _, _, wanted in downloads(bench)] == [None, None]
    assert len(lines_with(daemon, "download_restarted")) == 1


@pytest.mark.differs("tries")
def test_without_options_a_failed_download_is_not_tried_again(bench):
    cut_every(bench, 1000)
    action = bench.assign(large_script(bench, 100_000))
    daemon = bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert len(downloads(bench)) == 1
    assert "event=download_" not in daemon.log.replace("event=download_artifact ", "")
    assert bench.gateway.leftovers() == []


def test_waiting_for_the_next_try_does_not_hold_up_a_stop(bench):
    configure(bench, attempts="5", retry_delay="3600", retry_cap="3600", resume="1")
    bench.server.order("artifact", Code(503, headers={"Retry-After": "3600"}))
    action = bench.assign(large_script(bench, 100_000))
    daemon = bench.start()
    daemon.wait_for_line("event=download_retry")

    daemon.signal(signal.SIGTERM)

    assert daemon.wait() == 0
    assert action.active


def test_speed_limit_holds_for_downloads_beside_the_main_loop(bench):
    configure(bench, resume="1", max_speed="2000")
    action = bench.assign(large_script(bench, 8000))
    bench.start()

    bench.wait_for_end(action)

    sent = bench.server.exchanges("artifact")[0]
    reported = next(each for each in bench.server.exchanges("feedback") if each.arrived > sent.arrived)
    assert action.status is Status.FINISHED
    assert reported.arrived - sent.arrived >= 3
