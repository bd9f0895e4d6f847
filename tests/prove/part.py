# SPDX-License-Identifier: Apache-2.0
"""What a part of script/prove is made of.

Each file of parts/ is a part, by its own name, with a class `Cases`. Nothing else has to be changed for a new one.
"""
import dataclasses
import importlib
import pathlib
import tempfile

from pki import Pki

PARTS = pathlib.Path(__file__).parent / "parts"
# Seconds of real time after which a history that does not end counts as hanging.
HANGS = 60
VIOLATION = "VIOLATION"
KNOWN_LIMIT = "known limit"
DIVIDER = " / "


@dataclasses.dataclass(frozen=True)
class Workshop:
    """Where the cases of a part are played.

    scratch  a directory that is deleted at the end
    kept     a directory for what is left for the next call
    pki      certificates of a server and of the device "gw-1"
    """

    scratch: pathlib.Path
    kept: pathlib.Path
    pki: Pki

    def make_directory(self):
        """A new one for a history."""
        return pathlib.Path(tempfile.mkdtemp(dir=self.scratch))


class Part:
    """A part's cases, and what becomes of each.

    summary  what the part tries, for the list of parts
    columns  headings of the first columns of the table: each row counts the cases of one group
    is_played_unasked  whether it is played when no part is named
    """

    summary = ""
    is_played_unasked = True
    columns = ("Options", "Trouble")

    def __init__(self, workshop):
        self.workshop = workshop

    def cases(self):
        """All of them, by name; run() gets the values. Pieces of a name are divided by DIVIDER."""
        raise NotImplementedError

    def play(self, case):
        """Runs a case, and deletes its files."""
        workshop = self.workshop
        with tempfile.TemporaryDirectory(dir=workshop.scratch) as room:
            self.workshop = dataclasses.replace(workshop, scratch=pathlib.Path(room))
            try:
                return self.run(case)
            finally:
                self.workshop = workshop

    def run(self, case):
        """How it has ended, in a word that heads a column of the table, and more words if that is remarkable.

        What must not happen ends with VIOLATION.
        """
        raise NotImplementedError

    def length(self, name):
        """How long the case takes compared with others: shorter ones are played first."""
        return 0

    def lane(self, name):
        """Cases of one lane are never played at the same time; None for those that may be played beside any."""
        return None

    def row(self, name):
        """The case's row of the table: a text for each of the columns."""
        pieces = name.split(DIVIDER)
        return pieces[0], pieces[-1]


def names():
    """Those of all parts."""
    return sorted(file.stem.replace("_", "-") for file in PARTS.glob("*.py"))


def find(name):
    """The class of a part."""
    return importlib.import_module(f"parts.{name.replace('-', '_')}").Cases
