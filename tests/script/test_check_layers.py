# SPDX-License-Identifier: Apache-2.0
"""script/check-layers accepts a tree that keeps its rules and names what breaks one of them."""
from __future__ import annotations

import pathlib
import subprocess

import pytest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "script/check-layers"

CLEAN_TREE = {
    "lib/CMakeLists.txt": "foreach(module common crypto uci ubus)\n    add_subdirectory(${module})\nendforeach()\n",
    "lib/common/json.h": "#include <string>\n",
    "lib/common/json.cpp": '#include "common/json.h"\n',
    "lib/uci/uci_config.h": '#include <uci.h>\n#include "common/json.h"\n',
    "lib/ubus/ubus_object.h": "#include <libubox/blobmsg.h>\n",
    "platform/platform.h": '#include "common/json.h"\n',
    "platform/openwrt/platform.cpp": '#include "platform.h"\n#include "uci/uci_config.h"\n'
    '#include "agent_manager.h"\n',
    "src/main.cpp": '#include "agent_manager.h"\n#include "discovery/handler.h"\n',
    "src/command_line_options.h": "",
    "src/agent_manager.h": '#include "agent/agent.h"\n#include "discovery_handler.h"\n',
    "src/discovery_handler.h": "",
    "src/discovery/handler.h": '#include "discovery_handler.h"\n',
    "src/discovery/handler.cpp": '#include "discovery/handler.h"\n#include "agent_manager.h"\n',
    "src/agent/agent.h": '#include "deployment/deployer.h"\n',
    "src/agent/agent_actions.cpp": '#include "agent/agent.h"\n#include "agent/agent_fsm.h"\n',
    "src/agent/agent_fsm.h": '#include "fsm/advancing_fsm.h"\n',
    "src/deployment/deployer.h": '#include "installer/installer.h"\n',
    "src/installer/installer.h": '#include "schedule/timer.h"\n#include "store/device_store.h"\n',
    "src/schedule/timer.h": '#include "fsm/advancing_fsm.h"\n',
    "src/store/device_store.h": '#include "platform.h"\n',
    "src/fsm/advancing_fsm.h": '#include "common/json.h"\n',
    "src/fsm/advancing_fsm_impl.h": '#include "fsm/advancing_fsm.h"\n',
}


def check(root: pathlib.Path, tree: dict[str, str]) -> tuple[int, list[str]]:
    """The exit status and the errors for a tree that is written below root."""
    for name, text in tree.items():
        path = root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
    done = subprocess.run([SCRIPT, root], capture_output=True, text=True, check=False)
    assert done.stdout == ""
    return done.returncode, done.stderr.splitlines()


def with_include(name: str, included: str) -> dict[str, str]:
    return CLEAN_TREE | {name: CLEAN_TREE.get(name, "") + f"#include {included}\n"}


def test_clean_tree_passes(tmp_path):
    assert check(tmp_path, CLEAN_TREE) == (0, [])


@pytest.mark.parametrize(
    "name, included, error",
    [
        ("lib/common/json.cpp", '"agent_manager.h"', "lib is below the manager in src/"),
        ("lib/common/json.cpp", '"platform.h"', "lib is below platform/*.h"),
        ("platform/platform.h", '"store/device_store.h"', "platform/*.h is below src/store"),
        ("src/store/device_store.h", '"schedule/timer.h"', "src/store is below src/schedule"),
        ("src/fsm/advancing_fsm.h", '"schedule/timer.h"', "src/fsm is below src/schedule"),
        ("src/schedule/timer.h", '"installer/installer.h"', "src/schedule is below src/installer"),
        ("src/installer/installer.h", '"deployment/deployer.h"', "src/installer is below src/deployment"),
        ("src/deployment/deployer.h", '"agent/agent.h"', "src/deployment is below src/agent"),
        ("src/agent/agent.h", '"agent_manager.h"', "src/agent is below the manager in src/"),
        ("src/agent_manager.h", '"discovery/handler.h"', "the manager in src/ is below src/discovery"),
        ("src/agent_manager.h", '"command_line_options.h"', "the manager in src/ is below start-up in src/"),
        ("src/discovery/handler.h", '"command_line_options.h"', "src/discovery is below start-up in src/"),
        ("platform/openwrt/platform.cpp", '"command_line_options.h"', "platform/openwrt is below start-up in src/"),
    ],
)
def test_arrow_to_a_higher_layer_is_named(tmp_path, name, included, error):
    status, errors = check(tmp_path, with_include(name, included))

    assert status == 1
    assert f"Error: {name}: {included.strip(chr(34))}: {error}" in errors


