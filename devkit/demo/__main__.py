# SPDX-License-Identifier: Apache-2.0
"""The command line of the demonstration."""
import argparse
import contextlib
import os
import pathlib
import signal
import sys
import time

from gateway import GatewayError
from pki import PkiError

from . import ghn_demo, verdict
from .failure import DemoFailure
from .local_control import LocalControl
from .rollouts import FAILING, GOOD
from .scene import CONFIGURATION, CONFIGURATION_FOR_THE_WEB, DEVICE, Scene
from .screen import Screen
from .story import Story
from .summary import summarize
from .watching import watch
from .web_user import WebUser

TIDYING = 15
LAST_LINES = 25


def arguments():
    parser = argparse.ArgumentParser(prog="script/demo", description=__doc__)
    parser.add_argument("--build-dir", type=pathlib.Path, required=True)
    story = parser.add_mutually_exclusive_group()
    story.add_argument("--fail", action="store_true",
                       help="one part of the release is a script that fails; the exit status is 0 "
                            "when that was reported as it should be")
    story.add_argument("--web", action="store_true",
                       help="leave the decision to whoever opens the page of the gateway's web interface")
    story.add_argument("--ghn", action="store_true",
                       help="tell of the adapters on the gateway's powerline network instead")
    parser.add_argument("--verbose", action="store_true", help="show the daemon's log, too")
    return parser.parse_args()


def introduce(screen, scene):
    screen.say(f"An update server listens on {scene.server.url}, with a certificate that was "
               "made just now. It demands one of its clients as well.")
    screen.say(f"A simulated gateway runs the real daemon for the device {DEVICE}. Automatic updates "
               f"are switched off in its configuration. It runs the firmware {scene.gateway.firmware}.")


def wait_until_quiet(scene, story, rollout):
    """The files of a failed deployment are deleted one step after its last report. After a deployment that went on
    after a reboot, the dormant daemon polls once more; stopped before that, it would leave the reboot mark."""
    polls_again = scene.life.reboots > 0 and rollout.status == "finished"
    story.log.dormant.clear()

    def is_quiet():
        has_polled = "0" in story.log.dormant and story.log.dormant[-1] == "1"
        return not scene.gateway.leftovers() and (has_polled or not polls_again)

    deadline = time.monotonic() + TIDYING
    while not is_quiet() and time.monotonic() < deadline:
        scene.life.check()
        for happening in scene.pending_happenings():
            story.take(happening)
        time.sleep(0.1)


def play(scene, screen, story, rollout, control):
    """Plays the whole story. Returns a sentence for each problem."""
    introduce(screen, scene)
    watch(scene, story, lambda: story.has_attributes, "the device's attributes")
    library = scene.configuration_library()
    screen.say(f"The daemon reads its configuration through this library: {library}.")
    screen.say(f"Its access to the message bus was built with {scene.message_bus()}.")
    control.list_agents()
    action = scene.assign(rollout)
    control.decide(story.log, lambda is_reached, what: watch(scene, story, is_reached, what, control.patience))
    watch(scene, story, lambda: story.has_ended, "the end of the deployment")
    wait_until_quiet(scene, story, rollout)
    control.say_goodbye()
    # Log lines may still arrive until the daemon has ended.
    status = scene.life.end()
    for happening in scene.pending_happenings():
        story.take(happening)
    problems = list(verdict.problems(scene, action, rollout, story, control))
    screen.say(f"The daemon was asked to stop and ended with status {status}.")
    if status != 0:
        problems.append(f"the daemon ended with status {status} instead of 0")
    summarize(scene, action, screen, control, library)
    return problems


def show_last_lines(scene, screen):
    if scene.life.daemon:
        screen.heading("The last lines of the daemon's log")
        screen.quote("\n".join(scene.life.daemon.log.splitlines()[-LAST_LINES:]), "|")


def run(options):
    screen = Screen()
    rollout = FAILING if options.fail else GOOD
    story = Story(screen, rollout, options.verbose)
    user, configuration = (WebUser, CONFIGURATION_FOR_THE_WEB) if options.web else (LocalControl, CONFIGURATION)
    with Scene(options.build_dir, configuration) as scene, contextlib.closing(user(scene.gateway, screen)) as control:
        try:
            problems = play(scene, screen, story, rollout, control)
        except (DemoFailure, AssertionError):
            show_last_lines(scene, screen)
            raise
    for problem in problems:
        print(f"Error: {problem}.", file=sys.stderr)
    if problems:
        return 1
    screen.heading("The rollout succeeded." if rollout.succeeds else
                   "The rollout failed, and its failure was reported as it should be.")
    return 0


def end_by_signal(number, _):
    raise SystemExit(128 + number)


def main():
    options = arguments()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, end_by_signal)
    try:
        return ghn_demo.run(options) if options.ghn else run(options)
    except KeyboardInterrupt:
        print("\nInterrupted; everything that was started has been stopped.", file=sys.stderr)
        return 130
    except BrokenPipeError:
        # The reader is gone; the interpreter's final flush must not fail either.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1
    except GatewayError as failure:
        print(f"Error: {failure}.", file=sys.stderr)
        if os.geteuid() != 0:
            print("Only root may simulate a gateway inside a chroot or a container without user "
                  "namespaces.", file=sys.stderr)
        return 1
    except (DemoFailure, PkiError, AssertionError, OSError, RuntimeError) as failure:
        print(f"Error: {failure}.", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
