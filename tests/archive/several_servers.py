"""Several servers, as sonic-servers sets them up: with passwords and TLS, each in its network."""

import os
import shutil
import subprocess
import threading
import time
from pathlib import Path

from archive_servers import Servers
from support import START, ArchiveTest, half_hour, main

DAY = 86400


class Cluster(ArchiveTest):
    """A test has servers of its own; self.servers["archive-1"] is one."""

    SETTINGS = []  # for sonic-servers
    ENGINES = []   # for sonic-tables
    SHARDS = 2

    def setUp(self):
        self.conf = self.folder / self.id() / "conf"
        self.stations = self.folder / self.id()
        self.servers = Servers(self.folder / self.id() / "servers")
        self.hosts = []
        self.first_days = [half_hour(48 * day) for day in range(8)]
        Path("/etc/sonic-archive").mkdir(exist_ok=True)
        self.add_servers("archive-1", "archive-2")
        for host in self.hosts:
            self.make_tables(host, f"--shards={self.SHARDS}")

    def add_servers(self, *hosts):
        """Writes the configuration of all servers, starts the new ones and makes their tables. The
        others do not know of them before announce()."""
        self.hosts += hosts
        self.run_program("sonic-servers", self.conf, *self.hosts, *self.SETTINGS)
        shutil.copytree(self.conf / "clients", "/etc/sonic-archive", dirs_exist_ok=True)
        admin = Path("~/.clickhouse-client/config.xml").expanduser()
        admin.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy("/etc/sonic-archive/admin.xml", admin)
        for host in set(hosts) - self.servers.keys():
            server = self.servers.start(host, zone="Asia/Kolkata", etc=self.conf / host)
            self.addCleanup(server.kill)
            self.make_tables(host, *self.ENGINES)

    def announce(self):
        for host in self.hosts:
            self.servers[host].configure(self.conf / host)

    def fill(self, half_hours, station="mast-07"):
        """Loads a file for each half hour."""
        self.load(*[self.data_file(station, records, records[0][0]) for records in half_hours])

    def data_file(self, station, records, name=START, **keywords):
        return super().data_file(f"{self.id()}/{station}", records, name, **keywords)

    def assert_archive_has(self, station, **keywords):
        super().assert_archive_has(station, folder=self.stations / station, **keywords)

    def make_tables(self, host, *options):
        os.environ["SONIC_STORE"] = f"--host={host}"
        self.run_program("sonic-tables", *options)

    def be(self, user, *hosts):
        os.environ["SONIC_STORE"] = (f"--config-file=/etc/sonic-archive/{user}.xml "
                                     f"--host={','.join(hosts or self.hosts)} --database=sonic_all")

    def load(self, *arguments, **keywords):
        self.be("load")
        return super().load(*arguments, **keywords)

    def ask(self, *arguments, hosts=(), **keywords):
        self.be("ask", *hosts)
        return super().ask(*arguments, **keywords)

    def records_on(self, host):
        return int(self.servers[host].query("SELECT count() FROM sonic.records"))


