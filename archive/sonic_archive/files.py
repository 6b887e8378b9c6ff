"""Files that other programs read."""

import json
import os
import tempfile


def replace(path, contents):
    """Writes JSON in one piece, so that nobody reads half of it."""
    with tempfile.NamedTemporaryFile("w", dir=path.parent, prefix=".", delete=False) as file:
        json.dump(contents, file, indent=1)
        file.write("\n")
    os.chmod(file.name, 0o644)
    os.replace(file.name, path)
