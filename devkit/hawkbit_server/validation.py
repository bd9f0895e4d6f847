# SPDX-License-Identifier: Apache-2.0
"""What the server accepts in the bodies that a device sends, as observed on a running hawkBit 0.9.0."""

from __future__ import annotations

import json
import re
import string
import unicodedata
from dataclasses import dataclass
from typing import Any

from . import errors

EXECUTIONS = ("closed", "proceeding", "canceled", "scheduled", "rejected", "resumed", "download", "downloaded")
RESULTS = ("success", "failure", "none")
MODES = ("merge", "replace", "remove")
MESSAGE_UNITS = 512
MAX_MESSAGES = 50
MAX_ENTRIES = 1000
MAX_ATTRIBUTES = 100
MAX_ATTRIBUTE_LENGTH = 128
MAX_CONTROLLER_ID = 128
MAX_INT = 2**31 - 1
CDATA = "<![CDATA["

_ATTRIBUTE = re.compile(r"[A-Za-z0-9 \t\n\x0b\f\r_\-!@#$%^&*()+=\[\]{}|;:'\",.<>/\\?]*")
_NO_BREAK_SPACES = "\u00a0\u2007\u202f"


@dataclass(frozen=True)
class Feedback:
    """The members of a feedback that the server reads; it ignores all others at every level."""

    execution: str
    finished: str
    details: tuple[str, ...] = ()
    code: int | None = None
    timestamp: int | None = None


@dataclass(frozen=True)
class ConfigData:
    """Attributes as sent; None as a value removes the key."""

    mode: str
    data: dict[str, str | None]


def contains_markup(text: str) -> bool:
    """Whether the server takes a part of the text for an XML or HTML element, and so refuses the whole feedback.

    Refused: `<` before an ASCII letter with a `>` somewhere after it; `<!` and `<?`, closed or not;
    and `</` before anything but an ASCII letter. A CDATA section counts as plain text.
    """
    at = text.find("<")
    while at >= 0:
        following = text[at + 1:at + 2]
        if text.startswith(CDATA, at):
            end = text.find("]]>", at)
            if end < 0:
                return False
            at = end
        elif following in ("!", "?") and following:
            return True
        elif following == "/":
            after = text[at + 2:at + 3]
            if after and after not in string.ascii_letters:
                return True
        elif following and following in string.ascii_letters and ">" in text[at + 1:]:
            return True
        at = text.find("<", at + 1)
    return False


def utf16_pieces(text: str, units: int = MESSAGE_UNITS) -> list[str]:
    """Splits the text into pieces of at most `units` UTF-16 units; an empty text is one empty piece."""
    raw = text.encode("utf-16-le", "surrogatepass")
    size = 2 * units
    return [raw[at:at + size].decode("utf-16-le", "surrogatepass") for at in range(0, len(raw), size)] or [""]


def _is_space(character: str) -> bool:
    if character in "\t\n\x0b\x0c\r\x1c\x1d\x1e\x1f":
        return True
    return unicodedata.category(character) in ("Zs", "Zl", "Zp") and character not in _NO_BREAK_SPACES


def strip(text: str) -> str:
    """Removes white space at both ends as Java's `strip` does (no-break spaces stay)."""
    begin, end = 0, len(text)
    while begin < end and _is_space(text[begin]):
        begin += 1
    while end > begin and _is_space(text[end - 1]):
        end -= 1
    return text[begin:end]


def to_messages(details: tuple[str, ...]) -> list[str]:
    """Strips each detail and splits it into the pieces that are stored as separate messages."""
    return [piece for detail in details for piece in utf16_pieces(strip(detail))]


def parse_object(body: bytes) -> dict[str, Any]:
    """The JSON object in the body. Text after it is ignored. Throws the 400 refusal for anything else."""
    try:
        text = body.decode("utf-8-sig").lstrip(" \t\r\n")
        value, _ = json.JSONDecoder(parse_constant=_refuse_constant).raw_decode(text)
    except (ValueError, RecursionError) as error:
        raise errors.not_readable() from error
    return _object(value)


def _refuse_constant(name: str) -> None:
    raise ValueError(f"{name} is not JSON")


def _object(value: Any) -> dict[str, Any]:
    if not isinstance(value, dict):
        raise errors.not_readable()
    return value


def _word(value: Any, words: tuple[str, ...]) -> str:
    if not isinstance(value, str) or value not in words:
        raise errors.not_readable()
    return value


def _text(value: Any) -> str:
    """A string, or a number or boolean converted to one."""
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, (str, int, float)):
        return str(value)
    raise errors.not_readable()


def _integer(value: Any, limit: int) -> int | None:
    if value is None:
        return None
    if isinstance(value, bool) or not isinstance(value, (int, float, str)):
        raise errors.not_readable()
    try:
        number = int(value)
    except (ValueError, OverflowError) as error:
        raise errors.not_readable() from error
    if not -limit - 1 <= number <= limit:
        raise errors.not_readable()
    return number


def parse_feedback(body: bytes) -> Feedback:
    """Throws the 400 refusal for a wrong or missing word, a bare string as details, or a number out of range."""
    status = _object(parse_object(body).get("status"))
    execution = _word(status.get("execution"), EXECUTIONS)
    result = _object(status.get("result"))
    finished = _word(result.get("finished"), RESULTS)
    progress = result.get("progress")
    if progress is not None:
        for member in ("cnt", "of"):
            _integer(_object(progress).get(member), MAX_INT)
    details = status.get("details")
    if details is not None and not isinstance(details, list):
        raise errors.not_readable()
    texts = tuple(_text(detail) for detail in details or () if detail is not None)
    return Feedback(execution, finished, texts, _integer(status.get("code"), MAX_INT),
                    _integer(parse_object(body).get("timestamp"), 2**63 - 1))


def parse_config_data(body: bytes) -> ConfigData:
    """Throws the 400 refusal for empty or missing data, nested values, or a wrong mode."""
    document = parse_object(body)
    mode = document.get("mode")
    data = _object(document.get("data"))
    if not data:
        raise errors.not_readable()
    texts = {key: None if value is None else _text(value) for key, value in data.items()}
    return ConfigData("merge" if mode is None else _word(mode, MODES), texts)


def is_attribute_text(text: str) -> bool:
    """At most 128 characters: ASCII letters, digits, white space, and a fixed set of others."""
    return len(text) <= MAX_ATTRIBUTE_LENGTH and _ATTRIBUTE.fullmatch(text) is not None


def merge_attributes(current: dict[str, str], sent: ConfigData, target_number: int) -> dict[str, str]:
    """The attributes after the update. One bad key or value refuses all of it (400); too many are a 403."""
    if sent.mode == "remove":
        return {key: value for key, value in current.items() if key not in sent.data}
    for key, value in sent.data.items():
        if not is_attribute_text(key) or (value is not None and not is_attribute_text(value)):
            raise errors.invalid_attributes()
    merged = {} if sent.mode == "replace" else dict(current)
    for key, value in sent.data.items():
        if value is None:
            merged.pop(key, None)
        else:
            merged[key] = value
    if len(merged) > MAX_ATTRIBUTES:
        raise errors.quota(len(merged), "Attribute", "Target", str(target_number), MAX_ATTRIBUTES)
    return merged


def check_controller_id(controller_id: str) -> None:
    """The rules for a target that a poll creates: 1 to 128 characters without white space, else the 400 refusal."""
    if not 1 <= len(controller_id) <= MAX_CONTROLLER_ID or any(map(str.isspace, controller_id)):
        raise errors.bad_controller_id()
