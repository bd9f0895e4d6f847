# SPDX-License-Identifier: Apache-2.0
"""How a deployment of one chunk has to end when the power fails once: the tables of docs/recovery.md, row by row.

It was written down before the first history was played. A row that differs from the page is an error of one of them.
"""
from hawkbit_server import Status
from report_moments import ALREADY, DONE, ENDED, STARTED, WRONG_FIRMWARE, Outcome

DOWNLOAD = "during the download"
START_LOST, START_TAKEN = "before the start is taken", "after the start is taken"
BEFORE, MIDWAY, AFTER = "before the tool", "while the tool is running", "after the tool"
CHUNK_LOST, CHUNK_TAKEN = "before the chunk is taken", "after the chunk is taken"
END_LOST, END_TAKEN = "before the end is taken", "after the end is taken"

ONCE = Outcome(1, (STARTED, DONE, ENDED))
AGAIN = Outcome(2, (STARTED, STARTED, DONE, ENDED))
STARTED_TWICE = Outcome(1, (STARTED, STARTED, DONE, ENDED))
NEVER_RUN = Outcome(0, (STARTED, DONE, ENDED))
PASSED_OVER = Outcome(1, (STARTED, ALREADY, ENDED))
PASSED_OVER_LATER = Outcome(1, (STARTED, DONE, ALREADY, ENDED))
TWICE = Outcome(2, (STARTED, DONE, STARTED, DONE, ENDED))
NOT_WRITTEN = Outcome(1, (STARTED, WRONG_FIRMWARE), status=Status.ERROR)
NOT_BEGUN = Outcome(0, (STARTED, WRONG_FIRMWARE), status=Status.ERROR)

# A chunk with a version record.
RECORDED = {DOWNLOAD: ONCE, START_LOST: ONCE, START_TAKEN: STARTED_TWICE, BEFORE: AGAIN, MIDWAY: AGAIN, AFTER: AGAIN,
            CHUNK_LOST: PASSED_OVER, CHUNK_TAKEN: PASSED_OVER_LATER, END_LOST: PASSED_OVER_LATER, END_TAKEN: ONCE}

# Without options.
NONE = {
    "os": {**RECORDED, START_TAKEN: NOT_BEGUN, BEFORE: NOT_WRITTEN, MIDWAY: NOT_WRITTEN, AFTER: ONCE,
           CHUNK_LOST: ONCE},
    "script": {DOWNLOAD: ONCE, START_LOST: ONCE, START_TAKEN: NEVER_RUN, MIDWAY: ONCE, CHUNK_LOST: ONCE,
               CHUNK_TAKEN: TWICE, END_LOST: TWICE, END_TAKEN: ONCE},
    "zw": RECORDED,
    # The flash is compared before it is written.
    "bl": {**RECORDED, AFTER: STARTED_TWICE},
    "plc": {moment: outcome for moment, outcome in RECORDED.items() if moment != MIDWAY},
    "plc_ghn": RECORDED,
    "opkg": {**RECORDED, CHUNK_LOST: AGAIN, CHUNK_TAKEN: TWICE, END_LOST: TWICE},
}
# With the shipped ones a start counts if the gateway has noted it, and the end is kept.
SHIPPED = {part: {**rows, END_LOST: ONCE,
                  **({START_TAKEN: STARTED_TWICE} if part in ("os", "script") else {})}
           for part, rows in NONE.items()}
EXPECTED = {"none": NONE, "shipped": SHIPPED}

# Three adapters get firmware at once, and the second of them is interrupted: how many images are sent in all.
ADAPTERS = {DOWNLOAD: 3, START_LOST: 3, START_TAKEN: 3, BEFORE: 4, MIDWAY: 4, AFTER: 4, CHUNK_LOST: 3, CHUNK_TAKEN: 3,
            END_LOST: 3, END_TAKEN: 3}
