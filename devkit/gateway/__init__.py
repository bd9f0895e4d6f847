"""A simulated gateway: private /tmp, /etc, /run and /usr/sbin for the real daemon."""
from .gateway import Daemon, Gateway, GatewayError

__all__ = ["Daemon", "Gateway", "GatewayError"]
