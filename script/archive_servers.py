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
import subprocess
import sys
import time
from pathlib import Path

ARCHIVE = Path(__file__).resolve().parent.parent / "archive"
CONFIG = ARCHIVE / "config"
NETWORK = "10.9.0"
START_SECONDS = 60
SKIPPED = 77
PRIVATE = ["unshare", "--mount", "--net", "--pid", "--fork", "--mount-proc", "--kill-child"]

SERVER_XML = """<yandex>
  <logger><level>warning</level><log>{folder}/log</log><errorlog>{folder}/error.log</errorlog></logger>
  <listen_host>{address}</listen_host>
  <tcp_port>9000</tcp_port>
  <interserver_http_port>9009</interserver_http_port>
  <interserver_http_host>{address}</interserver_http_host>
  <path>{folder}/data/</path>
  <tmp_path>{folder}/tmp/</tmp_path>
  <users_config>users.xml</users_config>
  <default_profile>default</default_profile>
  <default_database>default</default_database>
  <mark_cache_size>500000000</mark_cache_size>
</yandex>
"""
USERS_XML = """<yandex>
  <profiles><default><max_memory_usage>4000000000</max_memory_usage></default></profiles>
  <quotas><default/></quotas>
  <users>
    <default>
      <password/>
      <networks><ip>::/0</ip></networks>
      <profile>default</profile>
      <quota>default</quota>
    </default>
  </users>
</yandex>
"""
COORDINATOR_CFG = """tickTime=500
dataDir={folder}
clientPort=2181
admin.enableServer=false
"""


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


class Machine:
    """One server, in a network of its own. `config` and `users` are files for its config.d and
    users.d."""

    def __init__(self, name, number, folder, config=(), users=(), zone="UTC"):
        self.name = name
        self.address = f"{NETWORK}.{number}"
        self.folder = Path(folder)
        self.zone = zone
        self.process = None
        for part, files in (("config.d", config), ("users.d", users)):
            (self.folder / part).mkdir(parents=True, exist_ok=True)
            for file in files:
                shutil.copy(file, self.folder / part)
        values = {"folder": self.folder, "address": self.address}
        (self.folder / "config.xml").write_text(SERVER_XML.format(**values))
        (self.folder / "users.xml").write_text(USERS_XML)

    def connect(self):
        run("ip", "netns", "add", self.name)
        run("ip", "link", "add", self.name, "type", "veth", "peer", "eth0", "netns", self.name)
        run("ip", "link", "set", self.name, "master", "archive", "up")
        run("ip", "-n", self.name, "address", "add", f"{self.address}/24", "dev", "eth0")
        for link in ("lo", "eth0"):
            run("ip", "-n", self.name, "link", "set", link, "up")

    def launch(self):
        self.process = subprocess.Popen(
            ["ip", "netns", "exec", self.name, "clickhouse-server",
             f"--config-file={self.folder}/config.xml"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={**os.environ, "TZ": self.zone})
        end = time.monotonic() + START_SECONDS
        while self.try_query("SELECT 1").returncode:
            if time.monotonic() > end or self.process.poll() is not None:
                raise RuntimeError(f"{self.name} did not start; its log is in {self.folder}")
            time.sleep(0.1)

    def try_query(self, query, *options, **arguments):
        return subprocess.run(
            ["clickhouse-client", "--host", self.name, "--query", query, *options],
            capture_output=True, **arguments)

    def query(self, query, *options, **arguments):
        done = self.try_query(query, *options, **arguments)
        if done.returncode:
            raise RuntimeError(f"{self.name}: {query}: {done.stderr.decode(errors='replace')}")
        return done.stdout.decode(errors="surrogateescape").strip()

    def signal(self, number):
        os.kill(self.process.pid, number)

    def kill(self):
        """As a power failure does."""
        self.signal(signal.SIGKILL)
        self.process.wait()

    def pause(self):
        """It still takes connections, and answers nothing."""
        self.signal(signal.SIGSTOP)

    def resume(self):
        self.signal(signal.SIGCONT)


class Servers(dict):
    """Machines by their names."""

    def __init__(self, folder):
        super().__init__()
        self.folder = Path(folder)
        self.coordinator = None

    def add(self, name, *, number=None, **settings):
        """A machine whose server does not run yet."""
        machine = Machine(name, number or int(name.rsplit("-", 1)[1]), self.folder / name, **settings)
        with open("/etc/hosts", "a") as hosts:
            hosts.write(f"{machine.address} {name}\n")
        machine.connect()
        self[name] = machine
        return machine

    def start(self, name, **settings):
        machine = self.add(name, **settings)
        machine.launch()
        return machine

    def start_coordinator(self):
        """ZooKeeper at the name coordinator, for replicas."""
        folder = self.folder / "coordinator"
        folder.mkdir()
        (folder / "zoo.cfg").write_text(COORDINATOR_CFG.format(folder=folder))
        jars = "/usr/share/java/zookeeper.jar:/usr/share/java/*"
        self.coordinator = subprocess.Popen(
            ["java", "-Xmx256m", "-cp", jars,
             "org.apache.zookeeper.server.quorum.QuorumPeerMain", folder / "zoo.cfg"],
            stdout=subprocess.DEVNULL, stderr=open(folder / "log", "w"))
        with open("/etc/hosts", "a") as hosts:
            hosts.write(f"{NETWORK}.254 coordinator\n")


def prepare_network():
    """Inside: a bridge that joins the machines, and a list of hosts of this process's own."""
    run("ip", "link", "set", "lo", "up")
    run("ip", "link", "add", "archive", "type", "bridge")
    run("ip", "address", "add", f"{NETWORK}.254/24", "dev", "archive")
    run("ip", "link", "set", "archive", "up")
    run("mount", "-t", "tmpfs", "tmpfs", "/run")
    hosts = Path("/run/hosts")
    hosts.write_text("127.0.0.1 localhost\n::1 localhost\n")
    run("mount", "--bind", str(hosts), "/etc/hosts")


def main(command):
    if not command or command[0] in ("-h", "--help"):
        print(__doc__.strip())
        return 0 if command else 2
    if "SONIC_NETWORK" not in os.environ:
        os.environ["PATH"] += ":/usr/sbin:/sbin"
        if not shutil.which("clickhouse-server") or not shutil.which("clickhouse-client"):
            print("skipped: no clickhouse-server or no clickhouse-client", file=sys.stderr)
            return SKIPPED
        if subprocess.run([*PRIVATE, "ip", "link", "set", "lo", "up"], capture_output=True).returncode:
            print("skipped: this machine or user may not make private networks", file=sys.stderr)
            return SKIPPED
        os.environ["SONIC_NETWORK"] = "1"
        os.execvp(PRIVATE[0], [*PRIVATE, sys.executable, "-B", __file__, *command])
    prepare_network()
    return subprocess.run(command).returncode


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
