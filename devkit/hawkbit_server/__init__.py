# SPDX-License-Identifier: Apache-2.0
"""A small update server that behaves like Eclipse hawkBit 0.9.0 towards a device. See README.md."""

from .exchanges import Exchange
from .faults import Code, Cut, Drop, Ending, Headers, Mutate, Part, Slow, Stall, Text
from .link import Link, Passage, Peer
from .model import Action, ActionType, DistributionSet, SoftwareModule, Status, StatusEntry, Target, Window
from .orders import Order
from .rollout import Rollout
from .server import UpdateServer
from .settings import Settings
from .store import Event, OperatorError
from .tls import Tls

__all__ = ["Action", "ActionType", "Code", "Cut", "DistributionSet", "Drop", "Ending", "Event", "Exchange", "Headers",
           "Link", "Mutate", "OperatorError", "Order", "Part", "Passage", "Peer", "Rollout", "Settings",
           "Slow", "SoftwareModule", "Stall", "Status", "StatusEntry", "Target", "Text", "Tls",
           "UpdateServer", "Window"]
