# SPDX-License-Identifier: Apache-2.0
"""The package's files are consistent with each other, the daemon and the documentation."""
import json
import re
import shutil
import subprocess

import pytest

from openwrt.procd import uci_file
from package_bench import FILES, PACKAGE, PROJECT

SCRIPTS = sorted(path for path in PACKAGE.rglob("*")
                 if path.is_file() and path.read_bytes().startswith(b"#!/bin/sh"))
INIT = (FILES / "zephran.init").read_text()
DOCUMENTATION = (PROJECT / "docs/openwrt.md").read_text()

# Written or read by the daemon itself, not by the init script.
READ_BY_THE_DAEMON = {"automatic_update", "rebooted"}
CARRIED_OPTIONS = set(re.search(r"SERVICE_OPTIONS='([^']*)'", INIT)[1].split())
# --help starts nothing, and nothing reads the other one.
NOT_FOR_A_GATEWAY = {"help", "installed-flash-type"}


def shipped_sections():
    return {section.name: section for section in
            uci_file.parse((FILES / "zephran.config").read_text())}


def validated_options():
    function = re.search(r"^with_service_options\(\) {\n(.*?)^}", INIT, re.MULTILINE | re.DOTALL)[1]
    return {name: (datatype, default) for name, datatype, default in
            (f"{option}::".split(":")[:3] for option in re.findall(r"'([^']+)'", function))}


def sources():
    return "".join(path.read_text() for directory in ("src", "lib", "platform")
                   for path in sorted((PROJECT / directory).rglob("*"))
                   if path.suffix in (".h", ".cpp"))


def test_every_script_is_checked():
    assert [path.name for path in SCRIPTS] == [
        "zephran.defaults", "zephran.iface", "zephran.init", "zephran.ntp", "zephran.poll",
        "zephran.status", "test-version.sh", "test.sh"]


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda path: path.name)
def test_shellcheck_accepts_every_script(script):
    if not shutil.which("shellcheck"):
        pytest.skip("shellcheck is not installed")
    done = subprocess.run(["shellcheck", script], capture_output=True, text=True, check=False)

    assert (done.returncode, done.stdout) == (0, "")


def test_every_passed_option_exists_in_the_daemon():
    known = set(re.findall(r'_arg = "([\w-]+)";', (PROJECT / "src/command_line_options.cpp")
                           .read_text()))
    passed = set(re.findall(r"--([a-z-]+)", INIT))

    assert passed <= known
    assert known - passed == NOT_FOR_A_GATEWAY


def test_shipped_service_options_are_known_and_have_their_defaults():
    shipped = shipped_sections()["service"].options
    validated = validated_options()

    assert READ_BY_THE_DAEMON <= set(shipped) <= set(validated) | READ_BY_THE_DAEMON | CARRIED_OPTIONS
    assert not (READ_BY_THE_DAEMON | CARRIED_OPTIONS) & set(validated)
    assert shipped["enabled"] == "0"
    assert shipped["automatic_update"] == "1"
    for name in set(shipped) & set(validated):
        assert shipped[name] == validated[name][1]


def test_schedule_options_match_the_daemon_and_the_instance():
    keys = (PROJECT / "src/store/device_store.cpp").read_text()
    read = re.findall(r'"zephran\.schedule\.(\w+)"', keys)
    carried = re.findall(r"config_get \w+ schedule (\w+)", INIT)
    shipped = shipped_sections()["schedule"].options

    assert set(shipped) == set(read) == set(carried)
    assert shipped["enabled"] == "0"


def read_in(source):
    text = (PROJECT / "src/options" / source).read_text()
    return re.findall(r'\b(?:text|flag|number|choice<[^()]*>)\(\s*"(\w+)"', text)


def test_options_of_the_service_are_those_that_the_daemon_reads():
    carried = re.search(r"SERVICE_OPTIONS='([^']*)'", INIT)[1].split()

    assert sorted(carried) == sorted(read_in("service_options.cpp") + read_in("report_options.cpp") +
                                     read_in("bus_options.cpp"))


def test_options_of_transfers_are_those_that_the_daemon_reads():
    read = read_in("transport_options.cpp") + read_in("download_options.cpp")
    carried = re.search(r"NETWORK_OPTIONS='([^']*)'", INIT)[1].split()
    shipped = shipped_sections()["network"].options

    assert sorted(carried) == sorted(read)
    assert set(shipped) <= set(read)


def test_every_section_that_the_daemon_uses_is_shipped_by_name():
    used = set(re.findall(r'"zephran\.(?!chip\.lock)(\w+)[."]', sources())
               + re.findall(r'\bsection = "(\w+)"', sources()))
    shipped = shipped_sections()

    assert used >= {"service", "schedule", "device"}
    assert used == set(shipped)
    assert all(section.type == name for name, section in shipped.items())


def test_defaults_create_the_shipped_sections():
    made = re.search(r"for section in (.*); do", (FILES / "zephran.defaults").read_text())[1]

    assert made.split() == list(shipped_sections())


def web_roles():
    return json.loads((FILES / "zephran.acl.json").read_text())


def test_web_interface_has_a_role_for_consent_and_one_for_the_configuration():
    roles = web_roles()

    assert list(roles) == ["zephran-consent", "zephran-administration"]
    assert all(set(role) == {"description", "read", "write"} for role in roles.values())


