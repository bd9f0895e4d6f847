"""The parts of the demonstration that need no daemon."""
import io
from types import SimpleNamespace

import pytest
from demo import daemon_log, verdict
from demo.rollouts import GOOD
from demo.scene import PROPERTIES
from demo.screen import Screen
from demo.story import Story
from hawkbit_server import ActionType, Status


def test_log_line_is_taken_apart():
    record = daemon_log.parse("18:00:01 WARNING a.cpp:12 spawn: action=spawn message=two words key=")

    assert (record.level, record.event) == ("WARNING", "")
    assert record.fields == {"action": "spawn", "message": "two words", "key": ""}


def test_other_output_is_no_log_line():
    assert daemon_log.parse("Error: something").level == ""


def progress(*steps, total):
    stream = io.StringIO()
    screen = Screen(stream)
    for done in steps:
        screen.progress("a.bin", done, total)
    return [line.strip() for line in stream.getvalue().splitlines()]


def test_progress_of_a_large_file_has_a_line_for_each_quarter():
    lines = progress(1000, 600_000, 700_000, 1_100_000, 2_000_000, total=2_000_000)

    assert lines == ["a.bin:  30%, 0.6 MB of 2.0 MB", "a.bin:  55%, 1.1 MB of 2.0 MB",
                     "a.bin: 100%, 2.0 MB of 2.0 MB"]


def test_progress_of_a_small_file_is_one_line():
    assert progress(10, 50, 90, 99, total=99) == ["a.bin: 100%, 99 bytes of 99 bytes"]


def report(execution, finished, *details):
    status = {"execution": execution, "details": list(details), "result": {"finished": finished}}
    return SimpleNamespace(action=1, status=200, json=lambda: {"status": status})


@pytest.fixture(name="good_end")
def fixture_good_end():
    """A scene and an action as they are after the rollout went well."""
    server = SimpleNamespace(exchanges=lambda kind: [report("closed", "success", "Deployment successful")])
    gateway = SimpleNamespace(leftovers=lambda: [])
    scene = SimpleNamespace(server=server, gateway=gateway, installed_files=lambda: dict(GOOD.installed))
    action = SimpleNamespace(id=1, type=ActionType.SOFT, status=Status.FINISHED, spoilt=False,
                             target=SimpleNamespace(attributes=dict(PROPERTIES)))
    return scene, action


def problems(good_end, story=None):
    story = story or Story(Screen(io.StringIO()), GOOD, verbose=False)
    return list(verdict.problems(*good_end, GOOD, story))


def test_no_problem_when_all_is_well(good_end):
    assert problems(good_end) == []


@pytest.mark.parametrize("spoil, told", [
    (lambda scene, action: setattr(action, "status", Status.RETRIEVED), "recorded retrieved"),
    (lambda scene, action: setattr(action, "spoilt", True), "instead of finished"),
    (lambda scene, action: action.target.attributes.pop("site"), "attribute site"),
    (lambda scene, action: setattr(scene.server, "exchanges", lambda kind: []), "reported 0 times"),
    (lambda scene, action: setattr(scene, "installed_files", lambda: {}), "greeting is missing"),
    (lambda scene, action: setattr(scene.gateway, "leftovers", lambda: ["x.bin"]), "/tmp/x.bin"),
])
def test_what_is_not_as_it_should_be_is_a_problem(good_end, spoil, told):
    spoil(*good_end)

    assert any(told in problem for problem in problems(good_end))


def test_logged_error_is_a_problem(good_end):
    story = Story(Screen(io.StringIO()), GOOD, verbose=False)

    story.take(daemon_log.parse("18:00:01 ERROR a.cpp:1 f: event=exception_caught what=too bad"))

    assert problems(good_end, story) == ["the daemon logged an error: too bad"]
