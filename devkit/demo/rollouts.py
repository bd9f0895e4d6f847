"""What the demonstration rolls out, and how it has to end."""
import random
from dataclasses import dataclass
from typing import Mapping

MEGABYTE = 1000 * 1000
# Enough to watch, and the same bytes in every run.
SITE_DATA = random.Random(1).randbytes(4 * MEGABYTE)

GREETING = b"""#!/bin/sh -e
mkdir -p /etc/demo
echo "This gateway was updated." >/etc/demo/greeting
echo "wrote $(wc -c </etc/demo/greeting) bytes to /etc/demo/greeting"
"""

UNPACK = b"""#!/bin/sh -e
cp /tmp/site-data.bin /etc/demo/site-data.bin
echo "stored $(wc -c </etc/demo/site-data.bin) bytes as /etc/demo/site-data.bin"
"""

FAULTY = b"""#!/bin/sh
echo "looking for /etc/demo/licence"
[ -e /etc/demo/licence ] && exit 0
echo "there is no licence on this gateway"
exit 3
"""


@dataclass(frozen=True)
class Chunk:
    """One software module of type "script"; the first of its files is the one that is run."""

    name: str
    version: str
    files: Mapping[str, bytes]

    @property
    def text(self):
        """The chunk as the gateway names it in its reports."""
        return f"script:{self.name}:{self.version}"


@dataclass(frozen=True)
class Rollout:
    """Chunks, and what is to be found on the server and in the gateway's /etc/demo afterwards."""

    chunks: tuple[Chunk, ...]
    status: str
    closing_details: tuple[str, ...]
    installed: Mapping[str, bytes]

    @property
    def succeeds(self):
        return self.status == "finished"


GREETING_CHUNK = Chunk("greeting", "1.0", {"greeting.sh": GREETING})
GREETING_FILE = b"This gateway was updated.\n"

GOOD = Rollout(
    chunks=(GREETING_CHUNK,
            Chunk("site-data", "2.1", {"unpack.sh": UNPACK, "site-data.bin": SITE_DATA})),
    status="finished",
    closing_details=("Deployment successful",),
    installed={"greeting": GREETING_FILE, "site-data.bin": SITE_DATA})

FAILING = Rollout(
    chunks=(GREETING_CHUNK, Chunk("licence-check", "1.0", {"check.sh": FAULTY})),
    status="error",
    closing_details=("Script returned an error", "there is no licence on this gateway",
                     "script:licence-check:1.0"),
    installed={"greeting": GREETING_FILE})
