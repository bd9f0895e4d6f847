# SPDX-License-Identifier: Apache-2.0
"""Limits of the kernel for all programs of a gateway, and what they have used: control groups of version 1."""
import os
import pathlib
import threading

ROOT = pathlib.Path("/sys/fs/cgroup")
MEGABYTE = 1 << 20
PERIOD = 100_000  # microseconds


def is_available():
    """Whether this user may make groups here."""
    return all(os.access(ROOT / controller, os.W_OK) for controller in ("memory", "cpu"))


class Group:
    """One control group of one controller."""

    def __init__(self, controller, name, **limits):
        self.path = ROOT / controller / name
        self.path.mkdir()
        for file, value in limits.items():
            (self.path / f"{controller}.{file}").write_text(str(value), encoding="ascii")

    def take(self, pid):
        (self.path / "cgroup.procs").write_text(str(pid), encoding="ascii")

    def members(self):
        return [int(pid) for pid in (self.path / "cgroup.procs").read_text(encoding="ascii").split()]

    def close(self):
        self.path.rmdir()


class Confinement:
    """All that is started on the gateway from now on has this much memory and processor, and is watched.

    What its first programs have taken before is not counted: they stand in for a kernel and for a bus in C.
    """

    def __init__(self, gateway, memory, processor):
        name = f"zephran-{os.getpid()}-{gateway.outer_pid}"
        self._memory = Group("memory", name, limit_in_bytes=memory)
        self._processor = Group("cpu", name, cfs_period_us=PERIOD, cfs_quota_us=round(PERIOD * processor))
        core = {min(os.sched_getaffinity(0))}
        for pid in descendants(gateway.outer_pid):
            os.sched_setaffinity(pid, core)
            self._memory.take(pid)
            self._processor.take(pid)
        self.descriptors = 0
        self.daemon_memory = 0
        self._ended = threading.Event()
        self._watch = threading.Thread(target=self._look, daemon=True)
        self._watch.start()

    @property
    def peak(self):
        """Bytes of memory in all, files in memory included."""
        return int((self._memory.path / "memory.max_usage_in_bytes").read_text(encoding="ascii"))

    @property
    def killed(self):
        """How many processes the kernel has ended for want of memory."""
        lines = (self._memory.path / "memory.oom_control").read_text(encoding="ascii").splitlines()
        return next(int(line.split()[1]) for line in lines if line.startswith("oom_kill "))

    def close(self):
        """Only after all programs of the gateway have ended."""
        self._ended.set()
        self._watch.join()
        self._memory.close()
        self._processor.close()

    def _look(self):
        while not self._ended.wait(0.005):
            for pid in self._memory.members():
                try:
                    self._look_at(pathlib.Path(f"/proc/{pid}"))
                except OSError:
                    continue  # It has just ended.

    def _look_at(self, process):
        if (process / "comm").read_text(encoding="utf-8").strip() != "zephran":
            return
        self.descriptors = max(self.descriptors, len(os.listdir(process / "fd")))
        status = (process / "status").read_text(encoding="utf-8")
        peak = next((line.split()[1] for line in status.splitlines() if line.startswith("VmHWM:")), "0")
        self.daemon_memory = max(self.daemon_memory, int(peak) * 1024)


def descendants(pid):
    """The process and all that come from it, by their ids."""
    found = [pid]
    for parent in found:
        for task in pathlib.Path(f"/proc/{parent}/task").iterdir():
            found += map(int, (task / "children").read_text(encoding="ascii").split())
    return found
