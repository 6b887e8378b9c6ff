"""One instance of sonicd: its units, topics and files."""

import json
import time
from pathlib import Path

from . import DATA_FOLDER, PORTS, POWER_LINES, output, run, run_as_owner

SYSTEM_UNITS = Path("/etc/systemd/system")
RUNTIME_UNITS = Path("/run/systemd/system")  # gone with the next boot
SIMULATED_DROP_IN = "simulated.conf"


class Instance:
    """sonicd on one port."""

    def __init__(self, port):
        self.port = port
        self.unit = f"sonicd@{port}.service"
        self.driver = f"sonic-port@{port}.service"
        self.driver_settings = Path(f"/etc/default/sonic-port-{port}")
        self.topic = f"{DATA_FOLDER}/port/{port[-1]}"
        self.power_line = Path(f"/sys/class/gpio/gpio{POWER_LINES[port]}/value")

    def drop_in(self, name, units=SYSTEM_UNITS):
        """The place of a file that changes the unit."""
        return units / f"{self.unit}.d" / name

    def is_active(self, unit=None):
        """Whether the service, or another one, runs."""
        return output("systemctl", "is-active", unit or self.unit) == "active"

    def is_configured(self):
        """Whether the service runs or will run after the next boot."""
        return (output("systemctl", "is-enabled", self.unit) == "enabled"
                or output("systemctl", "is-active", self.unit) not in ("inactive", "unknown", ""))

    def property(self, name, unit=None):
        """A property of its service, or of another unit, as text."""
        return output("systemctl", "show", f"--property={name}", "--value", unit or self.unit)

    def is_simulated(self):
        """Whether a simulated instrument plays on the port."""
        return self.drop_in(SIMULATED_DROP_IN, RUNTIME_UNITS).exists()

    def uses_driver(self):
        """Whether sonic-port offers the port."""
        return f"/run/sonic-port/{self.port}/port" in self.property("BindPaths")

    def device(self):
        """The adapter or UART that sonic-port is given, or None."""
        try:
            lines = self.driver_settings.read_text(encoding="utf-8").splitlines()
        except OSError:
            return None
        lines = [line for line in lines if line.startswith("DEVICE=")]
        return lines[-1].partition("=")[2].strip("'\" ") if lines else None

    def folder(self):
        """Where this instance's data are."""
        for entry in self.property("BindPaths").split():
            source, _, target = entry.lstrip("-").partition(":")
            if target.partition(":")[0] == DATA_FOLDER:
                return Path(source)
        return Path(DATA_FOLDER)

    def serial(self):
        """The serial number in the settings, None if there is none."""
        try:
            settings = json.loads((self.folder() / "config.json").read_text())
            return settings["uarts"][0]["serial_number"]
        except (OSError, ValueError, LookupError, TypeError):
            return None

    def reported_serial(self):
        """The serial number that the instrument reported during its set-up, or None."""
        try:
            text = json.loads((self.folder() / f"{self.port}.json").read_text())["config"]
            line = next(line for line in text.splitlines() if line.startswith("SERIAL NUMBER"))
        except (OSError, ValueError, LookupError, TypeError, StopIteration):
            return None
        return line.removeprefix("SERIAL NUMBER").strip() or None

    def newest_file(self):
        """The data file that was written to last, or None."""
        def written(path):
            try:
                return path.stat().st_mtime
            except OSError:
                return 0

        files = [f for f in self.folder().glob("[0-9]*.young_81000_v.*") if f.suffix != ".zst"]
        return max(files, key=written, default=None)

    def last_line(self, since=0):
        """The last complete line of the newest file, if it was written to after `since`; or ""."""
        newest = self.newest_file()
        try:
            if newest is None or newest.stat().st_mtime < since:
                return ""
            with newest.open("rb") as file:
                file.seek(max(0, newest.stat().st_size - 4096))
                lines = file.read().split(b"\n")
        except OSError:
            return ""
        return lines[-2].decode("latin-1") if len(lines) > 1 else ""

    def prepare(self):
        """Sees to what a start needs: the units as they are now, and the broker."""
        run("systemctl", "daemon-reload")
        if not self.is_active("mosquitto"):
            output("systemctl", "enable", "--now", "mosquitto")
            output("mosquitto_sub", "-h", "::1", "-t", "$SYS/broker/version", "-C", "1", "-W", "5")

    def start(self):
        """Restarts the service, or starts it."""
        output("systemctl", "restart", self.unit)  # a start that fails is tried again

    def forget(self):
        """Removes what a stopped service leaves: the place in /dev that systemd made to bind a port
        there, and the broker's retained messages, by which the port would stay on the page."""
        place = Path("/dev", self.port)
        if place.is_file() and not place.is_symlink() and not place.stat().st_size:
            place.unlink()
        if self.is_active("mosquitto"):
            time.sleep(1)  # the broker may be about to publish the last will
            for topic in (self.topic, f"{self.topic}/fast", f"{self.topic}/status"):
                output("mosquitto_pub", "-h", "::1", "-r", "-n", "-t", topic)


def configured():
    """All instances that run or will run after the next boot."""
    return [instance for instance in map(Instance, PORTS) if instance.is_configured()]


def make_folder(folder, serial):
    """Makes a data folder where there is none, and writes the serial number into its settings."""
    run_as_owner("install", "-d", "-m", "755", str(folder))
    path = folder / "config.json"
    try:
        content = json.loads(path.read_text())
        content["uarts"][0]["serial_number"] = serial
    except (OSError, ValueError, LookupError, TypeError):
        content = {"uarts": [{"serial_number": serial}]}
    run_as_owner("sh", "-c", 'cat >"$1.new" && mv "$1.new" "$1"', "sh", str(path),
                 text=json.dumps(content, indent=2) + "\n")
