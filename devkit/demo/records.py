# SPDX-License-Identifier: Apache-2.0
"""What the update server has recorded about the rollout."""
from typing import NamedTuple


class Report(NamedTuple):
    """What the device reported and the server accepted. `chunk` is empty in a closing report."""

    title: str
    chunk: str
    progress: str
    execution: str
    finished: str
    details: tuple[str, ...]


def reports(scene, action):
    return [_read(each.json()["status"]) for each in scene.server.exchanges("feedback")
            if each.action == action.id and each.status == 200]


def _read(status):
    details = [*status["details"], "", ""]
    progress = status["result"].get("progress", {})
    chunk = "" if status["execution"] == "closed" else details[1]
    return Report(details[0], chunk, f"{progress.get('count')}/{progress.get('of')}",
                  status["execution"], status["result"]["finished"], tuple(status["details"]))


def closing_reports(scene, action):
    return [report for report in reports(scene, action) if report.execution == "closed"]


def downloads(scene):
    return [each for each in scene.server.exchanges("artifact") if each.outcome == "answered"]


def first_attributes(scene):
    """The attributes that the device sent before anything was installed."""
    return next((each.json()["data"] for each in scene.server.exchanges("configData")), None)


def premature(scene, control):
    """Downloads and reports of the rollout from before the user accepted it."""
    return [each for kind in ("artifact", "feedback") for each in scene.server.exchanges(kind)
            if each.arrived < control.accepted_at]
