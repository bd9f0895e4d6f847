# SPDX-License-Identifier: Apache-2.0
"""A power cut during a release with more reports than the server's history returns."""
import re

from flow import SUCCESSFUL, assert_closed_once, deployed, package_module, polls_again, reports, started

SCRIPTS = ("one", "two", "three", "four", "five")
HELD = 2
PARTY = "\N{PARTY POPPER}"
HALF = re.compile("[\ud800-\udfff]")
# The server does not order modules of one type, so each script counts for itself.
SCRIPT = """
mine=$(ls /etc/installed | wc -l)
touch /etc/installed/ran-{name}
i=0
while [ $i -lt 60 ]; do echo "{name} prints a line that is quite long, number $i of many"; i=$((i+1)); done
if [ $mine -eq {held} ]; then
    touch /tmp/state-held
    while true; do sleep 0.1; done
fi
echo "{name} is done"
"""


def test_power_cut_during_a_long_release(home):
    modules = [home.script(name, SCRIPT.format(name=name, held=HELD)) for name in SCRIPTS]
    names = {module.chunk: name for module, name in zip(modules, SCRIPTS, strict=True)}
    supervisor = home.supervise()
    home.wait_until_registered()
    action = home.assign(*modules)
    home.poll_now()
    home.wait_until((home.gateway.tmp / "state-held").exists, "the third script")

    supervisor.power_cut()
    record = home.wait_for_end(action)
    polls_again(home)

    *reported, closing = reports(record)
    chunks = [report.messages[1] for report in reported[::2]]
    supervisor.daemon.wait_for_line("WARNING .*action=resume message=resuming deployment$")
    assert record.status == "finished"
    assert closing == SUCCESSFUL
    assert sorted(chunks) == sorted(names)
    assert reported[::2] == [started(chunk) for chunk in chunks]
    # The interrupted script counts as done; its output was lost with the daemon.
    assert reported[2 * HELD + 1] == deployed(chunks[HELD])
    for chunk, report in zip(chunks, reported[1::2], strict=True):
        assert report.messages[:2] == ("Chunk deployed", chunk)
        if chunk != chunks[HELD]:
            assert report.messages[-1].endswith(f"{names[chunk]} is done")
    assert sorted(home.gateway.installed_files) == sorted(f"ran-{name}" for name in SCRIPTS)
    assert home.server.action(action) == record


def test_power_cut_after_an_output_of_characters_outside_the_basic_plane(home):
    """The server splits a long text anywhere, and returns the pieces in the history."""
    # Each character takes two of its units; without a remedy every cut would split one.
    talkative = home.script(
        "one", f"printf x; i=0; while [ $i -lt 60 ]; do printf '{PARTY * 40}'; i=$((i+1)); done")
    package = package_module(home)
    home.gateway.tell("opkg", hang=True)
    supervisor = home.supervise()
    home.wait_until_registered()
    action = home.assign(talkative, package)
    home.poll_now()
    home.wait_until(lambda: home.gateway.is_held("opkg"), "opkg being held")
    before = reports(home.server.action(action))

    supervisor.power_cut()
    record = assert_closed_once(home, action, "finished")

    pieces = before[1].messages[2:]
    assert len(pieces) > 8
    assert "".join(pieces).replace(" ", "") == "x" + PARTY * 2400
    assert not any(HALF.search(piece) for piece in pieces)
    supervisor.daemon.wait_for_line("WARNING .*action=resume message=restarting chunk$")
    assert reports(record)[:3] == before
    assert home.gateway.packages == {"two": ("1.0", "installed")}
