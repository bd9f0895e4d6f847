# SPDX-License-Identifier: Apache-2.0
"""TLS of the stand-in, which with a real server is the job of a proxy."""

from __future__ import annotations

import ssl
from dataclasses import dataclass
from pathlib import Path
from typing import cast

CLIENT_MODES = ("ignored", "asked", "demanded", "required")


@dataclass(frozen=True)
class Tls:
    """Certificate and key of the server (PEM), and what is required of the client.

    `client` is "ignored" (no certificate is asked for), "asked" (verified when there is one), "demanded" (as a
    proxy with optional verification does: the handshake works, a request without a certificate is answered
    403) or "required" (the handshake fails without one). All but the first need `client_ca`. `newest` is the
    newest version of TLS that the server speaks.
    """

    certificate: Path
    key: Path
    client_ca: Path | None = None
    client: str = "ignored"
    newest: ssl.TLSVersion = ssl.TLSVersion.MAXIMUM_SUPPORTED

    def __post_init__(self) -> None:
        if self.client not in CLIENT_MODES:
            raise ValueError(f"client must be one of {CLIENT_MODES}, not {self.client!r}")
        if self.client != "ignored" and self.client_ca is None:
            raise ValueError(f"client certificates can only be {self.client} with a client_ca")

    def context(self) -> ssl.SSLContext:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.maximum_version = self.newest
        context.load_cert_chain(self.certificate, self.key)
        if self.client_ca is not None and self.client != "ignored":
            context.load_verify_locations(self.client_ca)
            context.verify_mode = ssl.CERT_REQUIRED if self.client == "required" else ssl.CERT_OPTIONAL
        return context


def is_resumed(connection: object) -> bool:
    """Whether the connection took up a TLS session of an earlier one."""
    return isinstance(connection, ssl.SSLSocket) and connection.session_reused is True


def subject_of(connection: object) -> str | None:
    """The common name in the client's verified certificate; None without a certificate or without TLS."""
    if not isinstance(connection, ssl.SSLSocket):
        return None
    certificate = connection.getpeercert()
    if not certificate:
        return None
    subject = cast("tuple[tuple[tuple[str, str], ...], ...]", certificate.get("subject", ()))
    return next((value for group in subject for key, value in group if key == "commonName"), "")
