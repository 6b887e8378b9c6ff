"""One server: its answers are what was in the files, whatever these are and however they are
loaded. With ARCHIVE_ENGINE=current, a current engine instead of Debian's server."""

import json
import os
import subprocess
import time

from support import RATE, ROOT, START, ArchiveTest, half_hour, main, record

IS_CURRENT = os.environ.get("ARCHIVE_ENGINE") == "current"
DAY = 86400


class OneServerTest(ArchiveTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        if IS_CURRENT:
            os.environ["CURRENT_FOLDER"] = str(cls.folder / "current")
            os.environ["PATH"] = f"{ROOT}/script/current-engine:{os.environ['PATH']}"
        else:
            from archive_servers import Servers
            cls.server = Servers(cls.folder / "servers").start(
                "archive-1", zone="Asia/Kolkata")
            cls.addClassCleanup(cls.server.kill)
        subprocess.run("sonic-tables", check=True)

    def test_texts_that_numbers_do_not_give_back(self):
        texts = ["0.00", "-0.00", "-0.01", "0.1", "1.500", "1.2345678", "007.10", "-1.00", "00.00",
                 "327.67", "327.68", "-327.68", "-327.69", "655.35", "655.36", "99999.00",
                 "4294967296.00", "18446744073709551616.00", "0." + "3" * 40]
        diags = ["0", "00", "7", "007", "4294967295", "4294967296", "9" * 30]
        plain = ("1.23", "-0.45", "0.07", "343.21", "21.50", "0")
        rows = [plain[:i] + (text,) + plain[i + 1:] for text in texts for i in range(5)]
        rows += [plain[:5] + (diag,) for diag in diags]
        self.load(self.data_file("texts", [record(i, row) for i, row in enumerate(rows)]))
        self.assert_archive_has("texts")
        self.data_file("query", [])
        query = self.folder / "query/numbers.sql"
        query.write_text("SELECT u, v, w, sos, ts, diag = 0 FROM records FINAL "
                         "WHERE station = {station:Station} ORDER BY time")
        answer = self.ask(query, "station=texts").splitlines()[1:]
        for row, numbers in zip(rows, answer, strict=True):
            *values, is_good = numbers.split("\t")
            for text, value in zip(row, values):
                self.assertAlmostEqual(1, (float(text) + 1e-9) / (float(value) + 1e-9), msg=text)
            self.assertEqual(int(row[5]) == 0, is_good == "1", row)

    def test_files_that_grow_overlap_or_come_again(self):
        whole, station = half_hour(0), "pieces"
        other_values = [record(i, ("9.99", "0.00", "0.10", "344.00", "20.00", "0"))
                        for i in range(90)]
        faults = [(START + i, 10**8, "9.99", "0.00", "0.10", "344.00", "20.00", "8")
                  for i in range(9)]
        slow = half_hour(3)[:4000]
        fast = [one for one in half_hour(3, rate=20) if one[0] > slow[-1][0]]
        pieces = [
            ("a beginning", whole[:5000], "first"),
            ("all of it", whole, "first"),
            ("the same under another name", whole, "second"),
            ("a file before the beginning was lost", half_hour(1)[3000:] + half_hour(2), "third"),
            ("the rest of that half hour", half_hour(1)[:3500], "fourth"),
            ("half of a half hour", slow, "fifth"),
            ("its rest at another rate", fast, "sixth", 20),
            ("a clock that was put back", other_values, "seventh"),
            ("faults between the records", faults, "eighth"),
        ]
        for what, *piece in pieces:
            with self.subTest(what):
                self.load(self.data_file(station, *piece))
                self.assert_archive_has(station)

    def test_any_byte_in_names(self):
        names = [b"tab\tname", b"line\nname", b"back\\slash", b"\\t", b"quote'\"", b"comma,", b"-",
                 b"--help", b"\xff\xfe", "größe".encode(), b" "]
        paths = [self.data_file("names", half_hour(i), name) for i, name in enumerate(names)]
        self.load("--", *paths)
        self.assertIn(f"{len(names)} known", self.load("--", *paths))
        folder = os.path.dirname(paths[0])
        self.data_file("names", half_hour(len(names)), b"one more")
        listed = b"".join(name + b"\0" for name in os.listdir(folder))
        self.assertIn("1 file loaded", self.load("--files0-from=-", cwd=folder, input=listed))
        self.assert_archive_has("names")

    def test_bad_files_and_stations_keep_no_other_out(self):
        good = self.data_file("good", half_hour(0))
        empty = self.data_file("good", [], "empty")
        os.rename(empty, self.folder / "empty")
        cut = self.folder / "cut.zst"
        packed = subprocess.run(["zstd", "-c", good], stdout=subprocess.PIPE, check=True).stdout
        cut.write_bytes(packed[:-100])
        bad_stations = [self.data_file(name, half_hour(0))
                        for name in ("a,b", "a\\b", "a\nb", b"\xff")]
        said = self.load("--station", "good", self.folder / "missing", self.folder,
                         self.folder / "empty", cut, good, status=1)
        for sentence in ("missing: No such file", "empty: contains no record", "cut.zst: cannot",
                         f"{self.folder}: no file"):
            self.assertIn(sentence, said)
        self.assertIn("cut.zst: cannot", self.load("--station", "good", cut, status=1))
        said = self.load(*bad_stations, good, status=1)
        self.assertEqual(len(bad_stations), said.count("a station's name has no comma"), said)
        self.assert_archive_has("good")

    def test_clocks_that_run_wild(self):
        wild = [(START + i * 2629746, 0, *record(0)[2:]) for i in range(150)]
        self.load(self.data_file("wild", wild))
        ahead = [record(i, start=5700002400) for i in range(400)]
        self.load(self.data_file("wild", ahead, 5700002400))
        self.load(self.data_file("wild", [record(i, start=0) for i in range(400)], 0))
        self.load(self.data_file("wild", [record(0, start=9223372035)], 9223371000))
        self.assert_archive_has("wild")
        self.assertRegex(self.ask("stations"),
                         "\nwild\t1970-01-01T00:00:00.000000000Z\t2026-11")

    def test_completeness_has_a_line_for_each_day(self):
        day = START - START % DAY
        self.load(self.data_file("thin", [record(i * 32) for i in range(225)]))
        self.load(self.data_file("o'neill", half_hour(-48)))
        lines = self.ask("completeness", f"from={day - DAY}", f"to={day + 2 * DAY}").splitlines()
        expected = RATE * DAY
        self.assertIn(f"thin\t2023-11-13T00:00:00Z\t0\t{expected}\t0\t0\t0\t", lines)
        self.assertIn(f"thin\t2023-11-14T00:00:00Z\t225\t{expected}\t0.07\t0\t225\t"
                      "2023-11-14T22:59:52.000000000Z", lines)
        self.assertIn(f"o'neill\t2023-11-13T00:00:00Z\t7200\t{expected}\t2.08\t0\t0\t"
                      "2023-11-13T22:59:59.750000000Z", lines)
        for date in ("14", "15"):
            self.assertIn(f"o'neill\t2023-11-{date}T00:00:00Z\t0\t{expected}\t0\t0\t0\t", lines)

    def test_times_by_the_rules_of_sonic_records(self):
        path = self.data_file("times", half_hour(0))
        self.load(path)
        for moment in [
                "1700002000", "1700002000.5", "1700002000.250000001", "2023-11-14",
                "2023-11-14T22:40", "2023-11-14 22:40:00.5Z", "2023-11-14T22:40:00Z", "0",
                "2023-02-30", "2023-13-01", "2024-02-29", "11/14/2023", "", " 1700002000", "now",
                "2023-11-14T24:00", "2023-11-14T22:60", "2023-11-14T22:40:60", "1969-12-31",
                "2023-11-14T22:40:00+01:00", "17000020000", "9223372035", "9223372036",
                "2262-04-11", "2262-04-12", "-1", "1e9", "٢٠٢٣-11-14", "2023-11-14T",
                "2023-11-14T22"]:
            with self.subTest(moment):
                reader = subprocess.run(["sonic-records", "--epoch", "--from", moment, path],
                                        capture_output=True, check=False)
                asked = subprocess.run(["sonic-ask", "series", "station=times", f"from={moment}",
                                        "to=2262-04-11T23:47:15.9Z"],
                                       capture_output=True, check=False)
                self.assertEqual(reader.returncode == 2, asked.returncode == 2, asked.stderr)
                self.assertEqual(reader.stdout, asked.stdout)

    def test_a_span_has_its_beginning_and_not_its_end(self):
        for records in half_hour(0, rate=32)[:9000], half_hour(0, rate=32):
            self.load(self.data_file("span", records, rate=32))
        self.assert_archive_has("span")
        for query, begin, end, rows in [("series", START, f"{START}.03125", 1),
                                        ("series", START, f"{START}.031250001", 2),
                                        ("gusts", START, START + 1, 1),
                                        ("gusts", f"{START}.5", START + 1800, 0)]:
            said = self.ask(query, "station=span", f"from={begin}", f"to={end}")
            self.assertEqual(rows, said.count("\n") - 1, (query, begin, end))

    def test_wrong_questions(self):
        self.load(self.data_file("asked", half_hour(0)))
        period = ["from=2023-11-14", "to=2023-11-15"]
        for arguments, status, sentence in [
                (["series", "station=ask", *period], 2, "the archive has no station 'ask'"),
                (["series", "station=asked", "from=2023-11-15", "to=2023-11-15"], 2,
                 "from is not before to"),
                (["series", "station=asked", "from=2023-11-15"], 2, "'to=VALUE' is missing"),
                (["series", "station=asked", "mast=7", *period], 2, "the query has no 'mast'"),
                (["nothing"], 2, "there is no query 'nothing'"),
                (["stations", "--format=Nothing"], 1, "Nothing")]:
            with self.subTest(arguments):
                self.assertIn(sentence, self.ask(*arguments, status=status))

    def test_a_loader_that_is_killed_between_its_steps(self):
        client = self.folder / "killing/clickhouse-client"
        client.parent.mkdir()
        for step in ("INSERT INTO incoming", "GROUP BY start", "INSERT INTO half_hours",
                     "INSERT INTO loaded"):
            with self.subTest(step):
                client.write_text(f'#!/bin/bash\n[[ $* != *"{step}"* ]] || kill -KILL $PPID\n'
                                  'PATH=${PATH#*:} exec clickhouse-client "$@"\n')
                client.chmod(0o755)
                station = step.replace(" ", "-")
                path = self.data_file(station, half_hour(0))
                self.load(path, status=-9, path=client.parent)
                self.load(path)
                self.assert_archive_has(station)

    def test_options_of_stations_and_computing_again(self):
        path = self.data_file("high", half_hour(0))
        self.load(path)
        options = self.folder / "options"
        options.mkdir()
        (options / "high").write_text("--height 30 --latitude 52.1\n")
        self.load("--options", options, "--recompute", "--station", "high")
        expected = self.run_program("sonic-records", "--half-hours", "--height", "30",
                                    "--latitude", "52.1", path)
        self.assertEqual(expected, self.ask("half_hours", "station=high", "from=2023-11-14",
                                            "to=2023-11-15"))

    def test_state_for_programs_that_watch(self):
        state = self.folder / "state.json"
        good = self.data_file("state", half_hour(0))
        bad = self.data_file("state", [], "bad")
        self.load("--state", state, good)
        first = json.loads(state.read_text())
        self.assertEqual([True, None, 1, 7200, 1, 0, []], [first[name] for name in (
            "ok", "error", "files", "records", "half_hours", "left_out", "left_out_files")])
        self.assertEqual(first["finished"], first["last_ok"])
        self.assertIn(("state", "2023-11-14T22:59:59.750000000Z"),
                      [(s["station"], s["last_record"]) for s in first["stations"]])
        self.load("--state", state, bad, status=1)
        second = json.loads(state.read_text())
        left = [{"file": bad.decode(), "reason": "contains no record"}]
        self.assertEqual([False, first["last_ok"], 1, left], [second[name] for name in (
            "ok", "last_ok", "left_out", "left_out_files")])
        os.environ["SONIC_STORE"] = "--host=127.0.0.9"
        self.addCleanup(os.environ.update, SONIC_STORE=self.STORE)
        if not IS_CURRENT:
            self.load("--state", state, good, status=1)
            third = json.loads(state.read_text())
            self.assertIn("Connection refused", third["error"])
            self.assertEqual(second["stations"], third["stations"])

    def test_two_loaders_at_once(self):
        if IS_CURRENT:
            self.skipTest("one process at a time")
        whole = half_hour(0)
        for i in range(5):
            paths = [self.data_file(f"two-{i}", whole[n * 2400:n * 2400 + 2500], n)
                     for n in range(3)]
            loaders = [subprocess.Popen(["sonic-load", path], stdout=subprocess.DEVNULL)
                       for path in paths]
            self.assertEqual([0, 0, 0], [loader.wait() for loader in loaders])
            self.assert_archive_has(f"two-{i}")

    def test_files_for_the_live_page(self):
        now = int(time.time()) // 1800
        december = 1702000800 // 1800
        numbers = [now - 2, now - 3, now - 48 * 70, december]  # since 1970, in up to four months
        for number in numbers:
            records = [(number * 1800 + i, 0, *record(i)[2:]) for i in range(1800)]
            name = f"{number * 1800}.young_81000_v.0815"
            self.load(self.data_file("page ä", records, name, rate=1))
        described = self.folder / "described.json"
        described.write_text(json.dumps({"stations": [
            {"name": "page ä", "instruments": [{"serial_number": "0815", "mounting_angle": 12}]}]}))
        page = self.folder / "published"
        for _ in range(2):  # the second time, old months stay as they are
            self.run_program("sonic-publish", "--stations", described, page)
        index = json.loads((page / "stations.json").read_text())
        station = next(one for one in index["stations"] if one["name"] == "page ä")
        self.assertEqual(sorted(station["files"]), list(station["files"]))
        lines = []
        for path in station["files"].values():
            month, = json.loads((page / path).read_text())["stations"]
            instrument, = month["instruments"]
            self.assertEqual(["0815", 12], [instrument[key] for key in ("serial_number",
                                                                        "mounting_angle")])
            lines += instrument["half_hours"]
        printed = self.run_program("sonic-records", "--half-hours", "--format", "csv",
                                   *sorted((self.folder / "page ä").iterdir()))
        self.assertEqual(sorted(set(lines)), sorted(printed.splitlines()))


class FullDiskTest(ArchiveTest):
    def test_a_disk_that_is_full(self):
        if IS_CURRENT:
            self.skipTest("the engine's folder is the programs' own")
        from archive_servers import Servers
        disk = self.folder / "disk"
        disk.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=400k", "tmpfs", disk], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", disk], check=True)
        self.addCleanup(Servers(disk / "servers").start("archive-1").kill)
        self.run_program("sonic-tables")
        paths = [self.data_file("full", half_hour(i), i) for i in range(2)]
        self.assertIn("No space left", self.load(*paths, status=1))
        subprocess.run(["mount", "-o", "remount,size=400m", disk], check=True)
        self.load(*paths)
        self.assert_archive_has("full")


if __name__ == "__main__":
    main()
