# SPDX-License-Identifier: Apache-2.0
"""How a demonstration waits: it tells what happens meanwhile, and names what did not happen in time."""
import time

from .failure import DemoFailure

# Time limit for each point of a story; builds with sanitizers are slow.
TIMEOUT = 240


def watch(scene, story, is_reached, what, timeout=TIMEOUT):
    """Tells what happens until a point of the story is reached."""
    deadline = time.monotonic() + timeout
    try:
        while not is_reached():
            if time.monotonic() > deadline:
                raise DemoFailure("the time is up")
            story.take(scene.next_happening(deadline))
    except DemoFailure as failure:
        raise DemoFailure(f"{failure}, but still to come was {what}") from failure
