# SPDX-License-Identifier: Apache-2.0
"""Somebody else on the gateway knows the name of an artifact and plants something under it."""
import os
import threading

import pytest

from hawkbit_server import Status

NAME = "one.sh"


@pytest.fixture(name="place")
def fixture_place(bench):
    """Where the artifact will be downloaded to."""
    return bench.gateway.tmp / NAME


def installs(bench):
    """Deploys a script under the planted name, and returns what it has printed."""
    action = bench.assign(bench.script("one", "echo from the server"))
    bench.start()
    bench.wait_for_end(action)
    assert action.status is Status.FINISHED
    assert bench.gateway.leftovers() == []
    return bench.reports()[1][3][2]


@pytest.mark.parametrize("mode", [0o644, 0o755], ids=["file", "program"])
@pytest.mark.differs("download-directory")
def test_planted_link_is_not_followed(bench, place, mode):
    outside = bench.file("outside", "#!/bin/sh\necho planted\n")
    outside.chmod(mode)
    place.symlink_to(outside)

    assert installs(bench) == "from the server\n"

    assert outside.read_text() == "#!/bin/sh\necho planted\n"
    assert outside.stat().st_mode & 0o777 == mode


@pytest.mark.differs("download-directory")
def test_planted_pipe_is_not_waited_for(bench, place):
    os.mkfifo(place)

    assert installs(bench) == "from the server\n"


def test_planted_file_that_is_kept_open_cannot_change_the_artifact(bench, place):
    place.touch()
    place.chmod(0o666)
    ended = threading.Event()

    def rewrite(file):
        while not ended.wait(0.05):
            file.seek(0)
            file.write(b"#!/bin/sh\necho planted\nexit 0\n")

    with open(place, "r+b", buffering=0) as file:
        action = bench.assign(bench.script("one", "echo from the server"))
        daemon = bench.start()
        daemon.wait_for_line("event=verify_artifact ")
        rewriter = threading.Thread(target=rewrite, args=[file])
        rewriter.start()
        try:
            bench.wait_for_end(action)
        finally:
            ended.set()
            rewriter.join()

    assert action.status is Status.FINISHED
    assert bench.reports()[1][3][2] == "from the server\n"


@pytest.mark.differs("partial-files")
@pytest.mark.differs("download-directory")
def test_planted_directory_fails_the_deployment_alone(bench, place):
    (place / "inner").mkdir(parents=True)
    action = bench.assign(bench.script("one", "touch /tmp/ran"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert bench.closing_reports()[0][3] == [
        "Failed to open file for writing", f"filename: /tmp/{NAME}", "script:one:1.0"]
    assert bench.exchanges("artifact") == []
    assert bench.gateway.leftovers() == [NAME]
    after = bench.assign(bench.script("next", "echo next"))
    bench.wait_for_end(after)
    assert after.status is Status.FINISHED


@pytest.mark.differs("download-directory")
def test_artifact_that_changed_after_its_verification_is_not_run(bench, place):
    action = bench.assign(bench.script("one", "echo from the server"))
    daemon = bench.start()
    daemon.wait_for_line("event=start_installer ")

    place.write_text("#!/bin/sh\ntouch /tmp/ran\n")

    bench.wait_for_end(action)
    bench.wait_for_exchanges("base", len(bench.exchanges("base")) + 1)
    assert action.status is Status.ERROR
    assert bench.closing_reports()[0][3] == [
        "Failed to verify artifact", f"filename: /tmp/{NAME}", "script:one:1.0"]
    assert bench.gateway.leftovers() == []
