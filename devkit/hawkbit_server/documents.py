# SPDX-License-Identifier: Apache-2.0
"""The JSON documents as hawkBit 0.9.0 sends them, member by member."""

from __future__ import annotations

import random
from typing import Any
from urllib.parse import quote, quote_plus

from . import history
from .model import Action, ActionType, Artifact, SoftwareModule, Status, Target
from .settings import Settings, format_sleep, parse_sleep

# Two types of modules keep the names that devices knew before the types were renamed.
LEGACY_PARTS = {"application": "bApp", "runtime": "jvm"}
HASH_STEP = 29791


class Links:
    """Builds links as the server does, with host and port of the request.

    Ids are escaped (colons too), except in links to artifacts: their pattern takes the id as it is.
    """

    def __init__(self, settings: Settings, scheme: str, host: str, tenant: str, target_id: str) -> None:
        self.settings = settings
        path = f"{host}/{tenant}/controller/v1"
        self.base = f"{settings.base_scheme or scheme}://{path}/{quote(target_id, safe='')}"
        self.artifacts = f"{settings.artifact_scheme or scheme}://{path}/{target_id}"

    def to(self, resource: str) -> dict[str, str]:
        return {"href": f"{self.base}/{resource}"}

    def artifact(self, module: SoftwareModule, artifact: Artifact) -> dict[str, dict[str, str]]:
        """The file name is form-encoded, so a blank becomes a plus, which the server itself rejects."""
        name = quote_plus(artifact.filename, safe="*").replace("~", "%7E")
        url = f"{self.artifacts}/softwaremodules/{module.id}/artifacts/{name}"
        return {rel: {"href": url + (".MD5SUM" if rel.startswith("md5sum") else "")}
                for rel in self.settings.link_names}


def change_hash(action: Action, now: float) -> int:
    """The `c` of a deployment link: a signed 32-bit number that changes with the action."""
    value = action.id * HASH_STEP * 31 + action.revision * HASH_STEP - 2127183556
    if action.window is not None and action.window.available(now):
        value += 12
    if action.is_forced(now):
        value += 1231
    return (value + 2**31) % 2**32 - 2**31


def sleep_time(settings: Settings, action: Action | None, now: float) -> str:
    """The polling time; before a maintenance window about a third of the remaining time."""
    usual = parse_sleep(settings.poll)
    left = action.window.time_left(now) if action is not None and action.window is not None else None
    if left is None:
        return settings.poll
    return format_sleep(max(parse_sleep(settings.min_poll), min(usual, int(left / 3))))


def controller_base(settings: Settings, links: Links, target: Target, action: Action | None,
                    installed: Action | None, now: float) -> dict[str, Any]:
    """`_links` is absent when there are none; deploymentBase and cancelAction never occur together.

    The link to the installed action depends on its recorded state: a spoilt record loses it.
    """
    found: dict[str, Any] = {}
    if action is not None and action.is_cancelling():
        found["cancelAction"] = links.to(f"cancelAction/{action.id}")
    elif action is not None:
        found["deploymentBase"] = links.to(f"deploymentBase/{action.id}?c={change_hash(action, now)}")
    if installed is not None and installed.status is Status.FINISHED:
        found["installedBase"] = links.to(f"installedBase/{installed.id}")
    if target.attributes_requested:
        found["configData"] = links.to("configData")
    document: dict[str, Any] = {"config": {"polling": {"sleep": sleep_time(settings, action, now)}}}
    if found:
        document["_links"] = found
    return document


def _chunk(links: Links, module: SoftwareModule) -> dict[str, Any]:
    artifacts = [{"filename": each.filename,
                  "hashes": {name: each.digest(name) for name in ("sha1", "md5", "sha256")},
                  "size": len(each.content),
                  "_links": links.artifact(module, each)} for each in module.artifacts]
    chunk = {"part": LEGACY_PARTS.get(module.type, module.type), "version": module.version,
             "name": module.name, "artifacts": artifacts}
    if module.metadata:
        chunk["metadata"] = [{"key": key, "value": value} for key, value in module.metadata]
    return chunk


def handling(action: Action, now: float) -> tuple[str, str]:
    """The words for `download` and `update`: forced, attempt or skip."""
    download = "forced" if action.is_forced(now) else "attempt"
    shut = action.window is not None and not action.window.available(now)
    return download, "skip" if shut or action.type is ActionType.DOWNLOADONLY else download


def deployment_base(settings: Settings, links: Links, action: Action, requested_history: int,
                    now: float, chance: random.Random) -> dict[str, Any]:
    """`actionHistory` is present only when history was requested and there is something to show."""
    download, update = handling(action, now)
    modules = list(action.distribution_set.modules)
    if settings.chunk_order == "reversed":
        modules.reverse()
    deployment: dict[str, Any] = {"download": download, "update": update,
                                  "chunks": [_chunk(links, module) for module in modules]}
    if action.window is not None:
        deployment["maintenanceWindow"] = "available" if action.window.available(now) else "unavailable"
    document: dict[str, Any] = {"id": str(action.id), "deployment": deployment}
    messages = history.read(action.entries, requested_history, settings.history_order, chance)
    if messages:
        document["actionHistory"] = {"status": action.status.name, "messages": messages}
    return document


def cancel_action(action: Action) -> dict[str, Any]:
    """Both ids are the id of the update action itself."""
    return {"id": str(action.id), "cancelAction": {"stopId": str(action.id)}}
