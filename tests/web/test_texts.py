# SPDX-License-Identifier: Apache-2.0
"""Everything that a person reads can be translated, and is."""
import re

from texts import APP, catalogue, shown

LARGEST = 60_000


def test_template_has_all_texts_and_no_others():
    assert set(catalogue("po/templates/zephran.pot")) == shown()


def test_german_is_complete_and_keeps_the_values():
    german = catalogue("po/de/zephran.po")

    assert set(german) == shown()
    assert not [text for text, translated in german.items() if not translated]
    values = r"%[sd]"
    assert [text for text, translated in german.items()
            if re.findall(values, text) != re.findall(values, translated)] == []


def test_own_files_are_small():
    served = [path for path in APP.rglob("*") if path.is_file() and "po" not in path.relative_to(APP).parts]

    assert 0 < sum(path.stat().st_size for path in served) < LARGEST


def test_page_is_german_for_germans(bench, control, home):
    bench.start()
    control.wait_until_served()

    home.open(language="de", texts=catalogue("po/de/zephran.po"))

    home.wait_for_text("sentence", "Es steht keine Aktualisierung an.")
    assert home.buttons() == ["Jetzt nach Aktualisierungen suchen"]
