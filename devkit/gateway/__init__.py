"""A simulated gateway: private /tmp, /etc, /run and /usr/sbin for the real daemon."""
from .bus import BusError
from .gateway import Daemon, Gateway, GatewayError
from .images import firmware_image, package
from .supervisor import Supervisor

__all__ = ["BusError", "Daemon", "Gateway", "GatewayError", "Supervisor", "firmware_image", "package"]
