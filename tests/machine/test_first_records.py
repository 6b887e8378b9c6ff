"""From `apt install` to records, by the documents' own commands."""

from harness import ADAPTER, SERIAL_NUMBER, MachineTest


class FirstRecordsTest(MachineTest):

    def test_uart(self):
        self.attach("--baud 9600")
        self.documented("operations.md", "systemctl enable --now sonicd@ttyS1")
        self.wait_for_records(100)
        self.assert_recorded()
        self.documented("operations.md",
                        "mosquitto_sub -h ::1 -R -C 1 -W 10 -t /home/qelta/device/port/1 && "
                        "echo data arrive")
        self.assertIn("00815", self.documented(
            "operations.md", r"grep -o 'SERIAL NUMBER [^\]*' /home/qelta/device/ttyS1.json"))
        self.assertEqual([SERIAL_NUMBER], [name.split(".")[2] for name in self.summary()["files"]])
        self.run("systemctl is-active sonicd-flush && systemctl is-active sonicd-watch@ttyS1.timer")
        self.assertEqual("", self.run("systemctl --failed --quiet --no-legend"))

    def test_adapter(self):
        self.plug("--raw --baud 19200 --records 200")
        device = "/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A10K1234-if00-port0"
        self.wait_until(f"test -e {ADAPTER.format('A1')}")
        self.documented("hardware.md", f"echo DEVICE={device} >/etc/default/sonic-port-ttyS1",
                        **{device: ADAPTER.format("A1")})
        self.documented("hardware.md", "install -D -m 644 -t "
                        "/etc/systemd/system/sonicd@ttyS1.service.d "
                        "/usr/share/sonicd/sonic-port.conf")
        self.documented("hardware.md", "systemctl enable --now sonic-port@ttyS1 sonicd@ttyS1")
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
