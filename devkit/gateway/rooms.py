# SPDX-License-Identifier: Apache-2.0
"""Builds the gateway's view of the file system, inside its own mount namespace.

A private directory of the gateway is covered by an empty tmpfs. The entries of the host's directory are then
mounted into it one by one and read-only, so that programs find the settings of their libraries but cannot change
the host (devices stay as they are). Overlay mounts would be shorter, but cannot be stacked often enough where
the root is an overlay already.
"""
import os
import pathlib
import stat
from collections.abc import Collection, Iterable, Mapping

import kernel

TMPFS_OPTIONS = "mode=0755"


def cover(directory: str, stage: str, own: Mapping[str, str]) -> None:
    """Covers `directory`. `own` maps names in it to the gateway's own files and directories.

    If the machine has no such directory, its parent is covered and gets one.
    """
    directory = os.path.realpath(directory)
    if not os.path.isdir(directory):
        above, name = os.path.split(directory)
        common = {os.path.dirname(source) for source in own.values()}
        cover(above, stage, {name: common.pop()})
        return
    original = os.path.join(stage, directory.strip("/").replace("/", "-"))
    os.makedirs(original, exist_ok=True)
    kernel.bind(directory, original)
    kernel.mount("tmpfs", directory, "tmpfs", options=TMPFS_OPTIONS)
    for entry in os.scandir(original):
        if entry.name not in own:
            _show_again(entry, os.path.join(directory, entry.name))
    for name, source in own.items():
        _show(source, os.path.join(directory, name))


def _show_again(entry: os.DirEntry[str], target: str) -> None:
    if entry.is_symlink():
        os.symlink(os.readlink(entry.path), target)
    elif entry.is_dir():
        os.mkdir(target)
        kernel.bind(entry.path, target, read_only=not target.startswith("/dev/"))
    elif entry.is_file():
        pathlib.Path(target).touch()
        kernel.bind(entry.path, target, read_only=True)
    elif stat.S_ISCHR(entry.stat().st_mode):
        pathlib.Path(target).touch()
        kernel.bind(entry.path, target)


def _show(source: str, target: str) -> None:
    if os.path.isdir(source):
        os.mkdir(target)
        kernel.bind(source, target)
    else:
        os.symlink(source, target)


def private_tmp(kept: Iterable[str], size: str) -> list[str]:
    """Mounts an empty /tmp in which the directories in `kept` stay visible at their paths.

    Returns the names in the new /tmp that exist for that reason only.
    """
    tmp = os.path.realpath("/tmp")
    inside = [path for path in map(os.path.realpath, kept) if path.startswith(tmp + "/")]
    handles = [(path, os.open(path, os.O_PATH | os.O_DIRECTORY)) for path in inside]
    kernel.mount("tmpfs", tmp, "tmpfs", options=f"mode=1777,size={size}")
    for path, handle in handles:
        os.makedirs(path, exist_ok=True)
        kernel.bind(f"/proc/self/fd/{handle}", path)
        os.close(handle)
    return sorted({os.path.relpath(path, tmp).split("/")[0] for path in inside})


def empty_tmp(keep: Collection[str]) -> None:
    """Empties /tmp as a reboot does, except for the names in `keep`."""
    for entry in os.scandir("/tmp"):
        if entry.name in keep:
            continue
        if entry.is_dir(follow_symlinks=False):
            _remove_tree(entry.path)
        else:
            os.unlink(entry.path)


def _remove_tree(path: str) -> None:
    for entry in os.scandir(path):
        if entry.is_dir(follow_symlinks=False):
            _remove_tree(entry.path)
        else:
            os.unlink(entry.path)
    os.rmdir(path)
