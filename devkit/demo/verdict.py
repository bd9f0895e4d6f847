# SPDX-License-Identifier: Apache-2.0
"""Compares the records of server and gateway with what the rollout had to do."""
import pathlib
from collections import Counter

from hawkbit_server import ActionType

from . import records
from .scene import DEVICE, PROPERTIES


def problems(scene, action, rollout, story, control):
    """A sentence for each problem."""
    yield from _problems_of_local_control(scene, action, rollout, control)
    yield from _problems_on_the_server(scene, action, rollout)
    yield from _problems_of_the_reports(scene, action, rollout)
    yield from scene.inventory().differences(rollout.left)
    if scene.life.reboots != 1:
        yield f"the gateway was rebooted {scene.life.reboots} times instead of once"
    for refusal in story.refusals:
        yield f"the server refused a request ({refusal})"
    if rollout.succeeds:
        for error in story.log.errors:
            yield f"the daemon logged an error: {error}"
    elif not story.log.errors:
        yield "the daemon did not log the failure"


def _problems_of_local_control(scene, action, rollout, control):
    agents = [{"id": DEVICE, "config": records.first_attributes(scene)}]
    if control.agents != {"agents": agents}:
        yield f"get_agents replied {control.agents} instead of what the server was sent, {agents}"
    pending = control.pending
    if pending.get("action_id") != str(action.id):
        yield f"action {pending.get('action_id')!r} was held back instead of '{action.id}'"
    expected = [{"type": chunk.type, "version": chunk.version} for chunk in rollout.chunks]
    # A gateway with the shipped options tells more.
    chunks = [{name: chunk.get(name) for name in ("type", "version")} for chunk in pending.get("chunks", ())]
    if chunks != expected:
        yield f"the chunks {chunks} were held back instead of {expected}"
    if control.accepted != {"success": True}:
        yield f"accept_deployment replied {control.accepted}"
    early = records.premature(scene, control)
    if early:
        yield (f"{len(early)} requests of the rollout came before the user had accepted it, "
               f"the first one to {early[0].path}")


def _problems_on_the_server(scene, action, rollout):
    if action.type is not ActionType.SOFT:
        yield f"the action is {action.type.value} and not soft"
    if action.status.value != rollout.status or action.spoilt:
        yield f"the server has recorded {action.status.value} instead of {rollout.status}"
    # The daemon was started dormant after the reboot.
    for key, value in {**PROPERTIES, "dormant": "1"}.items():
        found = action.target.attributes.get(key)
        if found != value:
            yield f"the attribute {key} is {found!r} on the server, not {value!r}"
    files = [name for chunk in rollout.touched for name in chunk.files]
    loaded = [pathlib.PurePosixPath(each.path).name for each in records.downloads(scene)]
    if loaded != files:
        yield f"the files {', '.join(loaded) or '(none)'} were downloaded instead of {', '.join(files)}"


def _problems_of_the_reports(scene, action, rollout):
    found = [report[:3] for report in records.reports(scene, action)]
    lost, unexpected = Counter(rollout.reports), Counter(found)
    for report in (lost - unexpected).elements():
        yield f"the report {_shown(report)} is missing"
    for report in (unexpected - lost).elements():
        yield f"the report {_shown(report)} should not have come"
    if found != rollout.reports and Counter(found) == Counter(rollout.reports):
        yield f"the reports came in another order: {'; '.join(map(_shown, found))}"
    closing = records.closing_reports(scene, action)
    if len(closing) != 1:
        yield f"the end was reported {len(closing)} times"
        return
    result = "success" if rollout.succeeds else "failure"
    if closing[0].finished != result:
        yield f"the last report says {closing[0].finished} instead of {result}"
    told = "\n".join(closing[0].details)
    for text in rollout.closing_details:
        if text not in told:
            yield f"the last report does not say {text!r} but {told!r}"


def _shown(report):
    return " ".join(filter(None, report))
