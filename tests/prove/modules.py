# SPDX-License-Identifier: Apache-2.0
"""Software modules of random histories: each is told apart by what it leaves behind."""
import adapters as behind
from gateway import firmware_image, package

PARTS = ("script", "bad", "zw", "opkg", "os")


class Modules:
    """Makes the modules of one bench, and says which of them a gateway has."""

    def __init__(self, bench, adapters):
        self._bench = bench
        self._adapters = adapters
        self._made = {}
        self._replaced = set()
        self._seen = {}
        bench.server.observe(self._note_closing)

    def make(self, part):
        number = len(self._made) + 1
        name = f"{part}{number}"
        made = {
            "script": lambda: self._bench.script(name, f"echo done >/etc/installed/{name}\n"),
            "bad": lambda: self._bench.script(name, f"echo tried >/etc/installed/{name}\nexit 3\n"),
            "zw": lambda: self._bench.module("zw", "radio", str(number), {"zw.bin": self._radio(number)}),
            "opkg": lambda: self._bench.module("opkg", name, "1.0", {
                f"{name}.ipk": package(name, "1.0", {f"{name}.txt": b"tool\n"})}),
            "os": lambda: self._bench.module("os", "firmware", self._version(number), {
                "fw.bin": firmware_image(self._version(number))}),
            behind.PART: lambda: behind.module(self._bench, number),
        }[part]()
        self._made[made.id] = part, number
        return made

    def replace_artifact(self, action):
        """Puts another script in the place of the first one, as an operator does who has found a mistake."""
        for module in action.distribution_set.modules:
            part, number = self._made[module.id]
            if part == "script":
                name = f"{part}{number}"
                text = f"#!/bin/sh\necho done >/etc/installed/{name}\n# corrected\n"
                self._bench.server.replace_artifact(module, f"{name}.sh", text.encode())
                self._replaced.add(action.id)
                return

    def was_replaced(self, action):
        return action.id in self._replaced

    def missing(self, action):
        """The modules of a closed action that were not there when it was closed."""
        return [name for name, is_there in self._seen.get(action.id, {}).items() if not is_there]

    def was_tried(self, name):
        return name in self._bench.gateway.installed_files

    def _note_closing(self, event):
        if event.data.get("execution") == "closed" and event.action is not None:
            self.see_again(self._bench.server.store.actions[event.action])

    def see_again(self, action):
        """Notes what is there now."""
        made = [self._made[module.id] for module in action.distribution_set.modules]
        self._seen[action.id] = {f"{part}{number}": self._is_there(part, number, action.target.id)
                                 for part, number in made}

    def _is_there(self, part, number, target):
        gateway = self._bench.gateway
        return {"script": lambda: gateway.installed_files.get(f"script{number}") == b"done\n",
                "bad": lambda: False,
                "zw": lambda: gateway.chip("zwave") == self._radio(number),
                "opkg": lambda: f"opkg{number}" in gateway.packages,
                "os": lambda: gateway.firmware == self._version(number),
                behind.PART: lambda: self._adapters.firmware(target) == behind.version(number)}[part]()

    @staticmethod
    def _radio(number):
        return f"radio {number} ".encode() * 300

    @staticmethod
    def _version(number):
        return f"2.{number}_20260101"
