# SPDX-License-Identifier: Apache-2.0
"""What several scenarios check at the end of a deployment."""
CLOSING = ("finished", "error", "canceled", "downloaded")
ANSWERED_POLL = r"method=GET url=https://[^/]+/DEFAULT/controller/v1/[^/ ]+ response="


def poll_again(*homes):
    """Waits until the server has answered two more polls of each gateway."""
    for _ in range(2):
        seen = {home.gateway.daemons[-1]: len(home.gateway.daemons[-1].output.lines) for home in homes}
        for home in homes:
            home.poll_now()
        for daemon, start in seen.items():
            daemon.wait_for_line(ANSWERED_POLL, start=start)


def assert_closed_once(home, action, status="finished"):
    """Waits for the end and some more polls, checks that the action was closed once, and returns the record."""
    home.wait_for_end(action)
    poll_again(home)
    return was_closed_once(home, action, status)


def was_closed_once(home, action, status="finished"):
    """Checks the same for an action that ended some polls ago."""
    record = home.server.action(action)
    assert record.status == status, record
    assert [entry.type for entry in record.entries if entry.type in CLOSING] == [status], record
    assert not record.active
    return record


def texts_of(record, type):
    """The texts of the entries of a type, entry by entry."""
    return [list(entry.messages) for entry in record.entries if entry.type == type]


def is_downloading(server, action):
    """Whether the server has handed out an artifact of the action."""
    return any(entry.type == "download" for entry in server.action(action).entries)
