# SPDX-License-Identifier: Apache-2.0
"""TLS with and without client certificates."""

from __future__ import annotations

import http.client
import socket
import ssl
from pathlib import Path
from typing import Any

import pytest
from throwaway_device import Device

from hawkbit_server import Cut, Tls, UpdateServer
from pki import Authority, KeyPair, Pki, PkiError


def context(pki: Pki, client: KeyPair | None = None, ca: Path | None = None) -> ssl.SSLContext:
    made = ssl.create_default_context(cafile=ca or pki.ca)
    if client is not None:
        made.load_cert_chain(client.certificate, client.key)
    return made


def poll(server: UpdateServer, trust: ssl.SSLContext) -> int:
    return Device(server, "gw-1", trust).get().status


def serve(pki: Pki, client: str = "ignored", pair: KeyPair | None = None, **settings: Any) -> UpdateServer:
    chosen = pair or pki.server
    return UpdateServer(Tls(chosen.certificate, chosen.key, pki.ca, client), **settings)


def test_links_are_https(pki: Pki) -> None:
    with serve(pki) as server:
        links = Device(server, "gw-1", context(pki)).get().json()["_links"]

    assert links["configData"]["href"] == f"{server.url}/DEFAULT/controller/v1/gw-1/configData"
    assert server.url.startswith("https://127.0.0.1:")


def test_http_link_on_https(pki: Pki) -> None:
    with serve(pki, base_scheme="http") as server:
        links = Device(server, "gw-1", context(pki)).get().json()["_links"]

    assert links["configData"]["href"].startswith(f"http://{server.address}/")


@pytest.mark.parametrize("mode", ["asked", "demanded", "required"])
def test_client_certificate_is_recorded(pki: Pki, mode: str) -> None:
    with serve(pki, mode) as server:
        assert poll(server, context(pki, pki.client)) == 200

        assert server.exchanges()[0].client_subject == "gw-1"


def test_without_certificate_where_one_is_asked_for(pki: Pki) -> None:
    with serve(pki, "asked") as server:
        assert poll(server, context(pki)) == 200
        assert server.exchanges()[0].client_subject is None


def test_without_certificate_where_one_is_demanded(pki: Pki) -> None:
    with serve(pki, "demanded") as server:
        assert poll(server, context(pki)) == 403
        assert server.store.targets == {}


def test_without_certificate_where_one_is_required(pki: Pki) -> None:
    with serve(pki, "required") as server:
        with pytest.raises(OSError):
            poll(server, context(pki))

        server.wait_for(lambda: server.handshake_failures, 20)
        assert server.exchanges() == []


@pytest.mark.parametrize("mode", ["asked", "demanded", "required"])
def test_certificate_of_an_unknown_authority_fails_the_handshake(pki: Pki, mode: str) -> None:
    with serve(pki, mode) as server:
        with pytest.raises(OSError):
            poll(server, context(pki, pki.stranger_client))

        assert server.wait_for(lambda: server.handshake_failures, 20)
        assert server.exchanges() == []


def test_client_refuses_a_server_for_another_host(pki: Pki) -> None:
    with serve(pki, pair=pki.wrong_host) as server, \
            pytest.raises(ssl.SSLCertVerificationError, match="not valid for"):
        poll(server, context(pki))


def test_client_refuses_a_server_of_another_authority(pki: Pki) -> None:
    with serve(pki, pair=pki.stranger_server) as server:
        with pytest.raises(ssl.SSLCertVerificationError):
            poll(server, context(pki))
        assert poll(server, context(pki, ca=pki.stranger.certificate)) == 200


def test_silent_client_delays_nobody(pki: Pki) -> None:
    with serve(pki) as server, socket.create_connection(("127.0.0.1", server.port), timeout=20):
        assert poll(server, context(pki)) == 200


def test_cut_download_over_tls(pki: Pki) -> None:
    with serve(pki) as server:
        module = server.software_module("script", "a", "1", {"a.sh": b"x" * 1000})
        server.assign("gw-1", [module])
        server.order("artifact", Cut(10))
        with pytest.raises((http.client.IncompleteRead, OSError)):
            Device(server, "gw-1", context(pki)).get(f"softwaremodules/{module.id}/artifacts/a.sh")
        assert server.exchanges("artifact")[0].sent == 10


def test_client_certificates_need_an_authority(pki: Pki) -> None:
    with pytest.raises(ValueError, match="only be required with a client_ca"):
        Tls(pki.server.certificate, pki.server.key, None, "required")
    with pytest.raises(ValueError, match="client must be one of"):
        Tls(pki.server.certificate, pki.server.key, pki.ca, "sometimes")


def test_key_pair_is_also_available_in_one_file(pki: Pki) -> None:
    assert pki.client.bundle.read_bytes() == pki.client.certificate.read_bytes() + pki.client.key.read_bytes()


def test_certificate_that_cannot_be_made_is_an_error(tmp_path: Path) -> None:
    authority = Authority(tmp_path, "ca")

    with pytest.raises(PkiError, match="openssl"):
        authority.server("bad", "IP:not-an-address")
