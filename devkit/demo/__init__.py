# SPDX-License-Identifier: Apache-2.0
"""The demonstration: the real daemon carries out a rollout, with a live commentary."""