@pytest.mark.parametrize(
    "name, included, error",
    [
        ("src/store/device_store.h", '"fsm/advancing_fsm.h"', "src/store and src/fsm are independent of each other"),
        ("src/fsm/advancing_fsm.h", '"store/device_store.h"', "src/fsm and src/store are independent of each other"),
        ("platform/openwrt/platform.cpp", '"discovery/handler.h"',
         "platform/openwrt and src/discovery are independent of each other"),
        ("lib/common/json.h", '"ubus/ubus_object.h"', "module common comes before ubus"),
        ("lib/other/new.h", '"common/json.h"', "module other is missing in lib/CMakeLists.txt"),
        ("src/agent/agent.h", '"uci/uci_config.h"', "only lib/ and the OpenWrt platform use the store and the bus"),
        ("platform/platform.h", '"ubus/ubus_object.h"', "only lib/ and the OpenWrt platform use the store and the bus"),
        ("src/agent/agent.h", "<libubus.h>", "only lib/uci/, lib/ubus/, platform/openwrt/ may include this"),
        ("lib/common/json.h", "<uci.h>", "only lib/uci/, lib/ubus/, platform/openwrt/ may include this"),
        ("lib/common/json.h", "<libubox/md5.h>", "only lib/crypto/ may include this"),
        ("lib/crypto/md5.h", "<libubox/blob.h>", "only lib/uci/, lib/ubus/, platform/openwrt/ may include this"),
        ("src/agent/agent.h", "<common/json.h>", "include headers of the project with quotes"),
        ("src/agent/agent.h", '"vector"', "no such file in the project; include headers of the system with <>"),
        ("src/agent/agent.h", '"agent_fsm.h"', 'write "agent/agent_fsm.h"'),
    ],
)
def test_broken_rule_is_the_only_error(tmp_path, name, included, error):
    expected = f"Error: {name}: {included.strip('<>' + chr(34))}: {error}"

    assert check(tmp_path, with_include(name, included)) == (1, [expected])


def test_digests_of_the_gateways_library_are_for_the_crypto_module(tmp_path):
    assert check(tmp_path, with_include("lib/crypto/md5.h", "<libubox/md5.h>")) == (0, [])


def test_implementation_of_the_platform_is_hidden_from_the_core(tmp_path):
    tree = with_include("src/main.cpp", '"openwrt/bus.h"') | {"platform/openwrt/bus.h": ""}

    assert check(tmp_path, tree) == (
        1, ["Error: src/main.cpp: openwrt/bus.h: src/ must not know an implementation of the platform"])


def test_folder_without_a_place_in_the_order_is_named(tmp_path):
    tree = CLEAN_TREE | {"src/extra/thing.h": '#include "agent/agent.h"\n'}

    assert check(tmp_path, tree) == (1, ["Error: src/extra has no place in LAYERS of script/check-layers"])


def test_name_of_two_headers_is_an_error(tmp_path):
    tree = CLEAN_TREE | {"lib/common/new.h": "", "src/common/new.h": ""}

    status, errors = check(tmp_path, tree)

    assert status == 1
    assert "Error: common/new.h is the name of more than one header" in errors


def test_header_that_includes_itself_through_another_is_named(tmp_path):
    tree = CLEAN_TREE | {
        "src/agent/one.h": '#include "agent/two.h"\n',
        "src/agent/two.h": '#include "agent/one.h"\n',
    }

    assert check(tmp_path, tree) == (1, [
        "Error: circle of includes: src/agent/one.h -> src/agent/two.h -> src/agent/one.h",
        "Error: circle of rooms: src/agent/one -> src/agent/two -> src/agent/one",
    ])


def test_circle_inside_a_room_is_named(tmp_path):
    tree = with_include("src/fsm/advancing_fsm.h", '"fsm/advancing_fsm_impl.h"')

    assert check(tmp_path, tree) == (1, [
        "Error: circle of includes: "
        "src/fsm/advancing_fsm.h -> src/fsm/advancing_fsm_impl.h -> src/fsm/advancing_fsm.h"])


@pytest.mark.parametrize("source", ["client.cpp", "client_actions.cpp", "client_impl.h", "client_actions_more.cpp"])
def test_circle_through_the_source_of_a_header_is_named(tmp_path, source):
    tree = CLEAN_TREE | {
        "lib/common/client.h": "",
        f"lib/common/{source}": '#include "common/curl_client.h"\n',
        "lib/common/curl_client.h": '#include "common/client.h"\n',
    }

    assert check(tmp_path, tree) == (
        1, ["Error: circle of rooms: lib/common/client -> lib/common/curl_client -> lib/common/client"])


def test_source_with_a_header_of_its_own_is_another_room(tmp_path):
    tree = CLEAN_TREE | {
        "lib/common/client.h": "",
        "lib/common/client_table.h": "",
        "lib/common/client_table.cpp": '#include "common/client_table.h"\n#include "common/other.h"\n',
        "lib/common/other.h": '#include "common/client.h"\n',
    }

    assert check(tmp_path, tree) == (0, [])


def test_each_of_two_circles_is_named(tmp_path):
    tree = CLEAN_TREE | {
        f"lib/common/{one}.h": f'#include "common/{other}.h"\n'
        for one, other in (("a", "b"), ("b", "a"), ("c", "d"), ("d", "c"))
    }

    _, errors = check(tmp_path, tree)

    assert [error for error in errors if "circle of rooms" in error] == [
        "Error: circle of rooms: lib/common/a -> lib/common/b -> lib/common/a",
        "Error: circle of rooms: lib/common/c -> lib/common/d -> lib/common/c",
    ]


def test_tree_without_headers_is_an_error(tmp_path):
    tree = {"lib/CMakeLists.txt": CLEAN_TREE["lib/CMakeLists.txt"]}

    status, errors = check(tmp_path, tree)

    assert status == 1
    assert errors == [f"Error: there is no header in lib/, src/, platform/ of {tmp_path}"]


def test_library_without_its_list_of_modules_is_an_error(tmp_path):
    tree = CLEAN_TREE | {"lib/CMakeLists.txt": "add_subdirectory(common)\n"}

    assert check(tmp_path, tree) == (
        1, ["Error: lib/CMakeLists.txt does not list its modules in one foreach"])
