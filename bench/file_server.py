# SPDX-License-Identifier: Apache-2.0
"""Serves the files of one directory over TLS, as fast as this interpreter can."""
import contextlib
import pathlib
import re
import shutil
import ssl
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

PIECE = 1 << 20


class FileServer:
    """A context manager; `url(name)` is the address of a file."""

    def __init__(self, directory, pair):
        self._directory = pathlib.Path(directory)
        self._http = ThreadingHTTPServer(("127.0.0.1", 0), self._make_handler())
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(pair.certificate, pair.key)
        self._http.socket = context.wrap_socket(self._http.socket, server_side=True)
        self._thread = threading.Thread(target=self._http.serve_forever, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._http.shutdown()
        self._thread.join()
        self._http.server_close()

    def url(self, name):
        return f"https://127.0.0.1:{self.port}/{name}"

    @property
    def port(self):
        return self._http.server_port

    def _make_handler(self):
        directory = self._directory

        class Handler(BaseHTTPRequestHandler):
            def do_GET(self):
                path = directory / pathlib.Path(self.path).name
                if not path.is_file():
                    self.send_error(404)
                    return
                size = path.stat().st_size
                begin = self._first_byte()
                self.send_response(206 if begin else 200)
                if begin:
                    self.send_header("Content-Range", f"bytes {begin}-{size - 1}/{size}")
                self.send_header("Content-Length", str(size - begin))
                self.send_header("ETag", f'"{size}"')
                self.end_headers()
                with path.open("rb") as file:
                    file.seek(begin)
                    # A client whose line was cut comes again.
                    with contextlib.suppress(OSError):
                        shutil.copyfileobj(file, self.wfile, PIECE)

            def _first_byte(self):
                """Every file stays what it is, so that any If-Range holds."""
                asked = re.fullmatch(r"bytes=(\d+)-", self.headers.get("Range", ""))
                return int(asked[1]) if asked else 0

            def log_message(self, format, *arguments):
                """Writes no log: nobody reads it, and writing it would be part of what is measured."""

        return Handler
