# SPDX-License-Identifier: Apache-2.0
"""All objects on the bus, and the types they share."""
from __future__ import annotations

import random
from collections.abc import Callable, Container
from dataclasses import dataclass

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
    owner: int
    signature: bytes
    users: int = 0


@dataclass
class Object:
    """Without a name it only receives events; without a type it is never listed."""

    id: int
    owner: int
    name: bytes | None
    type: Type | None


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
    """Whether it lists methods: tables of the numbers of their arguments' types."""
    def is_argument(kind: int, value: bytes) -> bool:
        return kind == wire.INT32 and len(value) == wire.SIZES[wire.INT32]

    def is_method(kind: int, value: bytes) -> bool:
        return kind == wire.TABLE and _is_list(value, is_argument)

    return _is_list(data, is_method)


def _is_list(data: bytes, is_element: Callable[[int, bytes], bool]) -> bool:
    found, complete = wire.split(data)
    values = [wire.named_value(*each) for each in found]
    return complete and all(value and is_element(value[0], value[2]) for value in values)


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
        """A new object of a new type, of one that another object of this client has, or of none."""
        if name is not None and (not name or name in self._names):
            raise Refusal(wire.INVALID_ARGUMENT)
        kind = self._type_for(owner, type_id, signature)
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

    def lookup(self, path: bytes | None) -> list[tuple[bytes, int, Type]]:
        """Name, id and type of what matches a path, or of everything, in byte order of the names."""
        if path == b"":
            raise Refusal(wire.INVALID_ARGUMENT)
        pattern = b"*" if path is None else path
        found = [(name, each.id, each.type) for name, each in sorted(self._names.items())
                 if each.type and matches(pattern, name)]
        if path is not None and not found:
            raise Refusal(wire.NOT_FOUND)
        return found

    def _type_for(self, owner: int, type_id: int | None, signature: bytes | None) -> Type | None:
        if signature is not None:
            if not is_signature(signature):
                raise Refusal(wire.INVALID_ARGUMENT)
            made = Type(unused_id(self._types), owner, signature)
            self._types[made.id] = made
            return made
        if type_id is None:
            return None
        known = self._types.get(type_id)
        if known is None or known.owner != owner:
            raise Refusal(wire.INVALID_ARGUMENT)
        return known
