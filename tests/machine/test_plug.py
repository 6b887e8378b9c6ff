"""An adapter that is pulled and plugged in again, under the services of systemd."""

from harness import MachineTest, long

RAW = "--raw --baud 19200"


class PlugTest(MachineTest):

    def now(self):
        return int(self.run("date +%s"))

    def test_pulled_and_plugged_in_again(self):
        """Under another number, too: something else has taken the first one."""
        instrument, adapter = self.plug(RAW)
        self.use_adapter()
        self.run("systemctl start sonicd@ttyS1")
        self.wait_for_records(100)
        self.unplug(adapter)
        self.wait_until("! systemctl is-active sonic-port@ttyS1")
        self.assertIn("is gone", self.journal("sonic-port@ttyS1"))
        self.plug(serial_number="B2")
        self.wait_until("test -e /dev/ttyUSB0")
        instrument.end()
        since = self.now()
        self.plug(f"{RAW} --records 200")
        self.wait_until("test -e /dev/ttyUSB1")
        self.wait_for_records(200, since=since)
        self.assert_count(200, since=since)

    @long
    def test_boots_with_the_adapter_and_without(self):
        _, adapter = self.plug(RAW)
        self.use_adapter()
        self.run("systemctl start sonicd@ttyS1")
        self.wait_for_records(50)
        self.unplug(adapter)
        self.run("sync")
        self.boot_again()
        self.wait_until("systemctl is-active sonicd-watch@ttyS1.timer")
        self.assertIn("inactive", self.run("systemctl is-active sonic-port@ttyS1 || true"))
        since = self.now()
        self.plug("--raw")
        self.wait_for_records(50, since=since)
        self.reboot()
        since = self.now()
        self.wait_for_records(50, since=since)
