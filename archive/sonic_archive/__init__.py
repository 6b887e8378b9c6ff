"""What the programs of the archive share."""
