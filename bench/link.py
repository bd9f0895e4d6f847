# SPDX-License-Identifier: Apache-2.0
"""A line to a server that counts bytes, and that can be slow and break."""
import contextlib
import socket
import struct
import threading
import time

PIECE = 16384
AT_ONCE = struct.pack("ii", 1, 0)


class Link:
    """A context manager; `port` leads to the server, `carried` counts the bytes of both directions.

    rate   bytes a second towards the client, None without a limit
    lasts  seconds after which a connection is reset, None for as long as its ends want
    """

    def __init__(self, server_port, rate=None, lasts=None):
        self._server_port = server_port
        self._rate, self._lasts = rate, lasts
        self._listener = socket.create_server(("127.0.0.1", 0))
        self._lock = threading.Lock()
        self.carried = 0
        self.port = self._listener.getsockname()[1]

    def __enter__(self):
        threading.Thread(target=self._accept, daemon=True).start()
        return self

    def __exit__(self, *_):
        # Wakes the thread that accepts, which close() alone does not.
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()

    def url(self, name):
        return f"https://127.0.0.1:{self.port}/{name}"

    def _accept(self):
        with contextlib.suppress(OSError):
            while True:
                client = self._listener.accept()[0]
                server = socket.create_connection(("127.0.0.1", self._server_port))
                end = time.monotonic() + self._lasts if self._lasts else None
                for ends, rate in (((client, server), None), ((server, client), self._rate)):
                    threading.Thread(target=self._carry, args=(*ends, rate, end), daemon=True).start()

    def _carry(self, source, sink, rate, end):
        with contextlib.suppress(OSError):
            while piece := self._receive(source, end):
                with self._lock:
                    self.carried += len(piece)
                if rate:
                    time.sleep(len(piece) / rate)
                sink.sendall(piece)
            if end and time.monotonic() >= end:
                sink.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, AT_ONCE)
                sink.close()
                return
            sink.shutdown(socket.SHUT_WR)

    @staticmethod
    def _receive(source, end):
        """What has come, or nothing at the end of the connection's time."""
        if end is None:
            return source.recv(PIECE)
        left = end - time.monotonic()
        if left <= 0:
            return b""
        source.settimeout(left)
        with contextlib.suppress(TimeoutError):
            return source.recv(PIECE)
        return b""
