# SPDX-License-Identifier: Apache-2.0
"""Certificates for the demo and the tests, made by the `openssl` command (1.1.1 or 3).

The keys are elliptic-curve keys, as a whole set of them takes only a fraction of a second.
Nothing here is secret, and nothing here is installed on a gateway.
"""

from __future__ import annotations

import subprocess
from dataclasses import dataclass
from pathlib import Path

# Until after 2038, where times of 32 bits end.
VALID_DAYS = 7300

# The system's own openssl.cnf may add extensions, so every call gets a complete configuration.
CONFIGURATION = """[req]
distinguished_name = subject
prompt = no
x509_extensions = authority
[subject]
CN = {common_name}
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[leaf]
basicConstraints = critical, CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = {usage}
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
{names}
"""


class PkiError(RuntimeError):
    """A certificate could not be made; the text holds the command and its output."""


@dataclass(frozen=True)
class KeyPair:
    """Paths (PEM) of a certificate, its private key, and both in one file."""

    certificate: Path
    key: Path
    bundle: Path


def _openssl(*arguments: str | Path) -> None:
    command = ["openssl", *map(str, arguments)]
    try:
        done = subprocess.run(command, capture_output=True, text=True, check=False, timeout=60)
    except OSError as error:
        raise PkiError(f"cannot run {command[0]}: {error}") from error
    if done.returncode != 0:
        raise PkiError(f"{' '.join(command)} ended with {done.returncode}: {done.stderr.strip()}")


class Authority:
    """A certificate authority that lives in `directory` and is named `name`."""

    def __init__(self, directory: Path, name: str) -> None:
        self.directory = directory
        self.name = name
        self.certificate = directory / f"{name}.crt"
        self.key = directory / f"{name}.key"
        directory.mkdir(parents=True, exist_ok=True)
        configuration = self._configure(name, f"{name} authority", "clientAuth", "")
        _make_key(self.key)
        _openssl("req", "-x509", "-new", "-config", configuration, "-key", self.key,
                 "-sha256", "-days", str(VALID_DAYS), "-out", self.certificate)

    def server(self, file_name: str, names: str) -> KeyPair:
        """A server certificate; `names` as in openssl, for example "DNS:localhost,IP:127.0.0.1"."""
        first = names.split(",", maxsplit=1)[0].partition(":")[2]
        return self._sign(file_name, first, "serverAuth", f"subjectAltName = {names}")

    def client(self, file_name: str, common_name: str) -> KeyPair:
        """A client certificate whose subject is `common_name`."""
        return self._sign(file_name, common_name, "clientAuth", "")

    def _sign(self, file_name: str, common_name: str, usage: str, names: str) -> KeyPair:
        pair = KeyPair(*(self.directory / f"{file_name}.{end}" for end in ("crt", "key", "pem")))
        configuration = self._configure(file_name, common_name, usage, names)
        request = self.directory / f"{file_name}.csr"
        _make_key(pair.key)
        _openssl("req", "-new", "-config", configuration, "-key", pair.key, "-out", request)
        _openssl("x509", "-req", "-in", request, "-CA", self.certificate, "-CAkey", self.key,
                 "-CAcreateserial", "-sha256", "-days", str(VALID_DAYS),
                 "-extfile", configuration, "-extensions", "leaf", "-out", pair.certificate)
        pair.bundle.write_bytes(pair.certificate.read_bytes() + pair.key.read_bytes())
        pair.bundle.chmod(0o600)
        return pair

    def _configure(self, file_name: str, common_name: str, usage: str, names: str) -> Path:
        path = self.directory / f"{file_name}.cnf"
        path.write_text(CONFIGURATION.format(common_name=common_name, usage=usage, names=names))
        return path


def _make_key(path: Path) -> None:
    _openssl("ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", path)
    path.chmod(0o600)


class Pki:
    """Everything a TLS test needs: a trusted authority, an untrusted one, and their certificates."""

    def __init__(self, directory: Path, client_name: str = "gw-1") -> None:
        self.authority = Authority(directory, "ca")
        self.stranger = Authority(directory, "stranger-ca")
        own_names = "DNS:localhost,IP:127.0.0.1"
        self.server = self.authority.server("server", own_names)
        self.wrong_host = self.authority.server("wrong-host", "DNS:elsewhere.example")
        self.client = self.authority.client("client", client_name)
        self.stranger_server = self.stranger.server("stranger-server", own_names)
        self.stranger_client = self.stranger.client("stranger-client", client_name)

    @property
    def ca(self) -> Path:
        """The authority's certificate, with which the gateway verifies the server."""
        return self.authority.certificate
