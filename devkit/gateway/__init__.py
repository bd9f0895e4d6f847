"""A simulated gateway: private /tmp, /etc, /run and /usr/sbin for the real daemon."""
from .bus import BusError
from .gateway import Daemon, Gateway, GatewayError

__all__ = ["BusError", "Daemon", "Gateway", "GatewayError"]
