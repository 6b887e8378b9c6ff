"""The settings of a real instrument: asks for what is missing, writes them, removes them."""

import re
import stat
import sys
from pathlib import Path

from . import DATA_FOLDER, PORTS, Failure, UsageError, output, run, simulated
from .instance import Instance, configured, make_folder

DRIVER_DROP_IN = "sonic-port.conf"
FOLDER_DROP_IN = "folder.conf"  # before the other: it empties the list of bound paths
SHIPPED_DRIVER_DROP_IN = Path("/usr/share/sonicd/sonic-port.conf")
UNSET = ("", "unknown")
SERIAL = re.compile(r"[A-Za-z0-9_-]{1,32}")
DEVICE = re.compile(r"/dev/[\w./:+@=,-]+")


def ask(question, default=""):
    """An answer from the terminal. Without one nobody can be asked."""
    if not sys.stdin.isatty():
        return default
    try:
        return input(f"{question}{f' [{default}]' if default else ''}: ").strip() or default
    except EOFError:
        return default


def chosen_port(port):
    """The port, asked for if it is None. UsageError or Failure if it cannot be used."""
    taken = [instance.port for instance in configured()]
    free = [name for name in PORTS if name not in taken]
    port = port or ask(f"Port, one of {', '.join(PORTS)}", free[0] if free else PORTS[0])
    if port not in PORTS:
        raise UsageError(f"{port}: sonicd knows the ports {', '.join(PORTS)}")
    if port == simulated.port():
        raise Failure(f"a simulated instrument plays on {port}; remove it first: "
                      "sonicd-setup --remove")
    return port


def adapters():
    """Paths of the adapters that are plugged in."""
    return sorted(str(path) for path in Path("/dev/serial/by-id").glob("*"))


def chosen_device(instance, device):
    """The adapter or UART, None for the logger's own port."""
    known = instance.device() if instance.uses_driver() else None
    if not device and not known and sys.stdin.isatty():
        print("Adapters:", *(adapters() or ["none is plugged in"]), sep="\n  ")
        only = adapters()[0] if len(adapters()) == 1 else ""
        device = ask("Device of the adapter or UART (- for a logger whose own port driver stamps "
                     "the records)", only or "-")
    device = device or known
    if not device or device == "-":
        return None
    if not DEVICE.fullmatch(device):
        raise UsageError(f"{device}: a device's name begins with /dev/ and has no spaces")
    try:
        is_device = stat.S_ISCHR(Path(device).stat().st_mode)
    except OSError as error:
        there = ", ".join(adapters()) or "none"
        raise Failure(f"{device}: {error.strerror}. Adapters plugged in: {there}") from error
    if not is_device:
        raise Failure(f"{device} is not a serial port")
    refuse_login(device)
    return device


def refuse_login(device):
    """Failure if somebody can log in on the device."""
    login = f"serial-getty@{Path(device).resolve().name}.service"
    if output("systemctl", "is-active", login) == "active":
        raise Failure(f"a login runs on {device}; end it first: systemctl disable --now {login}")


def chosen_serial(instance, serial):
    """The instrument's serial number, asked for unless given. UsageError for a wrong one."""
    known = instance.serial()
    known = "" if known in UNSET or not isinstance(known, str) else known
    serial = serial or ask("Serial number of the instrument", known) or known
    if not serial:
        raise UsageError("the instrument's serial number is missing: --serial NUMBER")
    if not SERIAL.fullmatch(serial):
        raise UsageError(f"{serial}: a serial number has letters and digits, 32 at most")
    return serial


def own_folder(instance):
    """The data folder; another one than those of the other instances."""
    folder = instance.folder()
    taken = [other.folder() for other in configured() if other.port != instance.port]
    return Path(f"{DATA_FOLDER}-{instance.port}") if folder in taken else folder


def write(port, device, serial):
    """Writes everything that the instance needs, and enables it."""
    instance = Instance(port)
    device = chosen_device(instance, device)
    serial = chosen_serial(instance, serial)
    folder = own_folder(instance)
    make_folder(folder, serial)
    if folder != instance.folder():
        path = instance.drop_in(FOLDER_DROP_IN)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f"[Service]\nBindPaths=\nBindPaths={folder}:{DATA_FOLDER}\n")
    if device:
        write_driver(instance, device)
    run("systemctl", "daemon-reload")
    units = [instance.unit] + [instance.driver] * bool(device)
    run("systemctl", "enable", *units)
    if device:
        output("systemctl", "restart", instance.driver)
    print(f"Set up: {device or f'/dev/{port}'}, serial number {serial}, data in {folder}")


def write_driver(instance, device):
    """Lets sonic-port offer the port. Other lines of its settings stay."""
    try:
        lines = instance.driver_settings.read_text(encoding="utf-8").splitlines()
    except OSError:
        lines = []
    lines = [line for line in lines if not line.startswith("DEVICE=")] + [f"DEVICE={device}"]
    instance.driver_settings.write_text("\n".join(lines) + "\n", encoding="utf-8")
    path = instance.drop_in(DRIVER_DROP_IN)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.unlink(missing_ok=True)
    path.symlink_to(SHIPPED_DRIVER_DROP_IN)


def remove(port):
    """Stops the instance and removes its settings. Data stay."""
    instance = Instance(port)
    if not (instance.is_configured() or instance.driver_settings.exists()
            or instance.drop_in("").exists()):
        raise Failure(f"no instrument is set up on {port}")
    folder = instance.folder()
    output("systemctl", "disable", "--now", instance.unit, instance.driver)
    instance.driver_settings.unlink(missing_ok=True)
    for name in (DRIVER_DROP_IN, FOLDER_DROP_IN):
        instance.drop_in(name).unlink(missing_ok=True)
    try:
        instance.drop_in("").rmdir()
    except FileNotFoundError:
        pass
    except OSError:
        print(f"Your own settings stay: {instance.drop_in('')}")
    run("systemctl", "daemon-reload")
    instance.forget()
    print(f"Removed the instrument on {port}. Its data stay in {folder}")
