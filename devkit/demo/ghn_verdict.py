# SPDX-License-Identifier: Apache-2.0
"""Compares the records of server, gateway and adapters with what had to happen on the powerline network."""
from .ghn_scene import ADDRESS, FILE_NAME, GATEWAY, NEW_FIRMWARE, OLD_FIRMWARE, SERIAL

FIRMWARE = "SYSTEM.GENERAL.FW_VERSION"
ATTRIBUTES = {"device_type": "ghn", "firmware_version": OLD_FIRMWARE, "hw_product": "PLC-500",
              "hw_revision": "2", "parent": GATEWAY, "product_class": "GHN"}


def problems(scene, action, story, agents_before, agents_after):
    """A sentence for each problem."""
    for what, agents, wanted in (("found", agents_before, {GATEWAY, SERIAL, ADDRESS}),
                                 ("unplugged one", agents_after, {GATEWAY, SERIAL})):
        if set(agents) != wanted:
            yield f"when discovery had {what}, the agents were {sorted(agents)}, not {sorted(wanted)}"
    yield from _problems_on_the_server(scene, action)
    yield from _problems_of_the_modems(scene)
    if sorted(story.found) != sorted([scene.to_update.mac, scene.to_unplug.mac]):
        yield f"discovery found {story.found}"
    if story.lost != [scene.to_unplug.mac]:
        yield f"discovery lost {story.lost} instead of {scene.to_unplug.mac}"
    for refusal in story.refusals:
        yield f"the server refused a request ({refusal})"
    for error in story.errors:
        yield f"the daemon logged an error: {error}"
    if scene.gateway.leftovers():
        yield f"these files are left on the gateway: {scene.gateway.leftovers()}"


def _problems_on_the_server(scene, action):
    if action.status.value != "finished" or action.spoilt:
        yield f"the server has recorded {action.status.value} instead of finished"
    for target, name in ((SERIAL, "living room"), (ADDRESS, "attic")):
        found = scene.server.target(target).attributes
        wanted = {**ATTRIBUTES, "device_name": name}
        if found != wanted:
            yield f"the attributes of {target} are {found} on the server, not {wanted}"


def _problems_of_the_modems(scene):
    for modem, wanted in ((scene.to_update, NEW_FIRMWARE), (scene.to_unplug, OLD_FIRMWARE)):
        if modem.firmware != wanted:
            yield f"the adapter {modem.mac} runs {modem.firmware} instead of {wanted}"
    commands = _update_commands(scene)
    wanted = _wanted_commands(scene)
    if commands != wanted:
        yield f"the adapter was updated by {commands} instead of {wanted}"


def _update_commands(scene):
    """Command lines that changed a modem, or asked for the result."""
    return [call for call in scene.gateway.calls()
            if " -o SET " in call or call.startswith("l2fwserver") or "FLUPGRADE" in call
            or " -t " in call]


def _wanted_commands(scene):
    mac, line = scene.to_update.mac, scene.powerline
    modem = f"configlayer -i {line.interface} -w {line.password} -m {mac}"
    return [f"{modem} -o SET -p FLUPGRADE.GENERAL.SOURCE=L2 -p FLUPGRADE.GENERAL.SECTION=OSUP "
            "-p FLUPGRADE.GENERAL.START=YES",
            f"l2fwserver /tmp/{FILE_NAME} {line.interface} -m {mac}",
            f"{modem} -o GET -p FLUPGRADE.GENERAL.STATUS -p FLUPGRADE.GENERAL.LAST_UPGRADE_INFO",
            f"{modem} -o SET -p SYSTEM.GENERAL.HW_RESET=1",
            f"{modem} -t 5000 -r 15 -o GET -p {FIRMWARE}"]


def summarize(scene, action, screen, agents_before, agents_after):
    """Shows the outcome, from the records."""
    screen.heading("What is on record")
    screen.row("targets", ", ".join(sorted(agents_before)))
    screen.row(SERIAL, f"action {action.id} {action.status.value}; the adapter runs "
               f"{scene.to_update.firmware}, before it was {OLD_FIRMWARE}")
    screen.row("unplugged", f"{scene.to_unplug.mac}; agents since then: "
               f"{', '.join(sorted(agents_after))}")
    screen.row("tools", f"{len(scene.gateway.calls())} calls, of which "
               f"{len(_update_commands(scene))} belong to the update")
