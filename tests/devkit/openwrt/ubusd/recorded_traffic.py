# SPDX-License-Identifier: Apache-2.0
"""What a real client and a real broker said to each other, and a listener for events."""
from bus_bench import words
from openwrt.bus.wire import A_ID, A_STATUS, A_TYPE, STATUS, named_number, named_text

# What a real client and a real broker said to each other about an object with a method "poll" that
# takes a string, and a method "fail".
NAME = "02000009 64656d6f 00000000"
SIGNATURE = ("06000030 82000020 0004706f 6c6c0000 85000014 00086167 656e745f 69640000 00000003"
             "8200000c 00046661 696c0000")
ADD_DEMO = words("00060001 00000000 00000040" + NAME + SIGNATURE)
LOOKUP_DEMO = words("00040001 00000000 00000010" + NAME)
GATEWAY_ARGUMENT = "07000018 83000013 00086167 656e745f 69640000 67770000"
ROOT_NAMES = "0c000009 726f6f74 00000000 0d000009 726f6f74 00000000"


def add_demo(client):
    """Object and type of the recorded object, as eight hexadecimal digits each."""
    client.send(ADD_DEMO)
    data, status = client.frame(), client.frame()
    object_id, type_id = data.attributes[A_ID], data.attributes[A_TYPE]
    assert data.bytes == words(f"00020001 00000000 00000014 03000008 {object_id:08x} 05000008 "
                               f"{type_id:08x}")
    assert status.bytes == words("00010001 00000000 0000000c 01000008 00000000")
    client.sequence = 1
    return f"{object_id:08x}", f"{type_id:08x}"


def poll_call(object_hex, arguments=GATEWAY_ARGUMENT):
    data = words(arguments)
    return words(f"00050002 {object_hex} {0x18 + len(data):08x} 03000008 {object_hex} 04000009"
                 "706f6c6c 00000000") + data


def listen(client, pattern):
    """The id of a nameless object that gets the events."""
    listener = client.add()
    sequence = client.invoke(1, "register", named_number("object", listener) +
                             named_text("pattern", pattern))
    answer = client.frame()
    assert (answer.type, answer.sequence, answer.peer) == (STATUS, sequence, 1)
    assert answer.attributes[A_STATUS] == 0
    return listener
