# SPDX-License-Identifier: Apache-2.0
"""The wire format, held against traffic of a real broker and against bytes that nobody should send."""
import pytest

from bus_bench import words
from openwrt.bus import wire

# ---- frames

RECORDED_STATUS = words("00010002 7bb8faf7 00000014 01000008 00000003 03000008 7bb8faf7")


def assembled(data):
    assembler = wire.Assembler()
    assembler.add(data)
    return assembler


def test_recorded_frames_are_written():
    status = wire.number(wire.A_STATUS, 3) + wire.number(wire.A_ID, 0x7bb8faf7)

    assert wire.frame(wire.HELLO, 0, 0x65f45aca) == words("00000000 65f45aca 00000004")
    assert wire.frame(wire.STATUS, 2, 0x7bb8faf7, status) == RECORDED_STATUS


def test_frame_comes_with_its_last_byte_and_not_before():
    assembler = wire.Assembler()

    for byte in RECORDED_STATUS[:-1]:
        assembler.add(bytes([byte]))
        assert assembler.next() is None
    assembler.add(RECORDED_STATUS[-1:])
    frame = assembler.next()

    assert (frame.type, frame.sequence, frame.peer) == (wire.STATUS, 2, 0x7bb8faf7)
    assert frame.payload == RECORDED_STATUS[12:]
    assert frame.bytes == RECORDED_STATUS
    assert assembler.next() is None


def test_frames_that_came_together_come_one_by_one():
    assembler = assembled(wire.frame(wire.PING, 1, 0, b"abcd") + wire.frame(wire.PING, 2, 0) + b"\0\3")

    assert assembler.next().payload == b"abcd"
    assert assembler.next().sequence == 2
    assert assembler.next() is None


def test_version_and_number_of_the_outer_attribute_do_not_matter():
    assert assembled(words("07030001 00000000 ff000004")).next().type == wire.PING


def test_largest_frame_is_taken():
    payload = bytes(wire.LARGEST_LENGTH - 4)

    assert assembled(wire.frame(wire.PING, 1, 0, payload)).next().payload == payload


@pytest.mark.parametrize("length", [0, 3, wire.LARGEST_LENGTH + 1, 0xffffff])
def test_length_outside_the_limits_is_an_error_as_soon_as_it_is_stated(length):
    assembler = assembled(words("00030001 00000000") + length.to_bytes(4, "big"))

    with pytest.raises(wire.FramingError) as error:
        assembler.next()

    assert error.value.length == length


# ---- lists of attributes

def test_recorded_call_is_written():
    call = (wire.number(wire.A_ID, 0x7bb8faf7) + wire.text(wire.A_METHOD, "poll") +
            wire.text(wire.A_USER, "root") + wire.text(wire.A_GROUP, b"root") +
            wire.attribute(wire.A_DATA, wire.named_text("agent_id", "gw")))

    assert call == words("03000008 7bb8faf7 04000009 706f6c6c 00000000 0c000009 726f6f74 00000000"
                         "0d000009 726f6f74 00000000 07000018 83000013 00086167 656e745f 69640000 67770000")


def test_recorded_attributes_are_taken_apart():
    payload = words("02000009 64656d6f 00000000 03000008 7bb8faf7")

    assert wire.split(payload) == ([(2, b"demo\0"), (3, words("7bb8faf7"))], True)


def test_last_attribute_may_lack_its_padding():
    assert wire.split(words("03000008 7bb8faf7 02000005 00"))[1]


def test_empty_list_is_complete():
    assert wire.split(b"") == ([], True)


@pytest.mark.parametrize("rest", ["03000000 03000008 00000002", "03000003 03000008 00000002",
                                  "03000009 00000002", "03ffffff 00000002", "0300"])
def test_list_ends_before_an_attribute_that_cannot_be(rest):
    assert wire.split(words("03000008 00000001") + words(rest)) == ([(3, b"\0\0\0\1")], False)


def test_last_valid_attribute_of_a_kind_holds():
    payload = words("03000008 00000001 03000008 00000002 03000006 0003 0000 83000008 00000004")

    assert wire.attributes(payload)[wire.A_ID] == 2


def test_attribute_of_the_wrong_shape_counts_as_absent():
    payload = words("02000006 6162 0000 03000009 00000000 01000000 0a000006 01010000 04000004")

    assert wire.attributes(payload) == {}


def test_empty_nested_list_is_present():
    assert wire.attributes(words("07000004")) == {wire.A_DATA: b""}


@pytest.mark.parametrize("text, seen", [(b"ab\0", b"ab"), (b"a\0b\0", b"a"), (b"\0", b"")])
def test_text_ends_at_its_first_nul(text, seen):
    assert wire.cut(text) == seen


# ---- named values

def named_value(digits):
    [found], complete = wire.split(words(digits))
    assert complete
    return wire.named_value(*found)


@pytest.mark.parametrize("digits, found", [
    ("8300000c 00017300 61626300", (wire.STRING, b"s", b"abc\0")),
    ("8700000d 00026f6b 00000000 01000000", (wire.INT8, b"ok", b"\1")),
    ("80000008 00017a00", (wire.NULL, b"z", b"")),
    ("8500000c 00000000 00000001", (wire.INT32, b"", b"\0\0\0\1"))])
def test_named_value_has_a_type_a_name_and_a_value(digits, found):
    assert named_value(digits) == found
    kind, name, value = found
    assert wire.named(kind, name, value) == words(digits)


@pytest.mark.parametrize("digits", [
    "0300000c 00017300 61626300", "83000004", "83000005 00", "83000008 00026f6b",
    "8300000c 00017373 61626300", "8300000c ffff7300 61626300"],
    ids=["no flag", "no length", "half a length", "no NUL", "something for the NUL", "past the end"])
def test_name_that_does_not_fit_makes_no_named_value(digits):
    assert named_value(digits) is None


def test_name_that_is_no_ascii_counts_in_bytes():
    assert wire.named(wire.NULL, "\u00e4") == wire.named(wire.NULL, b"\xc3\xa4") == words("8000000c 0002c3a4 00000000")
