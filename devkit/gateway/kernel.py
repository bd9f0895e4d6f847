# SPDX-License-Identifier: Apache-2.0
"""The few system calls that Python's standard library does not offer."""
import ctypes
import os
import signal

MS_RDONLY, MS_NOSUID, MS_NODEV, MS_NOEXEC = 0x1, 0x2, 0x4, 0x8
MS_REMOUNT, MS_NOATIME, MS_NODIRATIME, MS_BIND = 0x20, 0x400, 0x800, 0x1000
MS_REC, MS_RELATIME = 0x4000, 0x200000

PR_SET_PDEATHSIG = 1

# statvfs(3) reports a mount's restrictions with other bits than mount(2) takes.
_STATVFS_TO_MOUNT = {1: MS_RDONLY, 2: MS_NOSUID, 4: MS_NODEV, 8: MS_NOEXEC,
                     1024: MS_NOATIME, 2048: MS_NODIRATIME, 4096: MS_RELATIME}

_libc = ctypes.CDLL(None, use_errno=True)


def _check(result: int, what: str) -> None:
    if result != 0:
        number = ctypes.get_errno()
        raise OSError(number, f"{what}: {os.strerror(number)}")


def mount(source: str, target: str, kind: str = "", flags: int = 0, options: str = "") -> None:
    """mount(2); a failure is an OSError that names both places."""
    _check(_libc.mount(os.fsencode(source), os.fsencode(target), kind.encode(),
                       ctypes.c_ulong(flags), options.encode()),
           f"mount {kind or 'bind'} {source} on {target}")


def bind(source: str, target: str, read_only: bool = False) -> None:
    """Makes `source`, with everything mounted below it, visible at `target` too."""
    mount(source, target, flags=MS_BIND | MS_REC)
    if not read_only:
        return
    # In a user namespace the restrictions of the original mount must be repeated.
    present = os.statvfs(target).f_flag
    kept = sum(flag for bit, flag in _STATVFS_TO_MOUNT.items() if present & bit)
    mount("none", target, flags=MS_BIND | MS_REMOUNT | MS_RDONLY | kept)


def die_with_parent() -> None:
    """Has the kernel kill the calling process as soon as its parent ends."""
    _check(_libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0), "prctl")
