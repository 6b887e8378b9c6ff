#!/usr/bin/python3
"""ClickHouse servers in private networks: script/archive_servers.py COMMAND [ARGUMENT]...

Runs COMMAND where ip(8) may make networks that end with it, so that nothing outside is touched or
left behind. COMMAND is usually a Python program that imports this module:

    servers = Servers(folder)
    servers.start("archive-1")          # a machine of its own at 10.9.0.1, known by this name
    servers["archive-1"].query("SELECT 1")
    servers["archive-1"].kill()

Exit status: that of COMMAND; 77 without Debian's clickhouse-server or where the machine refuses
private networks.
"""

import os
import shutil
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

NETWORK = "10.9.0"
START_SECONDS = 60
REPLICA_SECONDS = 600
# As doc/archive.md has it.
BEHIND = ("SELECT countIf(queue_size > 0 OR log_pointer <= log_max_index) FROM system.replicas "
          "WHERE database = 'sonic'")
SKIPPED = 77
PRIVATE = ["unshare", "--mount", "--net", "--pid", "--fork", "--mount-proc", "--kill-child"]
ETC = Path("/etc/clickhouse-server")

# What a test needs besides Debian's own configuration.
SERVER_XML = """<yandex>
  <logger>
    <level>warning</level>
    <log>{folder}/log</log>
    <errorlog>{folder}/error.log</errorlog>
  </logger>
  <path>{folder}/data/</path>
  <tmp_path>{folder}/tmp/</tmp_path>
  <user_files_path>{folder}/files/</user_files_path>
  <format_schema_path>{folder}/formats/</format_schema_path>
  {listen}
</yandex>
"""
LISTEN = '<listen_host replace="replace">::</listen_host>'
COORDINATOR_CFG = """tickTime=500
dataDir={folder}
clientPort=2181
admin.enableServer=false
"""


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


class Machine:
    """One server, in a network of its own. `etc` has what belongs into its
    /etc/clickhouse-server, where it finds Debian's files, too."""

    def __init__(self, name, folder, etc=None, zone="UTC"):
        self.name = name
        self.address = f"{NETWORK}.{name.rsplit('-', 1)[1]}"
        self.folder = Path(folder)
        self.zone = zone
        self.process = None
        self.folder.mkdir(parents=True)
        # ip netns exec shows it at its place.
        self.etc = Path("/etc/netns") / name / ETC.name
        shutil.copytree(ETC, self.etc)
        self.configure(etc)

    def configure(self, etc):
        """A running server notices most of it after some seconds."""
        if etc:
            shutil.copytree(etc, self.etc, dirs_exist_ok=True)
        (self.etc / "config.d").mkdir(exist_ok=True)
        listen = "" if (self.etc / "config.d/sonic.xml").exists() else LISTEN
        (self.etc / "config.d/test.xml").write_text(
            SERVER_XML.format(folder=self.folder, listen=listen))

    def connect(self):
        run("ip", "netns", "add", self.name)
        run("ip", "link", "add", self.name, "type", "veth", "peer", "eth0", "netns", self.name)
        run("ip", "link", "set", self.name, "master", "archive", "up")
        run("ip", "-n", self.name, "address", "add", f"{self.address}/24", "dev", "eth0")
        for link in ("lo", "eth0"):
            run("ip", "-n", self.name, "link", "set", link, "up")

    def launch(self):
        with open(self.folder / "output", "wb") as output:
            self.process = subprocess.Popen(
                ["ip", "netns", "exec", self.name, "clickhouse-server",
                 f"--config-file={ETC}/config.xml"],
                stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                env={**os.environ, "TZ": self.zone})
        end = time.monotonic() + START_SECONDS
        while self.try_query("SELECT 1").returncode:
            if time.monotonic() > end or self.process.poll() is not None:
                said = "".join((self.folder / name).read_text() for name in ("output", "error.log"))
                raise RuntimeError(f"{self.name} did not start: {said}")
            time.sleep(0.1)

    def try_query(self, query, user=None):
        """As root, or as a user of sonic-servers'."""
        options = [f"--config-file=/etc/sonic-archive/{user}.xml"] if user else []
        return subprocess.run(
            ["clickhouse-client", *options, "--host", self.name, "--query", query],
            capture_output=True, check=False)

    def query(self, query):
        done = self.try_query(query)
        if done.returncode:
            raise RuntimeError(f"{self.name}: {query}: {done.stderr.decode(errors='replace')}")
        return done.stdout.decode(errors="surrogateescape").strip()

    def wait_for_replicas(self):
        """Until its tables have what those of the other replicas have."""
        end = time.monotonic() + REPLICA_SECONDS
        while self.query(BEHIND) != "0":
            if time.monotonic() > end:
                raise RuntimeError(f"{self.name} does not catch up with the other replicas")
            time.sleep(0.5)

    def kill(self):
        """As a power failure does."""
        self.process.kill()
        self.process.wait()

    def pause(self):
        """It still takes connections, and answers nothing."""
        os.kill(self.process.pid, signal.SIGSTOP)

    def resume(self):
        os.kill(self.process.pid, signal.SIGCONT)


