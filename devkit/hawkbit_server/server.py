# SPDX-License-Identifier: Apache-2.0
"""The programming interface of the stand-in, for tests and the demo."""

from __future__ import annotations

import random
import threading
import time
from collections.abc import Callable, Iterable, Mapping, Sequence
from typing import Any

from .ddi import Ddi
from .exchanges import Exchange, Journal
from .faults import Fault
from .http_layer import HOST, HttpLayer
from .model import Action, ActionType, DistributionSet, SoftwareModule, Target, Window
from .orders import Faults, Order
from .rollout import Rollout
from .settings import Settings
from .store import Observer, OperatorError, Store
from .tls import Tls

RECHECK = 0.05


class UpdateServer:
    """An update server that keeps everything in memory.

    Use it as a context manager, or call `start()` and `stop()`. `tls` is None for plain HTTP. Other keywords are those
    of `Settings`. `port` 0 takes a free port; a restart uses the same port and keeps all records.
    """

    def __init__(self, tls: Tls | None = None, *, port: int = 0, clock: Callable[[], float] = time.time,
                 seed: int = 1, **settings: Any) -> None:
        self.settings = Settings(**settings)
        self.store = Store(self.settings, clock)
        self.journal = Journal(self.store.changed, clock)
        self.faults = Faults()
        self.tls = tls
        self.port = port
        self._ddi = Ddi(self.store, tls is not None and tls.client == "demanded", random.Random(seed))
        self._http: HttpLayer | None = None
        self._thread: threading.Thread | None = None

    def __enter__(self) -> UpdateServer:
        self.start()
        return self

    def __exit__(self, *_: object) -> None:
        self.stop()

    def start(self) -> None:
        """Starts listening."""
        if self._http is not None and self._thread is not None:
            raise RuntimeError("the server runs already")
        context = self.tls.context() if self.tls is not None else None
        self._http = HttpLayer(self.port, context, self._ddi, self.journal, self.faults)
        self.port = self._http.server_port
        self._thread = threading.Thread(target=self._http.serve_forever, kwargs={"poll_interval": RECHECK},
                                        name="hawkbit-server", daemon=True)
        self._thread.start()

    def stop(self) -> None:
        """Closes all connections. Raises what has gone wrong inside the server."""
        if self._http is None or self._thread is None:
            return
        http, thread = self._http, self._thread
        self._thread = None
        http.end()
        thread.join()
        if http.errors:
            raise RuntimeError(f"the update server had {len(http.errors)} error(s) of its own") from http.errors[0]

    @property
    def address(self) -> str:
        """host:port, as given to a gateway."""
        return f"{HOST}:{self.port}"

    @property
    def url(self) -> str:
        """Scheme and authority."""
        return f"{'http' if self.tls is None else 'https'}://{self.address}"

    @property
    def handshake_failures(self) -> list[str]:
        """The reasons of failed TLS handshakes since the last start."""
        return list(self._http.handshake_failures) if self._http is not None else []

    # ---- what an operator does

    def target(self, target_id: str) -> Target:
        """The target; it is created if it does not exist."""
        with self.store.changed:
            return self.store.targets.get(target_id) or self.store.register(target_id, "unknown")

    def continue_numbers(self, kind: str, following: int) -> None:
        """The next id of a "target", "module", "set" or "action"; a real server's ids are common to all targets."""
        self.store.continue_numbers(kind, following)

    def software_module(self, type: str, name: str, version: str,
                        artifacts: Mapping[str, bytes] | None = None,
                        metadata: Mapping[str, str] | None = None) -> SoftwareModule:
        """Creates a software module; `artifacts` maps file names to contents, `metadata` is what targets see of it."""
        return self.store.add_module(type, name, version, artifacts or {}, metadata or {})

    def replace_artifact(self, module: SoftwareModule, filename: str, content: bytes) -> None:
        """Deletes a file of the module and uploads another under its name, as the real one does once unlocked."""
        self.store.replace_artifact(module, filename, content)

    def distribution_set(self, modules: Iterable[SoftwareModule]) -> DistributionSet:
        """Creates a set of these modules."""
        return DistributionSet(self.store.number("set"), tuple(modules))

    def assign(self, target: Target | str, what: DistributionSet | Iterable[SoftwareModule], type: str = "forced", *,
               force_time: float | None = None, window: Window | None = None) -> Action:
        """Creates an action; `type` is "forced", "soft", "timeforced" (with `force_time`) or "downloadonly".

        The modules become a new set. This cancels an older action of the target.
        """
        kind = ActionType(type)
        if (kind is ActionType.TIMEFORCED) != (force_time is not None):
            raise OperatorError("a timeforced action, and no other, has a force_time")
        target_id = target if isinstance(target, str) else target.id
        return self.store.assign(self.target(target_id), what, kind, force_time, window)

    def rollout(self, name: str, targets: Sequence[str], modules: Iterable[SoftwareModule], groups: int) -> Rollout:
        """Rolls a new set of these modules out to known targets, beginning at once."""
        unknown = [each for each in targets if each not in self.store.targets]
        if unknown:
            raise OperatorError(f"the server does not know {', '.join(unknown)}")
        return Rollout(self.store, name, [self.store.targets[each] for each in targets],
                       self.distribution_set(modules), groups)

    def cancel(self, action: Action) -> None:
        """Asks the device to cancel the action."""
        self.store.cancel(action)

    def force_quit(self, action: Action) -> None:
        """Closes a cancelling action without the device."""
        self.store.force_quit(action)

    def force(self, action: Action) -> None:
        """Turns a soft action into a forced one."""
        self.store.force(action)

    def open_window(self, action: Action) -> None:
        """Opens the action's maintenance window."""
        self._set_window(action, True)

    def close_window(self, action: Action) -> None:
        """Closes the action's maintenance window."""
        self._set_window(action, False)

    def _set_window(self, action: Action, is_open: bool) -> None:
        with self.store.changed:
            if action.window is None:
                raise OperatorError(f"action {action.id} has no maintenance window")
            action.window = Window(is_open)

    def request_attributes(self, target: Target | str) -> None:
        """Has the next poll show the configData link."""
        with self.store.changed:
            self.target(target if isinstance(target, str) else target.id).attributes_requested = True

    def find_by_status_code(self, code: int) -> list[Action]:
        """The actions whose newest code is this one, as the real one's query by lastStatusCode finds them."""
        with self.store.changed:
            return [action for action in self.store.actions.values() if action.last_status_code == code]

    # ---- what tests and demos need

    def order(self, kind: str, fault: Fault, *, target: str | None = None, first: int = 1,
              times: int | None = 1) -> Order:
        """Orders a fault for requests of a kind (see `Exchange.kind`, or "any"), counted from now on.

        `first` is the number of the first affected request, `times` how many in a row (None: all from there on).
        """
        return self.faults.order(kind, fault, target, first, times)

    def refuse_after(self, connections: int) -> None:
        """Has nobody listen, so that devices are refused, once so many more connections have come; those go on."""
        self._running().refuse_after(connections)

    def is_listening(self) -> bool:
        """Whether devices can connect."""
        return self._running().is_listening

    def listen_again(self) -> None:
        """Ends `refuse_after()`."""
        self._running().listen_again()

    def _running(self) -> HttpLayer:
        if self._http is None:
            raise RuntimeError("the server does not run")
        return self._http

    def observe(self, observer: Observer) -> None:
        """Calls the observer for each event, in the thread of the event; it must not block."""
        self.store.observers.append(observer)

    def exchanges(self, kind: str | None = None, target: str | None = None) -> list[Exchange]:
        """Requests in order of arrival, including those that are not answered yet."""
        return self.journal.select(kind, target)

    def wait_for(self, condition: Callable[[], Any], timeout: float, what: str = "the condition") -> Any:
        """Waits until the condition holds and returns its value; TimeoutError after `timeout` seconds.

        It is called without the server's lock, so it may block and even send requests.
        """
        end = time.monotonic() + timeout
        while True:
            value = condition()
            if value:
                return value
            left = end - time.monotonic()
            if left <= 0:
                seen = ", ".join(f"{each.kind}:{each.status or each.outcome}" for each in self.exchanges()[-12:])
                raise TimeoutError(f"{what} did not come about within {timeout} s; last exchanges: {seen}")
            with self.store.changed:
                self.store.changed.wait(min(left, RECHECK))
