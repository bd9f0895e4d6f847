# SPDX-License-Identifier: Apache-2.0
"""A simulated gateway: private /tmp, /etc, /run and /usr/sbin for the real daemon."""
from .bus import BusError
from .gateway import Daemon, Gateway, GatewayError
from .images import firmware_image, package
from .powerline import Modem, Powerline, powerline_image
from .supervisor import Supervisor

__all__ = ["BusError", "Daemon", "Gateway", "GatewayError", "Modem", "Powerline", "Supervisor",
           "firmware_image", "package", "powerline_image"]
