"""Runs without faults."""

import json

from harness import *

HERE = Path(__file__).parent
RIGHT_SETTINGS = "operate mode, 38400 baud, 32 Hz, averaging 0, errors included, format 5ABEC"
RAISED = f"raise user to 0\nlower user to {USER}\n"
PRINTED = (HERE / "start.expected").read_text().replace("USER", str(USER))


class RunTest(DeviceTest):

    def test_full(self):
        os.chown(self.port.power, 0, 0)  # so that only who has raised privileges switches it
        self.start("--baud 19200 --rate 20 --averaging 2 --error-handling omit --format nmea "
                   f"--trace --replay {ROOT / 'tests/replay/half_hours.port'}")
        self.broker.wait_for(f" as {self.daemon.pid}.young_81000_v (p2, c1, k60).")

        self.daemon.wait_for("Trying 38400")
        self.assertEqual((False, "1\n", "UNDEFINED"), self.port.left())
        self.subscriber.wait_for("|Disconnected")
        self.instrument.wait_for(RIGHT_SETTINGS)
        self.assertEqual((True, "1\n", "UNDEFINEDYOUNG_81000"), self.port.left())
        self.check_info_file()
        self.check_process(Path(f"/proc/{self.daemon.pid}"))
        self.assert_heard("/status", [
            "Connecting (no data)", "Info trying 38400", *5 * ["Connecting (got data)"],
            "Info trying 19200", "Connecting (got data)", "Info connected at 19200 baud",
            "Configuring", "Connected", "Disconnected"])

        self.interrupt()
        printed = re.sub(r"this=0x[0-9a-f]+", "this=ADDRESS",
                         re.sub(r"\[[\x80-\xff]{500}\]", "[GARBAGE]", self.daemon.output))
        self.assertEqual(PRINTED, printed[:len(PRINTED)])
        self.assertTrue(printed.endswith(RAISED + RAISED + "EXCEPTION: sampling\n"), printed)
        self.assertEqual((False, "0\n", "UNDEFINEDYOUNG_81000UNDEFINED"), self.port.left())

    def check_info_file(self):
        text = self.port.info.read_text()
        config = json.loads(text)["config"]
        self.assertEqual((HERE / "info.expected").read_text(),
                         text.replace(json.dumps(config), "CONFIG"))
        for line in ("BAUD = 38400\n", "OUTPUT RATE = 32 Hz\n", "VERSION 4.10\n"):
            self.assertIn(line, config)
        self.assertNotRegex(config, "\r|PRESS ANY KEY|COMMANDS")

    def check_process(self, process):
        """Its users, its priority, and that it has but the last of three data files open."""
        self.assertIn(f"Uid:\t0\t{USER}\t0\t{USER}\n", (process / "status").read_text())
        self.assertEqual("-20", (process / "stat").read_text().split()[18])
        files = sorted(HOME.glob("*.young_81000_v.01234"))
        self.assertEqual(3 * [(USER, 0o100755)],
                         [(file.stat().st_uid, file.stat().st_mode) for file in files])
        descriptors = [os.readlink(fd) for fd in (process / "fd").iterdir()]
        self.assertEqual([str(files[-1])], [path for path in descriptors if str(HOME) in path])

    def test_console(self):
        self.port = Port(4)
        self.start("--bad-check 5 --records 12", "-c -r 8 -v")
        self.assert_status("Disconnected")
        self.interrupt()
        stamps = [stamp for n, first in ((4, 0), (4, 5), (2, 10))
                  for stamp in records(n, after=first / 8, rate=8)]
        self.assert_right(re.findall("^DATA_SONIC\t.*", self.daemon.output, re.M), stamps)
        for trace in ("auto_baud_check: ", "## Set averaging to 0", "chksum cmp: ",
                      "logging: switching"):
            self.assertIn(trace, self.daemon.output)
        self.assertNotIn("DATAERROR", self.daemon.output)
        self.assertEqual([], list(HOME.glob("*.young*")))
        self.assert_heard("", [])
        self.assert_heard("/fast", [])


if __name__ == "__main__":
    main()
