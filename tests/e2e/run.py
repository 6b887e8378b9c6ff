"""End-to-end tests: run.py DaemonTest.test_NAME, each in a private device of its own."""

import json
import pwd
import signal

from harness import *

RECORDINGS = Path(__file__).parent.parent / "replay"
USER = pwd.getpwnam("qelta").pw_uid
RIGHT_SETTINGS = "operate mode, 38400 baud, 32 Hz, averaging 0, errors included, format 5ABEC"
TOP_LINES = "Model\tRM Young 81000 V\nSN\t01234\nVersion\t4.10\nRate\t32\n"
RAISED = f"raise user to 0\nlower user to {USER}\n"
OPENED = (f"{RAISED}MQTTPublisher: this=ADDRESS\n"
          f"raise user to 0\nbaud=38400\nlower user to {USER}\n")
NOT_UNDERSTOOD = """\
Trying RATE
baud=RATE
Read !!!!!...
Escape ...
NL ...
[GARBAGE]
Interactive??
Reread ...
Interactive??
Reread ...
"""
START = f"""\
argc=3
i=1, -p
id='port', arg=1
id 'port' -> 'ttyS1'
{OPENED}{NOT_UNDERSTOOD.replace("RATE", "38400")}Trying 19200
baud=19200
Read !!!!!...
baud rate detected: 19200
sonic_setup: enter
sonic_setup_auto: enter
WE'RE INTERACTIVE
sonic_setup_auto: set baud rate
baud=38400
sonic_setup_auto: set error handling
sonic_setup_auto: set output rate
sonic_setup_auto: set averaging
sonic_setup_auto: set output format
sonic_setup_auto: get config
sonic_setup: end
{RAISED}{RAISED}"""
HELP = """\
PROGRAM [ <options>* }
\t\t<no parameters> .... Print this help and exit

\t\t-c, --console .... Print all output to console
\t\t-f, --fast-pub .... Fast publishing output
\t\t-n <n> .... Number of sample iterations
\t\t-r <r>, --output-rate <r> .... Sample output rate
\t\t-p <port>, --port <port> .... Use this serial port
\t\t-v, --verbose .... Verbose output
"""


