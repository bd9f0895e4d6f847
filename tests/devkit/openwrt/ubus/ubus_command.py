# SPDX-License-Identifier: Apache-2.0
"""Runs the stand-in command line, and serves the calls it makes."""
import subprocess

from bus_bench import PATIENCE, UBUS


def start(bus, *arguments, stdout=subprocess.PIPE, stderr=subprocess.PIPE):
    process = subprocess.Popen([UBUS, "-s", bus.path, *arguments], stdout=stdout, stderr=stderr,
                               text=True)
    bus.callback(end, process)
    return process


def end(process):
    """Leaves none behind, whatever its test came to."""
    with process:
        if process.poll() is None:
            process.kill()


def result(process):
    """What the command left: exit status, output, error output."""
    out, err = process.communicate(timeout=PATIENCE)
    return process.returncode, out, err


def ubus(bus, *arguments):
    return result(start(bus, *arguments))


def serve(owner, *replies, status=0):
    """Serves one call."""
    call = owner.frame()
    for reply in replies:
        owner.reply(call, reply)
    owner.finish(call, status)
    return call
