"""What sonic-alarm reports, and when, with a broker, in a private device: alarm.py BUILD-FOLDER"""

import json
import os
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

SONIC_ALARM = Path(sys.argv.pop(1)) / "tools/sonic-alarm"
RUN = Path(os.environ["DEVICE_RUN"]) / "alarm"
TOPIC = "{}/home/qelta/device/port/1"
HALF_HOUR = 1800
COMMAND = 'echo "$SONIC_ALARM_SUBJECT" >>subjects; cat >>sent'


def time_text(seconds):
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))


class AlarmTest(unittest.TestCase):

    def setUp(self):
        subprocess.run(["rm", "-rf", RUN], check=True)
        RUN.mkdir()
        self.seen = 0

    def publish(self, station, age=0, topic=TOPIC):
        record = f'{{ "SECONDS" : {int(time.time() - age)}, "u" : 1.00, "sent" : {time.time()} }}'
        subprocess.run(["mosquitto_pub", "-h", "::1", "-r", "-t", topic.format(station), "-m",
                        record], check=True)

    def forget_topic(self, station):
        subprocess.run(["mosquitto_pub", "-h", "::1", "-r", "-n", "-t", TOPIC.format(station)],
                       check=True)

    def start(self, *options, command=COMMAND):
        return subprocess.Popen(
            [SONIC_ALARM, "--state", RUN / "state", "--half-hours", RUN / "stations.json",
             "--load-state", RUN / "load", "--command", command, *map(str, options)], cwd=RUN,
            stderr=subprocess.PIPE, text=True)

    def run_alarm(self, *options, status=0, **others):
        """Returns the lines that were reported in this run, without their times."""
        running = self.start(*options, **others)
        messages = running.communicate(timeout=60)[1]
        self.assertEqual(status, running.returncode, messages)
        self.assertNotIn("Timed out", messages)  # a line in the journal each minute
        return self.sent()

    def sent(self):
        sent = (RUN / "sent").read_text().splitlines() if (RUN / "sent").exists() else []
        lines, self.seen = sent[self.seen:], len(sent)
        return [line.split("UTC  ", 1)[1] for line in lines]

    def assert_sent(self, patterns, lines):
        self.assertEqual(len(patterns), len(lines), lines)
        for pattern, line in zip(patterns, lines):
            self.assertRegex(line, pattern)

    def test_silence(self):
        """Each silence is sent once, and its end once, whatever the command and the broker do."""
        self.publish("mast-4", age=1200)
        self.run_alarm(status=1, command="exit 3")
        self.publish("mast-4")
        self.assert_sent(["^ALARM mast-4", "^well again after 0 min: mast-4"], self.run_alarm())

        self.publish("mast-2", age=1200)
        self.publish("mast-10", age=60)
        silent = [r"^ALARM mast-2 port 1: no record for 20 min, since .* UTC$"]
        self.assertEqual([], self.run_alarm(status=1, command="exit 3"))
        self.assertEqual([], self.run_alarm(status=1, command="exit 3"))
        self.assert_sent(silent, self.run_alarm())
        self.assertRegex((RUN / "subjects").read_text(), "\nALARM mast-2 port 1: no record")
        self.assertEqual([], self.run_alarm())

        # The broker loses its memory, and then does not answer: nobody is well again by that.
        self.forget_topic("mast-2")
        self.assertEqual([], self.run_alarm())
        self.assertEqual([], self.run_alarm("--broker=-h ::1 -p 9"))
        self.assert_sent(["^ALARM broker: no answer for 0 min"],
                         self.run_alarm("--broker=-h ::1 -p 9", "--silent", "0.01"))
        # A clock that is wrong is no silence, where records arrive.
        self.publish("mast-2", age=1e8)
        self.assert_sent(["^well again after 0 min: mast-2 port 1: records arrive$",
                          "^well again after 0 min: broker: it answers$"], self.run_alarm())
        self.assertRegex((RUN / "subjects").read_text(), "\n2 messages: well again after 0 min: ")
        self.assert_sent(["^ALARM mast-10 port 1", "^ALARM mast-2 port 1", "^ALARM mast-4 port 1"],
                         sorted(self.run_alarm("--silent", "0.01")))
        self.run_alarm("--forget", "mast-10")
        self.assertNotIn("mast-10", (RUN / "state").read_text())
        for station in "mast-2", "mast-4", "mast-10":
            self.forget_topic(station)

    def test_killed_at_any_moment(self):
        """No message is lost, and only the one being reported may be reported again."""
        self.publish("mast-3", age=1200)
        for attempt in range(5):
            running = self.start(command="cat >>sent; sleep 0.2")
            time.sleep(3 + attempt * 0.15)
            running.send_signal(signal.SIGKILL)
            running.communicate()
        self.run_alarm()
        lines = (RUN / "sent").read_text().splitlines()
        self.assertEqual({lines[0]}, set(lines))
        self.assertEqual([], [*RUN.glob("sent.*")])
        seen = len(lines)
        self.run_alarm()
        self.assertEqual(seen, len((RUN / "sent").read_text().splitlines()))
        self.forget_topic("mast-3")

    def write_half_hours(self, **changes):
        """Eight hours of a mast, of which these columns differ in each half hour."""
        now = int(time.time()) // HALF_HOUR * HALF_HOUR
        row = {"records": 57600, "expected": 57600, "percent": 100, "faults": 0,
               "start": 0} | changes
        lines = [",".join(row)]
        for start in range(now - 8 * 3600, now, HALF_HOUR):
            row["start"] = time_text(start)
            lines.append(",".join(map(str, row.values())))
        instrument = {"serial_number": "01234", "half_hours": lines}
        return {"format": 1, "written": time_text(time.time()), "stations": [
            {"name": "mast-07", "instruments": [instrument]}]}

    def test_half_hours(self):
        """Shares, faults and room, with some distance between wrong and well again."""
        steps = [
            ({}, {}, []),
            ({"records": 51000}, {}, [r"^ALARM mast-07 instrument 01234: 88.5 % of the records of "
                                      r"the 6 hours before .* are there and good"]),
            ({"records": 52000}, {}, []),
            ({"records": 56000}, {}, ["^well again .*: 97.2 % of the records are good"]),
            ({"records": 54000, "faults": 9000}, {}, ["^ALARM .* 14.3 % .* have a fault"]),
            ({}, {"days": 6}, [r"^well again .*: 0.0 % of the records have a fault",
                               r"^ALARM mast-07, disk of /home: room for 6 days of data"]),
            ({}, {"days": 8}, []),
            ({}, {"days": 9}, ["^well again .*: room for 9 days"]),
        ]
        for changes, room, patterns in steps:
            with self.subTest(changes=changes, room=room):
                file = self.write_half_hours(**changes)
                if room:
                    file["stations"][0]["room"] = [{"folder": "/home", **room}]
                (RUN / "stations.json").write_text(json.dumps(file))
                self.assert_sent(patterns, self.run_alarm("--silent", 0))

        (RUN / "months").mkdir()
        (RUN / "months/11.json").write_text(json.dumps(self.write_half_hours(records=10)))
        file["stations"] = [{"name": "mast-07", "files": {"2026-11": "months/11.json"},
                             "instruments": [{"serial_number": "01234"}]}]
        file["written"] = time_text(time.time() - 3 * 3600)
        (RUN / "stations.json").write_text(json.dumps(file))
        self.assert_sent(["^ALARM mast-07 .* 0.0 %", "^ALARM half hours .*: not written for 3 h"],
                         self.run_alarm("--silent", 0))
        (RUN / "stations.json").write_text("{")
        self.assertEqual([], self.run_alarm("--silent", 0))

    def test_this_host(self):
        """Disks, and the archive's loading."""
        disks = ["--disk", "/", "--disk", "/no", "--free", 101]
        self.assert_sent(["^ALARM this host, disk of /: .* % free",
                          "^ALARM .*/no: cannot be read: No such file or directory$"],
                         self.run_alarm("--silent", 0, *disks))
        state = {"finished": time_text(time.time()), "ok": False, "error": None,
                 "last_ok": time_text(time.time() - 8000),
                 "left_out_files": [{"file": "mast-07/1", "reason": "contains no record"}]}
        (RUN / "load").write_text(json.dumps(state))
        self.assert_sent(["^ALARM sonic-load: not everything was loaded .*: mast-07/1: contains"],
                         self.run_alarm("--silent", 0))
        (RUN / "load").write_text(json.dumps(state | {"ok": True, "last_ok": state["finished"]}))
        self.assert_sent(["^well again .*: sonic-load"], self.run_alarm("--silent", 0))
        (RUN / "load").write_text(json.dumps(state | {"finished": state["last_ok"]}))
        self.assert_sent(["^ALARM sonic-load: has not run for 2 h"], self.run_alarm("--silent", 0))


if __name__ == "__main__":
    unittest.main()
