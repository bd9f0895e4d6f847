# SPDX-License-Identifier: Apache-2.0
"""The demonstration of the powerline network: adapters are found, updated, unplugged."""
import sys
import time

from gateway import BusError

from . import ghn_verdict
from .failure import DemoFailure
from .ghn_scene import ADDRESS, GATEWAY, SERIAL, GhnScene
from .ghn_story import GhnStory
from .screen import Screen
from .watching import watch

SETTLING = 15
LAST_LINES = 25


def introduce(scene, screen):
    screen.say(f"An update server listens on {scene.server.url}. A simulated gateway runs the real "
               f"daemon for the device {GATEWAY}.")
    screen.say("On its powerline network are the gateway's own modem and two adapters: one with the "
               f"serial number {SERIAL}, and {ADDRESS}, which has none.")
    screen.say("The daemon looks for adapters 30 seconds after its start, and again 30 seconds after "
               "the end of each pass. No option changes that, so this waits for the next pass.")


def ask_for_agents(scene, screen):
    try:
        agents = scene.agents()
    except BusError as error:
        raise DemoFailure(f"get_agents failed: {error}") from error
    screen.say(f"Over the message bus the daemon tells of the agents {', '.join(sorted(agents))}.")
    return agents


def settle(scene, story):
    """The daemon gives an agent up one step after the pass that lost its adapter."""
    deadline = time.monotonic() + SETTLING
    while ADDRESS in scene.agents() and time.monotonic() < deadline:
        for happening in scene.pending_happenings():
            story.take(happening)


def unplug(scene, screen, story):
    scene.to_unplug.unplug()
    screen.say(f"Somebody unplugs the adapter {scene.to_unplug.mac}. The next pass will miss it.")
    watch(scene, story, lambda: story.lost, "the pass that misses the adapter")
    passes = story.passes
    watch(scene, story, lambda: story.passes > passes, "the end of that pass")
    settle(scene, story)


def play(scene, screen, story):
    """Plays the whole story. Returns a sentence for each problem."""
    introduce(scene, screen)
    watch(scene, story, lambda: story.passes > 0, "the first discovery pass")
    watch(scene, story, lambda: {SERIAL, ADDRESS} <= set(story.targets), "the adapters' attributes")
    agents_before = ask_for_agents(scene, screen)
    action = scene.assign_firmware()
    watch(scene, story, lambda: SERIAL in story.closed, "the end of the update")
    unplug(scene, screen, story)
    agents_after = ask_for_agents(scene, screen)
    screen.say("An agent that goes by its adapter's address goes with the adapter; one that goes by a "
               "serial number would stay.")
    status = scene.stop_daemon()
    for happening in scene.pending_happenings():
        story.take(happening)
    screen.say(f"The daemon was asked to stop and ended with status {status}.")
    problems = list(ghn_verdict.problems(scene, action, story, agents_before, agents_after))
    if status != 0:
        problems.append(f"the daemon ended with status {status} instead of 0")
    ghn_verdict.summarize(scene, action, screen, agents_before, agents_after)
    return problems


def run(options):
    """Returns the exit status; raises the same errors as the other demonstration."""
    screen = Screen()
    story = GhnStory(screen, options.verbose)
    with GhnScene(options.build_dir) as scene:
        try:
            problems = play(scene, screen, story)
        except (DemoFailure, AssertionError):
            screen.heading("The last lines of the daemon's log")
            screen.quote("\n".join(scene.daemon.log.splitlines()[-LAST_LINES:]), "|")
            raise
    for problem in problems:
        print(f"Error: {problem}.", file=sys.stderr)
    if problems:
        return 1
    screen.heading("The adapters were found, and one of them was updated.")
    return 0
