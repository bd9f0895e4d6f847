# SPDX-License-Identifier: Apache-2.0
"""Reports that the server does not take at once, with the option report_retries: nothing is lost or done twice.

The back-off lasts up to ten minutes, so each test cuts it short as an operator or the hotplug hooks do.
"""
import pytest

from hawkbit_server import Code, Drop, Stall, Status
from report_moments import CHUNK, END, NUMBERS, START, recorded

COUNTED_RUN = "echo run >>/etc/installed/runs\necho fine"
STARTED = ["Installation started", "script:one:1.0"]
DEPLOYED = ["Chunk deployed", "script:one:1.0", "fine"]
SUCCESSFUL = ["Deployment successful"]
KEPT = "WARNING .*event=report_kept"


@pytest.fixture(name="home")
def fixture_home(bench):
    bench.configure("service.report_retries", "1")
    # The package makes it.
    (bench.gateway.run_dir / "etc/zephran").mkdir(mode=0o700)
    return bench


def runs(bench):
    return bench.gateway.installed_files.get("runs", b"").count(b"run")


def kept_files(bench):
    return [path.name for path in (bench.gateway.run_dir / "etc/zephran").glob("report-*")]


def assert_done_once(bench, action):
    assert action.status is Status.FINISHED
    assert recorded(action) == [STARTED, DEPLOYED, SUCCESSFUL]
    assert runs(bench) == 1
    assert not action.spoilt
    assert kept_files(bench) == []
    assert bench.gateway.leftovers() == []


@pytest.mark.parametrize("report", [START, CHUNK, END])
@pytest.mark.parametrize("fault", [Code(503), Code(429), Drop()], ids=["503", "429", "dropped"])
def test_report_is_sent_again(home, report, fault):
    home.server.order("feedback", fault, first=NUMBERS[report])
    action = home.assign(home.script("one", COUNTED_RUN))
    daemon = home.start()
    daemon.wait_for_line(KEPT)
    assert runs(home) == (0 if report == START else 1)

    home.gateway.bus.call("force_poll")
    home.wait_for_end(action)
    home.wait_until(lambda: kept_files(home) == [], "the end of the kept report")

    assert daemon.is_running()
    assert_done_once(home, action)


@pytest.mark.parametrize("report", [START, CHUNK, END])
def test_server_that_is_down_for_a_while_loses_no_report(home, report):
    stall = Stall()
    home.server.order("feedback", stall, first=NUMBERS[report])
    action = home.assign(home.script("one", COUNTED_RUN))
    daemon = home.start()
    home.wait_until(stall.reached.is_set, f"the report of the {report}")

    stall.drop()
    home.server.stop()
    daemon.wait_for_line(KEPT)
    home.gateway.bus.call("force_poll")
    daemon.wait_for_line("event=backoff")
    home.server.start()
    home.gateway.bus.call("force_poll")
    home.wait_for_end(action)
    home.wait_until(lambda: kept_files(home) == [], "the end of the kept report")

    assert daemon.is_running()
    assert_done_once(home, action)


def test_end_is_offered_again_and_left_alone_until_its_report_is_taken(home):
    home.server.order("feedback", Code(503), first=NUMBERS[END])
    action = home.assign(home.script("one", COUNTED_RUN))
    daemon = home.start()
    daemon.wait_for_line(KEPT)
    fetched = len(home.exchanges("deploymentBase"))

    polls = len(home.exchanges("base"))
    home.wait_for_exchanges("base", polls + 2)
    assert action.active
    assert len(home.exchanges("deploymentBase")) == fetched

    home.gateway.bus.call("force_poll")
    home.wait_for_end(action)
    assert runs(home) == 1


