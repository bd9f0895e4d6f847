# SPDX-License-Identifier: Apache-2.0
"""What the viewer sees: sentences with the elapsed time, and progress lines."""
import os
import shutil
import sys
import textwrap
import time

BAR_WIDTH = 20
STEPS = 4
WORTH_STEPS = 100_000
INDENT = " " * 9


def megabytes(count):
    return f"{count / 1e6:.1f} MB" if count >= WORTH_STEPS else f"{count} bytes"


class Screen:
    """On a terminal a progress line is updated in place; elsewhere each quarter gets a line."""

    def __init__(self, stream=sys.stdout):
        self.stream = stream
        self.begin = time.monotonic()
        self._moves = stream.isatty() and os.environ.get("TERM", "dumb") != "dumb"
        self._open = False
        self._shown_step = None
        self._width = min(shutil.get_terminal_size((100, 24)).columns, 100) if self._moves else 100

    @property
    def seconds(self):
        return time.monotonic() - self.begin

    def say(self, sentence):
        """One statement about what has just happened."""
        stamp = f"[{self.seconds:4.0f} s] "
        self._write(textwrap.fill(sentence, self._width, initial_indent=stamp,
                                  subsequent_indent=INDENT, break_on_hyphens=False))

    def quote(self, text, mark=">"):
        """Quoted text, for example the output of a script."""
        for line in text.splitlines():
            self._write(f"{INDENT}{mark} {line}")

    def verbatim(self, text):
        """What a command printed, laid out as on a terminal of its own."""
        for line in text.splitlines():
            self._write(INDENT + line.expandtabs())

    def heading(self, text):
        self._write(f"\n{text}")

    def row(self, name, value):
        """One line of a table."""
        self._write(textwrap.fill(value, self._width, initial_indent=f"  {name:<16}",
                                  subsequent_indent=" " * 18, break_on_hyphens=False))

    def progress(self, name, done, total):
        """Shows progress; `done` equal to `total` ends the line."""
        share = done / total
        if self._moves:
            bar = "#" * int(share * BAR_WIDTH)
            text = (f"{INDENT}{name} [{bar:<{BAR_WIDTH}}] {share:4.0%}, "
                    f"{megabytes(done)} of {megabytes(total)}")
            self.stream.write("\r" + text[:self._width - 1].ljust(self._width - 1))
            self.stream.flush()
            self._open = done < total
            if not self._open:
                self.stream.write("\n")
                self.stream.flush()
            return
        step = int(share * STEPS) if total >= WORTH_STEPS else None
        if self._shown_step not in (None, step) or done == total:
            self._write(f"{INDENT}{name}: {share:4.0%}, {megabytes(done)} of {megabytes(total)}")
        self._shown_step = None if done == total else step

    def _write(self, text):
        if self._open:
            self.stream.write("\n")
            self._open = False
        self.stream.write(text + "\n")
        self.stream.flush()
