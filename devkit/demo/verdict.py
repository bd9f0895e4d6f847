"""Holds what the server and the gateway have on record against what the rollout had to do."""
from hawkbit_server import ActionType

from .scene import DEVICE, PROPERTIES
from .screen import megabytes


def reports(scene, action):
    """The statuses that the device reported and the server took."""
    return [each.json()["status"] for each in scene.server.exchanges("feedback")
            if each.action == action.id and each.status == 200]


def closing_reports(scene, action):
    return [report for report in reports(scene, action) if report["execution"] == "closed"]


def downloads(scene):
    return [each for each in scene.server.exchanges("artifact") if each.outcome == "answered"]


def premature(scene, control):
    """What the device asked for or reported of the rollout before the user had accepted it."""
    return [each for kind in ("artifact", "feedback") for each in scene.server.exchanges(kind)
            if each.arrived < control.accepted_at]


def problems(scene, action, rollout, story, control):
    """Sentences on everything that is not as it should be."""
    yield from _problems_of_local_control(scene, action, rollout, control)
    yield from _problems_on_the_server(scene, action, rollout)
    yield from _problems_on_the_gateway(scene, rollout)
    for refusal in story.refusals:
        yield f"the server refused a request ({refusal})"
    if rollout.succeeds:
        for error in story.logged_errors:
            yield f"the daemon logged an error: {error}"
    elif not story.logged_errors:
        yield "the daemon did not log the failure"


def _problems_of_local_control(scene, action, rollout, control):
    agents = [{"id": DEVICE, "config": action.target.attributes}]
    if control.agents != {"agents": agents}:
        yield f"get_agents replied {control.agents} instead of what the server knows, {agents}"
    pending = control.pending
    if pending.get("action_id") != str(action.id):
        yield f"action {pending.get('action_id')!r} was held back instead of '{action.id}'"
    chunks = [{"type": "script", "version": chunk.version} for chunk in rollout.chunks]
    if pending.get("chunks") != chunks:
        yield f"the chunks {pending.get('chunks')} were held back instead of {chunks}"
    if control.accepted != {"success": True}:
        yield f"accept_deployment replied {control.accepted}"
    early = premature(scene, control)
    if early:
        yield (f"{len(early)} requests of the rollout came before the user had accepted it, "
               f"the first one to {early[0].path}")


def _problems_on_the_server(scene, action, rollout):
    if action.type is not ActionType.SOFT:
        yield f"the action is {action.type.value} and not soft"
    if action.status.value != rollout.status or action.spoilt:
        yield f"the server has recorded {action.status.value} instead of {rollout.status}"
    attributes = action.target.attributes
    for key, value in PROPERTIES.items():
        if attributes.get(key) != value:
            yield f"the attribute {key} is {attributes.get(key)!r} on the server, not {value!r}"
    closing = closing_reports(scene, action)
    if len(closing) != 1:
        yield f"the end was reported {len(closing)} times"
        return
    told = "\n".join(closing[0]["details"])
    for text in rollout.closing_details:
        if text not in told:
            yield f"the last report does not say {text!r} but {told!r}"


def _problems_on_the_gateway(scene, rollout):
    found = scene.installed_files()
    for name, content in rollout.installed.items():
        if name not in found:
            yield f"/etc/demo/{name} is missing in the gateway"
        elif found[name] != content:
            yield f"/etc/demo/{name} has {len(found[name])} bytes that are not the right ones"
    for name in found.keys() - rollout.installed.keys():
        yield f"/etc/demo/{name} should not be there"
    for name in scene.gateway.leftovers():
        yield f"/tmp/{name} was left behind in the gateway"


def summarize(scene, action, screen, control, library):
    """The table at the end; everything in it comes from the records."""
    target = action.target
    modules = action.distribution_set.modules
    sent = reports(scene, action)
    finished = sum("Chunk deployed" in report["details"] for report in sent)
    closing = closing_reports(scene, action)
    bytes_sent = sum(each.sent for each in downloads(scene))
    screen.heading("Summary")
    screen.row("target", f"{target.id}, {len(target.attributes)} attributes, polled "
                         f"{target.polls} times")
    screen.row("rollout", f"action {action.id}, {action.type.value}, {len(modules)} chunks, "
                          f"{finished} of them deployed")
    screen.row("user's decision", f"action {control.pending['action_id']} accepted; downloads and "
                                  f"reports before that: {len(premature(scene, control))}")
    screen.row("downloads", f"{len(downloads(scene))} files, {megabytes(bytes_sent)}")
    screen.row("feedback sent", f"{len(sent)} messages, the last one: " + (
        f"closed, {closing[-1]['result']['finished']}" if closing else "not a closing one"))
    screen.row("server's record", f"action {action.status.value}, target {target.update_status}")
    screen.row("on the gateway", _found_on_the_gateway(scene))
    screen.row("configuration", library)
    screen.row("message bus", scene.message_bus())
    screen.row("time", f"{screen.seconds:.0f} s")


def _found_on_the_gateway(scene):
    files = scene.installed_files()
    left = scene.gateway.leftovers()
    installed = ", ".join(f"{name} ({megabytes(len(files[name]))})" for name in sorted(files))
    return (f"in /etc/demo: {installed or 'nothing'}; "
            f"left behind in /tmp: {', '.join(left) or 'nothing'}")
