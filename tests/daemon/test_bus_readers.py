# SPDX-License-Identifier: Apache-2.0
"""Many readers of the daemon's notifications."""
import re

import pytest

from bus_subscriber import Subscriber
from local_control import RARE, LocalControl
from processes import process_directory

READERS = 10


@pytest.fixture(name="bench")
def fixture_bench(make_bench):
    bench = make_bench(poll=RARE)
    bench.configure("service.bus_extended", "1")
    return bench


def memory(daemon):
    """What the daemon has to itself, in KiB."""
    text = (process_directory(daemon) / "smaps_rollup").read_text()
    return sum(int(size) for size in re.findall(r"^Private_\w+:\s+(\d+) kB$", text, re.M))


def test_all_of_ten_readers_are_told_of_the_result(bench):
    daemon = bench.start()
    LocalControl(bench).wait_until_served()
    alone = memory(daemon)
    readers = [Subscriber(bench, str(number)) for number in range(READERS)]

    bench.wait_for_end(bench.assign(bench.script("one", "echo one")))
    for reader in readers:
        reader.wait_for(lambda kind, content: content.get("last_result", {}).get("result") == "success")

    print(f"\nprivate memory: {alone} KiB alone, {memory(daemon)} KiB with {READERS} readers")
    assert all(len(reader.stop()) > 1 for reader in readers)
