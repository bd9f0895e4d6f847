# SPDX-License-Identifier: Apache-2.0
"""Which bodies are accepted and which are refused."""

from __future__ import annotations

import json

import pytest

from hawkbit_server import errors, validation
from hawkbit_server.validation import ConfigData

REFUSED_TEXTS = ["foo <a@b.c>", "<b/>", "x<y && z>w", "std::vector<int>", "boost::wrapexcept<some::Exception>",
                 "<!", "<?", "<!DOCTYPE x>", "a <?xml", "</ x>", "</1>", "</\u00e9>", "ok < x <b> y",
                 "<![CDATA[x]]><b>", "<a\nb>"]
ACCEPTED_TEXTS = ["a < b", "a<b", "<b", "</x>", "<![CDATA[x]]>", "<![CDATA[<b>]]>", "a<2", "<1.2.3", "<_x>", "<:a>",
                  "<\u00e9>", "<\u65e5\u672c>", "cat <<EOF", "&lt;b&gt;", "&", ">", "\x00\x01", "\ud800", "", "b> <a",
                  "< b>", "< /x>", "< !", "< ?"]


@pytest.mark.parametrize("text", REFUSED_TEXTS)
def test_text_with_an_element_is_markup(text: str) -> None:
    assert validation.contains_markup(text)


@pytest.mark.parametrize("text", ACCEPTED_TEXTS)
def test_text_without_an_element_is_not_markup(text: str) -> None:
    assert not validation.contains_markup(text)


@pytest.mark.parametrize("text, lengths", [
    ("", [0]), ("x" * 512, [512]), ("x" * 513, [512, 1]), ("\u00e9" * 512, [512]),
    ("\U0001f600" * 256, [256]), ("\U0001f600" * 257, [256, 1])])
def test_pieces_count_utf16_units(text: str, lengths: list[int]) -> None:
    pieces = validation.utf16_pieces(text)

    assert [len(piece) for piece in pieces] == lengths
    assert "".join(pieces) == text


def test_piece_may_end_between_the_halves_of_a_character() -> None:
    pieces = validation.utf16_pieces("x" + "\U0001f600" * 256)

    assert [len(piece) for piece in pieces] == [257, 1]
    assert pieces[0][-1] + pieces[1] == "\ud83d\ude00"


@pytest.mark.parametrize("text, stripped", [
    ("  a b \n", "a b"), ("\t\x1f\u2003a\u3000", "a"), ("\u00a0a\u00a0", "\u00a0a\u00a0"), (" \n ", ""), ("", "")])
def test_details_lose_white_space_at_their_ends_except_no_break_spaces(text: str, stripped: str) -> None:
    assert validation.strip(text) == stripped


def test_blank_details_stay_as_empty_messages() -> None:
    assert validation.to_messages(("a", " ", "", "b")) == ["a", "", "", "b"]


def feedback_body(**status: object) -> bytes:
    return json.dumps({"status": {"execution": "closed", "result": {"finished": "success"}, **status}}).encode()


@pytest.mark.parametrize("body", [
    b"", b"{", b"[]", b"null", b'"x"', b"{}", b'{"status":null}', b"\xff\xfe", b'{"status":"\xff"}',
    b'{"status":{"execution":"closed"}}', b'{"status":{"result":{"finished":"success"}}}',
    b'{"status":{"execution":"closed","result":"success"}}',
    b'{"status":{"execution":"closed","result":{"finished":NaN}}}',
    feedback_body(execution="Closed"), feedback_body(execution="cancelled"), feedback_body(execution=None),
    feedback_body(execution=1), feedback_body(result={"finished": "Success"}), feedback_body(result={}),
    feedback_body(details="a bare string"), feedback_body(details={"a": "b"}), feedback_body(details=[["nested"]]),
    feedback_body(details=[{}]), feedback_body(code="x"), feedback_body(code=2**31),
    feedback_body(result={"finished": "none", "progress": {"of": 2**31}}),
    feedback_body(result={"finished": "none", "progress": 1})])
def test_malformed_feedback_is_refused(body: bytes) -> None:
    with pytest.raises(errors.Refusal) as refusal:
        validation.parse_feedback(body)

    assert refusal.value.status == 400
    assert json.loads(refusal.value.body)["errorCode"] == "hawkbit.server.error.rest.body.notReadable"


