"""From `apt install` to records, by the documents' own commands."""

from harness import ADAPTER, MachineTest

DEVICE = "/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A10K1234-if00-port0"


class FirstRecordsTest(MachineTest):

    def set_up(self, document, command, **put_in):
        """By the command of a document. An emulated processor may need longer than it waits."""
        said = self.documented(document, command, **{"01234": "01234 --wait 900"}, **put_in)
        self.assertIn("first record: u", said)
        self.assertIn("its serial number is 00815, the settings say 01234", said)

    def test_uart(self):
        self.attach("--baud 9600")
        self.set_up("operations.md", "sonicd-setup ttyS1 --serial 01234")
        self.wait_for_records(100)
        self.assert_recorded()
        self.assertEqual(["01234"], [name.split(".")[2] for name in self.summary()["files"]])
        self.assertIn("Nothing is wrong", self.documented("operations.md", "sonicd-setup --check"))
        self.run("systemctl is-active sonicd-flush && systemctl is-active sonicd-watch@ttyS1.timer")
        self.assertEqual("", self.run("systemctl --failed --quiet --no-legend"))

    def test_adapter(self):
        self.plug("--raw --baud 19200 --records 200")
        self.wait_until(f"test -e {ADAPTER.format('A1')}")
        self.set_up("hardware.md", f"sonicd-setup ttyS1 --device {DEVICE} --serial 01234",
                    **{DEVICE: ADAPTER.format("A1")})
        self.wait_for_records(200)
        self.assert_count(200)

    def test_latency_of_the_adapter(self):
        """Set while the port is in use, and put back."""
        self.plug()
        timer = "cat /sys/bus/usb-serial/devices/ttyUSB0/latency_timer"
        self.wait_until(timer)
        before = self.run(timer)
        self.start("sonic-port /dev/ttyUSB0", log="/tmp/log")
        self.wait_until("grep pts /tmp/log")
        self.assertEqual("1\n", self.documented("hardware.md", timer))
        self.run("killall --wait sonic-port")
        self.assertEqual(before, self.run(timer))
