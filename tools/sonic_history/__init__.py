"""The parts of sonicd-history."""
