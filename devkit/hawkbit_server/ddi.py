# SPDX-License-Identifier: Apache-2.0
"""The resources of the Direct Device Integration interface of hawkBit 0.9.0."""

from __future__ import annotations

import random
from collections.abc import Callable

from . import artifacts, documents, errors, feedback, reply, validation
from .model import Action, Status, Target
from .reply import Reply
from .request import Request, demand_json, firewall, negotiate
from .store import Store

TENANT = "DEFAULT"
# The real server offers CBOR as well; nothing here needs it.
JSON_MEDIA = ("application/hal+json", "application/json")
RETRIEVED_UPDATE = "Target retrieved update action and should start now the download."
RETRIEVED_CANCEL = "Target retrieved cancel action and should start now the cancellation."


class Ddi:
    """Answers requests from the store. `demand_certificate` refuses clients without one, as a proxy in front does."""

    def __init__(self, store: Store, demand_certificate: bool, chance: random.Random) -> None:
        self.store = store
        self.demand_certificate = demand_certificate
        self.chance = chance
        self.resources: dict[str, Callable[[Request], Reply]] = {
            "base": self.base, "configData": self.config_data,
            "deploymentBase": self.deployment_base, "installedBase": self.installed_base,
            "feedback": self.deployment_feedback, "cancelAction": self.cancel_action,
            "cancelFeedback": self.cancel_feedback, "artifact": self.artifact, "md5sum": self.md5sum,
        }

    def handle(self, request: Request) -> Reply:
        """The answer, refusals included."""
        try:
            self._admit(request)
            with self.store.changed:
                return self.resources[request.route.kind](request)
        except errors.Refusal as refusal:
            self.store.emit("refused", request.route.target or "", None, kind=request.route.kind,
                            status=refusal.status, reason=str(refusal))
            return reply.refused(refusal, request.path)

    def _admit(self, request: Request) -> None:
        """The checks before any resource, in the order of the real server."""
        shows_token = self.store.settings.target_tokens and self._shows_its_token(request)
        if self.demand_certificate and request.client_subject is None and not shows_token:
            raise errors.html_page(403)
        firewall(request.path)
        wanted = self.store.settings.authorization
        if wanted is not None and request.headers.get("authorization") != wanted and not shows_token:
            raise errors.without_body(401)
        if request.route.kind == "other":
            raise errors.framework(404)
        if request.route.tenant.upper() != TENANT:
            raise errors.without_body(401)
        if request.method not in request.route.methods():
            refusal = errors.framework(405)
            refusal.headers["Allow"] = ",".join(request.route.methods())
            raise refusal
        if request.method in ("POST", "PUT"):
            demand_json(request.headers.get("content-type"))

    def _shows_its_token(self, request: Request) -> bool:
        """Whether the request comes with the token of the target that its path names."""
        target = self.store.targets.get(request.route.target or "")
        return target is not None and request.headers.get("authorization") == f"TargetToken {target.security_token}"

    def _media(self, request: Request) -> str:
        return negotiate(request.headers.get("accept"), JSON_MEDIA)

    def _links(self, request: Request) -> documents.Links:
        scheme, host = self._authority(request)
        return documents.Links(self.store.settings, scheme, host, request.route.tenant, request.route.target or "")

    def _authority(self, request: Request) -> tuple[str, str]:
        """Scheme and host that the client used; behind a proxy they come in headers."""
        host = request.headers.get("host", "")
        if not self.store.settings.forwarded_headers:
            return request.scheme, host
        return (request.headers.get("x-forwarded-proto", request.scheme),
                request.headers.get("x-forwarded-host", host))

    def _target(self, request: Request) -> Target:
        target = self.store.targets.get(request.route.target or "")
        if target is None:
            raise errors.unknown_entity("Target", request.route.target)
        return target

    def _action(self, request: Request, number: int) -> Action:
        """Throws a 404 refusal: with a body for an unknown action, without one for an action of another target."""
        target = self._target(request)
        action = self.store.actions.get(number)
        if action is None:
            raise errors.unknown_entity("Action", number)
        if action.target is not target:
            raise errors.without_body(404)
        return action

    def base(self, request: Request) -> Reply:
        """The controller base. An unknown target is registered by asking for it."""
        media = self._media(request)
        target = self.store.targets.get(request.route.target or "")
        if target is None:
            validation.check_controller_id(request.route.target or "")
            target = self.store.register(request.route.target or "", "registered")
        target.polls += 1
        action = self.store.open_action(target)
        installed = self.store.actions.get(target.installed_action or 0)
        value = documents.controller_base(self.store.settings, self._links(request), target, action, installed,
                                          self.store.clock())
        self.store.emit("polled", target.id, action.id if action else None, sleep=value["config"]["polling"]["sleep"],
                        links=tuple(value.get("_links", ())))
        return reply.document(value, media, request.headers.get("if-none-match"))

    def _deployment_document(self, request: Request, action: Action, media: str, history: int) -> Reply:
        value = documents.deployment_base(self.store.settings, self._links(request), action, history,
                                          self.store.clock(), self.chance)
        return reply.document(value, media, request.headers.get("if-none-match"))

    def deployment_base(self, request: Request) -> Reply:
        """The history is read before the RETRIEVED entry is written. A closed action still answers, but becomes
        retrieved, which spoils its record."""
        media = self._media(request)
        history = request.history()
        action = self._action(request, request.route.action_number())
        if action.is_cancelling():
            raise errors.without_body(404)
        answer = self._deployment_document(request, action, media, history)
        if self.store.add_retrieved(action, RETRIEVED_UPDATE):
            action.set_status(Status.RETRIEVED)
        action.spoilt = action.spoilt or not action.active
        download, update = documents.handling(action, self.store.clock())
        self.store.emit("offered", action.target.id, action.id, download=download, update=update,
                        spoilt=action.spoilt)
        return answer

    def installed_base(self, request: Request) -> Reply:
        """The document of an installed action; nothing is recorded."""
        media = self._media(request)
        history = request.history()
        action = self._action(request, request.route.action_number())
        if action.target.installed_action != action.id:
            raise errors.without_body(404)
        return self._deployment_document(request, action, media, history)

    def deployment_feedback(self, request: Request) -> Reply:
        number = request.route.action_number()
        sent = validation.parse_feedback(request.body)
        action = self._action(request, number)
        feedback.on_deployment(self.store, action, sent)
        self._tell("feedback", action, sent)
        return Reply(200)

    def cancel_action(self, request: Request) -> Reply:
        media = self._media(request)
        action = self._action(request, request.route.action_number())
        if not action.is_cancelling():
            raise errors.without_body(404)
        self.store.add_retrieved(action, RETRIEVED_CANCEL)
        self.store.emit("cancel offered", action.target.id, action.id)
        return reply.document(documents.cancel_action(action), media, request.headers.get("if-none-match"))

    def cancel_feedback(self, request: Request) -> Reply:
        number = request.route.action_number()
        sent = validation.parse_feedback(request.body)
        action = self._action(request, number)
        feedback.on_cancel(self.store, action, sent)
        self._tell("cancel feedback", action, sent)
        return Reply(200)

    def _tell(self, name: str, action: Action, sent: validation.Feedback) -> None:
        self.store.emit(name, action.target.id, action.id, execution=sent.execution, finished=sent.finished,
                        details=sent.details, status=action.status.value, active=action.active)

    def config_data(self, request: Request) -> Reply:
        """Accepted at any time from a known target; replacing and merging end the server's request for attributes."""
        sent = validation.parse_config_data(request.body)
        target = self._target(request)
        target.attributes = validation.merge_attributes(target.attributes, sent, target.number)
        if sent.mode != "remove":
            target.attributes_requested = False
        self.store.emit("attributes", target.id, None, mode=sent.mode, attributes=dict(target.attributes))
        return Reply(200)

    def artifact(self, request: Request) -> Reply:
        return artifacts.download(self.store, self._target(request), request)

    def md5sum(self, request: Request) -> Reply:
        return artifacts.md5sum(self.store, self._target(request), request)
