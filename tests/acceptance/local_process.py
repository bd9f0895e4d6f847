"""What the programs that a server consists of have in common."""
from __future__ import annotations

import random
import socket
import subprocess

# Below the ports that the kernel gives to outgoing connections: a server that is away for a while must
# find its own free when it comes back.
PORTS = range(20_000, 32_000)


def free_port() -> int:
    """A port of the loopback interface that nobody listens on."""
    while True:
        port = random.choice(PORTS)
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", port))
            except OSError:
                continue
            return port


def end(process: subprocess.Popen, timeout: float) -> None:
    """Asks a program to end, and kills it when it has not after `timeout` seconds."""
    process.terminate()
    try:
        process.wait(timeout)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
