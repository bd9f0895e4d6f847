# SPDX-License-Identifier: Apache-2.0
"""Downloads in a directory that nobody but the daemon can enter, and what is left in it."""
import errno
import os
import signal

import pytest

from bench import DEVICE
from hawkbit_server import Status
from powerline_network import NEW, SERIAL, WITH_SERIAL, PowerlineNetwork
from test_two_deployments import WAITING, deploy_to_both, script
from transfers import configure, downloads, lines_with, start_stalled_download, wait_for_part

DIRECTORY = "/tmp/zephran"
FOLDER = f"{DIRECTORY}/agent-{DEVICE}"
# The simulated gateway keeps what is in it over a power cut.
FLASH = "/etc/flash"
ON_FLASH = f"{FLASH}/downloads"
SIZE = 100_000
SENT = 40_000
SOMEBODY = 12345


@pytest.fixture(name="home")
def fixture_home(bench):
    (bench.gateway.run_dir / FLASH[1:]).mkdir()
    bench.configure("service.download_dir", DIRECTORY)
    configure(bench, resume="1")
    return bench


@pytest.fixture(name="place")
def fixture_place(home):
    """The download directory, seen from outside."""
    return home.gateway.tmp / "zephran"


def where_it_ran(bench):
    """Has a script say its own path and the mode of the folders above; returns that and the daemon."""
    action = bench.assign(bench.script("one", f'echo "$0"; stat -c "%a %u" {DIRECTORY} {FOLDER} 2>&1 || true'))
    daemon = bench.start()
    bench.wait_for_end(action)
    assert action.status is Status.FINISHED
    return bench.reports()[1][3][2].splitlines(), daemon


def assert_taken(bench):
    ran, daemon = where_it_ran(bench)
    assert ran == [f"{FOLDER}/one.sh", "700 0", "700 0"]
    assert lines_with(daemon, "download_dir_refused") == []
    return daemon


def assert_refused(bench, reason):
    ran, daemon = where_it_ran(bench)
    assert ran[0] == "/tmp/one.sh"
    assert lines_with(daemon, "download_dir_refused") == [
        f"download_dir_refused directory={DIRECTORY} what={reason}"]
    assert "ERROR" in next(line for line in daemon.log.splitlines() if "download_dir_refused" in line)


def folder_in(bench, directory):
    """Where the gateway's agent downloads to, seen from outside; `directory` is the option's value."""
    if directory is None:
        return bench.gateway.tmp
    outside = bench.gateway.tmp.parent if directory.startswith("/tmp/") else bench.gateway.run_dir
    return outside / directory[1:] / f"agent-{DEVICE}"


def interrupted_download(bench, directory=DIRECTORY, start=None):
    """Stops a download in its middle, when all that came is written; what has to be done then is up to the test."""
    bench.configure("service.download_dir", directory)
    action, daemon, stall = start_stalled_download(bench, SIZE, SENT, start)
    wait_for_part(bench, folder_in(bench, directory), SENT)
    return action, daemon, stall


def left(path):
    return sorted(str(each.relative_to(path)) for each in path.rglob("*"))


def test_artifact_is_where_nobody_else_can_be(home, place):
    assert_taken(home)

    assert home.gateway.leftovers() == []
    assert left(place) == [f"agent-{DEVICE}"]


@pytest.mark.differs("download-directory")
def test_without_the_option_the_temporary_directory_is_used(bench):
    ran, _ = where_it_ran(bench)

    assert ran[0] == "/tmp/one.sh"
    assert bench.gateway.leftovers() == []


def test_planted_link_is_refused(home, place):
    other = home.gateway.tmp / "other"
    (other / f"agent-{DEVICE}").mkdir(parents=True)
    (other / f"agent-{DEVICE}/kept").touch()
    place.symlink_to("other")

    assert_refused(home, "it is a link or not a directory")

    assert left(other) == [f"agent-{DEVICE}", f"agent-{DEVICE}/kept"]


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can give a directory to another user")
def test_directory_of_another_user_is_refused(home, place):
    (place / f"agent-{DEVICE}").mkdir(parents=True)
    try:
        os.chown(place, SOMEBODY, SOMEBODY)
    except OSError as error:
        if error.errno != errno.EINVAL:
            raise
        pytest.skip("this user namespace has no other user")

    assert_refused(home, "it belongs to another user")

    assert place.stat().st_uid == SOMEBODY
    assert left(place) == [f"agent-{DEVICE}"]


