"""What ends the demonstration early."""


class DemoFailure(Exception):
    """The demonstration did not go as it should; the text says what happened instead."""
