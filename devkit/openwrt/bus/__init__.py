# SPDX-License-Identifier: Apache-2.0
"""The message bus: a broker and a command line that stand in for ubusd and ubus."""
