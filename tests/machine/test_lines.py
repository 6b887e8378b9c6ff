"""What a line does that no pseudo-terminal can: other users, speeds, breaks, floods."""

import os
import pty
import time
import tty

from harness import MachineTest, long


class LinesTest(MachineTest):

    def test_one_user_at_a_time(self):
        self.plug()
        self.run("useradd --groups dialout scientist")
        self.wait_until("test -e /dev/ttyUSB0")
        self.start("sonic-port /dev/ttyUSB0", log="/tmp/log")
        self.wait_until("grep pts /tmp/log")
        for user, command in (("scientist", "cat /dev/ttyUSB0"),
                              ("scientist", "minicom -D /dev/ttyUSB0"),
                              ("root", "sonic-port /dev/ttyUSB0")):
            output = self.run(f"TERM=vt100 timeout 20 runuser -u {user} -- {command} 2>&1 "
                              "</dev/null || true")
            self.assertIn("busy", output.lower(), command)

    def test_speed_that_the_driver_refuses(self):
        """A 16550 makes 115200 baud at most."""
        self.attach("--raw --baud 38400 --fields 5ABEC")
        self.start("sonic-port --link /run/offered --trace /dev/ttyS1", log="/tmp/log")
        self.wait_until("test -e /run/offered")
        self.run("(sleep 1; stty speed 230400; timeout 5 cat || true) </run/offered >/tmp/records")
        self.assertIn("/dev/ttyS1 cannot be set to 230400 baud, stays at 38400 baud",
                      self.run("cat /tmp/log"))
        self.assertGreater(int(self.run("tr '\\r' '\\n' </tmp/records | grep -c '^[0-9.]*,'")), 10)

    @long
    def test_line_that_takes_nothing(self):
        """Its output buffer is full. Records arrive all the same."""
        line, device = pty.openpty()
        tty.setraw(device)
        self.lines.connect(os.ttyname(device), line=1)
        self.start("sonic-port --link /run/offered /dev/ttyS1", log="/tmp/log")
        self.wait_until("test -e /run/offered")
        self.start("bash -c 'yes >/run/offered'")
        self.start("cat /run/offered", log="/tmp/records")
        time.sleep(5)  # kilobytes wait by now
        for _ in range(20):
            os.write(line, b"  1.23  -0.45   0.07  343.21   21.50 0 3f\r")
        self.wait_until("[ $(tr '\\r' '\\n' </tmp/records | grep -c ',  1.23.* 3f') = 20 ]")

    @long
    def test_break(self):
        """Damages the record under way, and no other."""
        self.attach()
        self.run("systemctl enable --now sonicd@ttyS1")
        self.wait_for_records(100)
        self.guest.monitor.command("chardev-send-break", id="uart1")
        self.wait_for_records(300)
        self.assert_recorded(errors=1)

    @long
    def test_flood(self):
        """Records without a pause between them are all taken."""
        self.attach("--speed max --records 3000")
        self.run("systemctl enable --now sonicd@ttyS1")
        self.wait_for_records(3000)
        self.assert_recorded()
