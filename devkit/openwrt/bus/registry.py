# SPDX-License-Identifier: Apache-2.0
"""All objects on the bus, and the types they share."""
from __future__ import annotations

import random
from collections.abc import Container
from dataclasses import dataclass, field

from . import wire

# Ids below this one are the broker's.
FIRST_FREE_ID = 1024
# Clients keep their id byte-reversed and refuse one that then reads 1.
MIRRORED_ONE = 0x01000000


class Refusal(Exception):
    """Ends a request with a status for the client that made it."""

    def __init__(self, status: int) -> None:
        super().__init__(f"status {status}")
        self.status = status


@dataclass
class Type:
    id: int
    signature: bytes
    users: int = 0


@dataclass(eq=False)
class Object:
    """Without a name it only receives events; without a type it is never listed."""

    id: int
    owner: int
    name: bytes | None
    type: Type | None
    # Who hears of it, once for each subscription.
    subscribers: list[Object] = field(default_factory=list)
    # Of what the broker itself sends its owner.
    sequence: int = 0


def unused_id(taken: Container[int]) -> int:
    """Random, so that nobody comes to rely on an id that outlives its owner."""
    while True:
        found = random.randrange(FIRST_FREE_ID, 1 << 32)
        if found != MIRRORED_ONE and found not in taken:
            return found


def matches(pattern: bytes, name: bytes) -> bool:
    """Whether it is the name, or its start followed by `*`."""
    return name.startswith(pattern[:-1]) if pattern.endswith(b"*") else name == pattern


def is_signature(data: bytes) -> bool:
    """Whether it lists values with names. That they should be tables, and of what, is not looked at."""
    found, complete = wire.split(data)
    values = [wire.named_value(*each) for each in found]
    return complete and all(value and value[1] and len(value[2]) == wire.SIZES.get(value[0], len(value[2]))
                            for value in values)


class Registry:
    def __init__(self) -> None:
        self._objects: dict[int, Object] = {}
        self._names: dict[bytes, Object] = {}
        self._types: dict[int, Type] = {}

    def get(self, object_id: int | None) -> Object:
        """Refuses what no object has."""
        if object_id not in self._objects:
            raise Refusal(wire.NOT_FOUND)
        return self._objects[object_id]

    def owned(self, owner: int, object_id: int) -> Object:
        """Refuses objects of others as well."""
        found = self.get(object_id)
        if found.owner != owner:
            raise Refusal(wire.PERMISSION_DENIED)
        return found

    def add(self, owner: int, name: bytes | None, type_id: int | None, signature: bytes | None) -> Object:
        """A new object of a type that is there, of a new one, or, if neither makes sense, of none."""
        if name is not None and name in self._names:
            raise Refusal(wire.INVALID_ARGUMENT)
        kind = self._type_for(type_id, signature)
        added = Object(unused_id(self._objects), owner, name, kind)
        self._objects[added.id] = added
        if name is not None:
            self._names[name] = added
        if kind:
            kind.users += 1
        return added

    def remove(self, removed: Object) -> Type | None:
        """The type, if that was its last object."""
        del self._objects[removed.id]
        if removed.name is not None:
            del self._names[removed.name]
        if removed.type is None:
            return None
        removed.type.users -= 1
        return None if removed.type.users else self._types.pop(removed.type.id)

    def remove_all_of(self, owner: int) -> list[Object]:
        removed = [each for each in self._objects.values() if each.owner == owner]
        for each in removed:
            self.remove(each)
        return removed

    def subscribed_by(self, subscriber: Object) -> list[Object]:
        return [each for each in self._objects.values() if subscriber in each.subscribers]

    def lookup(self, path: bytes | None) -> list[tuple[bytes, int, Type]]:
        """Name, id and type of what matches a path, or of everything, in byte order of the names."""
        if path == b"":
            raise Refusal(wire.INVALID_ARGUMENT)
        pattern = b"*" if path is None else path
        found = [(name, each.id, each.type) for name, each in sorted(self._names.items()) if matches(pattern, name)]
        if path is not None and not found:
            raise Refusal(wire.NOT_FOUND)
        return [(name, object_id, kind) for name, object_id, kind in found if kind]

    def _type_for(self, type_id: int | None, signature: bytes | None) -> Type | None:
        if type_id is not None:
            return self._types.get(type_id)
        if signature is None or not is_signature(signature):
            return None
        made = Type(unused_id(self._types), signature)
        self._types[made.id] = made
        return made
