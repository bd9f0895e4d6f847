# SPDX-License-Identifier: Apache-2.0
"""What the programs of a server have in common."""
from __future__ import annotations

import random
import socket
import subprocess

# Below the ports that the kernel gives to outgoing connections, so that the port of a stopped server
# is still free when it restarts.
PORTS = range(20_000, 32_000)


def free_port() -> int:
    """A free port of the loopback interface."""
    while True:
        port = random.choice(PORTS)
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", port))
            except OSError:
                continue
            return port


def end(process: subprocess.Popen, timeout: float) -> None:
    """Asks a program to end, and kills it after `timeout` seconds."""
    process.terminate()
    try:
        process.wait(timeout)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
