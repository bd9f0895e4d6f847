# SPDX-License-Identifier: Apache-2.0
"""The files of the package for LuCI are complete, consistent with each other and with the daemon's package."""
import json
import re
import shutil
import subprocess

import pytest

from package_bench import FILES
from texts import APP, catalogue, shown

LARGEST = 60_000
SHARE = APP / "root/usr/share"
MENU = json.loads((SHARE / "luci/menu.d/luci-app-zephran.json").read_text())
ACCESS = json.loads((SHARE / "rpcd/acl.d/luci-app-zephran.json").read_text())
ROLES = json.loads((FILES / "zephran.acl.json").read_text())
VIEWS = APP / "htdocs/luci-static/resources/view"
# What luci.mk makes of the settings that it is given.
RULES = """
LUCI_NAME?=$(notdir ${CURDIR})
LUCI_LANGUAGES:=$(sort $(filter-out templates,$(notdir $(wildcard ${CURDIR}/po/*))))
show:
	@:$(foreach name,$(NAMES),$(info $(name)=$(strip $($(name)))))
"""


@pytest.fixture(name="values")
def fixture_values(tmp_path):
    if not shutil.which("make"):
        pytest.skip("make is not installed")
    (tmp_path / "feeds/luci").mkdir(parents=True)
    (tmp_path / "rules.mk").write_text("")
    (tmp_path / "feeds/luci/luci.mk").write_text(RULES)
    names = ["LUCI_NAME", "LUCI_TITLE", "LUCI_DEPENDS", "LUCI_PKGARCH", "LUCI_LANGUAGES", "PKG_LICENSE"]
    done = subprocess.run(["make", "-s", "--no-print-directory", "-C", APP, f"TOPDIR={tmp_path}", "show",
                           f"NAMES={' '.join(names)}"], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    return dict(line.split("=", 1) for line in done.stdout.splitlines())


def granted(roles, role, kind, what):
    return roles[role].get(kind, {}).get(what)


def test_makefile_names_what_the_page_needs(values):
    assert values.pop("LUCI_TITLE")
    assert values == {"LUCI_NAME": "luci-app-zephran", "LUCI_DEPENDS": "+luci-base +zephran", "LUCI_PKGARCH": "all",
                      "LUCI_LANGUAGES": "de", "PKG_LICENSE": "Apache-2.0"}


def test_feed_is_told_that_this_is_a_package():
    # It looks for this line without running make.
    assert "\n# call BuildPackage - OpenWrt buildroot signature\n" in (APP / "Makefile").read_text()


def test_menu_names_existing_views_and_groups():
    views = {entry["action"]["path"] for entry in MENU.values() if entry["action"]["type"] == "view"}
    groups = {group for entry in MENU.values() for group in entry["depends"]["acl"]}

    assert views == {"zephran/status", "zephran/settings"}
    assert all((VIEWS / f"{view}.js").is_file() for view in views)
    assert groups == set(ACCESS)
    assert all(entry["action"]["path"] in MENU for entry in MENU.values() if entry["action"]["type"] == "alias")


def test_settings_are_for_administrators_alone():
    assert MENU["admin/system/zephran/settings"]["depends"]["acl"] == ["luci-app-zephran-settings"]
    assert "uci" not in json.dumps(ACCESS["luci-app-zephran"])


@pytest.mark.parametrize("group, role", [("luci-app-zephran", "zephran-consent"),
                                         ("luci-app-zephran-settings", "zephran-administration")])
@pytest.mark.parametrize("kind", ["read", "write"])
def test_groups_grant_what_the_roles_of_the_daemon_do(group, role, kind):
    methods = granted(ROLES, role, kind, "ubus")
    # The page asks; it is told nothing by itself.
    asked = methods and {"zephran": [method for method in methods["zephran"] if method != ":subscribe"]}

    assert granted(ACCESS, group, kind, "ubus") == asked
    assert granted(ACCESS, group, kind, "uci") == granted(ROLES, role, kind, "uci")


def test_page_calls_what_is_granted_and_nothing_else():
    called = {method for path in APP.rglob("*.js") for method in re.findall(r"method: '(\w+)'", path.read_text())}
    group = ACCESS["luci-app-zephran"]

    assert called == {*group["read"]["ubus"]["zephran"], *group["write"]["ubus"]["zephran"]}


def test_settings_are_options_that_the_package_ships():
    text = (VIEWS / "zephran/settings.js").read_text()
    set_by_the_page = set(re.findall(r"section\.option\(form\.\w+, '(\w+)'", text)) | set(
        re.findall(r"addHours\(section, '(\w+)'", text))
    shipped = set(re.findall(r"option (\w+)", (FILES / "zephran.config").read_text()))

    # Without it there is no limit, so the package ships none.
    assert set_by_the_page - shipped == {"max_speed"}


def test_template_has_all_texts_and_no_others():
    assert set(catalogue("po/templates/zephran.pot")) == shown()


def test_german_is_complete_and_keeps_the_values():
    german = catalogue("po/de/zephran.po")

    assert set(german) == shown()
    assert not [text for text, translated in german.items() if not translated]
    values = r"%[sd]"
    assert [text for text, translated in german.items()
            if re.findall(values, text) != re.findall(values, translated)] == []


def test_own_files_are_small():
    served = [path for path in APP.rglob("*") if path.is_file() and "po" not in path.relative_to(APP).parts]

    assert 0 < sum(path.stat().st_size for path in served) < LARGEST
