# SPDX-License-Identifier: Apache-2.0
"""The gateway's properties: read from the file, logged, and sent to the server."""
import re

import pytest


def attributes_after(bench, **options):
    bench.start(**options)
    bench.wait_for_exchanges("configData", 1)
    return bench.server.target("gw-1").attributes


def test_properties_are_logged_in_the_order_of_names_and_sent(bench):
    daemon = bench.start(properties={"b": "2", "a": 1, "dormant": "1"}, level="INFO")
    put = bench.wait_for_exchanges("configData", 1)[0].json()

    logged = re.findall(r"INFO \S+ extract_gateway_config: event=add_property key=(\S+) value=(.*)$",
                        daemon.out, re.M)
    assert logged == [("a", "1"), ("b", "2"), ("dormant", "1")]
    assert put.pop("time")
    assert put == {"id": "", "mode": "replace",
                   "status": {"result": {"finished": "success"}, "execution": "closed", "details": []},
                   "data": {"a": "1", "b": "2", "dormant": "0", "installed_flash_type": ""}}


def test_flash_type_is_taken_from_the_properties_only(bench):
    bench.start("--installed-flash-type", "nor", properties={"installed_flash_type": "nand"})
    put = bench.wait_for_exchanges("configData", 1)[0].json()

    assert put["data"] == {"dormant": "0", "installed_flash_type": "nand"}


def test_without_a_file_the_daemon_sends_its_own_properties(bench):
    assert attributes_after(bench) == {"dormant": "0", "installed_flash_type": ""}


@pytest.mark.parametrize("key, value, kept, changes", [
    ("temperature", "21 °C", ("temperature", "21 ?C"), 1),
    ("größe", "x", ("gr??e", "x"), 1),
    ("path", "~/.profile `id`", ("path", "?/.profile ?id?"), 1),
    ("k" * 200, "v" * 129, ("k" * 128, "v" * 128), 2),
], ids=["value", "key", "shell", "too long"])
def test_properties_that_the_server_would_refuse_are_sanitized(bench, key, value, kept, changes):
    daemon = bench.start(properties={key: value}, level="INFO")
    put = bench.wait_for_exchanges("configData", 1)[0]

    assert put.status == 200
    assert bench.server.target("gw-1").attributes == {
        "dormant": "0", "installed_flash_type": "", kept[0]: kept[1]}
    warnings = [line for line in daemon.out.splitlines() if " WARNING " in line]
    assert len(warnings) == changes
    assert all(f"key={kept[0]}" in line or f"key={key}" in line for line in warnings)


def test_sanitizing_is_logged_once_however_often_the_properties_are_sent(bench):
    daemon = bench.start(properties={"t": "21 °C"}, level="INFO")
    bench.wait_for_exchanges("configData", 1)
    bench.server.request_attributes("gw-1")

    bench.wait_for_exchanges("configData", 2)

    assert daemon.out.count(" WARNING ") == 1


def test_properties_are_limited_to_the_hundred_that_the_server_accepts(bench):
    names = [f"p{number:03}" for number in range(150)]
    stored = attributes_after(bench, properties=dict.fromkeys(names, "x"))

    assert len(stored) == 100
    assert sorted(stored) == ["dormant", "installed_flash_type", *names[:98]]


def test_properties_are_sent_again_on_request(bench):
    bench.start(properties={"a": "1"})
    bench.wait_for_exchanges("configData", 1)
    bench.server.request_attributes("gw-1")

    puts = bench.wait_for_exchanges("configData", 2)

    assert puts[0].json()["data"] == puts[1].json()["data"]
