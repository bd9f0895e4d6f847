# SPDX-License-Identifier: Apache-2.0
"""Reports: texts that the server would refuse, and a server that accepts no report."""
import re

import pytest

from hawkbit_server import Code, Drop, Status


def output_of(bench):
    """The program's output as the server has recorded it."""
    return bench.reports()[1][3][2]


@pytest.mark.parametrize("printed, recorded", [
    ("<b>bold</b>", "< b>bold< /b>\n"),
    ("std::vector<int> x<y && z>w", "std::vector< int> x< y && z>w\n"),
    ("<!-- c --><?xml?>", "< !-- c -->< ?xml?>\n"),
    ("1 < 2, a<2, <<EOF, &lt;", "1 < 2, a<2, << EOF, &lt;\n"),
])
def test_markup_in_output_is_made_acceptable(bench, printed, recorded):
    action = bench.assign(bench.script("one", f"cat <<'END'\n{printed}\nEND"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert output_of(bench) == recorded
    assert {each.status for each in bench.exchanges("feedback")} == {200}


def test_control_characters_become_blanks(bench):
    action = bench.assign(bench.script("one", r"printf 'a\001b\033[1mc\td\r\n'"))
    bench.start()

    bench.wait_for_end(action)

    assert output_of(bench) == "a b [1mc\td \n"


def test_output_that_is_not_text_does_no_harm(bench):
    action = bench.assign(bench.script("one", r"printf 'a\377\376b\n'"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert re.fullmatch("a.+b\n", output_of(bench))


@pytest.mark.parametrize("character", ["x", "ä", "\N{PARTY POPPER}"], ids=["ascii", "umlaut", "emoji"])
def test_long_output_keeps_its_beginning_and_end(bench, character):
    script = (f"echo first; i=0; while [ $i -lt 1200 ]; do "
              f"echo '{character * 49}'; i=$((i+1)); done; echo last")
    action = bench.assign(bench.script("one", script))
    bench.start()

    bench.wait_for_end(action)

    kept = output_of(bench)
    units = len(kept.encode("utf-16-le")) // 2
    assert {each.status for each in bench.exchanges("feedback")} == {200}
    assert action.status is Status.FINISHED
    assert kept.startswith("first\n")
    assert kept.rstrip().endswith("\nlast")
    assert 10000 < units < 40 * 512
    assert set(kept) >= {character}


def test_long_output_of_a_failure_is_recorded_too(bench):
    action = bench.assign(bench.script(
        "one", "i=0; while [ $i -lt 1200 ]; do echo '<b>" + "y" * 45 + "'; i=$((i+1)); done; exit 1"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert {each.status for each in bench.exchanges("feedback")} == {200}
    assert bench.closing_reports()[0][3][0] == "Script returned an error"


@pytest.mark.differs("kept-reports")
@pytest.mark.parametrize("fault", [Code(500), Code(410), Drop()], ids=["500", "410", "dropped"])
def test_failed_report_ends_the_process_and_a_restart_resumes_the_deployment(bench, fault):
    bench.server.order("feedback", fault)
    action = bench.assign(bench.script("one", "echo fine"))
    daemon = bench.start()

    status = daemon.wait()
    bench.start()
    bench.wait_for_end(action)

    assert status == 1
    assert re.search(r"ERROR \S+ main: event=exception_caught action=main what=", daemon.err)
    assert action.status is Status.FINISHED
    assert bench.gateway.leftovers() == []


@pytest.mark.differs("kept-reports")
def test_lost_closing_report_is_sent_again(bench):
    bench.server.order("feedback", Code(500), first=3)
    action = bench.assign(bench.script("one", "echo fine"))
    daemon = bench.start()

    status = daemon.wait()
    bench.start()
    bench.wait_for_end(action)

    assert status == 1
    assert action.status is Status.FINISHED
    assert [report[0] for report in bench.reports()][-1] == "closed"