@pytest.mark.parametrize("execution", validation.EXECUTIONS)
@pytest.mark.parametrize("finished", validation.RESULTS)
def test_every_known_word_is_accepted(execution: str, finished: str) -> None:
    feedback = validation.parse_feedback(feedback_body(execution=execution, result={"finished": finished}))

    assert (feedback.execution, feedback.finished) == (execution, finished)


def test_numbers_become_texts_and_null_details_are_dropped() -> None:
    feedback = validation.parse_feedback(feedback_body(details=["a", 1, None, True, 2.5], code=7))

    assert feedback.details == ("a", "1", "true", "2.5")
    assert feedback.code == 7


def test_unknown_members_are_ignored_whatever_their_type() -> None:
    body = b"""{"id":[1],"time":{},"x":null,"timestamp":12,
                "status":{"execution":"closed","y":1,"result":{"finished":"none",
                "progress":{"count":0,"of":1}}}} rest"""

    feedback = validation.parse_feedback(body)

    assert (feedback.details, feedback.timestamp) == ((), 12)


@pytest.mark.parametrize("body", [
    b"{}", b'{"data":{}}', b'{"data":null}', b'{"data":[]}', b'{"data":{"a":{}}}', b'{"data":{"a":[]}}',
    b'{"data":{"a":"b"},"mode":"Replace"}', b'{"data":{"a":"b"},"mode":1}'])
def test_malformed_config_data_is_refused(body: bytes) -> None:
    with pytest.raises(errors.Refusal) as refusal:
        validation.parse_config_data(body)

    assert refusal.value.status == 400


def test_attribute_values_become_texts() -> None:
    sent = validation.parse_config_data(b'{"data":{"a":1,"b":true,"c":null,"d":""}}')

    assert sent == ConfigData("merge", {"a": "1", "b": "true", "c": None, "d": ""})


@pytest.mark.parametrize("key, value", [
    ("a", "b~c"), ("a", "`"), ("a", "gr\u00fcn"), ("a", "20 \u00b0C"), ("a~", "b"), ("a", "x" * 129),
    ("k" * 129, "b"), ("a", "\x01"), ("a", "\u00a0")])
def test_one_bad_attribute_refuses_all_of_them(key: str, value: str) -> None:
    with pytest.raises(errors.Refusal) as refusal:
        validation.merge_attributes({}, ConfigData("replace", {"good": "1", key: value}), 1)

    assert refusal.value.status == 400
    assert json.loads(refusal.value.body)["errorCode"] == "hawkbit.server.error.repo.invalidTargetAttributes"


@pytest.mark.parametrize("text", ["", " a ", "x" * 128, "_-!@#$%^&*()+=[]{}|;:'\",.<>/\\?", "<b>", "a\tb\nc"])
def test_valid_attribute_is_kept_unchanged(text: str) -> None:
    assert validation.merge_attributes({}, ConfigData("merge", {"key": text}), 1) == {"key": text}


def test_modes_of_config_data() -> None:
    current = {"a": "1", "b": "2"}

    assert validation.merge_attributes(current, ConfigData("merge", {"b": None, "c": "3"}), 1) == {"a": "1", "c": "3"}
    assert validation.merge_attributes(current, ConfigData("replace", {"c": "3"}), 1) == {"c": "3"}
    assert validation.merge_attributes(current, ConfigData("remove", {"a": "x"}), 1) == {"b": "2"}
    assert current == {"a": "1", "b": "2"}


def test_more_than_a_hundred_attributes_are_refused() -> None:
    hundred: dict[str, str | None] = {f"k{number}": "v" for number in range(100)}

    assert len(validation.merge_attributes({}, ConfigData("merge", hundred), 1)) == 100
    with pytest.raises(errors.Refusal) as refusal:
        validation.merge_attributes({"other": "v"}, ConfigData("merge", hundred), 1)
    assert refusal.value.status == 403


@pytest.mark.parametrize("controller_id", ["", "a b", "a\tb", "x" * 129])
def test_controller_id_that_cannot_be_registered(controller_id: str) -> None:
    with pytest.raises(errors.Refusal) as refusal:
        validation.check_controller_id(controller_id)

    assert refusal.value.status == 400
