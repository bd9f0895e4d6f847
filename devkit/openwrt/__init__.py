# SPDX-License-Identifier: Apache-2.0
"""Stand-ins for what OpenWrt has and a development machine lacks."""