@pytest.mark.parametrize("result", ["success", "failure"])
def test_power_cut_does_not_lose_the_end(home, result):
    home.server.order("feedback", Code(503), first=NUMBERS[END] if result == "success" else 2)
    action = home.assign(home.script("one", COUNTED_RUN + ("" if result == "success" else "\nexit 3")))
    supervisor = home.supervise()
    supervisor.daemon.wait_for_line(KEPT)
    assert len(kept_files(home)) == 1
    before = len(home.exchanges())

    supervisor.power_cut()
    home.wait_for_end(action)
    home.wait_for_exchanges("base", len(home.exchanges("base")) + 1)

    assert home.exchanges()[before].kind == "feedback"
    assert action.status is (Status.FINISHED if result == "success" else Status.ERROR)
    assert runs(home) == 1
    assert kept_files(home) == []
    assert not action.spoilt


def test_lost_answer_to_the_end_is_a_warning_in_the_next_process(home):
    home.server.order("feedback", Drop(processed=True), first=NUMBERS[END])
    action = home.assign(home.script("one", COUNTED_RUN))
    supervisor = home.supervise()
    supervisor.daemon.wait_for_line(KEPT)

    supervisor.power_cut()
    supervisor.daemon.wait_for_line("WARNING .*event=report_dropped .*httpcode: 410")
    home.wait_until(lambda: kept_files(home) == [], "the end of the kept report")

    assert_done_once(home, action)


def test_end_that_is_refused_for_good_is_shortened_and_then_dropped(home):
    home.server.order("feedback", Code(400), first=2, times=2)
    action = home.assign(home.script("one", COUNTED_RUN + "\nexit 3"))
    daemon = home.start()

    daemon.wait_for_line("ERROR .*event=report_dropped .*httpcode: 400")

    assert [len(report[3]) for report in home.closing_reports()[:2]] == [3, 1]
    assert daemon.is_running()
    home.wait_for_end(action)


@pytest.mark.differs("codes")
def test_end_that_is_too_large_arrives_shortened(home):
    home.server.order("feedback", Code(413), first=2)
    action = home.assign(home.script("one", COUNTED_RUN + "\nexit 3"))
    home.start()

    home.wait_for_end(action)

    assert recorded(action)[-1] == ["Script returned an error"]
    home.wait_until(lambda: kept_files(home) == [], "the end of the kept report")


def test_start_that_is_refused_for_good_runs_nothing(home):
    home.server.order("feedback", Code(403), times=2)
    action = home.assign(home.script("one", COUNTED_RUN))
    home.start()

    home.wait_for_end(action)

    assert action.status is Status.ERROR
    assert recorded(action)[-1][0] == "The start of the installation could not be reported"
    home.wait_until(lambda: home.gateway.leftovers() == [], "the removal of the files")
    assert runs(home) == 0


def test_start_of_an_action_that_is_gone_runs_nothing(home):
    stall = Stall()
    home.server.order("feedback", stall)
    action = home.assign(home.script("one", COUNTED_RUN))
    daemon = home.start()
    home.wait_until(stall.reached.is_set, "the first report")

    home.server.cancel(action)
    home.server.force_quit(action)
    stall.release()
    daemon.wait_for_line("WARNING .*event=report_dropped .*httpcode: 410")
    following = home.assign(home.script("two", "echo two"))
    home.wait_for_end(following)

    assert runs(home) == 0
    assert following.status is Status.FINISHED
    assert daemon.is_running()


@pytest.mark.parametrize("content", ["", "{", '{"format": 2}', "[" * 5000], ids=["empty", "cut", "newer", "nested"])
def test_file_that_is_no_report_is_dropped_with_a_line(home, content):
    home.server.order("feedback", Code(503), first=NUMBERS[END])
    action = home.assign(home.script("one", COUNTED_RUN))
    daemon = home.start()
    daemon.wait_for_line(KEPT)
    daemon.kill()
    (name,) = kept_files(home)
    (home.gateway.run_dir / "etc/zephran" / name).write_text(content, encoding="utf-8")

    daemon = home.start()
    daemon.wait_for_line("WARNING .*event=report_file")
    home.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert daemon.is_running()
