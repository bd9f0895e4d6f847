# SPDX-License-Identifier: Apache-2.0
"""A real hawkBit behind nginx as the scenarios see it."""
from __future__ import annotations

import contextlib
import fcntl
import math
import time
import uuid
from pathlib import Path

import driver
import nginx
from driver import Access, ActionRecord, Entry, Module, ServerRefusal, TargetRecord, wait_for
from hawkbit_management import Management, Refusal, segment
from hawkbit_site import SET_TYPE, HawkbitSite, Whereabouts

NOT_FOUND = 404
# hawkBit has no window without an end; this is the longest that it accepts.
WINDOW_DURATION = "23:59:59"
# Its scheduler creates the groups of a rollout in the background.
ROLLOUT_TIMEOUT = 60
# A group is finished when all of its gateways have succeeded; the rollout stops when all have failed.
GROUP_CONDITIONS = {
    "successCondition": {"condition": "THRESHOLD", "expression": "100"},
    "successAction": {"action": "NEXTGROUP", "expression": ""},
    "errorCondition": {"condition": "THRESHOLD", "expression": "100"},
    "errorAction": {"action": "PAUSE", "expression": ""},
}


class HawkbitServer(driver.Server):
    """`site` is None if other processes use the same server, which then cannot be stopped."""

    has_proxy = True
    is_real = True

    def __init__(self, whereabouts: Whereabouts, site: HawkbitSite | None) -> None:
        self.access: Access = whereabouts.access()
        self.plain_port = whereabouts.management_port
        self._management = Management(whereabouts.management_port)
        self._proxy_directory = Path(whereabouts.proxy_directory)
        self._upload_lock = Path(whereabouts.upload_lock)
        self._site = site
        self._targets: dict[int, str] = {}
        self._polling_time_changed = False

    # ---- the operator

    def add_module(self, type, name, version, artifacts):
        made = self._management.create("softwaremodules", {"name": name, "version": version, "type": type})
        for filename, content in artifacts.items():
            self._upload(made["id"], filename, content)
        return Module(made["id"], type, made["name"], made["version"])

    def replace_artifact(self, module, filename, content):
        path = f"softwaremodules/{module.id}"
        # The assignment has locked it.
        self._management.put(path, {"locked": False})
        for each in self._management.get(f"{path}/artifacts"):
            if each["providedFilename"] == filename:
                self._management.delete(f"{path}/artifacts/{each['id']}")
        self._upload(module.id, filename, content)

    def token_of(self, target):
        self._create_unless_known(target)
        return self._management.get(f"targets/{segment(target)}")["securityToken"]

    def _upload(self, module, filename, content):
        with self._one_upload_at_a_time():
            self._management.upload(f"softwaremodules/{module}/artifacts", filename, content)

    @contextlib.contextmanager
    def _one_upload_at_a_time(self):
        """hawkBit answers 500 to parallel uploads of the same content."""
        with self._upload_lock.open("ab") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            yield

    def _make_set(self, modules):
        # Each needs its own name: hawkBit refuses a second set of the same name and version.
        return self._management.create("distributionsets", {
            "name": f"set-{uuid.uuid4()}", "version": "1", "type": SET_TYPE,
            "modules": [{"id": each.id} for each in modules]})["id"]

    def assign(self, target, modules, type="forced", *, force_time=None, window_opens_in=None):
        order = {"id": self._make_set(modules), "type": type}
        if force_time is not None:
            order["forcetime"] = round(force_time * 1000)
        if window_opens_in is not None:
            order["maintenanceWindow"] = _window(time.time() + window_opens_in)
        self._create_unless_known(target)
        reply = self._management.post(f"targets/{segment(target)}/assignedDS", order)
        if not reply["assignedActions"]:
            raise ServerRefusal(f"no action was made for {target}: {reply}")
        action = reply["assignedActions"][0]["id"]
        self._targets[action] = target
        return action

    def _create_unless_known(self, target):
        if self.target(target) is not None:
            return
        try:
            self._management.create("targets", {"controllerId": target, "name": target})
        except Refusal:
            # It may have registered itself in the meantime.
            if self.target(target) is None:
                raise

    def cancel(self, action):
        self._management.delete(self._path(action))

    def force_quit(self, action):
        self._management.delete(self._path(action), force="true")

    def force(self, action):
        self._management.put(self._path(action), {"forceType": "forced"})

    def request_attributes(self, target):
        self._management.put(f"targets/{segment(target)}", {"requestAttributes": True})

    def start_rollout(self, name, targets, modules, groups):
        # A tag names any number of targets; a filter that lists them may have 1024 characters.
        tag = self._management.create("targettags", {"name": f"tag-{uuid.uuid4()}"})
        self._management.put(f"targettags/{tag['id']}/assigned", list(targets))
        made = self._management.post("rollouts", {
            "name": name, "distributionSetId": self._make_set(modules),
            "targetFilterQuery": f"tag=={tag['name']}", "type": "forced", "amountGroups": groups,
            **GROUP_CONDITIONS})
        rollout = HawkbitRollout(self._management, made["id"], self._targets)
        wait_for(lambda: rollout.status() == "ready", ROLLOUT_TIMEOUT, f"rollout {name} that can be started")
        self._management.post(f"rollouts/{made['id']}/start")
        wait_for(lambda: rollout.status() != "starting", ROLLOUT_TIMEOUT, f"the start of rollout {name}")
        return rollout

    def set_polling_time(self, text):
        self._own_site("set_polling_time")
        self._polling_time_changed = True
        self._management.put("system/configs/pollingTime", {"value": text})

    def slow_down(self, target):
        nginx.slow_down(self._proxy_directory, target, driver.SLOW_BYTES_PER_SECOND)

    # ---- what it recorded

    def target(self, target):
        path = f"targets/{segment(target)}"
        try:
            status = self._management.get(path)["updateStatus"]
        except Refusal as refusal:
            if refusal.status == NOT_FOUND:
                return None
            raise
        return TargetRecord(self._management.get(f"{path}/attributes") or {}, status)

    def action(self, action):
        # The entries are read last, so that they are complete if the action was closed.
        record = self._management.get(self._path(action))
        entries = tuple(Entry(each["type"], tuple(text for text in each["messages"] if text is not None))
                        for each in self._management.pages(f"{self._path(action)}/status", sort="id:ASC"))
        return ActionRecord(record["status"] == "pending", record["detailStatus"], entries)

    def actions_with_code(self, code):
        return {each["id"] for each in self._management.pages("actions", q=f"lastStatusCode=={code}")}

    def _path(self, action):
        return f"targets/{segment(self._targets[action])}/actions/{action}"

    # ---- its life

    def _own_site(self, what):
        if self._site is None:
            raise RuntimeError(f"{what}: others use this server, so the scenario must be marked `alone` "
                               "and run without -n")
        return self._site

    def stop(self):
        self._own_site("stop").process.stop()

    def start(self):
        self._own_site("start").process.start()

    def stop_proxy(self):
        self._own_site("stop_proxy").proxy.stop()

    def start_proxy(self):
        self._own_site("start_proxy").proxy.start()

    def close(self):
        """Restarts what the scenario has stopped, and restores the polling time."""
        if self._site:
            self._site.mend()
        if self._polling_time_changed:
            self._management.delete("system/configs/pollingTime")


class HawkbitRollout(driver.Rollout):
    """`targets` gets the target of each action."""

    def __init__(self, management: Management, number: int, targets: dict[int, str]) -> None:
        self._management = management
        self._number = number
        self._targets = targets

    def status(self):
        return self._management.get(f"rollouts/{self._number}")["status"]

    def groups(self):
        path = f"rollouts/{self._number}/deploygroups"
        return [each["status"] for each in self._management.pages(path, sort="id:ASC")]

    def action_of(self, target):
        """Ignores an action whose group has not begun: the gateway is not offered it."""
        for each in self._management.pages(f"targets/{segment(target)}/actions", sort="id:DESC"):
            if each.get("rollout") == self._number and each["detailStatus"] != "scheduled":
                self._targets[each["id"]] = target
                return each["id"]
        return None


def _window(opens_at: float) -> dict:
    """A window that opens once at this time (seconds since the epoch, rounded up)."""
    start = time.gmtime(math.ceil(opens_at))
    fields = (start.tm_sec, start.tm_min, start.tm_hour, start.tm_mday, start.tm_mon, "?", start.tm_year)
    return {"schedule": " ".join(map(str, fields)), "duration": WINDOW_DURATION, "timezone": "+00:00"}
