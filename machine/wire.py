"""The wire between a simulated instrument and a port of the guest."""

import array
import fcntl
import os
import pty
import select
import termios
import threading
import time
import tty

BITS_PER_BYTE = 10
TICK = 0.008      # seconds; how soon a change of speed is seen
FULL = 256        # bytes that wait on either side; then the instrument waits
# Seconds after which a port that has taken no byte is not open. An emulated processor that has to
# share its host's may stand still for a few.
UNSERVED = 10.0
SPEED_OF = {getattr(termios, f"B{baud}"): baud
            for baud in (1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400)}


class Wire(threading.Thread):
    """Carries bytes between the terminal `instrument` and another one, `device`, which is the
    guest's: no faster than the guest's line speed, of which the instrument learns. A guest that is
    slow gets all bytes, later. What is on its way when the guest changes the speed is lost, and so
    is what a port does not take, because nobody in the guest has it open. Terminals alone would
    keep it."""

    def __init__(self, instrument):
        super().__init__(daemon=True)
        self.instrument = os.open(instrument, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self.instrument)
        self.end, self.guest = pty.openpty()
        tty.setraw(self.guest)
        self.device = os.ttyname(self.guest)
        self.speed = None
        self.waiting = b""
        self.start()

    def run(self):
        """Carries bytes both ways until either side hangs up."""
        given = 0  # bytes that the guest has not taken yet
        sent = taken = time.monotonic()
        try:
            while True:
                baud = self._pass_speed_on()
                ready = [self.end] + [self.instrument] * (len(self.waiting) < FULL)
                ready, _, _ = select.select(ready, [], [], TICK)
                if self.instrument in ready:
                    read = os.read(self.instrument, FULL)
                    if not read:  # it has hung up
                        return
                    self.waiting += read
                if self.end in ready:
                    os.write(self.instrument, os.read(self.end, FULL))
                now = time.monotonic()
                due = min(len(self.waiting), int((now - sent) * baud / BITS_PER_BYTE))
                if due or not self.waiting:
                    sent = now
                unread = self._unread()
                if unread < given or not unread:
                    taken = now
                elif now > taken + UNSERVED:
                    self._lose()
                    unread = 0
                due = max(0, min(due, FULL - unread))
                given = unread + os.write(self.end, self.waiting[:due])
                self.waiting = self.waiting[due:]
        except (OSError, termios.error):
            pass  # the guest or the instrument has ended

    def _pass_speed_on(self):
        speed = termios.tcgetattr(self.guest)[4]
        if speed != self.speed:
            self.speed = speed
            self._lose()
            settings = termios.tcgetattr(self.instrument)
            settings[4] = settings[5] = speed
            termios.tcsetattr(self.instrument, termios.TCSANOW, settings)
        return SPEED_OF.get(speed, 1200)

    def _lose(self):
        """All that is on its way to the guest."""
        termios.tcflush(self.instrument, termios.TCIFLUSH)
        termios.tcflush(self.guest, termios.TCIFLUSH)
        self.waiting = b""

    def _unread(self):
        count = array.array("i", [0])
        fcntl.ioctl(self.guest, termios.FIONREAD, count)
        return count[0]
