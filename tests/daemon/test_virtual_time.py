# SPDX-License-Identifier: Apache-2.0
"""The daemon on a clock of the tests: what takes hours on a gateway, and what the clock of a gateway can do to it."""
import time

import pytest

from gateway_bench import VIRTUAL_TIME
from hawkbit_server import Code, Status
from update_window import set_schedule

pytestmark = pytest.mark.skipif(not VIRTUAL_TIME.exists(), reason="a build with sanitizers has no virtual time")

HOUR = 3600
DAY = 24 * HOUR


def next_saturday_noon():
    """The certificates of the tests are valid from now on."""
    # 1970 began on a Thursday.
    week = 7 * DAY
    return (time.time() // week + 1) * week + 2 * DAY + 12 * HOUR


NOON = next_saturday_noon()
LAST_SECOND_OF_32_BITS = 2**31 - 1
# How much faster than real time a day has to be at least; on a busy machine it is about 10,000 times.
QUICKER = 100


@pytest.fixture(name="gateway_time")
def fixture_gateway_time(make_bench):
    bench = make_bench(poll="00:05:00")
    return bench, bench.follow_virtual_time(NOON)


def polls(bench):
    return [each.arrived for each in bench.server.exchanges("base")]


def test_thirty_polls_a_back_off_and_a_window(gateway_time):
    bench, clock = gateway_time
    set_schedule(bench, "Sunday", "02:00", "05:00")
    refused = bench.server.order("base", Code(503), first=20, times=6)
    action = bench.assign(bench.script("one", "exit 0"), type="soft")
    began = time.monotonic()
    bench.start(level="INFO")

    bench.wait_for_end(action)
    lasted = time.monotonic() - began

    ended = bench.now()
    assert action.status is Status.FINISHED
    assert refused.hits == 6
    assert len(polls(bench)) > 30
    # The pause after the nth refusal is drawn from 0 to 5 minutes times two to the nth; a step takes a second.
    refusals = [each.arrived for each in bench.server.exchanges("base") if each.status != 200]
    after = [min(poll for poll in polls(bench) if poll > refusal) - refusal for refusal in refusals]
    assert all(pause <= 300 * 2**number + 5 for number, pause in enumerate(after, 1)), after
    assert NOON + 14 * HOUR <= ended <= NOON + 17 * HOUR
    assert lasted < clock.elapsed() / QUICKER
    print(f"{clock.elapsed():.0f} s in {lasted:.2f} s, {len(polls(bench))} polls")


def test_clock_that_is_set_back_does_not_silence_the_gateway(gateway_time):
    bench, clock = gateway_time
    bench.start(level="INFO")
    seen = len(bench.wait_for_exchanges("base", 3))

    clock.set_wall(NOON - DAY)
    before = clock.elapsed()
    bench.wait_for_exchanges("base", seen + 2)

    assert clock.elapsed() - before < HOUR


def test_deployment_after_the_end_of_times_of_32_bits(gateway_time):
    bench, clock = gateway_time
    clock.set_wall(LAST_SECOND_OF_32_BITS - 600)
    bench.start(level="INFO")
    bench.wait_until(lambda: bench.now() > LAST_SECOND_OF_32_BITS + HOUR, "the end of times of 32 bits")

    action = bench.assign(bench.script("one", "exit 0"))
    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert polls(bench)[0] < LAST_SECOND_OF_32_BITS < polls(bench)[-1]


def test_clock_that_is_set_forward_does_no_harm(gateway_time):
    bench, clock = gateway_time
    bench.start(level="INFO")
    bench.wait_for_exchanges("base", 3)

    clock.set_wall(clock.wall() + 365 * DAY)
    action = bench.assign(bench.script("one", "exit 0"))
    bench.wait_for_end(action)

    assert action.status is Status.FINISHED


def test_gateway_that_begins_in_1970_reports_once_it_knows_the_time(gateway_time):
    bench, clock = gateway_time
    clock.set_wall(0)
    action = bench.assign(bench.script("one", "exit 0"))
    daemon = bench.start(level="INFO")
    # The certificate of the server is not valid yet.
    daemon.wait_for_line("event=backoff")
    assert polls(bench) == []

    clock.set_wall(NOON)
    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
