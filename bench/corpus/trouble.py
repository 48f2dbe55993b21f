"""What stands in the way of a measure, told to whoever runs it; never a fault of the frames."""


class Trouble(Exception):
    """Says what could not be done, and why."""