class Servers(dict):
    """Machines by their names, which end in -1, -2, ..."""

    def __init__(self, folder):
        super().__init__()
        self.folder = Path(folder)

    def start(self, name, **settings):
        machine = self[name] = Machine(name, self.folder / name, **settings)
        machine.connect()
        machine.launch()
        return machine

    def start_coordinator(self):
        """ZooKeeper at the name coordinator, for replicas. Returns the process."""
        folder = self.folder / "coordinator"
        folder.mkdir(parents=True)
        (folder / "zoo.cfg").write_text(COORDINATOR_CFG.format(folder=folder))
        with open(folder / "log", "wb") as log:
            process = subprocess.Popen(
                ["java", "-Xmx256m", "-cp", "/usr/share/java/zookeeper.jar:/usr/share/java/*",
                 "org.apache.zookeeper.server.quorum.QuorumPeerMain", folder / "zoo.cfg"],
                stdout=log, stderr=log)
        end = time.monotonic() + START_SECONDS
        while not answers("coordinator", 2181):
            if time.monotonic() > end or process.poll() is not None:
                raise RuntimeError(f"ZooKeeper did not start: {(folder / 'log').read_text()}")
            time.sleep(0.1)
        return process


def answers(host, port):
    try:
        socket.create_connection((host, port), timeout=5).close()
        return True
    except OSError:
        return False


def prepare():
    """Inside: a bridge that joins the machines, and an /etc and a home for root of our own."""
    run("ip", "link", "set", "lo", "up")
    run("ip", "link", "add", "archive", "type", "bridge")
    run("ip", "address", "add", f"{NETWORK}.254/24", "dev", "archive")
    run("ip", "link", "set", "archive", "up")
    run("mount", "-t", "tmpfs", "tmpfs", "/run")
    for folder in ("/run/etc", "/run/etc-work", "/run/home"):
        Path(folder).mkdir()
    run("mount", "-t", "overlay", "-o", "lowerdir=/etc,upperdir=/run/etc,workdir=/run/etc-work",
        "overlay", "/etc")
    names = [f"{NETWORK}.{n} archive-{n}\n" for n in range(1, 10)]
    Path("/etc/hosts").write_text(
        f"127.0.0.1 localhost\n::1 localhost\n{NETWORK}.254 coordinator\n{''.join(names)}")
    os.environ["HOME"] = "/run/home"


def main(command):
    if not command or command[0] in ("-h", "--help"):
        print(__doc__.strip())
        return 0 if command else 2
    if "SONIC_NETWORK" not in os.environ:
        os.environ["PATH"] += ":/usr/sbin:/sbin"
        if not shutil.which("clickhouse-server") or not shutil.which("clickhouse-client"):
            print("skipped: no clickhouse-server or no clickhouse-client", file=sys.stderr)
            return SKIPPED
        if subprocess.run([*PRIVATE, "ip", "link", "set", "lo", "up"], capture_output=True,
                          check=False).returncode:
            print("skipped: this machine or user may not make private networks", file=sys.stderr)
            return SKIPPED
        os.environ["SONIC_NETWORK"] = "1"
        os.execvp(PRIVATE[0], [*PRIVATE, sys.executable, "-B", __file__, *command])
    prepare()
    return subprocess.run(command, check=False).returncode


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
