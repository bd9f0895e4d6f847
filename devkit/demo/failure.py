"""What ends the demonstration early."""


class DemoFailure(Exception):
    """The demonstration went wrong; the text says how."""
