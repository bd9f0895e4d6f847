# SPDX-License-Identifier: Apache-2.0
"""The command line of the simulated gateway."""
import argparse
import pathlib
import signal
import sys
import tempfile

from . import Gateway, GatewayError


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="in-gateway", description="Runs one command in a "
                                     "simulated gateway and ends with its exit status.")
    parser.add_argument("--run-dir", help="where the gateway keeps /etc/config, tools and logs "
                                          "(default: a temporary directory)")
    parser.add_argument("--config", action="append", default=[], metavar="PACKAGE=FILE",
                        help="a file for /etc/config/PACKAGE; may be given more than once")
    parser.add_argument("--library-path", help="where the stand-ins of the libraries lie")
    parser.add_argument("--bus-path", help="where the stand-ins of ubusd and ubus lie; without it "
                                           "the gateway has no message bus")
    parser.add_argument("command", nargs="+")
    return parser.parse_args()


def run(options: argparse.Namespace, run_dir: str) -> int:
    """Runs the command, passes its output on as it comes, and returns its exit status."""
    with Gateway(run_dir, library_path=options.library_path,
                 bus_path=options.bus_path) as gateway:
        for setting in options.config:
            package, _, file = setting.partition("=")
            gateway.config(package, pathlib.Path(file).read_text(encoding="utf-8"))
        daemon = gateway.start_daemon(options.command)
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, lambda received, _: daemon.signal(received))
        shown = 0
        while True:
            status = daemon.exit_status
            if status is not None:
                daemon.wait()
            for line in daemon.output.lines[shown:]:
                shown += 1
                print(line.text, file=sys.stdout if line.stream == "out" else sys.stderr, flush=True)
            if status is not None:
                return status
            daemon.output.wait_for("", timeout=0.2, start=shown)


def main() -> int:
    options = arguments()
    with tempfile.TemporaryDirectory(prefix="gateway-") as scratch:
        try:
            status = run(options, options.run_dir or scratch)
        except (GatewayError, OSError) as error:
            sys.exit(f"Error: {error}")
    # A signal is reported as a shell does.
    return status if status >= 0 else 128 - status
