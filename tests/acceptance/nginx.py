# SPDX-License-Identifier: Apache-2.0
"""nginx in front of an update server, with the configuration from the documentation."""
from __future__ import annotations

import os
import re
import shutil
import socket
import subprocess
import time
from pathlib import Path

import local_process

CONFIGURATION = Path(__file__).resolve().parents[2] / "docs/nginx/hawkbit-front.conf"
GATEWAY_TOKEN = "testkey"
TIMEOUT = 30
ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}

# Around the documented configuration: ports, paths and programs of this run.
FRAME = """
{user}
daemon off;
worker_processes 1;
pid {directory}/nginx.pid;
error_log {directory}/error.log notice;
events {{ worker_connections 512; }}
http {{
    access_log {directory}/access.log;
    client_body_temp_path {directory}/body;
    proxy_temp_path {directory}/proxy;
    fastcgi_temp_path {directory}/fastcgi;
    uwsgi_temp_path {directory}/uwsgi;
    scgi_temp_path {directory}/scgi;
    limit_rate $download_rate;
    map $uri $download_rate {{
        default 0;
        include slow.conf;
    }}
    upstream hawkbit {{ server 127.0.0.1:{upstream}; }}
    server {{
        listen 127.0.0.1:{port} ssl;
        include hawkbit-front.conf;
    }}
}}
"""


class NginxError(RuntimeError):
    """nginx is missing or does not start; the text holds its output."""


class Nginx:
    """One nginx on a free port of the loopback interface, for a server on `upstream`."""

    def __init__(self, directory: Path, pki, upstream: int) -> None:
        self.directory = directory
        self.port = local_process.free_port()
        self._upstream = upstream
        self._process: subprocess.Popen | None = None
        directory.mkdir(parents=True)
        shutil.copy(CONFIGURATION, directory)
        certificates = directory / "tls"
        certificates.mkdir()
        shutil.copy(pki.server.certificate, certificates / "server.crt")
        shutil.copy(pki.server.key, certificates / "server.key")
        shutil.copy(pki.ca, certificates / "gateways-ca.crt")
        (directory / "gateway-token.conf").write_text(
            f'proxy_set_header Authorization "GatewayToken {GATEWAY_TOKEN}";\n')
        (directory / "slow.conf").write_text("")
        (directory / "nginx.conf").write_text(FRAME.format(
            user="user root;" if os.geteuid() == 0 else "", directory=directory,
            upstream=upstream, port=self.port))

    def start(self) -> None:
        try:
            self._process = subprocess.Popen(
                # Has the kernel end it with the test run, however that ends.
                ["setpriv", "--pdeathsig", "TERM", *_command(self.directory)], env=ENVIRONMENT,
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        except OSError as error:
            raise NginxError(f"cannot run nginx: {error}") from error
        self._wait_until_it_listens()

    def _wait_until_it_listens(self) -> None:
        end = time.monotonic() + TIMEOUT
        while True:
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", self.port)) == 0:
                    return
            if self._process.poll() is not None or time.monotonic() > end:
                raise NginxError(f"nginx does not listen: {(self.directory / 'error.log').read_text()[-2000:]}")
            time.sleep(0.02)

    def slow_down(self, target: str, bytes_per_second: int) -> None:
        """Limits downloads of a target's artifacts, starting with the next one."""
        slow_down(self.directory, target, bytes_per_second)

    def is_running(self) -> bool:
        return self._process is not None

    def stop(self) -> None:
        if self._process is None:
            return
        local_process.end(self._process, TIMEOUT)
        self._process = None


def slow_down(directory: Path, target: str, bytes_per_second: int) -> None:
    """Does the same for an nginx of another process, by its directory. Several processes may do so at once."""
    line = f'"~^/[^/]+/controller/v1/{re.escape(target)}/softwaremodules/" {bytes_per_second};\n'
    # A single write at the end of the file, so that no line is lost or torn.
    with (directory / "slow.conf").open("ab", buffering=0) as file:
        file.write(line.encode())
    subprocess.run([*_command(directory), "-s", "reload"], env=ENVIRONMENT, check=True)


def _command(directory: Path) -> list[str]:
    return ["nginx", "-p", str(directory), "-c", str(directory / "nginx.conf"),
            "-e", str(directory / "error.log")]
