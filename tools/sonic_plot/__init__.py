"""The parts of sonic-plot."""


class Unusable(Exception):
    """Why files cannot be read or nothing be drawn, as a sentence."""
