# SPDX-License-Identifier: Apache-2.0
"""Measures downloads and polls as the package's options make them, beside curl and beside the daemon without them."""
import contextlib
import hashlib
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor

from link import Link

# 2 Mbit/s, cut every 5 s.
SLOW, LASTS = 250_000, 5
POLLS = 50
# Seconds for curl; without a cut the line needs 80.
PATIENCE = 180


class Transfers:
    """Measures with `run(*command)`, `in_turns(ours, theirs)` and `print_ratio(...)` of the benchmark."""

    def __init__(self, program, files, server, authority, tools):
        self._program, self._files, self._server, self._authority = program, files, server, authority
        self._run, self._in_turns, self._print_ratio = tools
        self._target = files.directory / "resumed"

    def measure(self):
        self._download()
        self._memory()
        self._digests()
        self._polls()
        self._broken_line()

    def _resume(self, name, url, target):
        served = self._files.served / name
        return (self._program, "resume", url, target, self._authority, served.stat().st_size,
                hashlib.file_digest(served.open("rb"), "sha256").hexdigest())

    def _download(self):
        command = self._resume("big", self._server.url("big"), self._target)

        def ours():
            self._target.unlink(missing_ok=True)
            return self._run(*command)[0]

        def curl():
            self._target.unlink(missing_ok=True)
            return self._run("curl", "-sS", "--fail", "--cacert", self._authority, "-o", self._target,
                             self._server.url("big"))[0]

        self._print_ratio("the same with options", *self._in_turns(ours, curl), "curl")
        ours()
        self._run("cmp", self._files.served / "big", self._target)

    def _memory(self):
        url = self._server.url("big")
        self._target.unlink(missing_ok=True)
        ours = int(self._run(*self._resume("big", url, self._target))[1])
        plain = int(self._run(self._program, "download", url, self._target, self._authority)[1])
        print(f"{'peak memory with options':<34} {ours:8} kB  without  {plain:8} kB   ratio {ours / plain:5.2f}",
              flush=True)

    def _digests(self):
        big = self._files.served / "big"
        sums = {}

        def sha256():
            seconds, sums["ours"] = self._run(self._program, "sha256", big)
            return seconds

        def md5():
            return self._run(self._program, "md5", big)[0]

        self._print_ratio("SHA-256 sum", *self._in_turns(sha256, md5), "MD5")
        if sums["ours"].strip() != hashlib.file_digest(big.open("rb"), "sha256").hexdigest():
            raise AssertionError("the SHA-256 sum is wrong")

    def _polls(self):
        carried = {}
        for how in ("poll", "poll-again"):
            with Link(self._server.port) as link:
                self._run(self._program, how, link.url("document"), self._authority, POLLS)
                carried[how] = link.carried / POLLS
        ours, full = carried["poll-again"], carried["poll"]
        print(f"{'poll that resumes its TLS session':<34} {ours:8.0f} B   in full  {full:8.0f} B    "
              f"ratio {ours / full:5.2f}", flush=True)

    def _broken_line(self):
        """Both at the same time, each over a line of its own: the time is the line's, not the processor's."""
        with contextlib.ExitStack() as lines:
            ours, curls = (lines.enter_context(Link(self._server.port, SLOW, LASTS)) for _ in range(2))
            other = self._files.directory / "continued"
            command = ("curl", "-sS", "--fail", "--retry", 99, "--retry-all-errors", "--retry-delay", 1,
                       "--continue-at", "-", "--cacert", self._authority, "-o", other, curls.url("small"))
            self._target.unlink(missing_ok=True)
            with ThreadPoolExecutor() as beside:
                curl = beside.submit(_seconds_of, command)
                seconds, _ = self._run(*self._resume("small", ours.url("small"), self._target))
                theirs = curl.result()
            self._run("cmp", self._files.served / "small", self._target)
            size = (self._files.served / "small").stat().st_size
            print(f"{'20 MB, 2 Mbit/s cut every 5 s':<34} {seconds:8.1f} s   curl     {theirs}", flush=True)
            print(f"{'bytes of it':<34} {ours.carried / size:8.2f} of the size   curl "
                  f"{curls.carried / size:8.2f}", flush=True)


def _seconds_of(command):
    begin = time.perf_counter()
    try:
        status = subprocess.run(list(map(str, command)), stderr=subprocess.DEVNULL, timeout=PATIENCE,
                                check=False).returncode
    except subprocess.TimeoutExpired:
        return f"not done after {PATIENCE} s"
    seconds = time.perf_counter() - begin
    return f"{seconds:8.1f} s" if status == 0 else f"failed with {status} after {seconds:.1f} s"
