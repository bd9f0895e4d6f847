# SPDX-License-Identifier: Apache-2.0
"""A tool that fails, is killed, is missing or prints unusual text leads to one report that the server accepts."""
import re
import signal

import pytest

from hawkbit_server import Status
from release import CHUNKS, PARTITION, Release, closing_report, failure

# Output of a program that knows nothing of update servers.
ODD_OUTPUTS = {
    "markup": b"<error code='5'>cannot <b>write</b></error>\n",
    "100 kB": b"a line of some length, over and over again\n" * 2300,
    "bytes": b"\377\376\1\2 broken \303\n",
}
TOOLS = {"os": "sysupgrade", "zw": "zwprogrammer", "bl": "flash_erase", "plc": "plc", "opkg": "opkg"}
MESSAGES = dict.fromkeys(TOOLS, "External program returned an error") | {
    "opkg": "Failed to install the package"}
# Expected after a tool that printed "out of order" and ended with 3.
DETAILS = {
    "os": "program_exit_code: 3\nprogram_output: out of order\n",
    "zw": "popen_command: zwprogrammer --progzwave '/tmp/zw.bin'\nprogram_exit_code: 3",
    "bl": "popen_command: flash_erase /dev/mtd1 0 0\nprogram_exit_code: 3",
    "plc": "popen_command: /etc/init.d/plc stop\nprogram_exit_code: 3",
    "opkg": "installer_output: out of order\n",
}


@pytest.mark.parametrize("part", [
    pytest.param(part, marks=pytest.mark.differs("download-directory")) if "/tmp/" in DETAILS[part] else part
    for part in TOOLS])
def test_failing_tool_is_reported(bench, part):
    action = Release(bench, [part]).assign()
    bench.gateway.tell(TOOLS[part], exit=3, output="out of order\n")
    bench.start("--bootloader-mtd", PARTITION)

    details = failure(bench, action, part, MESSAGES[part])

    assert details == DETAILS[part]
    assert len(bench.gateway.calls(TOOLS[part])) == 1


@pytest.mark.parametrize("part", TOOLS)
def test_missing_tool_is_reported(bench, part):
    action = Release(bench, [part]).assign()
    bench.gateway.take_away(TOOLS[part])
    bench.start("--bootloader-mtd", PARTITION)

    details = failure(bench, action, part, MESSAGES[part])

    if part == "opkg":
        assert "opkg: not found" in details
    else:
        assert "program_exit_code: 127" in details


@pytest.mark.parametrize("part", TOOLS)
def test_killed_tool_is_reported(bench, part):
    action = Release(bench, [part]).assign()
    bench.gateway.tell(TOOLS[part], output="so far, so good\n", kill=signal.SIGKILL)
    bench.start("--bootloader-mtd", PARTITION)

    bench.wait_for_end(action)

    execution, result, _, (message, details, chunk) = closing_report(bench)
    assert (execution, result) == ("closed", "failure")
    assert message in (MESSAGES[part], "Program terminated abnormally")
    # A shell runs between the daemon and the tool.
    assert re.search("program_signal: 9|program_exit_code: 137|Killed", details)
    assert chunk == CHUNKS[part]
    assert ("so far, so good" in details) == (part in ("os", "opkg"))
    assert bench.gateway.leftovers() == []


@pytest.mark.parametrize("printed", ODD_OUTPUTS.values(), ids=ODD_OUTPUTS)
@pytest.mark.parametrize("part, status", [("os", 1), ("opkg", 255)])
def test_server_accepts_the_unusual_output_of_a_failure(bench, part, status, printed):
    action = Release(bench, [part]).assign()
    bench.gateway.tell(TOOLS[part], exit=status, output=b"begin\n" + printed + b"end\n")
    bench.start()

    details = failure(bench, action, part, MESSAGES[part])

    assert "begin\n" in details
    assert details.rstrip().endswith("end")


@pytest.mark.parametrize("printed", ODD_OUTPUTS.values(), ids=ODD_OUTPUTS)
@pytest.mark.parametrize("part", ["bl", "opkg", "plc", "zw"])
def test_unusual_output_does_not_prevent_an_installation(bench, part, printed):
    release = Release(bench, [part])
    action = release.assign()
    bench.gateway.tell(TOOLS[part], output=b"begin\n" + printed + b"end\n")
    bench.start("--bootloader-mtd", PARTITION)

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert closing_report(bench)[1] == "success"
    deployed = bench.reports()[1][3]
    assert deployed[:2] == ["Chunk deployed", CHUNKS[part]]
    # Only the output of the package manager is reported.
    if part == "opkg":
        assert deployed[2].startswith("begin\n")
        assert deployed[2].rstrip().endswith("end\nInstalling tool (1.4) to root...\nConfiguring tool.")
    assert len(deployed) == (3 if part == "opkg" else 2)
    release.assert_installed()