class DaemonTest(DeviceTest):

    def test_full_run(self):
        port_input = b"".join((RECORDINGS / f"{n}.port").read_bytes()
                              for n in ("bad_records", "half_hours"))
        (RUN / "port").write_bytes(port_input)
        files, lines = data_files_for(port_input, TOP_LINES)
        published = [line for line in lines if line.count("\t") + 1 == len(COLUMNS)]
        instrument = self.simulator(
            "--baud", "19200", "--rate", "20", "--averaging", "2", "--error-handling", "omit",
            "--format", "nmea", "--trace", "--replay", RUN / "port")
        subscriber = Subscriber()
        run = self.sonicd("-p", "ttyS1")

        run.wait_for("Trying 38400")
        self.assertEqual(("1\n", "UNDEFINED"), (POWER_LINE.read_text(), TYPE_ATTRIBUTE.read_text()))
        self.assertFalse(INFO_FILE.exists())
        subscriber.wait_for("|Disconnected")
        instrument.wait_for(RIGHT_SETTINGS)
        self.assertEqual(("1\n", "UNDEFINEDYOUNG_81000"),
                         (POWER_LINE.read_text(), TYPE_ATTRIBUTE.read_text()))
        info = {"config": "", "incline": "", "instrument": "RM Young 81000 V", "output_rate": "32",
                "serial_number": "01234", "software_version": "4.10", "sonic_type": "young_81000_v"}
        info["config"] = json.loads(INFO_FILE.read_text())["config"]
        self.assertEqual("{\n" + ",\n".join(f'\t"{k}" : {json.dumps(v)}' for k, v in info.items()) +
                         "\n}\n", INFO_FILE.read_text())
        for text in ("BAUD = 38400\n", "OUTPUT RATE = 32 Hz\n", "VERSION 4.10\n"):
            self.assertIn(text, info["config"])
        self.assertEqual(files, self.data_files())
        for name in files:
            status = (HOME / name).stat()
            self.assertEqual((USER, 0o100755), (status.st_uid, status.st_mode))
        process = Path(f"/proc/{run.popen.pid}")
        self.assertIn(f"Uid:\t0\t{USER}\t0\t{USER}\n", (process / "status").read_text())
        self.assertEqual("-20", (process / "stat").read_text().split()[18])

        self.assertEqual(
            ["Connecting (no data)", "Info trying 38400"] + 5 * ["Connecting (got data)"] +
            ["Info trying 19200", "Connecting (got data)", "Info connected at 19200 baud",
             "Configuring", "Connected", "Disconnected"], subscriber.texts("/status"))
        self.assertEqual([payload(line) for line in published], subscriber.texts("/fast"))
        self.assertEqual([payload(line) for line in first_of_each_second(published)],
                         subscriber.texts())

        self.assertEqual(255, run.end(signal.SIGINT))
        printed = re.sub(r"this=0x[0-9a-f]+", "this=ADDRESS",
                         re.sub(r"\[[\x80-\xff]{500}\]", "[GARBAGE]", run.output))
        self.assertEqual(START, printed[:len(START)])
        self.assertTrue(printed.endswith(RAISED + RAISED + "EXCEPTION: sampling\n"), printed)
        self.assert_released("UNDEFINEDYOUNG_81000UNDEFINED")

    def test_menu_at_9600_and_half_hour(self):
        self.simulator("--state", "sub", "--baud", "9600", "--paging", "--start", "1700002798.5",
                       "--speed", "8")
        subscriber = Subscriber()
        run = self.sonicd("-p", "ttyS1", "-n", "96")
        self.assertEqual(0, run.end(seconds=200))
        self.assertTrue(run.output.endswith(RAISED + RAISED), run.output)
        self.assert_released("UNDEFINEDYOUNG_81000UNDEFINED")

        lines = []
        for start, count in (1700001000, 48), (1700002800, 48):
            text = self.data_files()[f"{start}.young_81000_v.01234"].decode()
            top, rest = text.split(HEADER + "\n")
            self.assertEqual((TOP_LINES, count), (top, rest.count("\n")))
            lines += rest.splitlines()
        for k, line in enumerate(lines):
            stamp = 1700002798500000000 + k * 31250000
            values = line.split("\t")[3:9]
            self.assertEqual(data_line(stamp // 10**9, stamp % 10**9, values), line)
        statuses = (["Connecting (no data)"] + [f"Info trying {r}" for r in (38400, 19200, 9600)] +
                    3 * ["Connecting (got data)"] +
                    ["Info connected at 9600 baud", "Configuring", "Connected"])
        self.assertEqual(statuses, subscriber.texts("/status")[:len(statuses)])
        # The last messages before the end may never reach the broker.
        for subtopic, expected in ("/fast", lines), ("", first_of_each_second(lines)):
            heard = subscriber.texts(subtopic)
            self.assertTrue(heard)
            self.assertEqual([payload(line) for line in expected][:len(heard)], heard)

    def test_pause_junk_and_kill(self):
        self.simulator("--pause", "40:2.5", "--junk", "80:1300")
        subscriber = Subscriber()
        run = self.sonicd("-p", "ttyS1", "-v")
        for text in "Disconnected", "Dropping excessive buffer":
            subscriber.wait_for(text)
        self.assertIn("timeout=1\n", run.output)
        time.sleep(1)
        run.end(signal.SIGKILL)
        subscriber.wait_for("Disconnected", 2, seconds=10)  # the broker holds the last will
        self.assertEqual(
            ["Connecting (no data)", "Info trying 38400", "Connecting (got data)",
             "Info connected at 38400 baud", "Configuring", "Connected", "Disconnected",
             "Connected", "Dropping excessive buffer", "Disconnected"], subscriber.texts("/status"))

    def test_interrupted_at_every_stage(self):
        self.simulator()
        stages = [("Trying 38400", ["autobaud: terminated by user"]),
                  ("set error handling", ["interactive_tx_common: terminated by user",
                                          "interactive_rx: terminated by user",
                                          "young_interactive_rx: terminated by user"]),
                  # the instrument is left in its menu, from which the next start begins
                  ("next switch", ["sampling"])]
        attribute = ""
        for moment, messages in stages:
            with self.subTest(moment):
                run = self.sonicd("-p", "ttyS1")
                run.wait_for(moment)
                time.sleep(0.3)
                self.assertEqual(255, run.end(signal.SIGINT))
                last = run.output.splitlines()[-1]
                self.assertIn(last, ["EXCEPTION: " + message for message in messages])
                attribute += "UNDEFINED" + ("YOUNG_81000" if last.endswith("sampling") else "")
                attribute += "UNDEFINED"
                self.assert_released(attribute)

    def test_console_only_until_the_line_is_gone(self):
        self.simulator("--bad-check", "5", "--hang-up", "12")
        subscriber = Subscriber()
        run = self.sonicd("-p", "ttyS1", "-c", "-r", "8")
        self.assertEqual(255, run.end(seconds=90))
        printed = run.output[run.output.index("sonic_setup: end"):].splitlines()
        lines = [line for line in printed if line.startswith("DATA_SONIC\t")]
        stamp = int(lines[0].split("\t")[1])
        name = f"{HOME}/{stamp // 1800 * 1800}.young_81000_v.01234"
        expected = ["sonic_setup: end", *(2 * RAISED).splitlines(), f"new data file '{name}'",
                    f"logging: switching to '{name}'",
                    *TOP_LINES.replace("32", "8").splitlines(), HEADER,
                    f"next switch at {(stamp // 1800 + 1) * 1800}"]
        for line in lines:
            self.assertEqual(line, data_line(*line.split("\t")[1:3], line.split("\t")[3:9]))
            expected += [line, payload(line)]
        # A line that is gone reads as empty without any wait, and so runs into the limit at once.
        expected += [f"timeout={n}" for n in range(1, 60)] + (2 * RAISED).splitlines()
        expected += ["EXCEPTION: TIMEOUT: sampling for young_81000_v"]
        self.assertEqual(10, len(lines))
        self.assertEqual(expected, [p for p in printed if not p.startswith("checksum error: got=")])
        self.assertEqual({}, self.data_files())
        self.assertEqual(([], []), (subscriber.texts(), subscriber.texts("/fast")))
        self.assert_released("UNDEFINEDYOUNG_81000UNDEFINED")

    def test_broker_comes_later(self):
        broker = int(Path(os.environ["DEVICE_BROKER_PID"]).read_text())
        os.kill(broker, signal.SIGTERM)
        while Path(f"/proc/{broker}/fd/0").exists():
            time.sleep(0.05)
        self.simulator()
        run = self.sonicd("-p", "ttyS1")
        run.wait_for("sonic_setup_auto: enter")
        refused = f"_publish: 'mosquitto_publish{TOPIC}/status' fail, not connected\n"
        self.assertEqual(5, run.output.count(refused))
        self.broker()
        subscriber = Subscriber()
        subscriber.wait_for(TOPIC + "|{", 2)
        self.assertEqual("Connected", subscriber.texts("/status")[-1])
        self.assertEqual(5, run.output.count("not connected"))
        self.assertEqual(255, run.end(signal.SIGINT))

    def test_starts_that_end_at_once(self):
        program = os.environ["SONICD"]
        cases = [
            ([], 0, HELP.replace("PROGRAM", program)),
            (["--iterations", "10"], 255, "argc=3\ni=1, --iterations\nid='', arg=0\n"
                                          "EXCEPTION: Unknown option '--iterations'\n"),
            (["-v", "-p"], 255, "argc=3\ni=1, -v\nid='verbose', arg=0\nid 'verbose' -> '1'\n"
                                "i=2, -p\nid='port', arg=1\n"
                                "EXCEPTION: Missing argument for '-p'\n"),
            (["-c"], 255, "argc=2\ni=1, -c\nid='console_only', arg=0\nid 'console_only' -> '1'\n"
                          "EXCEPTION: Port not specified\n"),
            (["-p", "ttyS3"], 255, "argc=3\ni=1, -p\nid='port', arg=1\nid 'port' -> 'ttyS3'\n"
                                   "EXCEPTION: map::at\n"),
        ]
        for arguments, status, output in cases:
            with self.subTest(arguments):
                run = self.sonicd(*arguments)
                self.assertEqual((status, output), (run.end(), run.output))
        self.assertEqual("", TYPE_ATTRIBUTE.read_text())

        nobody = RUN / "passwd-without-qelta"
        nobody.write_text("root:x:0:0::/root:/bin/sh\n")
        subprocess.run(["mount", "--bind", nobody, "/etc/passwd"], check=True)
        for arguments, status, output in [
                ([], 0, HELP.replace("PROGRAM", program)),
                (["--bogus"], 255, "EXCEPTION: Unable to find username\n")]:
            with self.subTest(arguments):
                run = self.sonicd(*arguments)
                self.assertEqual((status, output), (run.end(), run.output))


if __name__ == "__main__":
    main()
