# SPDX-License-Identifier: Apache-2.0
"""Makes what the simulated tools can install: firmware images and packages."""
import gzip
import io
import tarfile
from collections.abc import Mapping


def firmware_image(version: str, size: int = 4096) -> bytes:
    """An image of a firmware such as "2.1_20260101"; its first line holds the version."""
    number, date = version.split("_")
    header = f"FIRMWARE_VERSION={number} FIRMWARE_DATE={date}\n".encode()
    # Neither text nor uniform, like a real image.
    filler = bytes((place * 7 + place // 251) % 256 for place in range(1024))
    return header + (filler * (size // len(filler) + 1))[:max(0, size - len(header))]


def package(name: str, version: str, files: Mapping[str, bytes]) -> bytes:
    """A package in the form of an .ipk. `files` maps names below /etc/installed to contents."""
    control = f"Package: {name}\nVersion: {version}\nArchitecture: all\n".encode()
    data = {f"./etc/installed/{path}": content for path, content in files.items()}
    return _archive({"./debian-binary": b"2.0\n", "./data.tar.gz": _archive(data),
                     "./control.tar.gz": _archive({"./control": control})})


def _archive(members: Mapping[str, bytes]) -> bytes:
    """Packs reproducibly: the same members give the same bytes."""
    packed = io.BytesIO()
    with tarfile.open(fileobj=packed, mode="w") as archive:
        for name, content in members.items():
            member = tarfile.TarInfo(name)
            member.size = len(content)
            archive.addfile(member, io.BytesIO(content))
    return gzip.compress(packed.getvalue(), mtime=0)
