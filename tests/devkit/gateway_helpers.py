# SPDX-License-Identifier: Apache-2.0
"""Helpers for the tests of the simulated gateway."""
import time

# Seconds; generous, as no test is about speed.
TIMEOUT = 60


def shell(gateway, script, **options):
    """Runs a shell script on the gateway and returns the program that has ended."""
    return gateway.run(["sh", "-c", script], **options)


def wait_for(condition):
    """Polls, because nothing notifies a test of another process's progress."""
    deadline = time.monotonic() + TIMEOUT
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.02)
