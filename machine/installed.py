"""A guest with the package, as `apt install` has left it: kept, so that each test starts there."""

import hashlib
import os
import shutil
import subprocess
import time
from pathlib import Path

from architecture import ARCHITECTURES
from guest import Guest
from image import base_image

INSTALL = "apt install ./{}"  # as in operations.md


def overlay(path, backing, form):
    """A disk that begins as another one, which it leaves as it is."""
    subprocess.run(["qemu-img", "create", "-q", "-f", "qcow2", "-b", backing, "-F", form, path],
                   check=True)
    return path


class Installed:
    """The disk and the memory of a guest in which the package has just been installed."""

    def __init__(self, machine, package):
        self.machine = machine
        self.image = base_image(machine)
        digest = hashlib.sha256(package.read_bytes() + Path(__file__).read_bytes())
        digest.update(Path(__file__).with_name("guest.py").read_bytes())
        self.folder = self.image.folder / f"installed-{digest.hexdigest()[:12]}"
        self.disk = self.folder / "disk.qcow2"
        self.state = self.folder / "state"
        if not self.folder.exists():
            for old in self.image.folder.glob("installed-*"):
                shutil.rmtree(old)
            self._install(package)

    @classmethod
    def from_environment(cls):
        """Of the architecture and the package that script/machine has chosen."""
        return cls(ARCHITECTURES[os.environ["MACHINE"]], Path(os.environ["MACHINE_PACKAGE"]))

    def _install(self, package):
        part = self.folder.with_suffix(".part")
        shutil.rmtree(part, ignore_errors=True)
        part.mkdir()
        begin = time.monotonic()
        disk = overlay(part / "disk.qcow2", self.image.disk, "raw")
        guest = Guest(self.machine, self.image, disk, part)
        guest.wait_until_up()
        guest.run("systemctl is-system-running --wait || systemctl --failed", seconds=300)
        booted = time.monotonic()
        guest.put(package, f"/root/{package.name}")
        (part / "apt.log").write_text(guest.run(
            f"cd /root && DEBIAN_FRONTEND=noninteractive {INSTALL.format(package.name)} -y && sync",
            seconds=900))
        print(f"Booted in {booted - begin:.0f} s, installed in {time.monotonic() - booted:.0f} s",
              flush=True)
        guest.save(part / "state")
        part.rename(self.folder)

    def guest(self, folder, **options):
        """A guest that goes on from there on a disk of its own in `folder`."""
        disk = overlay(folder / "disk.qcow2", self.disk, "qcow2")
        guest = Guest(self.machine, self.image, disk, folder, state=self.state, **options)
        guest.wait_until_up()
        return guest

    def booted(self, disk, folder, **options):
        """A guest that boots from this disk."""
        guest = Guest(self.machine, self.image, disk, folder, **options)
        guest.wait_until_up()
        return guest
