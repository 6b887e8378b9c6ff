"""Makes the disk of an emulated logger: Debian 12 with systemd, and nothing of ours yet.

It is kept under build/machine/ and made again when these files change."""

import hashlib
import os
import shlex
import shutil
import subprocess
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
CACHE = ROOT / "build/machine"
HERE = Path(__file__).parent
DISK_SIZE = "1500M"
RELEASE = "bookworm"
RECIPE = ("image.py", "lay_out_image.sh", "power_lines.sh", "architecture.py")
# What the machine has before anybody installs sonicd.
BASE = ("systemd-sysv udev dbus kmod iproute2 procps python3 qemu-guest-agent busybox-static "
        "minicom psmisc")
# What a user installs: sonicd's libraries and what it recommends, and a service for the clock.
LATER = ("mosquitto mosquitto-clients libarchive13 libmosquitto1 libjsoncpp25 zstd xz-utils "
         "chrony")
MODULES = ("virtio_pci virtio_blk virtio_console virtio_net ext4 crc32c_generic ftdi_sio xhci_pci "
           "autofs4")

INIT = """#!/bin/busybox sh
/bin/busybox mkdir -p /dev /proc /root
/bin/busybox mount -t devtmpfs dev /dev
while read -r module; do /bin/busybox insmod "$module"; done </modules
until /bin/busybox mount -t ext4 /dev/vda /root; do /bin/busybox sleep 0.1; done
/bin/busybox mount --move /dev /root/dev
exec /bin/busybox switch_root /root /sbin/init
"""


class Image:
    """A disk, a kernel and an initial RAM disk."""

    def __init__(self, folder):
        self.folder = folder
        self.disk = folder / "disk.raw"
        self.kernel = folder / "vmlinuz"
        self.ramdisk = folder / "initrd"


def base_image(machine):
    """The cached image, made if it is missing or its recipe has changed."""
    recipe = b"".join((HERE / name).read_bytes()
                      for name in RECIPE)
    folder = CACHE / f"{machine.name}-{hashlib.sha256(recipe).hexdigest()[:12]}"
    if not folder.exists():
        for old in CACHE.glob(f"{machine.name}-*"):
            shutil.rmtree(old)
        print(f"Making the image for {machine.name}, which takes some minutes once", flush=True)
        part = CACHE / f"{machine.name}.part"
        shutil.rmtree(part, ignore_errors=True)
        part.mkdir(parents=True)
        make(machine, Image(part))
        part.rename(folder)
    return Image(folder)


def make(machine, image):
    root = image.folder / "root"
    debootstrap(machine, root)
    shutil.copy(root / "boot/vmlinuz", image.kernel)
    make_ramdisk(root, image.ramdisk)
    subprocess.run(["mke2fs", "-q", "-t", "ext4", "-d", root, image.disk, DISK_SIZE], check=True)
    shutil.rmtree(root)


def sources():
    """The lines of Debian's own archives, as this machine has them."""
    form = "deb $(REPO_URI) $(CODENAME) $(COMPONENT)|$(ORIGIN)"
    subprocess.run(["apt-get", "-qq", "update"], check=True)  # what has no list yet is not shown
    targets = subprocess.run(["apt-get", "indextargets", "--format", form, "Created-By: Packages"],
                             check=True, capture_output=True, text=True).stdout
    lines = [target.split("|") for target in dict.fromkeys(targets.splitlines())]
    return "".join(line + "\n" for line, origin in lines
                   if origin == "Debian" and f" {RELEASE}" in line)


def debootstrap(machine, root):
    archives = root.with_name("sources.list")
    command = ["mmdebstrap", "--quiet", "--mode=root", "--variant=minbase",
               f"--arch={machine.name}", "--skip=check/qemu,output/dev,chroot/mount/sys",
               f"--include={','.join(BASE.split())}",
               f"--customize-hook={HERE / 'lay_out_image.sh'}", RELEASE, root, archives]
    environment = {**os.environ, "KERNEL": machine.kernel, "MODULES": MODULES, "PACKAGES": LATER,
                   "CONSOLE": machine.console}
    if machine.interpreter:
        command = [HERE / "with_interpreter.sh", machine.interpreter, *command]
    lines = sources()
    archives.write_text(lines)
    if subprocess.run(command, env=environment).returncode:
        # A list of updates that cannot be had today does not matter: the release has all packages.
        print("Once more with the release alone", flush=True)
        shutil.rmtree(root, ignore_errors=True)
        archives.write_text("".join(line + "\n" for line in lines.splitlines()
                                    if f" {RELEASE} " in line))
        subprocess.run(command, check=True, env=environment)


def make_ramdisk(root, path):
    """With the few drivers by which the disk is found. Uncompressed: the emulator loads it faster
    than an emulated processor unpacks it."""
    with tempfile.TemporaryDirectory() as folder:
        tree = Path(folder)
        modules = (root / "boot/modules").read_text().split()
        for name in ["bin/busybox", *(module[1:] for module in modules)]:
            (tree / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(root / name, tree / name)
        (tree / "modules").write_text("".join(module + "\n" for module in modules))
        (tree / "init").write_text(INIT)
        (tree / "init").chmod(0o755)
        with open(path, "wb") as file:
            subprocess.run(f"cd {shlex.quote(folder)} && find . | cpio --quiet -o -H newc",
                           shell=True, check=True, stdout=file)