def test_consent_has_separate_rights_to_read_and_to_act():
    consent = web_roles()["zephran-consent"]

    assert consent["read"] == {"ubus": {"zephran": ["get_agents", "get_deployment", "get_status",
                                                    ":subscribe"]}}
    assert consent["write"] == {"ubus": {"zephran": ["force_poll", "accept_deployment",
                                                     "postpone_deployment"]}}


def test_nothing_but_administration_reaches_the_configuration():
    administration = web_roles()["zephran-administration"]

    assert administration["read"] == {"uci": ["zephran"]}
    assert administration["write"] == {"uci": ["zephran"]}


def test_rights_cover_the_methods_of_the_daemon():
    source = (PROJECT / "platform/openwrt/ubus_agent_manager.cpp").read_text()
    offered = re.findall(r'(?:^ +\{|emplace_back\()\s*"(\w+)",', source, re.MULTILINE)
    consent = web_roles()["zephran-consent"]

    granted = consent["read"]["ubus"]["zephran"] + consent["write"]["ubus"]["zephran"]

    # The web server asks for this right before it passes notifications on.
    assert sorted(granted) == sorted([*offered, ":subscribe"])
    assert set(re.findall(r"ubus .*call zephran (\w+)", DOCUMENTATION)) <= set(offered)


def test_every_option_is_documented_with_type_and_default():
    rows = {cells[0].strip(" `"): [cell.strip(" `") for cell in cells[1:3]] for cells in
            (line.strip("|").split("|") for line in DOCUMENTATION.splitlines()
             if line.startswith("| `"))}
    expected = {f"service.{name}": ["text" if datatype == "string" else
                                    "one of DEBUG, INFO, WARNING, ERROR"
                                    if datatype.startswith("or(") else datatype, default or "none"]
                for name, (datatype, default) in validated_options().items()}

    assert {name: rows.get(name) for name in expected} == expected
    assert {f"service.{name}" for name in READ_BY_THE_DAEMON} <= set(rows)
    assert {f"{section}.{name}" for section in ("schedule", "network")
            for name in shipped_sections()[section].options} <= set(rows)


HELP = "echo '  --device-id arg'; echo '  --hawkbit-server arg'"


def run_feed_test(root, script, arguments, program=HELP, libuci="lib", enabled="0"):
    """Runs a test of the feed below a directory that replaces a gateway's /."""
    for directory in ("usr/sbin", "usr/lib", "lib", "etc/init.d"):
        (root / directory).mkdir(parents=True)
    programs = {"usr/sbin/zephran": f'[ "$*" = --help ] || exit 2\n{program}',
                "etc/init.d/zephran": "exit 0", "uci": f"echo {enabled}"}
    for name, text in programs.items():
        (root / name).write_text(f"#!/bin/sh\n{text}\n")
        (root / name).chmod(0o755)
    if libuci:
        (root / libuci / "libuci.so").touch()
    for name in ("test.sh", "test-version.sh"):
        text = (PACKAGE / name).read_text()
        (root / name).write_text(re.sub(r"(?<= )/(?=usr/|lib/|etc/)|(?<=\()/(?=usr/)", f"{root}/", text))
    return subprocess.run(["sh", root / script, *arguments], capture_output=True, text=True, check=False,
                          env={"PATH": f"{root}:/usr/bin:/bin"})


@pytest.mark.parametrize("script", ["test.sh", "test-version.sh"])
@pytest.mark.parametrize("gateway, error", [
    ({}, ""),
    ({"libuci": "usr/lib"}, ""),
    ({"program": "echo 'something else'"}, "zephran --help does not list its options\n"),
    ({"program": f"{HELP}; exit 127"}, "zephran --help ends with status 127\n"),
    ({"libuci": None}, "there is no libuci.so\n"),
    ({"enabled": "1"}, "the service is not installed switched off\n")])
def test_feed_notices_whether_the_package_works(tmp_path, script, gateway, error):
    done = run_feed_test(tmp_path, script, ["zephran", "0.1.0"], **gateway)

    assert (done.returncode, done.stderr) == (1 if error else 0, error)


def test_feed_tests_no_other_package_with_it(tmp_path):
    done = run_feed_test(tmp_path, "test.sh", ["other", "1"], program="exit 1")

    assert (done.returncode, done.stderr) == (0, "")


def test_documented_reload_covers_all_that_the_instance_carries_in_its_environment():
    table = DOCUMENTATION.split("\n## Reload\n")[1].split("\n## ")[0]
    carried = re.findall(r"\b(ZEPHRAN_[A-Z]+)=", INIT)

    assert carried
    assert [name for name in carried if not re.search(rf"^\|.*`{name}`", table, re.MULTILINE)] == []


def test_documented_copy_into_the_sdk_replaces_the_package_of_an_earlier_commit(tmp_path):
    commands = re.search(r"^script/release\n(.*?)^cd \"\$SDK\"$", DOCUMENTATION, re.MULTILINE | re.DOTALL)[1]
    sdk = tmp_path / "sdk"
    (sdk / "package").mkdir(parents=True)
    offer = tmp_path / "build/offer"
    (offer / "zephran").mkdir(parents=True)
    for name in ("first", "second"):
        for old in (offer / "zephran").iterdir():
            old.unlink()
        (offer / "zephran" / name).touch()
        (offer / "zephran-0.1.0.tar.xz").write_text(name)
        subprocess.run(["sh", "-euc", commands], cwd=tmp_path, check=True,
                       env={"PATH": "/usr/bin:/bin", "SDK": sdk})

    assert [path.name for path in (sdk / "package/zephran").iterdir()] == ["second"]
    assert (sdk / "dl/zephran-0.1.0.tar.xz").read_text() == "second"
