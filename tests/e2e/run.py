"""Runs without faults, end to end: run.py DaemonTest.test_NAME, each in a private device."""

import json
import shlex
import signal

from harness import *

HERE = Path(__file__).parent
RIGHT_SETTINGS = "operate mode, 38400 baud, 32 Hz, averaging 0, errors included, format 5ABEC"
TOP_LINES = "Model\tRM Young 81000 V\nSN\t01234\nVersion\t4.10\nRate\t32\n"
RAISED = f"raise user to 0\nlower user to {USER}\n"
START = (HERE / "start.expected").read_text().replace("USER", str(USER))
HELP = (HERE / "help.expected").read_text().replace("PROGRAM", os.environ["SONICD"])


class DaemonTest(unittest.TestCase):

    def test_full_run(self):
        port = Port()
        instrument = port.simulator(
            "--baud", "19200", "--rate", "20", "--averaging", "2", "--error-handling", "omit",
            "--format", "nmea", "--trace", "--records", "40")
        subscriber = Subscriber()
        run = port.sonicd()

        run.wait_for("Trying 38400")
        self.assertEqual((False, "1\n", "UNDEFINED"), port.left())
        subscriber.wait_for("|Disconnected")
        instrument.wait_for(RIGHT_SETTINGS)
        self.assertEqual((True, "1\n", "UNDEFINEDYOUNG_81000"), port.left())
        info = {"config": "", "incline": "", "instrument": "RM Young 81000 V", "output_rate": "32",
                "serial_number": "01234", "software_version": "4.10", "sonic_type": "young_81000_v"}
        info["config"] = json.loads(port.info.read_text())["config"]
        self.assertEqual("{\n" + ",\n".join(f'\t"{k}" : {json.dumps(v)}' for k, v in info.items()) +
                         "\n}\n", port.info.read_text())
        for text in ("BAUD = 38400\n", "OUTPUT RATE = 32 Hz\n", "VERSION 4.10\n"):
            self.assertIn(text, info["config"])
        self.assertNotRegex(info["config"], "\r|PRESS ANY KEY|COMMANDS")
        for name in port.data_files():
            status = (HOME / name).stat()
            self.assertEqual((USER, 0o100755), (status.st_uid, status.st_mode))
        process = Path(f"/proc/{run.popen.pid}")
        self.assertIn(f"Uid:\t0\t{USER}\t0\t{USER}\n", (process / "status").read_text())
        self.assertEqual("-20", (process / "stat").read_text().split()[18])

        self.assertEqual(
            ["Connecting (no data)", "Info trying 38400"] + 5 * ["Connecting (got data)"] +
            ["Info trying 19200", "Connecting (got data)", "Info connected at 19200 baud",
             "Configuring", "Connected", "Disconnected"], subscriber.texts(port.topic + "/status"))

        self.assertEqual(255, run.end(signal.SIGINT))
        printed = re.sub(r"this=0x[0-9a-f]+", "this=ADDRESS",
                         re.sub(r"\[[\x80-\xff]{500}\]", "[GARBAGE]", run.output))
        self.assertEqual(START, printed[:len(START)])
        self.assertTrue(printed.endswith(RAISED + RAISED + "EXCEPTION: sampling\n"), printed)
        self.assertEqual((False, "0\n", "UNDEFINEDYOUNG_81000UNDEFINED"), port.left())

    def test_recordings(self):
        """Port input through the sampling loop. A new x.port gets an x.expected to be looked at."""
        heard = Subscriber()
        for recording in sorted((HERE.parent / "replay").glob("*.port")):
            before = len(heard.output)
            run = Process(os.environ["REPLAY"], recording)
            run.end()
            heard.wait_for("status|Connected", heard.output[:before].count("status|Connected") + 1)
            sections = [(path, path.read_bytes().decode("latin-1"))
                        for path in sorted(HOME.glob("*.young.*"))]
            for topic in "status", "record", "fast":
                texts = re.findall(f"^q1 r1 {topic}\\|(.*\n)", heard.output[before:], re.M)
                sections.append((topic, "".join(t for t in texts if t != "gone\n")))
            sections.append(("printed", re.sub("MQTTPublisher: this=.*\n", "", run.output)))
            actual = "".join(f"== {name}\n{text}" for name, text in sections).encode("latin-1")
            expected = recording.with_suffix(".expected")
            known = expected.read_bytes() if expected.exists() else b""
            if not known:
                expected.write_bytes(actual)
            with self.subTest(recording.name):
                self.assertEqual(known, actual)
            for path in HOME.glob("*.young.*"):
                path.unlink()

    def test_starts_that_end_at_once(self):
        def check(*cases):
            for arguments, status, output in cases:
                with self.subTest(arguments):
                    run = Process(os.environ["SONICD"], *shlex.split(arguments))
                    self.assertEqual((status, output), (run.end(), run.output))

        check(("", 0, HELP),
              ("--iterations 10", 255, "argc=3\ni=1, --iterations\nid='', arg=0\n"
                                       "EXCEPTION: Unknown option '--iterations'\n"),
              ("-v -p", 255, "argc=3\ni=1, -v\nid='verbose', arg=0\nid 'verbose' -> '1'\n"
                             "i=2, -p\nid='port', arg=1\n"
                             "EXCEPTION: Missing argument for '-p'\n"),
              ("'' 7 --port -v --output-rate x", 255,
               "argc=7\ni=1, \nid='iterations', arg=1\nid 'iterations' -> '7'\n"  # -n: no long form
               "i=3, --port\nid='port', arg=1\nid 'port' -> '-v'\ni=5, --output-rate\n"
               "id='output_rate', arg=1\nid 'output_rate' -> 'x'\nEXCEPTION: map::at\n"),
              ("-c", 255, "argc=2\ni=1, -c\nid='console_only', arg=0\nid 'console_only' -> '1'\n"
                          "EXCEPTION: Port not specified\n"),
              ("-p ttyS3", 255, "argc=3\ni=1, -p\nid='port', arg=1\nid 'port' -> 'ttyS3'\n"
                                "EXCEPTION: map::at\n"))
        self.assertEqual("", Port().attribute.read_text())

        nobody = RUN / "passwd-without-qelta"
        nobody.write_text("root:x:0:0::/root:/bin/sh\n")
        subprocess.run(["mount", "--bind", nobody, "/etc/passwd"], check=True)
        check(("", 0, HELP), ("--bogus", 255, "EXCEPTION: Unable to find username\n"))


if __name__ == "__main__":
    main()
