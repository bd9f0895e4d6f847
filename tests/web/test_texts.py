# SPDX-License-Identifier: Apache-2.0
"""The page in another language than that of its sources."""
from texts import catalogue


def test_page_is_german_for_germans(bench, control, home):
    bench.start()
    control.wait_until_served()

    home.open(language="de", texts=catalogue("po/de/zephran.po"))

    home.wait_for_text("sentence", "Es steht keine Aktualisierung an.")
    assert home.buttons() == ["Jetzt nach Aktualisierungen suchen"]
