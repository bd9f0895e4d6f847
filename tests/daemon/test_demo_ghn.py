# SPDX-License-Identifier: Apache-2.0
"""The demonstration of the powerline network reports what really happened."""
from test_demo import run_demo


def test_demo_finds_updates_and_unplugs_adapters(tmp_path):
    done = run_demo("--ghn", "--verbose", directory=tmp_path)

    assert (done.returncode, done.stderr) == (0, "")
    told = [done.stdout.index(text) for text in (
        "waits for the next pass", "Discovery has found the adapter 02:00:00:00:00:0a",
        "the agents 02:00:00:00:00:0b, ADP-1001, gw-demo", "# l2fwserver /tmp/adapter.bin br-lan",
        "> Deployment successful", "Somebody unplugs the adapter 02:00:00:00:00:0b",
        "Discovery has lost the adapter 02:00:00:00:00:0b", "the agents ADP-1001, gw-demo")]
    assert told == sorted(told)
    assert "action 1 finished; the adapter runs 2.0.1, before it was 1.2.3" in done.stdout
    assert list(tmp_path.iterdir()) == []


def test_ghn_demo_excludes_the_failing_release(tmp_path):
    done = run_demo("--ghn", "--fail", directory=tmp_path)

    assert done.returncode == 2
    assert "not allowed with" in done.stderr