class ShardsTest(Cluster):
    def test_a_server_that_goes_away(self):
        self.fill(self.first_days[:4])
        self.assertGreater(min(map(self.records_on, self.hosts)), 0)
        self.servers["archive-2"].kill()
        path = self.data_file("mast-07", self.first_days[4], "away")
        for records in self.first_days[4:]:
            self.data_file("mast-07", records, records[0][0])
        self.load(*(self.stations / "mast-07").iterdir(), status=1)
        self.ask("stations", status=1)
        self.be("ask")
        done = subprocess.run(["sonic-ask", "--partial", "stations"], capture_output=True,
                              check=False)
        self.assertEqual(3, done.returncode)
        self.assertIn(b"1 of 2 servers do not answer: their days are missing", done.stderr)
        self.assertIn(b"mast-07", done.stdout)
        self.servers["archive-2"].launch()
        self.load(*(self.stations / "mast-07").iterdir())
        os.unlink(path)
        self.assert_archive_has("mast-07")

    def test_a_server_that_hangs(self):
        self.fill(self.first_days[:2])
        self.servers["archive-2"].pause()
        self.addCleanup(self.servers["archive-2"].resume)
        for host in self.hosts:
            start = time.monotonic()
            self.ask("--timeout=5", "stations", hosts=[host], status=1)
            self.assertLess(time.monotonic() - start, 30)

    def test_a_server_more_while_files_come_and_questions_are_asked(self):
        day = START - START % DAY + 4 * DAY
        self.fill(self.first_days[:1])
        answers, stop = [], threading.Event()

        def ask_on():
            while not stop.is_set():
                answers.append(subprocess.run(["sonic-ask", "stations"], env=asking, check=False,
                                              capture_output=True))

        def load_on():
            for records in self.first_days[1:]:
                path = self.data_file("mast-07", records, records[0][0])
                while subprocess.run(["sonic-load", path], env=loading, check=False,
                                     capture_output=True).returncode:
                    time.sleep(1)

        self.be("ask")
        asking = dict(os.environ)
        self.be("load")
        loading = dict(os.environ)
        threads = [threading.Thread(target=work) for work in (ask_on, load_on)]
        for thread in threads:
            thread.start()
        self.add_servers("archive-3")
        self.announce()
        for host in self.hosts:
            self.make_tables(host, "--shards=2", f"--shards=3@{day}")
        threads[1].join()
        stop.set()
        threads[0].join()
        self.assert_archive_has("mast-07")
        self.assertEqual({b""}, {answer.stderr for answer in answers})
        self.fill([half_hour(48 * i) for i in range(8)], "mast-08")
        self.assertGreater(self.records_on("archive-3"), 0)
        self.assertEqual("0", self.servers["archive-3"].query(
            f"SELECT count() FROM sonic.records WHERE seconds < {day}"))
        self.assert_archive_has("mast-08")

    def test_a_backup_goes_back_into_other_servers(self):
        wild = [(5700002400 + i * 2629746, 0, *half_hour(0)[i][2:]) for i in range(9)]
        self.fill(self.first_days + [wild])
        backup = self.folder / self.id() / "backup"
        for host in self.hosts:
            os.environ["SONIC_STORE"] = f"--host={host}"
            self.assertIn("records-202311", self.run_program("sonic-backup", backup / host))
        for host in self.hosts:
            self.make_tables(host, "--print")
            for table in ("records", "half_hours", "loaded"):
                self.servers[host].query(f"DROP TABLE sonic.{table}")
            self.make_tables(host)
        self.assertEqual("", self.ask("stations").partition("\n")[2])
        self.add_servers("archive-3")
        self.announce()
        for host in self.hosts:
            self.make_tables(host, "--shards=3")
        os.environ["SONIC_STORE"] = "--host=archive-1 --database=sonic_all"
        for _ in range(2):  # the second time changes nothing
            for host in ("archive-1", "archive-2"):
                self.run_program("sonic-backup", "--restore", backup / host)
        self.assert_archive_has("mast-07")
        self.assertIn("9 known", self.load(*(self.stations / "mast-07").iterdir()))

    def test_who_may_what(self):
        self.fill(self.first_days[:1])
        path = self.data_file("mast-07", self.first_days[1], "more")
        self.be("ask")
        self.assertIn("readonly", self.run_program("sonic-load", path, status=1))
        for user, query, error in [
                ("ask", "DROP TABLE sonic.records", "readonly"),
                ("ask", "INSERT INTO sonic.loaded VALUES ('', '', 1)", "readonly"),
                ("load", "DROP TABLE sonic.records", "DDL"),
                ("load", "ALTER TABLE sonic.records DROP PARTITION 202311", "DDL"),
                ("load", "SELECT * FROM default.other", "Access denied")]:
            done = self.servers["archive-1"].try_query(query, user=user)
            self.assertIn(error, done.stderr.decode(), query)
        # With a wrong password, without TLS, and to a server of another authority.
        for options, error in [(["--user=default", "--password=x"], "Wrong password"),
                               (["--port=9000"], "Connection refused")]:
            done = subprocess.run(
                ["clickhouse-client", "--host=archive-1", "--query=SELECT 1", *options],
                capture_output=True, check=False)
            self.assertIn(error, done.stderr.decode(), options)
        self.run_program("sonic-servers", self.folder / "other", "archive-1")
        shutil.copy(self.folder / "other/authority.crt", "/etc/sonic-archive/archive.crt")
        self.assertIn("certificate verify failed",
                      self.ask("stations", hosts=["archive-1"], status=1))


class ReplicasTest(Cluster):
    SETTINGS = ["--replicas=2", "--coordinator=coordinator"]
    ENGINES = ["--replicated"]
    SHARDS = 1

    def setUp(self):
        coordinator = Servers(self.folder / "coordinator").start_coordinator()
        self.addCleanup(coordinator.kill)
        super().setUp()

    def assert_each_has(self, station):
        for host in self.hosts:
            self.servers[host].wait_for_replicas()
            os.environ["SONIC_STORE"] = f"--host={host}"  # what it has itself
            ArchiveTest.assert_archive_has(self, station, folder=self.stations / station)

    def test_replicas_are_killed_while_files_come_and_questions_are_asked(self):
        self.fill(self.first_days[:1])
        for i, host in enumerate(self.hosts):
            halves = [self.first_days[3 * i + n + 1][:4000] for n in range(3)]
            self.be("load")
            loader = subprocess.Popen(["sonic-load", *[
                self.data_file("mast-07", records, records[0][0]) for records in halves]])
            time.sleep(0.5)
            self.servers[host].kill()
            loader.wait()
            self.fill(halves)
            self.assertIn("mast-07", self.ask("stations"))
            # The rest of a half hour of which only the other server has the beginning.
            rest = self.first_days[3 * i + 1][4000:]
            self.load(self.data_file("mast-07", rest, f"rest-{i}"))
            self.servers[host].launch()
            self.servers[host].wait_for_replicas()
        self.assert_each_has("mast-07")

    def test_another_machine_in_the_place_of_a_lost_one(self):
        self.fill(self.first_days[:4])
        self.servers["archive-1"].kill()
        self.hosts = ["archive-2"]
        self.fill(self.first_days[4:6])
        self.hosts = []
        self.add_servers("archive-3", "archive-2")
        self.make_tables("archive-3", "--shards=1")
        self.servers["archive-3"].wait_for_replicas()
        self.announce()
        self.fill(self.first_days[6:])
        self.assert_each_has("mast-07")


if __name__ == "__main__":
    main()
