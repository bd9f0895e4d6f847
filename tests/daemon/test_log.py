# SPDX-License-Identifier: Apache-2.0
"""The format of the log: lines, streams, levels."""
import datetime
import re

import pytest

LINE = re.compile(r"^(\d\d:\d\d:\d\d) (DEBUG|INFO|WARNING|ERROR) [\w.-]+\.(?:cpp|h):\d+ \w+:"
                  r"((?: \w+=.*)?)$")
LEVELS = ["DEBUG", "INFO", "WARNING", "ERROR"]


def levels_of(text):
    """Levels of the lines that begin an entry; a diagnostic text may span several lines."""
    return {match.group(2) for match in map(LINE.match, text.splitlines()) if match}


@pytest.mark.parametrize("level", LEVELS)
def test_log_level_shows_its_own_and_more_severe_entries(bench, level):
    daemon = bench.start_without_server("--log-level", level)

    # The failed poll is logged at every level; at ERROR it is the only entry.
    daemon.wait_for_line(" ERROR ")
    if level != "ERROR":
        daemon.wait_for_line("event=backoff")
    daemon.kill()

    assert levels_of(daemon.log) == set(LEVELS[LEVELS.index(level):])


def test_errors_go_to_standard_error_and_nothing_else_does(bench):
    daemon = bench.start_without_server()

    daemon.wait_for_line("event=backoff")
    daemon.kill()

    assert levels_of(daemon.err) == {"ERROR"}
    assert levels_of(daemon.out) == {"INFO", "WARNING"}


def test_every_line_of_a_quiet_run_has_the_form(bench):
    daemon = bench.start(level="INFO")

    bench.wait_for_exchanges("base", 3)
    daemon.kill()

    assert len(daemon.output.lines) > 5
    assert [line.text for line in daemon.output.lines if not LINE.match(line.text)] == []


def test_time_is_utc_whatever_the_time_zone(bench):
    # A zone without a database entry, 14 hours ahead of UTC.
    daemon = bench.start(level="INFO", env={"TZ": "AHEAD-14"})

    line = LINE.match(daemon.wait_for_line(" INFO ").string)
    daemon.kill()

    now = datetime.datetime.now(datetime.UTC)
    logged = datetime.datetime.combine(
        now.date(), datetime.time.fromisoformat(line.group(1)), datetime.UTC)
    distance = abs((now - logged).total_seconds())
    # Within an hour, even over midnight; the zone is much further away.
    assert min(distance, 86400 - distance) < 3600
