# SPDX-License-Identifier: Apache-2.0
"""The parts of the demonstration that need no daemon."""
import io
from types import SimpleNamespace

import pytest

from demo import daemon_log
from demo.failure import DemoFailure
from demo.life import Reboot
from demo.local_control import ATTEMPTS, LocalControl
from demo.log_story import LogStory
from demo.rollouts import GOOD
from demo.screen import Screen
from demo.story import Story


def test_log_line_is_parsed():
    record = daemon_log.parse("18:00:01 WARNING a.cpp:12 spawn: action=spawn message=two words key=")

    assert (record.level, record.event) == ("WARNING", "")
    assert record.fields == {"action": "spawn", "message": "two words", "key": ""}


def test_other_output_is_not_a_log_line():
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


def test_reboot_is_told_in_sentences():
    stream = io.StringIO()
    story = Story(Screen(stream), GOOD, verbose=False)

    story.take(Reboot(-9, "2.1_20260101", ("x.bin",), ("--dormant", "true")))

    told = " ".join(stream.getvalue().split())
    assert "the daemon with it (ended by signal 9)" in told
    assert "comes back with the firmware 2.1_20260101 and its /tmp with x.bin." in told
    assert "started again, with --dormant true" in told


LOG = "18:00:01 INFO a.cpp:1 f: "


def log_story_after(*lines):
    story = LogStory(Screen(io.StringIO()), verbose=False)
    for line in lines:
        story.take(daemon_log.parse(LOG + line))
    return story


def test_user_guard_is_counted_while_the_gateway_waits_for_the_user():
    before = "event=is_user_forced status=0"

    story = log_story_after(before, "event=is_automatic_update_disabled status=1", before, before)

    assert (story.waits_for_user, story.fruitless_looks) == (True, 2)


@pytest.mark.parametrize("last", ["event=retrieve_controller_status fsm=x",
                                  "event=is_automatic_update_disabled status=0"])
def test_waiting_for_the_user_ends(last):
    story = log_story_after("event=is_automatic_update_disabled status=1", last)

    assert not story.waits_for_user


def test_command_of_an_installer_is_quoted_as_a_whole():
    stream = io.StringIO()
    story = LogStory(Screen(stream), verbose=False)

    story.take(daemon_log.parse("18:00:01 INFO a.cpp:1 start_installation: event=executing "
                                "command=dd if=/tmp/a of=/dev/mtd1 bs=16384"))

    assert stream.getvalue().split("\n") == ["         $ dd if=/tmp/a of=/dev/mtd1 bs=16384", ""]


class FakeGateway:
    """Answers the calls of each method with the given outputs, one after the other."""

    def __init__(self, **outputs):
        self._outputs = {method: list(texts) for method, texts in outputs.items()}
        self.calls = []

    def start_program(self, words, _):
        self.calls.append(words[3])
        text = self._outputs[words[3]].pop(0)
        return SimpleNamespace(wait=lambda _: 0 if text else 4, exit_status=4, out=text,
                               err="Command failed: Not found")


NOTHING, HELD_BACK, DONE = '{"success": false}', '{"success": true, "action_id": "1"}', '{"success": true}'


def decide(gateway, sign_of_waiting="event=is_automatic_update_disabled status=1"):
    stream = io.StringIO()
    story = LogStory(Screen(stream), verbose=False)
    control = LocalControl(gateway, Screen(stream))

    def watch(is_reached, _):
        while not is_reached():
            story.take(daemon_log.parse(LOG + (
                "event=is_user_forced status=0" if story.waits_for_user else sign_of_waiting)))

    control.decide(story, watch)
    return control, story, stream.getvalue()


def test_pending_deployment_is_shown_then_accepted():
    gateway = FakeGateway(get_deployment=[HELD_BACK], accept_deployment=[DONE])

    control, story, shown = decide(gateway)

    assert gateway.calls == ["get_deployment", "accept_deployment"]
    assert (control.pending["action_id"], control.accepted) == ("1", {"success": True})
    assert story.fruitless_looks == 1
    assert f"# ubus call zephran get_deployment\n         {HELD_BACK}\n" in shown


def test_deployment_hidden_by_a_poll_is_looked_up_again():
    gateway = FakeGateway(get_deployment=[NOTHING, HELD_BACK, HELD_BACK], accept_deployment=[NOTHING, DONE])

    control, _, _ = decide(gateway)

    assert gateway.calls == ["get_deployment", "get_deployment", "accept_deployment",
                             "get_deployment", "accept_deployment"]
    assert control.accepted == {"success": True}


@pytest.mark.parametrize("outputs, told", [
    ([NOTHING] * ATTEMPTS, f"in {ATTEMPTS} attempts"),
    ([""], "get_deployment ended with status 4: Command failed: Not found"),
    (["nonsense"], "printed no JSON: 'nonsense'"),
    (["[]"], "printed no JSON object"),
])
def test_deployment_that_cannot_be_accepted_ends_the_demonstration(outputs, told):
    with pytest.raises(DemoFailure, match=told):
        decide(FakeGateway(get_deployment=outputs))


def test_deployment_that_starts_without_consent_ends_the_demonstration():
    with pytest.raises(DemoFailure, match="started before the user had accepted it"):
        decide(FakeGateway(), sign_of_waiting="event=start_deployment_action fsm=x")
