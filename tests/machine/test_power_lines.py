"""The lines that switch the instruments' power: the kernel's own where there is a GPIO chip."""

from harness import MachineTest, long

VALUE = "/sys/class/gpio/gpio13/value"


class PowerLinesTest(MachineTest):

    def power(self):
        return self.run(f"cat {VALUE}").strip()

    def test_on_and_off(self):
        """Root owns the line, and a start that fails before the set-up switches it off."""
        self.attach("--state silent")
        self.assertEqual(["root", "0"], self.run(f"stat -c %U {VALUE}; cat {VALUE}").split())
        for _ in range(2):
            self.run("systemctl start sonicd@ttyS1")
            self.wait_until(f"grep 1 {VALUE}")
            self.run("systemctl stop sonicd@ttyS1")
            self.assertEqual("0", self.power())

    @long
    def test_not_exported(self):
        """Passed over without a word."""
        self.attach()
        self.run("umount /sys/class/gpio/gpio13 2>/dev/null; rm -rf /sys/class/gpio/gpio13")
        self.run("systemctl start sonicd@ttyS1")
        self.wait_for_records(50)
        self.assert_recorded()
