# SPDX-License-Identifier: Apache-2.0
"""A request as the resources see it: parsed path, firewall rules, content negotiation."""

from __future__ import annotations

import re
from dataclasses import dataclass
from urllib.parse import parse_qs, unquote, unquote_to_bytes

from . import errors

# Escapes and characters in a path that the real server's firewall answers with 400, whatever the resource.
_FIREWALL = re.compile(r";|//|\\|%(?:00|0[aAdD]|25|2[eEfF]|3[bB]|5[cC])|/\.\.?(?:/|$)")
_FIREWALL_HTML = re.compile(r"%(?:2[fF]|5[cC])")
# Characters that must be escaped in a request line; the real server's HTTP parser refuses them.
_UNESCAPED = re.compile(r"[^\x21-\x7e]|[\"<>\\^`{|}#]")
_ROUTE = re.compile(r"/(?P<tenant>[^/]+)/controller/v1/(?P<target>[^/]+)(?:/(?P<rest>.+))?")
_ARTIFACT = re.compile(r"softwaremodules/(?P<module>[^/]+)/artifacts/(?P<file>[^/]+)")
_ACTION = re.compile(r"(?P<resource>deploymentBase|cancelAction|installedBase)/(?P<action>[^/]+)(?P<tail>/feedback)?")
_NUMBER = re.compile(r"-?\d{1,19}")
MD5SUM = ".MD5SUM"


@dataclass(frozen=True)
class Route:
    """Where a path leads. `tenant` is as written (case is ignored), `target` and `file` are decoded."""

    kind: str
    tenant: str = ""
    target: str | None = None
    action: str | None = None
    module: str | None = None
    file: str | None = None

    def methods(self) -> tuple[str, ...]:
        if self.kind in ("feedback", "cancelFeedback"):
            return ("POST",)
        if self.kind == "configData":
            return ("PUT",)
        return ("GET", "HEAD")

    def action_number(self) -> int:
        return number(self.action)


@dataclass(frozen=True)
class Request:
    method: str
    path: str
    query: str
    headers: dict[str, str]
    scheme: str
    body: bytes
    route: Route
    client_subject: str | None = None

    def parameter(self, name: str) -> str | None:
        """The first value of a query parameter; all others are ignored."""
        return parse_qs(self.query, keep_blank_values=True).get(name, [None])[0]

    def history(self) -> int:
        """Throws the 400 refusal unless `actionHistory` and `c` are numbers."""
        for name in ("c", "actionHistory"):
            text = self.parameter(name)
            if text:
                number(text)
        return number(self.parameter("actionHistory") or "0")


def number(text: str | None) -> int:
    if text is None or not _NUMBER.fullmatch(text) or not -2**63 <= int(text) < 2**63:
        raise errors.not_readable()
    return int(text)


def firewall(path: str) -> None:
    """Throws the 400 refusals for paths that never reach a resource of the real server."""
    if _UNESCAPED.search(path) or _FIREWALL_HTML.search(path):
        raise errors.html_page(400)
    if _FIREWALL.search(path):
        raise errors.framework(400)
    try:
        unquote_to_bytes(path).decode("utf-8")
    except UnicodeDecodeError as error:
        raise errors.framework(400) from error


def find_route(path: str) -> Route:
    """The resource that a path names; "other" for paths that name none."""
    match = _ROUTE.fullmatch(path)
    if match is None:
        return Route("other")
    tenant, target, rest = match["tenant"], unquote(match["target"]), match["rest"]
    if rest is None:
        return Route("base", tenant, target)
    if rest == "configData":
        return Route("configData", tenant, target)
    action = _ACTION.fullmatch(rest)
    if action is not None:
        kind = action["resource"]
        if action["tail"]:
            kind = {"deploymentBase": "feedback", "cancelAction": "cancelFeedback"}.get(kind, "other")
        return Route(kind, tenant, target, action["action"])
    artifact = _ARTIFACT.fullmatch(rest)
    if artifact is not None:
        file = unquote(artifact["file"])
        if file.endswith(MD5SUM) and file != MD5SUM:
            return Route("md5sum", tenant, target, None, artifact["module"], file[:-len(MD5SUM)])
        return Route("artifact", tenant, target, None, artifact["module"], file)
    return Route("other", tenant, target)


def negotiate(accept: str | None, offered: tuple[str, ...]) -> str:
    """The first offered media type that matches the Accept header; throws the 406 refusal when none does."""
    ranges = [part.strip().split(";") for part in (accept or "*/*").split(",") if part.strip()]
    wanted: list[tuple[float, int, str]] = []
    for name, *parameters in ranges:
        weight = 1.0
        for parameter in parameters:
            key, _, value = parameter.strip().partition("=")
            if key == "q":
                weight = _weight(value)
        for rank, media in enumerate(offered):
            major = media.split("/", maxsplit=1)[0]
            if weight > 0 and name.strip().lower() in ("*/*", f"{major}/*", media):
                wanted.append((-weight, rank, media))
    if not wanted:
        raise errors.html_page(406)
    return min(wanted)[2]


def _weight(text: str) -> float:
    try:
        return float(text)
    except ValueError:
        raise errors.html_page(406) from None


def demand_json(content_type: str | None) -> None:
    """Throws the 415 refusal unless the body is `application/json` (`application/hal+json` is refused, too)."""
    if (content_type or "").split(";")[0].strip().lower() != "application/json":
        raise errors.framework(415)
