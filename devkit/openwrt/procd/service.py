# SPDX-License-Identifier: Apache-2.0
"""Runs a procd init script against the stand-ins and returns what it asked procd for."""
import dataclasses
import os
import pathlib
import subprocess

HERE = pathlib.Path(__file__).resolve().parent

# procd's parameters that hold lists and tables; all others hold one value.
LISTS = ("command", "netdev", "file", "respawn", "watch")
TABLES = ("env", "data", "limits")

# A reload restarts an instance if one of these differs, and leaves it alone otherwise.
RESTARTING = ("command", "env", "netdev", "file", "user", "group", "limits", "respawn")


class RecordError(Exception):
    """The script used procd's functions in a way that procd does not support."""


@dataclasses.dataclass
class Service:
    exit_status: int
    errors: str
    # None if procd was not asked for anything: what runs continues as it is. A service that is asked
    # for without an instance ends.
    name: str | None = None
    # instance name to its parameters
    instances: dict = dataclasses.field(default_factory=dict)
    # (tag, priority, text) of each line in the system log
    log: list = dataclasses.field(default_factory=list)
    reload_triggers: list = dataclasses.field(default_factory=list)
    # (package, type) to the checked options
    validations: dict = dataclasses.field(default_factory=dict)


def needs_restart(running, wanted):
    """Whether procd restarts a running instance to give it these parameters."""
    return any(running.get(key) != wanted.get(key) for key in RESTARTING)


def environment(root, record):
    return {
        "PATH": f"{HERE / 'bin'}:/usr/sbin:/usr/bin:/sbin:/bin",
        "LC_ALL": "C.UTF-8",
        "OPENWRT_ROOT": os.fspath(root),
        "OPENWRT_RECORD": os.fspath(record),
        "OPENWRT_STANDIN": os.fspath(HERE),
    }


def run(script, action, root, shell=("dash",), running=()):
    """Runs `script` (a path) with the configuration below `root`, as /etc/rc.common would.

    `running` are the names of the services that procd has running at that time.
    """
    record = pathlib.Path(root) / "record"
    record.write_bytes(b"")
    variables = {**environment(root, record), "OPENWRT_RUNNING": " ".join(running)}
    done = subprocess.run([*shell, HERE / "rc.common", script, action], check=False,
                          capture_output=True, text=True, env=variables)
    service = Service(done.returncode, done.stderr)
    parameters = {}
    for kind, values in entries(record.read_bytes()):
        match kind:
            case "open_service":
                service.name = values[0]
            case "open_instance":
                parameters = service.instances.setdefault(values[0], {})
            case "set":
                put(parameters, *values)
            case "append":
                append(parameters, *values)
            case "log":
                service.log.append(tuple(values))
            case "reload_trigger":
                service.reload_triggers += values
            case "validation":
                service.validations[tuple(values[:2])] = values[2:]
    return service


def entries(data):
    """Pairs of a kind and its values."""
    fields = iter(data.decode("utf-8").split("\0")[:-1])
    for kind in fields:
        yield kind, [next(fields) for _ in range(int(next(fields)))]


def put(parameters, name, *values):
    if name in LISTS:
        parameters[name] = list(values)
    elif name in TABLES:
        parameters[name] = dict(value.split("=", 1) for value in values)
    elif len(values) == 1:
        parameters[name] = values[0]
    else:
        raise RecordError(f"parameter {name} takes one value, not {len(values)}")


def append(parameters, name, *values):
    if name in LISTS:
        parameters.setdefault(name, []).extend(values)
    elif name in TABLES:
        parameters.setdefault(name, {}).update(value.split("=", 1) for value in values)
    else:
        raise RecordError(f"nothing can be added to parameter {name}")
