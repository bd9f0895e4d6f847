# SPDX-License-Identifier: Apache-2.0
"""The development kit's update server as the scenarios see it, directly or behind a proxy."""
from __future__ import annotations

import time
from pathlib import Path

import driver
from driver import Access, ActionRecord, Entry, Module, ServerRefusal, TargetRecord
from hawkbit_server import Slow, Status, Tls, UpdateServer, Window
from hawkbit_server.store import OperatorError
from nginx import GATEWAY_TOKEN, Nginx


class DevkitServer(driver.Server):
    is_real = False

    def __init__(self, directory: Path, pki, poll: str, proxied: bool) -> None:
        self.has_proxy = proxied
        self._proxy = None
        if proxied:
            self._server = UpdateServer(None, poll=poll, forwarded_headers=True, target_tokens=True,
                                        authorization=f"GatewayToken {GATEWAY_TOKEN}")
        else:
            tls = Tls(pki.server.certificate, pki.server.key, pki.ca, client="demanded")
            self._server = UpdateServer(tls, poll=poll, target_tokens=True)
        self._server.start()
        port = self._server.port
        self.plain_port = port if proxied else None
        if proxied:
            self._proxy = Nginx(directory / "nginx", pki, self._server.port)
            self._proxy.start()
            port = self._proxy.port
        self.access = Access(f"localhost:{port}", pki.ca, pki.client.certificate, pki.client.key,
                             (pki.stranger_client.certificate, pki.stranger_client.key),
                             (pki.server.certificate, pki.server.key))

    @property
    def kit(self):
        """The update server itself."""
        return self._server

    def add_module(self, type, name, version, artifacts):
        made = self._server.software_module(type, name, version, artifacts)
        return Module(made.id, made.type, made.name, made.version)

    def replace_artifact(self, module, filename, content):
        self._server.replace_artifact(self._server.store.modules[module.id], filename, content)

    def token_of(self, target):
        return self._server.target(target).security_token

    def assign(self, target, modules, type="forced", *, force_time=None, window_opens_in=None):
        chosen = [self._server.store.modules[each.id] for each in modules]
        window = None if window_opens_in is None else Window(opens_at=time.time() + window_opens_in)
        with _refusals():
            return self._server.assign(target, chosen, type, force_time=force_time, window=window).id

    def _action(self, action):
        return self._server.store.actions[action]

    def cancel(self, action):
        with _refusals():
            self._server.cancel(self._action(action))

    def force_quit(self, action):
        with _refusals():
            self._server.force_quit(self._action(action))

    def force(self, action):
        with _refusals():
            self._server.force(self._action(action))

    def request_attributes(self, target):
        self._server.request_attributes(target)

    def start_rollout(self, name, targets, modules, groups):
        chosen = [self._server.store.modules[each.id] for each in modules]
        with _refusals():
            return DevkitRollout(self._server.rollout(name, targets, chosen, groups))

    def set_polling_time(self, text):
        self._server.settings.poll = text

    def slow_down(self, target):
        if self._proxy:
            self._proxy.slow_down(target, driver.SLOW_BYTES_PER_SECOND)
        else:
            self._server.order("artifact", Slow(driver.SLOW_BYTES_PER_SECOND), target=target, times=None)

    def target(self, target):
        known = self._server.store.targets.get(target)
        return known and TargetRecord(dict(known.attributes), known.update_status)

    def action(self, action):
        with self._server.store.changed:
            record = self._action(action)
            entries = tuple(Entry(each.type.value, tuple(text for text in each.messages if text is not None))
                            for each in record.entries)
            return ActionRecord(record.active, record.status.value, entries)

    def actions_with_code(self, code):
        return {each.id for each in self._server.find_by_status_code(code)}

    def stop(self):
        self._server.stop()

    def start(self):
        self._server.start()

    def stop_proxy(self):
        self._proxy.stop()

    def start_proxy(self):
        self._proxy.start()

    def close(self):
        if self._proxy:
            self._proxy.stop()
        self._server.faults.clear()
        self._server.stop()


class DevkitRollout(driver.Rollout):
    def __init__(self, rollout) -> None:
        self._rollout = rollout

    def status(self):
        return self._rollout.status

    def groups(self):
        return self._rollout.groups()

    def action_of(self, target):
        action = self._rollout.action_of(target)
        return None if action is None or action.status is Status.SCHEDULED else action.id


class _refusals:
    """Converts the stand-in's refusals of an operator's step to those of the interface."""

    def __enter__(self):
        return self

    def __exit__(self, kind, error, trace):
        if isinstance(error, OperatorError):
            raise ServerRefusal(str(error)) from error
