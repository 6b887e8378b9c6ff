"""A simulated instrument of this machine, at the other end of one of the guest's lines."""

import os
import signal
import subprocess
import threading
import time

from guest import WITH_THIS_PROGRAM
from image import ROOT
from wire import Wire

SIMULATOR = ROOT / "build/default/simulator/sonic-simulator"


class Instrument:
    """`options` are the simulator's. Its output is collected with the time at which it arrived."""

    def __init__(self, options=""):
        command = [*WITH_THIS_PROGRAM, SIMULATOR, "--trace", *options.split()]
        self.process = subprocess.Popen(command, text=True,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.lines = []
        first = self.process.stdout.readline()
        self.device = Wire(first.split()[1].rstrip(",")).device
        threading.Thread(target=self._collect, daemon=True).start()

    def _collect(self):
        for line in self.process.stdout:
            self.lines.append((time.time(), line.removeprefix("sonic-simulator: ").rstrip()))

    def seen(self, text):
        """When a line with this text last arrived; None if it did not."""
        return next((when for when, line in reversed(self.lines) if text in line), None)

    def pause(self):
        """Until resume() it sends nothing and takes no keys."""
        self.process.send_signal(signal.SIGSTOP)

    def resume(self):
        """Ends a pause."""
        self.process.send_signal(signal.SIGCONT)

    def end(self):
        """Ends it, also in a pause."""
        if self.process.poll() is None:
            self.resume()
            self.process.terminate()
        self.process.wait(10)


def hostdev(device):
    """A terminal of this machine as QEMU wants to have it. It hands the guest's line speed on to
    the terminal, so that an instrument at another speed sends noise, as on a wire."""
    return {"type": "serial", "data": {"device": os.fspath(device)}}


class Lines:
    """The guest's UARTs and its USB socket."""

    def __init__(self, guest):
        self.guest = guest
        self.instruments = []
        self.attached = {}  # by the number of the UART
        self.plugged = 0

    def instrument(self, options):
        """Starts a simulated instrument with these options of sonic-simulator."""
        self.instruments.append(Instrument(options))
        return self.instruments[-1]

    def attach(self, options="", line=1):
        """An instrument at the UART ttyS`line`, instead of the one before."""
        instrument = self.instrument(options)
        self.connect(instrument.device, line)
        if line in self.attached:
            self.attached[line].end()
        self.attached[line] = instrument
        return instrument

    def connect(self, device, line):
        """A terminal of this machine at the UART ttyS`line`."""
        self.guest.monitor.command("chardev-change", id=f"uart{line}", backend=hostdev(device))

    def plug(self, instrument, serial_number):
        """An FTDI adapter with this instrument. Returns what unplug() wants. The emulator keeps the
        name of each line that it has had, so each gets a new one."""
        self.plugged += 1
        name = f"adapter{self.plugged}"
        self.guest.monitor.command("chardev-add", id=name, backend=hostdev(instrument.device))
        self.guest.monitor.command("device_add", driver="usb-serial", id=name, chardev=name,
                                   serial=serial_number)
        return name

    def unplug(self, name):
        """Removes the adapter of this name from the machine."""
        self.guest.monitor.command("device_del", id=name)

    def end(self):
        """Ends all instruments."""
        for instrument in self.instruments:
            instrument.end()
