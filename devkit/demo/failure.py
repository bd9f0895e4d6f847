# SPDX-License-Identifier: Apache-2.0
"""What ends the demonstration early."""


class DemoFailure(Exception):
    """The demonstration went wrong; the text says how."""
