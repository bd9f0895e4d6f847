# SPDX-License-Identifier: Apache-2.0
"""Writes what recorded gateways and servers said to each other as first inputs of the fuzz targets, a folder each."""
import hashlib
import json
import pathlib
import sys

RECORDINGS = pathlib.Path(__file__).parents[1] / "devkit/hawkbit_server"
SEPARATOR = b"\xff"


def exchanges():
    """All recorded requests with their responses."""
    for path in sorted([*RECORDINGS.glob("recorded/*.json"), *RECORDINGS.glob("traces/*.json")]):
        for entry in json.loads(path.read_text(encoding="utf-8")):
            if "request" in entry:
                yield entry["request"], entry["response"]


def target_of(document):
    """The target that reads a document of the server."""
    if "cancelAction" in document:
        return "cancel_action"
    if "deployment" in document:
        return "deployment_action"
    return "controller_status" if "config" in document else None


def of_response(body):
    """A document of the server, and the addresses in it."""
    target = target_of(body)
    if target is None:
        return
    text = json.dumps(body).replace("{server}", "https://update.example")
    yield target, text.encode()
    for piece in text.split('"'):
        if piece.startswith("https:"):
            yield "uri", piece.encode()


def of_request(body):
    """The texts that a gateway has sent."""
    for detail in body.get("status", {}).get("details", []):
        yield "details", b"\0" + detail.encode()
    if "data" in body:
        pairs = [part.encode() for pair in body["data"].items() for part in pair]
        yield "attributes", b"\0" + SEPARATOR.join(pairs)


def inputs():
    """Every input with the name of its target."""
    for request, response in exchanges():
        for body, reader in ((request["body"], of_request), (response["body"], of_response)):
            if isinstance(body, dict):
                yield from reader(body)


def main():
    seeds = pathlib.Path(sys.argv[1])
    written = {(target, data) for target, data in inputs() if len(data) <= 8192}
    for target, data in written:
        directory = seeds / target
        directory.mkdir(parents=True, exist_ok=True)
        seed = directory / hashlib.sha256(data).hexdigest()[:16]
        # A fuzzer may be reading it.
        if not seed.exists():
            seed.write_bytes(data)
    return 0 if written else 1


if __name__ == "__main__":
    sys.exit(main())
