# SPDX-License-Identifier: Apache-2.0
"""What a person sees while a release is downloaded and installed."""
import itertools
import re

import pytest

from hawkbit_server import Slow
from household import offer

SIZE, SPEED = 20_000_000, 1_500_000
WARNING = "Do not unplug the gateway and do not switch it off."
# Writes down when the bar changes, and to what.
WATCH = """
const bar = document.querySelector('[role=progressbar]'), fill = bar.firstChild;
window.moves = [];
new MutationObserver(() => {
    const value = bar.getAttribute('aria-valuenow'), last = window.moves[window.moves.length - 1];
    if (value != null && (!last || last.width != fill.style.width))
        window.moves.push({ at: performance.now(), value: Number(value), width: fill.style.width });
}).observe(bar, { attributes: true, subtree: true });
"""
# Shows one status, and tells what is to be read then.
SHOW = """
const [status, done] = arguments, get = window.L.require ? name => window.L.require(name) : load;
get('zephran.progress').then(progress => {
    document.getElementById('view').appendChild(progress.render());
    progress.update(status);
    done(progress.node.innerText);
    progress.node.remove();
});
"""


def test_long_download_moves_before_ones_eyes(bench, control, home):
    bench.server.order("artifact", Slow(SPEED))
    action = offer(bench, control, "exit 0\n#" + "x" * SIZE)
    home.open()
    home.wait_for_text("release", "Script 1.0")
    home.run(WATCH)
    home.click("Install now")
    home.click("Yes, install it now")

    bench.wait_until(lambda: bench.exchanges("artifact"), "the beginning of the download")
    began = home.run("return performance.now()")
    home.wait_for_text("progress", "left")
    assert re.match(r"Step 1 of 1: Script 1\.0\n[\d.]+ (k|M)B of 20 MB, [\d.]+ (k|M)B per second, \d+ (s|min) left\n",
                    home.text("progress"))
    assert home.text("message") == ""
    bench.wait_for_end(action)
    home.wait_for_text("outcome", "The last update was installed.")
    assert home.text("progress") == ""
    moves = home.run("return window.moves")
    values = [each["value"] for each in moves]
    # One a second at most, and at least one every two seconds of the transfer.
    assert len(moves) >= SIZE / SPEED / 2
    assert values == sorted(values)
    assert values[0] < 20
    assert values[-1] > 80
    times = [each["at"] for each in moves]
    gap = max(later - earlier for earlier, later in itertools.pairwise(times))
    print(f"\nthe bar began to move {max(times[0] - began, 0) / 1000:.1f} s after the download, "
          f"moved {len(moves)} times, and rested for {gap / 1000:.1f} s at most")


def test_part_that_must_not_lose_power_is_named_with_a_warning(bench, control, home):
    bench.server.order("artifact", Slow(100_000))
    action = bench.assign(bench.module("zw", "radio", "6", {"zw.bin": b"\0" * 1_000_000}), type="soft")
    bench.start()
    control.wait_until_served()
    control.wait_for_pending()
    home.open()
    home.wait_for_text("release", "Z-Wave radio 6")
    control.accept_deployment()

    home.wait_for_text("progress", WARNING)
    assert "Step 1 of 1: Z-Wave radio 6" in home.text("progress")
    bench.wait_for_end(action)


@pytest.mark.parametrize("part", ["os", "bl", "zw", "plc", "plc_ghn"])
def test_warning_stays_to_the_end_of_such_a_part(home, part):
    home.open()
    home.wait_for_text("sentence", "The update service is not running")

    for state, is_warned in (("downloading", True), ("verifying", True), ("installing", True), ("idle", False)):
        shown = home.browser.execute_async_script(SHOW, {"state": state, "part": part, "chunk": 1, "chunks": 2})
        assert (WARNING in shown) == is_warned


def test_script_gets_no_warning(bench, control, home):
    action = offer(bench, control, "while [ ! -e /tmp/state-go ]; do sleep 0.1; done")
    home.open()
    control.accept_deployment()

    home.wait_for_text("sentence", "An update is being installed.")
    assert home.text("progress") == "Step 1 of 1: Script 1.0"
    (bench.gateway.tmp / "state-go").touch()
    bench.wait_for_end(action)


def test_screen_reader_is_told_in_large_steps(bench, control, home):
    bench.server.order("artifact", Slow(SIZE // 40))
    action = offer(bench, control, "exit 0\n#" + "x" * (SIZE // 4))
    home.open()
    home.wait_for_text("release", "Script")
    home.run("""
        window.spoken = [];
        const live = document.querySelector('[data-area=progress] [role=status]');
        new MutationObserver(() => window.spoken.push(live.textContent)).observe(live, { childList: true });
    """)
    control.accept_deployment()

    bench.wait_for_end(action)
    spoken = list(filter(None, home.run("return window.spoken")))
    assert spoken == list(dict.fromkeys(spoken))
    assert all(re.fullmatch(r"\d?0 percent", each) for each in spoken)
    assert len(spoken) > 3
