"""A server of the time for a guest that has none."""

import socket
import struct
import threading
import time

SECONDS_BEFORE_1970 = 2208988800  # of the protocol's epoch
SERVER = 0o44                     # version 4, mode server
PRECISION = -20                   # of the clock, as a power of two of seconds


class TimeServer(threading.Thread):
    """Answers questions of the network time protocol (RFC 5905) on a port of the loopback
    interface, which a guest on QEMU's own network sees at 10.0.2.2."""

    def __init__(self):
        super().__init__(daemon=True)
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]

    def run(self):
        while True:
            question, client = self.socket.recvfrom(512)
            now = struct.pack("!Q", int((time.time() + SECONDS_BEFORE_1970) * 2**32))
            stratum, poll, asked = 1, question[2], question[40:48]
            head = struct.pack("!BBBbII4s", SERVER, stratum, poll, PRECISION, 0, 0, b"TEST")
            self.socket.sendto(head + now + asked + now + now, client)