def test_wrong_mode_is_set_right_and_a_planted_folder_is_not_used(home, place):
    (home.gateway.tmp / "other").mkdir()
    (home.gateway.tmp / "other/kept").touch()
    place.mkdir()
    place.chmod(0o777)
    (place / f"agent-{DEVICE}").symlink_to("../other")

    assert_taken(home)

    assert left(home.gateway.tmp / "other") == ["kept"]


def test_directory_that_others_use_is_left_as_it_is(home, place):
    place.mkdir()
    place.chmod(0o755)
    (place / "of-others").touch()

    assert_refused(home, "others can enter it, and it holds what this daemon has not made")

    assert place.stat().st_mode & 0o7777 == 0o755
    assert left(place) == ["of-others"]


def test_start_sweeps_all_but_what_can_be_gone_on_with(home, place):
    action, daemon, stall = interrupted_download(home)
    daemon.kill()
    stall.release()
    (place / f"agent-{DEVICE}/old.bin").touch()
    lost = place / f"agent-{DEVICE}/lost.bin.part"
    lost.touch(mode=0o600)
    lost.write_bytes(b"without a record")
    (place / "agent-gone").mkdir()
    (place / "agent-gone/old.bin").touch()

    daemon = home.start()
    daemon.wait_for_line("event=retrieve_controller_status ")
    swept = left(place)
    home.wait_for_end(action)

    assert swept == [f"agent-{DEVICE}", f"agent-{DEVICE}/.large.sh.part", f"agent-{DEVICE}/large.sh.part"]
    assert action.status is Status.FINISHED
    assert [status for status, _, _ in downloads(home)][1:] == [206]
    assert lines_with(daemon, "download_swept") == [
        f"download_swept filename={FOLDER}/lost.bin.part what=the record beside the partial file is missing "
        "or cannot be understood"]
    assert left(place) == [f"agent-{DEVICE}"]


@pytest.mark.differs("adapter-ids")
def test_two_agents_have_folders_of_their_own(home, place):
    network = PowerlineNetwork(home)
    adapter = network.add_with_serial()
    own = [script(home, "one", "plc.bin", f"ls -d {DIRECTORY}/* >/etc/installed/folders\nsleep 3")]

    gateway_action, adapter_action, daemon = deploy_to_both(home, network, own)

    assert [gateway_action.status, adapter_action.status] == [Status.FINISHED, Status.FINISHED]
    assert WAITING not in daemon.log
    assert adapter.firmware == NEW
    pushed = [call for call in network.calls(WITH_SERIAL) if call.startswith("l2fwserver ")]
    assert [call.split()[1] for call in pushed] == [f"{DIRECTORY}/agent-{SERIAL}/plc.bin"]
    assert FOLDER in home.gateway.installed_files["folders"].decode().split()
    assert set(left(place)) <= {f"agent-{DEVICE}", f"agent-{SERIAL}"}


@pytest.mark.parametrize("directory, status", [(ON_FLASH, 206), (DIRECTORY, 200)],
                         ids=["flash", "tmpfs"])
def test_power_cut_in_the_middle_of_a_download(home, directory, status):
    action, supervisor, stall = interrupted_download(home, directory, home.supervise)

    supervisor.power_cut()
    stall.release()
    home.wait_for_end(action)

    _, second = downloads(home)
    assert action.status is Status.FINISHED
    assert second[0] == status
    assert (second[1] < SIZE) == (status == 206)
    assert len(lines_with(supervisor.daemon, "download_resumed")) == (1 if status == 206 else 0)
    assert lines_with(supervisor.daemon, "download_swept") == []


def cut_record(folder):
    record = folder / ".large.sh.part"
    record.write_bytes(record.read_bytes()[:20])


def older_record(folder):
    record = folder / ".large.sh.part"
    text = record.read_text()
    assert '"version" : 1' in text
    record.write_text(text.replace('"version" : 1', '"version" : 0'))


