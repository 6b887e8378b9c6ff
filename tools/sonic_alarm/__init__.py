"""The parts of sonic-alarm."""
