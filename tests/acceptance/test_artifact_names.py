# SPDX-License-Identifier: Apache-2.0
"""File names that the server passes on as they were uploaded, and that must do no harm on a gateway."""
from outcomes import poll_again, texts_of, was_closed_once

RAN = "state-ran"
UNSAFE = ("../x.sh", "/etc/x.sh", "-rf", ".hidden", "$(touch state-ran).sh", "`touch state-ran`.sh",
          ";touch state-ran;.sh", "&x.sh", "'x\".sh", "a b.sh", "a\nb.sh", "*.sh", "é.sh")
# Safe to use, but either the server rejects its own link to it or no file can have this name.
UNREACHABLE = {"100%.sh": "HTTP server returned an error code", "x" * 256: "Failed to open file for writing"}
HARMLESS = "a_b+c~d=e@f,g:h-1.sh"


def start(make_home, number, filename):
    home = make_home()
    home.start()
    # The server may fail on concurrent uploads of the same content.
    text = f"#!/bin/sh\n# {home.device} {number}\ntouch /tmp/{RAN}\necho ran\n"
    module = home.module("script", f"name-{number}", "1.0", {filename: text.encode()})
    return home, module


def deploy(make_home, filenames):
    """One gateway for each name; returns (home, module, action) when their deployments have ended."""
    started = [start(make_home, number, filename) for number, filename in enumerate(filenames, 1)]
    actions, before = [], []
    for home, module in started:
        home.wait_until_registered()
        before.append(files_outside(home))
        actions.append(home.assign(module))
        home.poll_now()
    for (home, _), action in zip(started, actions, strict=True):
        home.wait_for_end(action)
    poll_again(*(home for home, _ in started))
    assert [files_outside(home) for home, _ in started] == before
    return [(home, module, action) for (home, module), action in zip(started, actions, strict=True)]


def files_outside(home):
    """The files of the gateway, without its /tmp and its logs, and what such names could leave around it."""
    own, root = home.gateway.run_dir, home.gateway.tmp.parent
    strange = (path for pattern in ("*.sh", RAN, "etc/*.sh") for path in root.glob(pattern))
    return {*strange, *(path for path in own.rglob("*") if path.relative_to(own).parts[0] != "log")}


def assert_was_one_failure(home, module, action, message):
    """Asserts that nothing of the file arrived at the gateway, and that nothing of its name was run."""
    record = was_closed_once(home, action, "error")
    [(reported, *details, chunk)] = texts_of(record, "error")
    assert (reported, chunk) == (message, module.chunk), details
    assert "Installation started" not in record.messages
    assert not (home.gateway.tmp / RAN).exists()
    assert home.gateway.leftovers() == []
    assert home.gateway.calls() == []
    assert home.gateway.daemons[-1].is_running()
    return record


def test_unsafe_names_are_refused_before_the_download(make_home):
    for home, module, action in deploy(make_home, UNSAFE):
        record = assert_was_one_failure(home, module, action, "Artifact file name is not safe to use")
        assert "download" not in [entry.type for entry in record.entries]


def test_names_that_cannot_be_fetched_are_one_failure(make_home):
    for deployed, message in zip(deploy(make_home, UNREACHABLE), UNREACHABLE.values(), strict=True):
        assert_was_one_failure(*deployed, message)


def test_name_of_all_that_is_allowed_is_installed(make_home):
    [(home, module, action)] = deploy(make_home, [HARMLESS])

    record = was_closed_once(home, action)

    assert ["Chunk deployed", module.chunk, "ran"] in texts_of(record, "running")
    assert (home.gateway.tmp / RAN).exists()
