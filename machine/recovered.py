"""What a power cut leaves on a disk."""

import shutil
import subprocess
from pathlib import Path

HOME = "/home/qelta"
SEEN_TO = 1  # the greatest status of e2fsck that needs nobody


def recovered(disk, folder):
    """The data folder as a mount after the cut shows it, in `folder`. Raises AssertionError where
    the file system is damaged."""
    raw = folder / "after.raw"
    subprocess.run(["qemu-img", "convert", "-O", "raw", disk, raw], check=True)
    # As at a boot: plays back the journal, and does no more without a person than what is safe.
    check = subprocess.run(["e2fsck", "-f", "-p", raw], capture_output=True, text=True)
    if check.returncode > SEEN_TO:
        raise AssertionError(f"the file system is damaged:\n{check.stdout}")
    target = folder / "after"
    shutil.rmtree(target, ignore_errors=True)
    target.mkdir()
    subprocess.run(["debugfs", "-R", f"rdump {HOME} {target}", raw], check=True,
                   capture_output=True)
    raw.unlink()
    return target / Path(HOME).name
