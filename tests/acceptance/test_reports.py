# SPDX-License-Identifier: Apache-2.0
"""The server's record of a program's output, however long and unusual it is."""
import re

import pytest

from flow import assert_closed_once, reports, start_known, started, takes_the_next

PIECE = 512
MOST_PIECES = 39
MARKUP = "<b>bold</b> x<y && z>w <!-- c --><?xml?> 1 < 2, <<EOF, &lt;"
RECORDED_MARKUP = "< b>bold< /b> x< y && z>w < !-- c -->< ?xml?> 1 < 2, << EOF, &lt;"
HALF = re.compile("[\ud800-\udfff]")
LEFT_OUT = re.compile(r"\n\[\.\.\. (\d+) characters left out \.\.\.\]\n")


def units(text):
    """Length in the units that the server counts."""
    return len(text.encode("utf-16-le", "surrogatepass")) // 2


def joined(pieces):
    """The text without the blanks that keep a cut from splitting a character of two units."""
    following = [*pieces[1:], "\n"]
    return "".join(piece[:-1] if piece.endswith(" ") and ord(after[0]) > 0xFFFF else piece
                   for piece, after in zip(pieces, following, strict=True))


def printing(line, times):
    """A script that prints a line many times, between a first and a last one."""
    return (f"echo first; i=0; while [ $i -lt {times} ]; do\ncat <<'END'\n{line}\nEND\n"
            "i=$((i+1)); done; echo last\n")


def assert_long_text_is_recorded(pieces, line, recorded_line, times):
    text = joined(pieces)
    whole = "\n".join(["first", *[recorded_line] * times, "last"])
    assert max(map(units, pieces)) <= PIECE
    assert not any(HALF.search(piece) for piece in pieces)
    assert MOST_PIECES - 4 <= len(pieces) <= MOST_PIECES
    head, left_out, tail = LEFT_OUT.split(text)
    assert whole.startswith(head)
    assert whole.endswith(tail)
    assert len(head) + int(left_out) + len(tail) == len(whole)
    assert units(head) > 9000
    assert units(tail) > 9000


@pytest.mark.parametrize("line, recorded_line", [
    pytest.param(MARKUP, RECORDED_MARKUP, id="markup"),
    pytest.param("\u00e4" * 60, "\u00e4" * 60, id="umlauts"),
    pytest.param("a\N{PARTY POPPER}" * 20 + "\N{PARTY POPPER}" * 10,
                 "a\N{PARTY POPPER}" * 20 + "\N{PARTY POPPER}" * 10, id="emoji")])
def test_output_of_60000_characters_is_recorded_in_pieces(home, line, recorded_line):
    times = 60_000 // len(line) + 1
    module = home.script("one", printing(line, times))
    start_known(home)

    action = home.assign(module)
    home.poll_now()
    record = assert_closed_once(home, action, "finished")

    begun, done, _ = reports(record)
    assert begun == started(module.chunk)
    assert done.messages[:2] == ("Chunk deployed", module.chunk)
    assert_long_text_is_recorded(done.messages[2:], line, recorded_line, times)


def test_markup_in_an_output_is_recorded_with_blanks(home):
    module = home.script("one", f"cat <<'END'\n{MARKUP}\nEND\nprintf 'bell \\007 and \\033[1mbold\\n'")
    start_known(home)

    action = home.assign(module)
    home.poll_now()
    record = assert_closed_once(home, action, "finished")

    assert reports(record)[1].messages[2] == f"{RECORDED_MARKUP}\nbell   and  [1mbold"


def test_failing_script_is_recorded_with_its_texts(home):
    module = home.script("one", "echo '<b>it broke</b>'; exit 3")
    daemon = start_known(home)

    action = home.assign(module)
    home.poll_now()
    record = assert_closed_once(home, action, "error")

    assert [report.type for report in reports(record)] == ["running", "error"]
    assert reports(record)[1].messages == (
        "Script returned an error",
        "script_exit_code: 3\nscript_output: < b>it broke< /b>", module.chunk)
    assert home.server.target(home.device).update_status == "error"
    assert takes_the_next(home)
    assert home.server.target(home.device).update_status == "in_sync"
    assert daemon.is_running()
    assert home.gateway.leftovers() == []


def test_failing_script_with_a_long_output_is_recorded_too(home):
    line = "<i>" + "y" * 57
    module = home.script("one", printing(line, 1000) + "exit 1\n")
    start_known(home)

    action = home.assign(module)
    home.poll_now()
    record = assert_closed_once(home, action, "error")

    failure = reports(record)[-1].messages
    assert failure[0] == "Script returned an error"
    assert failure[-1] == module.chunk
    assert len(failure) <= MOST_PIECES
    assert LEFT_OUT.search("".join(failure[1:-1]))
    assert "".join(failure[1:-1]).rstrip().endswith("last")
