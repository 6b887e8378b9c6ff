"""A running emulated machine, and commands in it."""

import base64
import itertools
import json
import os
import socket
import subprocess
import tempfile
import time
from pathlib import Path

MEMORY = "320M"
WITH_THIS_PROGRAM = ("setpriv", "--pdeathsig", "KILL")  # ends whatever this program's end


class Monitor:
    """Sends commands in QEMU's way, lines of JSON, to its monitor or to the agent in the guest."""

    def __init__(self, path, seconds):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(seconds)
        try:
            self.socket.connect(os.fspath(path))
        except OSError:
            self.socket.close()
            raise
        self.lines = self.socket.makefile("rw")

    def send(self, name, **arguments):
        """Sends a command without waiting for its answer."""
        self.lines.write(json.dumps({"execute": name, "arguments": arguments}) + "\n")
        self.lines.flush()

    def answer(self):
        """What the next command that is answered returns. Events are passed over."""
        for line in self.lines:
            answer = json.loads(line.lstrip("\xff"))
            if "error" in answer:
                raise RuntimeError(answer["error"]["desc"])
            if "return" in answer:
                return answer["return"]
        raise RuntimeError("the emulator has ended")

    def command(self, name, **arguments):
        """Sends a command. Returns the emulator's answer to it."""
        self.send(name, **arguments)
        return self.answer()


class Guest:
    """An emulated machine. `folder` is for its console's output.

    `state`, a file that save() wrote, has it go on where it was saved, on the disk of then."""

    def __init__(self, machine, image, disk, folder, options=(), state=None, console=False):
        self.folder = folder
        self.disk = disk
        self.sockets = tempfile.TemporaryDirectory(prefix="machine-")  # their paths must be short
        lines = [option for k, uart in enumerate(machine.uarts) for option in ("-device", uart)]
        null = [option for k in range(3) if any(f"uart{k}" in uart for uart in machine.uarts)
                for option in ("-chardev", f"null,id=uart{k}")]
        # The disk keeps what it has been given when the emulator is killed: to have this machine's
        # disk flushed as well would only take as long as others use that.
        command = [
            *WITH_THIS_PROGRAM, *machine.qemu, "-accel", "tcg,tb-size=128", "-m", MEMORY,
            "-nodefaults", "-display", "none",
            "-kernel", image.kernel, "-initrd", image.ramdisk,
            "-append", f"console={machine.console} quiet mitigations=off",
            "-drive", f"file={disk},if=none,id=disk,cache=unsafe",
            "-device", "virtio-blk-pci,drive=disk", "-device", "virtio-serial-pci",
            "-device", "virtserialport,chardev=agent,name=org.qemu.guest_agent.0",
            "-device", "qemu-xhci,id=usb",
            "-chardev", f"socket,id=agent,path={self.sockets.name}/agent,server=on,wait=off",
            "-qmp", f"unix:{self.sockets.name}/monitor,server=on,wait=off",
            *null, *lines, *options]
        if console:
            command += ["-serial", "mon:stdio"]
        else:
            command += ["-serial", f"file:{folder}/console"]
        if state:
            command += ["-incoming", f"exec:cat {state}"]
        self.process = subprocess.Popen([str(c) for c in command],
                                        stdin=None if console else subprocess.DEVNULL)
        self.monitor = self._connect()
        self.monitor.lines.readline()  # its greeting
        self.monitor.command("qmp_capabilities")
        if state:
            self._go_on()
        self.agent = None

    def _connect(self):
        while True:
            try:
                return Monitor(Path(self.sockets.name, "monitor"), seconds=60)
            except OSError:
                if self.process.poll() is not None:
                    raise RuntimeError("the emulator did not start") from None
                time.sleep(0.05)

    def _go_on(self):
        """It was saved while it was paused."""
        while self.monitor.command("query-status")["status"] == "inmigrate":
            time.sleep(0.05)
        self.monitor.command("cont")

    def wait_until_up(self, seconds=300):
        """Until the agent answers, soon after the machine has begun to start its services."""
        end = time.monotonic() + seconds
        while not self._ask_agent():
            if time.monotonic() > end or self.process.poll() is not None:
                raise RuntimeError("the guest did not start:\n" + self.console())

    def _ask_agent(self):
        """Whether it answers."""
        self.agent = Monitor(Path(self.sockets.name, "agent"), seconds=2)
        try:
            token = time.monotonic_ns() % 10**9
            self.agent.send("guest-sync", id=token)
            while self.agent.answer() != token:
                pass  # what was asked before
        except (OSError, ValueError):
            self.agent.socket.close()
            return False
        self.agent.socket.settimeout(120)
        return True

    def console(self):
        """The end of what the machine has printed on its console."""
        path = self.folder / "console"
        return path.read_text(errors="replace")[-4000:] if path.exists() else ""

    def start(self, script):
        """Starts a bash script as root. Its result is had by result()."""
        return self.agent.command("guest-exec", path="/bin/bash", arg=["-c", script],
                                  **{"capture-output": True})["pid"]

    def result(self, pid, seconds=120):
        """Status and output, both streams in one, of what start() started."""
        end = time.monotonic() + seconds
        for pause in itertools.chain([0.02, 0.05, 0.1, 0.2], itertools.repeat(0.5)):
            status = self.agent.command("guest-exec-status", pid=pid)
            if status["exited"]:
                output = "".join(base64.b64decode(status.get(stream, "")).decode("latin-1")
                                 for stream in ("out-data", "err-data"))
                return status.get("exitcode", -1), output
            if time.monotonic() > end:
                raise TimeoutError(f"still running after {seconds} s")
            time.sleep(pause)

    def run(self, script, seconds=120):
        """The output of a bash script that must succeed."""
        status, output = self.result(self.start(script), seconds)
        if status:
            raise AssertionError(f"status {status} of: {script}\n{output}")
        return output

    def put(self, path, target):
        """Copies a file of this machine into the guest."""
        handle = self.agent.command("guest-file-open", path=target, mode="w")
        data = path.read_bytes()
        for start in range(0, len(data), 1 << 20):
            piece = base64.b64encode(data[start:start + (1 << 20)]).decode()
            self.agent.command("guest-file-write", handle=handle, **{"buf-b64": piece})
        self.agent.command("guest-file-close", handle=handle)

    def written(self):
        """Bytes and operations that have been written to the disk, and flushes of it."""
        stats, = (drive["stats"] for drive in self.monitor.command("query-blockstats")
                  if drive.get("qdev") or drive["device"] == "disk")
        return stats["wr_bytes"], stats["wr_operations"], stats["flush_operations"]

    def save(self, state):
        """Writes its memory and devices to a file and ends it. Its disk is to be kept as it is."""
        self.monitor.command("stop")
        self.monitor.command("migrate", uri=f"exec:cat >{state}")
        while (status := self.monitor.command("query-migrate")["status"]) != "completed":
            if status == "failed":
                raise RuntimeError("the state could not be saved")
            time.sleep(0.1)
        self.monitor.command("quit")
        self.process.wait(30)

    def cut_power(self):
        """Nothing in the guest is notified."""
        self.process.kill()
        self.process.wait(30)

    def power_off(self, seconds=120):
        """Shuts the system down, and waits until the machine is off."""
        self.start("systemctl poweroff")
        self.process.wait(seconds)
