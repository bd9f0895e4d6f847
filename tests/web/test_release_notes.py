# SPDX-License-Identifier: Apache-2.0
"""What the page tells of a release before anybody agrees to it."""
from household import HOSTILE, offer, offer_modules

# As many as the daemon tells, and far more than anybody reads.
MANY = 1000


def test_parts_have_names_sizes_and_notes(bench, control, home):
    radio = bench.module("zw", "radio", "6.8", {"radio.bin": b"\0" * 2_600_000, "table": b"\0" * 100_000},
                         {"Changes": "Faster pairing.\nFewer repeats.", "Lasts": "two minutes"})
    offer_modules(bench, control, radio, bench.module("script", "settings", "1.4", {"set.sh": b"#!/bin/sh\n"}))

    home.open()

    home.wait_for_text("release", "Z-Wave radio 6.8, radio, 2.7 MB\n"
                                  "Changes: Faster pairing.\nFewer repeats.\nLasts: two minutes\n"
                                  "Script 1.4, settings, 10 B")
    group = home.run("const node = document.querySelector('[data-area=release] [role=group]');"
                     "return [node.ariaLabel, node.tabIndex]")
    assert group == ["Release notes", 0]


def test_notes_are_text(bench, control, home):
    offer_modules(bench, control,
                  bench.module("script", HOSTILE, "1.0", {"a.sh": b"#!/bin/sh\n"}, {HOSTILE[:100]: HOSTILE}))
    home.narrow(360)

    home.open()

    home.wait_for_text("release", "onerror=document.title='taken'>\ufffdgnp.")
    assert home.text("release").count("<img src=x") == 3
    assert home.browser.title == "Gateway"
    assert home.run("return document.images.length") == 0
    assert home.fits()


def test_notes_keep_their_lines_and_lose_what_turns_them(bench, control, home):
    offer(bench, control, notes={"Changes": "one\r\n\ttwo\rthree\u061cfour\u200f\u0085"})

    home.open()

    home.wait_for_text("release", "Changes: one\n two\nthree\ufffdfour\ufffd\ufffd")


def test_many_notes_leave_the_buttons_in_reach(bench, control, home):
    offer(bench, control, notes={f"note {number}": "x" * 20 for number in range(MANY)})

    home.open()

    home.wait_for_text("release", f"note {MANY - 1}: ")
    assert home.run("return document.querySelector('[data-area=release]').clientHeight < innerHeight")
    assert "Install now" in home.buttons()
