"""A logger without a clock chip starts in the past."""

import time

from harness import MachineTest, long
from time_server import TimeServer

PAST = "2000-01-01 00:05:00"
NETWORK = ("-netdev", "user,id=net", "-device", "virtio-net-pci,netdev=net")


class ClockTest(MachineTest):
    """With sonic-port, whose stamps are those of the guest's clock."""

    @long
    def test_set_right_while_it_records(self):
        """The records go on in a file of the right half hour."""
        self.run(f"date -s '{PAST}'")
        self.plug("--raw --records 500")
        self.use_adapter()
        self.run("systemctl start sonicd@ttyS1")
        self.wait_for_records(50)
        now = int(time.time())
        self.run(f"date -s @{now}")
        self.wait_for_records(500)
        self.assertGreater(self.summary(since=now)["records"], 0)
        self.assert_count(500)

    @long
    def test_waits_for_the_right_time(self):
        """As operations.md has it: no record has a time in the past."""
        server = TimeServer()
        server.start()
        self.documented("operations.md", "apt install chrony", install="install --yes")
        self.documented("operations.md", "systemctl enable chrony-wait")
        self.run(f"echo server 10.0.2.2 port {server.port} iburst >/etc/chrony/conf.d/test.conf; "
                 "printf '[Match]\\nName=e*\\n[Network]\\nDHCP=yes\\n' "
                 ">/etc/systemd/network/test.network; systemctl enable systemd-networkd")
        self.use_adapter()
        self.run("sync")
        self.boot_again(*NETWORK, "-rtc", f"base={PAST.replace(' ', 'T')}")
        self.plug("--raw")
        now = int(time.time())
        self.wait_for_records(100, since=now - 60)
        self.assertEqual(1, len(self.summary()["files"]))
