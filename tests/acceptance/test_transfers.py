# SPDX-License-Identifier: Apache-2.0
"""Downloads over bad lines, with the options that let them survive."""
import re

import pytest

from flow import assert_closed_once, reports, start_known
from outcomes import texts_of

TRIES = "40"
CHECKSUM_CODE = 4001


def survive(home, **options):
    """Has the gateway try again at once, and go on where it was."""
    for name, value in {"attempts": TRIES, "retry_delay": "0", "resume": "1", **options}.items():
        home.configure(f"network.{name}", value)


def large_script(home, size, command="touch /tmp/state-ran"):
    """A script that ends before its padding."""
    text = f"{command}\nexit 0\n"
    padding = "".join(f"# {number:08}\n" for number in range(size // 11 + 1))
    return home.script("large", (text + padding)[:size])


def downloads(link):
    """The requests of the artifact over the link, in order."""
    return [each for each in link.passages if "/artifacts/" in each.path]


def partial_size(home):
    path = home.gateway.tmp / "large.sh.part"
    return path.stat().st_size if path.exists() else 0


def resumed(daemon):
    """From which bytes the downloads went on."""
    return [int(found[1]) for found in re.finditer(r"event=download_resumed from=(\d+) ", daemon.log)]


def test_line_that_is_cut_again_and_again(home, link):
    size, every = 5_000_000, 300_000
    survive(home)
    module = large_script(home, size)
    daemon = start_known(home)
    link.cut_every(every)
    action = home.assign(module)
    home.poll_now()

    record = assert_closed_once(home, action, "finished")

    tries = downloads(link)
    assert [each.status for each in tries] == [200] + [206] * (size // every)
    assert sum(each.sent for each in tries) <= 1.02 * size
    assert all(each.headers["if-range"] for each in tries[1:])
    assert resumed(daemon) == [number * every for number in range(1, len(tries))]
    # The server takes a note of whole downloads only.
    assert len(texts_of(record, "download")) == 1
    assert (home.gateway.tmp / "state-ran").exists()


@pytest.mark.alone
def test_front_that_is_restarted_in_mid_body(home):
    stop, start = ((home.server.stop_proxy, home.server.start_proxy) if home.server.has_proxy
                   else (home.server.stop, home.server.start))
    survive(home)
    module = large_script(home, 300_000)
    daemon = start_known(home)
    home.server.slow_down(home.device)
    action = home.assign(module)
    home.poll_now()
    home.wait_until(lambda: partial_size(home) > 40_000, "a part of the artifact")

    stop()
    daemon.wait_for_line("WARNING .*event=download_retry")
    start()
    record = assert_closed_once(home, action, "finished")

    assert resumed(daemon)[0] > 40_000
    assert len(texts_of(record, "download")) == 1
    assert (home.gateway.tmp / "state-ran").exists()


@pytest.mark.parametrize("digest", ["md5", "sha256"])
def test_artifact_that_is_replaced_between_two_tries(home, link, digest):
    size = 100_000
    survive(home, digest=digest)
    home.configure("service.report_codes", "1")
    module = large_script(home, size, "touch /tmp/state-first")
    start_known(home)
    # A try a second: there is time enough before the last one.
    link.cut_every(size // 20)
    action = home.assign(module)
    home.poll_now()
    home.wait_until(lambda: partial_size(home) > 0, "the first try")
    link.hold()

    home.server.replace_artifact(module, "large.sh", b"#!/bin/sh\ntouch /tmp/state-second\nexit 0\n".ljust(size, b"#"))
    link.cut_every(None)
    link.release()
    record = assert_closed_once(home, action, "error")

    first, *others, last = [each.status for each in downloads(link)]
    # The server says by the status that it is another file.
    assert (first, last) == (200, 200)
    assert set(others) <= {206}
    assert reports(record)[-1].messages[0] == "Failed to verify artifact"
    assert action in home.server.actions_with_code(CHECKSUM_CODE)
    assert not [name for name in home.gateway.leftovers(ignore=()) if name.startswith("state-")]


def test_sha256_is_enough(home, link):
    survive(home, digest="sha256")
    module = large_script(home, 50_000)
    start_known(home)
    action = home.assign(module)
    home.poll_now()

    assert_closed_once(home, action, "finished")

    assert (home.gateway.tmp / "state-ran").exists()
    assert [each.path.rpartition("/")[2] for each in downloads(link)] == ["large.sh"]
