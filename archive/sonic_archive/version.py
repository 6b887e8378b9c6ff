"""The project's version; cmake compares it with its own."""

VERSION = "1.0.0"
