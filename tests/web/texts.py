# SPDX-License-Identifier: Apache-2.0
"""The texts of the page, and their translations."""
import json
import re

from gateway_bench import PROJECT

APP = PROJECT / "packaging/openwrt/luci-app-zephran"
ENTRY = re.compile(r'^msgid "(.+)"\nmsgstr "(.*)"$', re.M)


def shown():
    """All texts that the sources hand to the translation, and the titles in the menu."""
    found = {text for path in APP.rglob("*.js") for text in re.findall(r"\b_\('([^']+)'\)", path.read_text())}
    titles = {entry["title"] for path in APP.rglob("menu.d/*.json")
              for entry in json.loads(path.read_text()).values()}
    return found | titles


def catalogue(path):
    """Each text of a catalogue, and its translation."""
    return dict(ENTRY.findall((APP / path).read_text()))
