# SPDX-License-Identifier: Apache-2.0
"""Starts a program and lets one system call fail: of a thread other than its first, or the execve of a child.

strace counts the calls of each thread by itself and lets those of all fail that have the number. Here threads are known
by the order in which they begin, the first one by 1, and children are all counted together. Those are left alone once
they have become another program. Everything else about the program is as without it; its parent stays its parent.

    tracer.py [--fault WHERE CALL NUMBER FAULT] RECORD ENVIRONMENT COMMAND ...

WHERE is the number of a thread, or "children"; FAULT is the name of an error, or KILL for the end of the program.
RECORD gets a line for each call, and one more for the fault; ENVIRONMENT is what the program's has beside its own, as
JSON. With a fault only the calls of WHERE are on record.
"""
import argparse
import ctypes
import errno
import json
import os
import platform
import signal
import struct

# The kernel's numbers and registers for one kind of processor.
IS_AVAILABLE = platform.machine() == "x86_64"
NUMBERS = {"read": 0, "write": 1, "mmap": 9, "connect": 42, "sendto": 44, "recvfrom": 45, "execve": 59, "wait4": 61,
           "fsync": 74, "rename": 82, "waitid": 247, "openat": 257, "pipe2": 293, "writev": 20, "recvmsg": 47,
           "vfork": 58, "clone3": 435}
NAMES = {number: name for name, number in NUMBERS.items()}
REGISTERS = struct.Struct("<27Q")
RAX, ORIG_RAX = 10, 15
NO_CALL = 2**64 - 1
SYSCALL_INFO = struct.Struct("<B3xIQQQ")
ENTRY = 1

CONT, GETREGS, SETREGS, DETACH, SYSCALL = 7, 12, 13, 17, 24
SEIZE, LISTEN, GETEVENTMSG, GET_SYSCALL_INFO = 0x4206, 0x4208, 0x4201, 0x420E
SYSGOOD, EVENT_FORK, EVENT_VFORK, EVENT_CLONE, EVENT_EXEC, EVENT_STOP = 1, 1, 2, 3, 4, 128
OPTIONS = SYSGOOD | sum(1 << event for event in (EVENT_FORK, EVENT_VFORK, EVENT_CLONE, EVENT_EXEC))
CHILDREN = "children"
ANY = 0x40000000
INJECTED = "INJECTED"

_ptrace = ctypes.CDLL(None, use_errno=True).ptrace
_ptrace.argtypes = [ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p]
_ptrace.restype = ctypes.c_long


def ptrace(request, tid, address=0, data=0):
    """False if the thread is gone; one that is killed may be so at any time."""
    if _ptrace(request, tid, address, data) >= 0:
        return True
    if ctypes.get_errno() == errno.ESRCH:
        return False
    raise OSError(ctypes.get_errno(), f"ptrace {request:#x}")


class Tracer:
    """Watches one program from before its start to its end."""

    def __init__(self, pid, record, fault):
        self._pid, self._record, self._fault = pid, record, fault
        self._places = {pid: "1"}
        self._threads = 1
        self._counts = {}
        # Stopped at their beginning before it was told whose they are.
        self._early = set()
        self._failing = set()

    def watch(self):
        while self._places:
            try:
                tid, status = os.waitpid(-1, ANY)
            except ChildProcessError:
                return
            if os.WIFSTOPPED(status):
                self._stopped(tid, os.WSTOPSIG(status), status >> 16)
            else:
                self._places.pop(tid, None)

    def _stopped(self, tid, number, event):
        if tid not in self._places:
            self._early.add(tid)
            return
        if number == signal.SIGTRAP | 0x80:
            self._at_call(tid)
            self._resume(tid)
        elif event in (EVENT_FORK, EVENT_VFORK, EVENT_CLONE):
            self._begin(event, tid)
            self._resume(tid)
        elif event == EVENT_EXEC and tid != self._pid:
            del self._places[tid]
            ptrace(DETACH, tid)
        elif event == EVENT_STOP and number != signal.SIGTRAP:
            ptrace(LISTEN, tid)
        else:
            self._resume(tid, 0 if event else number)

    def _begin(self, event, parent):
        message = ctypes.c_ulong()
        if not ptrace(GETEVENTMSG, parent, 0, ctypes.addressof(message)):
            return
        tid = message.value
        if event == EVENT_CLONE:
            self._threads += 1
        self._places[tid] = str(self._threads) if event == EVENT_CLONE else CHILDREN
        if tid in self._early:
            self._early.remove(tid)
            self._resume(tid)

    def _resume(self, tid, number=0):
        is_watched = self._fault is None or self._places[tid] == self._fault[0]
        ptrace(SYSCALL if is_watched else CONT, tid, 0, number)

    def _at_call(self, tid):
        info = ctypes.create_string_buffer(SYSCALL_INFO.size)
        if not ptrace(GET_SYSCALL_INFO, tid, SYSCALL_INFO.size, ctypes.addressof(info)):
            return
        kind, _, _, _, number = SYSCALL_INFO.unpack(info.raw)
        if kind == ENTRY:
            self._begin_call(tid, NAMES.get(number))
        elif tid in self._failing:
            self._failing.remove(tid)
            self._set_register(tid, RAX, 2**64 - getattr(errno, self._fault[3]))

    def _begin_call(self, tid, name):
        place = self._places[tid]
        if name is None or (place == CHILDREN and name != "execve"):
            return
        self._counts[place, name] = number = self._counts.get((place, name), 0) + 1
        self._note(f"{place} {name}")
        if self._fault is None or (place, name, str(number)) != self._fault[:3]:
            return
        self._note(INJECTED)
        if self._fault[3] == "KILL":
            os.kill(self._pid, signal.SIGKILL)
        else:
            self._set_register(tid, ORIG_RAX, NO_CALL)
            self._failing.add(tid)

    @staticmethod
    def _set_register(tid, place, value):
        registers = ctypes.create_string_buffer(REGISTERS.size)
        if ptrace(GETREGS, tid, 0, ctypes.addressof(registers)):
            struct.pack_into("<Q", registers, 8 * place, value)
            ptrace(SETREGS, tid, 0, ctypes.addressof(registers))

    def _note(self, line):
        # The power may fail at any time.
        os.write(self._record, f"{line}\n".encode())


def trace_from_a_grandchild(record, fault):
    """Returns in the program once it is watched; the tracer must not be a child that it would have to wait for."""
    pid = os.getpid()
    watched, begin = os.pipe()
    if child := os.fork():
        os.close(begin)
        os.waitpid(child, 0)
        os.read(watched, 1)
        return
    if os.fork():
        os._exit(0)
    os.setsid()
    nothing = os.open(os.devnull, os.O_RDWR)
    for handle in (0, 1, 2):
        os.dup2(nothing, handle)
    ptrace(SEIZE, pid, 0, OPTIONS)
    file = os.open(record, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o644)
    os.write(begin, b"!")
    os.close(begin)
    Tracer(pid, file, fault).watch()
    os._exit(0)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--fault", nargs=4)
    parser.add_argument("record")
    parser.add_argument("environment", type=json.loads)
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    trace_from_a_grandchild(options.record, tuple(options.fault) if options.fault else None)
    os.execve(options.command[0], options.command, {**os.environ, **options.environment})


if __name__ == "__main__":
    main()
