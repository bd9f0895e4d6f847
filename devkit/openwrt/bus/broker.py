# SPDX-License-Identifier: Apache-2.0
"""Answers what clients ask of the bus, and passes calls, answers and events on between them."""
from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

from . import wire
from .registry import Object, Refusal, Registry, matches
from .wire import Frame, number, text


@dataclass(frozen=True)
class Sender:
    """Who sent a frame, as the kernel vouches for it."""

    id: int
    user: str
    group: str


def required(found: dict[int, Any], attribute_id: int) -> Any:
    """An argument that the request cannot do without."""
    if attribute_id not in found:
        raise Refusal(wire.INVALID_ARGUMENT)
    return found[attribute_id]


def optional_text(found: dict[int, Any], attribute_id: int) -> bytes | None:
    return wire.cut(found[attribute_id]) if attribute_id in found else None


class Broker:
    """The rules of the bus, without its sockets.

    deliver  hands bytes to the client with an id; one that is not connected does not matter
    """

    def __init__(self, deliver: Callable[[int, bytes], None]) -> None:
        self._deliver = deliver
        self._registry = Registry()
        # Objects that receive events, each with a pattern of the events it wants.
        self._listeners: list[tuple[Object, bytes]] = []
        self._event_sequence = 0
        self._requests = {wire.PING: self._ping, wire.LOOKUP: self._lookup, wire.INVOKE: self._invoke,
                          wire.ADD_OBJECT: self._add_object, wire.REMOVE_OBJECT: self._remove_object,
                          wire.SUBSCRIBE: self._subscribe, wire.UNSUBSCRIBE: self._unsubscribe,
                          wire.NOTIFY: self._notify}

    def handle(self, sender: Sender, frame: Frame) -> None:
        if frame.type in (wire.STATUS, wire.DATA):
            self._forward_answer(sender, frame)
            return
        try:
            if frame.type not in self._requests:
                raise Refusal(wire.INVALID_COMMAND)
            self._requests[frame.type](sender, frame)
        except Refusal as refusal:
            self._finish(sender, frame, refusal.status)

    def forget(self, client_id: int) -> None:
        """Frees the names of a client's objects and tells of their end."""
        removed = self._registry.remove_all_of(client_id)
        for each in removed:
            self._end_subscriptions(each)
        self._listeners = [each for each in self._listeners if each[0].owner != client_id]
        for each in removed:
            self._announce(b"ubus.object.remove", each)

    # ---- requests

    def _ping(self, sender: Sender, request: Frame) -> None:
        self._answer(sender, request, request.payload)
        self._finish(sender, request)

    def _lookup(self, sender: Sender, request: Frame) -> None:
        for name, object_id, kind in self._registry.lookup(optional_text(request.attributes, wire.A_PATH)):
            self._answer(sender, request, text(wire.A_PATH, name) + number(wire.A_ID, object_id) +
                         number(wire.A_TYPE, kind.id) + wire.attribute(wire.A_SIGNATURE, kind.signature))
        self._finish(sender, request)

    def _add_object(self, sender: Sender, request: Frame) -> None:
        found = request.attributes
        signature = found.get(wire.A_SIGNATURE)
        added = self._registry.add(sender.id, optional_text(found, wire.A_PATH), found.get(wire.A_TYPE),
                                   signature)
        answer = number(wire.A_ID, added.id)
        if added.type and signature is not None:
            answer += number(wire.A_TYPE, added.type.id)
        self._answer(sender, request, answer)
        self._finish(sender, request)
        self._announce(b"ubus.object.add", added)

    def _remove_object(self, sender: Sender, request: Frame) -> None:
        removed = self._registry.owned(sender.id, required(request.attributes, wire.A_ID))
        ended = self._registry.remove(removed)
        self._listeners = [each for each in self._listeners if each[0] is not removed]
        self._answer(sender, request, number(wire.A_ID, removed.id) +
                     (number(wire.A_TYPE, ended.id) if ended else b""))
        self._end_subscriptions(removed)
        self._finish(sender, request)
        self._announce(b"ubus.object.remove", removed)

    def _invoke(self, sender: Sender, request: Frame) -> None:
        found = request.attributes
        object_id = required(found, wire.A_ID)
        method = wire.cut(required(found, wire.A_METHOD))
        if object_id == wire.EVENT_OBJECT:
            if method != b"register":
                raise Refusal(wire.INVALID_COMMAND)
            self._listen(sender, required(found, wire.A_DATA))
            self._finish(sender, request)
            return
        called = self._registry.get(object_id)
        # The flag for no reply is not passed on.
        call = number(wire.A_ID, object_id) + text(wire.A_METHOD, method)
        call += text(wire.A_USER, sender.user) + text(wire.A_GROUP, sender.group)
        if wire.A_DATA in found:
            call += wire.attribute(wire.A_DATA, found[wire.A_DATA])
        self._deliver(called.owner, wire.frame(wire.INVOKE, request.sequence, sender.id, call))

    def _listen(self, sender: Sender, data: bytes) -> None:
        values = [wire.named_value(*each) for each in wire.split(data)[0]]
        arguments = {value[:2]: value[2] for value in values if value}
        object_id = arguments.get((wire.INT32, b"object"), b"")
        pattern = arguments.get((wire.STRING, b"pattern"), b"")
        if len(object_id) != 4 or pattern[-1:] != b"\0":
            raise Refusal(wire.INVALID_ARGUMENT)
        listener = self._registry.owned(sender.id, int.from_bytes(object_id, "big"))
        self._listeners.append((listener, wire.cut(pattern)))

    # ---- subscriptions

    def _subscribe(self, sender: Sender, request: Frame) -> None:
        subscriber, target = self._subscription(sender, request)
        target.subscribers.append(subscriber)
        if len(target.subscribers) == 1:
            self._tell_owner(target)
        self._finish(sender, request)

    def _unsubscribe(self, sender: Sender, request: Frame) -> None:
        subscriber, target = self._subscription(sender, request)
        if subscriber not in target.subscribers:
            raise Refusal(wire.INVALID_ARGUMENT)
        self._finish(sender, request)
        self._unlink(subscriber, target)

    def _subscription(self, sender: Sender, request: Frame) -> tuple[Object, Object]:
        """The object that hears, and the one that it hears of."""
        ids = [required(request.attributes, each) for each in (wire.A_ID, wire.A_TARGET)]
        subscriber, target = map(self._registry.get, ids)
        if subscriber.owner != sender.id or subscriber is target:
            raise Refusal(wire.INVALID_ARGUMENT)
        return subscriber, target

    def _notify(self, sender: Sender, request: Frame) -> None:
        found = request.attributes
        subject_id, method = required(found, wire.A_ID), wire.cut(required(found, wire.A_METHOD))
        subject = self._registry.owned(sender.id, subject_id)
        is_silent = found.get(wire.A_NO_REPLY, b"\0") != b"\0"
        if not is_silent:
            ids = b"".join(number(0, each.id) for each in subject.subscribers)
            self._deliver(sender.id, wire.frame(wire.STATUS, request.sequence, request.peer, number(
                wire.A_ID, subject.id) + wire.attribute(wire.A_SUBSCRIBERS, ids) + number(wire.A_STATUS, wire.OK)))
        head = wire.attribute(wire.A_NO_REPLY, b"\1") if is_silent else b""
        tail = text(wire.A_METHOD, method) + text(wire.A_USER, sender.user) + text(wire.A_GROUP, sender.group)
        if wire.A_DATA in found:
            tail += wire.attribute(wire.A_DATA, found[wire.A_DATA])
        for each in subject.subscribers:
            self._deliver(each.owner, wire.frame(wire.INVOKE, request.sequence, sender.id,
                                                 head + number(wire.A_ID, each.id) + tail))

    def _unlink(self, subscriber: Object, target: Object) -> None:
        target.subscribers.remove(subscriber)
        if not target.subscribers:
            self._tell_owner(target)

    def _end_subscriptions(self, gone: Object) -> None:
        """Both of those to the object and of its own."""
        subscribers, gone.subscribers = gone.subscribers, []
        if subscribers:
            self._tell_owner(gone)
        for subscriber in subscribers:
            subscriber.sequence += 1
            self._deliver(subscriber.owner, wire.frame(
                wire.UNSUBSCRIBE, subscriber.sequence, 0,
                number(wire.A_ID, subscriber.id) + number(wire.A_TARGET, gone.id)))
        for target in self._registry.subscribed_by(gone):
            while gone in target.subscribers:
                self._unlink(gone, target)

    def _tell_owner(self, target: Object) -> None:
        """Whether anybody listens."""
        target.sequence += 1
        self._deliver(target.owner, wire.frame(
            wire.NOTIFY, target.sequence, 0,
            number(wire.A_ID, target.id) + wire.attribute(wire.A_ACTIVE, b"\1" if target.subscribers else b"\0")))

    # ---- answers

    def _forward_answer(self, sender: Sender, answer: Frame) -> None:
        """One in somebody else's name is dropped without a word, as are all incomplete ones."""
        found = answer.attributes
        needed = wire.A_DATA if answer.type == wire.DATA else wire.A_STATUS
        try:
            object_id = self._registry.owned(sender.id, required(found, wire.A_ID)).id
            required(found, needed)
        except Refusal:
            return
        self._deliver(answer.peer, wire.frame(answer.type, answer.sequence, object_id, answer.payload))

    def _answer(self, sender: Sender, request: Frame, payload: bytes) -> None:
        self._deliver(sender.id, wire.frame(wire.DATA, request.sequence, request.peer, payload))

    def _finish(self, sender: Sender, request: Frame, status: int = wire.OK) -> None:
        self._deliver(sender.id, wire.frame(wire.STATUS, request.sequence, request.peer,
                                            number(wire.A_STATUS, status)))

    def _announce(self, event: bytes, subject: Object) -> None:
        if subject.name is None:
            return
        data = wire.named_number("id", subject.id) + wire.named_text("path", subject.name)
        for listener, pattern in self._listeners:
            if matches(pattern, event):
                self._event_sequence = (self._event_sequence + 1) % (1 << 16)
                self._deliver(listener.owner, wire.frame(
                    wire.INVOKE, self._event_sequence, 0,
                    number(wire.A_ID, listener.id) + text(wire.A_METHOD, event) +
                    wire.attribute(wire.A_DATA, data)))
