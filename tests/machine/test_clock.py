"""A logger without a clock chip starts in the past."""

import socket
import struct
import threading
import time

from harness import HOME, MachineTest

NTP_EPOCH = 2208988800  # of its seconds, before 1970


class TimeServer(threading.Thread):
    """Answers one question of the time after another, as a server of the network time protocol."""

    def __init__(self):
        super().__init__(daemon=True)
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]

    def run(self):
        while True:
            question, client = self.socket.recvfrom(512)
            now = int((time.time() + NTP_EPOCH) * 2**32)
            # Version 4, server, stratum 1; then its clock's error, name and last setting.
            head = struct.pack("!BBBbII4s", 0o44, 1, question[2], -20, 0, 0, b"TEST")
            self.socket.sendto(head + struct.pack("!Q", now) + question[40:48] +
                               struct.pack("!QQ", now, now), client)


class ClockTest(MachineTest):
    settings = {"options": ("-netdev", "user,id=net", "-device", "virtio-net-pci,netdev=net")}

    def test_set_right_while_it_records(self):
        """By sonic-port's stamps: the next half hour begins a file, nothing is lost."""
        self.run("date -s '2000-01-01 00:05:00'")
        self.plug("--raw --baud 38400")
