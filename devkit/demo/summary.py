# SPDX-License-Identifier: Apache-2.0
"""The table at the end; everything in it comes from the records."""
from . import records
from .rollouts import BEFORE
from .screen import megabytes


def summarize(scene, action, screen, control, library):
    target = action.target
    sent = records.reports(scene, action)
    closing = records.closing_reports(scene, action)
    finished = sum(report.title == "Chunk deployed" for report in sent)
    loaded = records.downloads(scene)
    screen.heading("Summary")
    screen.row("target", f"{target.id}, {len(target.attributes)} attributes, polled "
                         f"{target.polls} times")
    screen.row("rollout", f"action {action.id}, {action.type.value}, "
                          f"{len(action.distribution_set.modules)} chunks, {finished} of them deployed")
    screen.row("user's decision", f"action {control.pending['action_id']} accepted; downloads and "
                                  f"reports before that: {len(records.premature(scene, control))}")
    screen.row("downloads", f"{len(loaded)} files, {megabytes(sum(each.sent for each in loaded))}")
    screen.row("feedback sent", f"{len(sent)} messages, the last one: " + (
        f"closed, {closing[-1].finished}" if closing else "not a closing one"))
    screen.row("server's record", f"action {action.status.value}, target {target.update_status}")
    _show_gateway(scene.inventory(), scene.life.reboots, screen)
    screen.row("configuration", library)
    screen.row("message bus", scene.message_bus())
    screen.row("time", f"{screen.seconds:.0f} s")


def _show_gateway(found, reboots, screen):
    parts = [f"{name} {_change(getattr(found, field), getattr(BEFORE, field))}" for name, field in (
        ("Z-Wave radio", "radio"), ("powerline chip", "powerline"), ("boot loader", "boot_loader"))]
    screen.row("on the gateway", f"firmware {found.firmware} after {reboots} "
                                 f"reboot{'s'[:reboots != 1]}, {', '.join(parts)}")
    screen.row("packages", _listed(f"{name} {version} ({state})"
                                   for name, (version, state) in found.packages.items()))
    screen.row("files", _listed(f"/etc/installed/{name}" for name in found.files))
    screen.row("records", _listed(f"{name} = {value}" for name, value in found.records.items()))
    screen.row("left in /tmp", _listed(found.left_behind))


def _change(content, before):
    if content == before:
        return "as it was"
    written = content.rstrip(b"\377") if content else b""
    return f"with {megabytes(len(written))} written"


def _listed(texts):
    return ", ".join(texts) or "nothing"
