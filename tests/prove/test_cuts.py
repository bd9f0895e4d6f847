# SPDX-License-Identifier: Apache-2.0
"""Whether the judges of power cuts see what must not happen."""
import contextlib
import dataclasses

import pytest

from cuts import Adapters, OnePart
from history import Violation
from power_cut_rows import EXPECTED, START_TAKEN


def test_cut_after_the_start_ends_as_written(tmp_path, pki):
    with contextlib.closing(OnePart(tmp_path, pki, "shipped", "zw")) as history:
        history.run_into(START_TAKEN)

        history.judge(EXPECTED["shipped"]["zw"][START_TAKEN])


def test_other_number_of_installations_is_a_violation(tmp_path, pki):
    expected = dataclasses.replace(EXPECTED["none"]["opkg"][START_TAKEN], installations=3)
    with contextlib.closing(OnePart(tmp_path, pki, "none", "opkg")) as history:
        history.run_into(START_TAKEN)

        with pytest.raises(Violation, match=r"instead of \(3,"):
            history.judge(expected)


def test_adapter_without_its_firmware_is_a_violation(tmp_path, pki):
    with contextlib.closing(Adapters(tmp_path, pki, "none")) as history:
        history.run_into_report(1, is_taken=True)
        for action in history.actions:
            history.bench.wait_for_end(action)
        history.modems[0].set("SYSTEM.GENERAL.FW_VERSION", "0")

        with pytest.raises(Violation, match="without firmware"):
            history.judge(3)