def emptied_part(folder):
    os.truncate(folder / "large.sh.part", 0)


def swapped_part(folder):
    part = folder / "large.sh.part"
    content = part.read_bytes()
    part.write_bytes(b"\0" * len(content))


def linked_part(folder):
    (folder / "large.sh.part").rename(folder / "other")
    (folder / "large.sh.part").symlink_to("other")


@pytest.mark.parametrize("spoil, event, reason, ranges", [
    (cut_record, "download_swept", "the record beside the partial file is missing or cannot be understood", 0),
    (older_record, "download_swept", "the record beside the partial file is missing or cannot be understood", 0),
    (emptied_part, "download_swept", "the partial file is empty or larger than announced", 0),
    (linked_part, "download_swept", "the partial file is missing or not the daemon's own", 0),
    (swapped_part, "download_restarted", "the sum of the whole file is wrong", 1),
])
def test_what_a_power_cut_has_spoilt_is_begun_anew_after_one_line(home, spoil, event, reason, ranges):
    action, daemon, stall = interrupted_download(home, ON_FLASH)
    daemon.kill()
    home.gateway.reboot()
    stall.release()
    spoil(folder_in(home, ON_FLASH))

    daemon = home.start()
    home.wait_for_end(action)

    lines = lines_with(daemon, "download_swept") + lines_with(daemon, "download_restarted")
    assert action.status is Status.FINISHED
    assert len(lines) == 1
    assert lines[0].startswith(event)
    assert lines[0].endswith(f"what={reason}")
    assert [wanted is not None for _, _, wanted in downloads(home)] == [False] + [True] * ranges + [False]


def test_partial_file_that_was_cut_is_gone_on_with_from_there(home):
    action, daemon, stall = interrupted_download(home, ON_FLASH)
    daemon.kill()
    home.gateway.reboot()
    stall.release()
    os.truncate(folder_in(home, ON_FLASH) / "large.sh.part", 100)

    home.start()
    home.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert [wanted for _, _, wanted in downloads(home)] == [None, "bytes=100-"]


@pytest.mark.parametrize("directory", [DIRECTORY, None])
@pytest.mark.parametrize("end", [signal.SIGTERM, signal.SIGKILL])
def test_next_process_goes_on_with_the_download(home, directory, end):
    configure(home, stop_transfers="1")
    action, daemon, stall = interrupted_download(home, directory)
    daemon.signal(end)
    daemon.wait()
    stall.release()

    daemon = home.start()
    home.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert [status for status, _, _ in downloads(home)][1:] == [206]
    assert len(lines_with(daemon, "download_resumed")) == 1


@pytest.mark.parametrize("directory", [DIRECTORY, None])
def test_action_that_is_cancelled_while_the_daemon_is_down_leaves_nothing(home, directory):
    action, daemon, stall = interrupted_download(home, directory)
    daemon.kill()
    stall.release()
    tmp = home.gateway.tmp
    assert sorted(path.name for path in tmp.rglob("*.part")) == [".large.sh.part", "large.sh.part"]

    home.server.cancel(action)
    daemon = home.start()
    home.wait_for_end(action)
    home.wait_until(lambda: list(tmp.rglob("*.part")) == [], "the end of the partial file")

    assert action.status is Status.CANCELED
    assert [line.rpartition("what=")[2] for line in lines_with(daemon, "download_swept")] == [
        "no open action has this artifact"]


def test_action_that_is_replaced_while_the_daemon_is_down_leaves_nothing(home):
    action, daemon, stall = interrupted_download(home)
    daemon.kill()
    stall.release()
    home.server.cancel(action)
    home.start()
    home.wait_for_end(action)

    after = home.assign(home.script("next", f"ls -A {FOLDER}"))
    home.wait_for_end(after)

    assert after.status is Status.FINISHED
    assert home.reports()[1][3][2] == "next.sh\n"


def test_option_that_cannot_be_understood_counts_as_absent(bench):
    bench.configure("service.download_dir", "/tmp/$HOME")

    ran, daemon = where_it_ran(bench)

    assert ran[0] == "/tmp/one.sh"
    assert len(lines_with(daemon, "bad_option")) == 1
