"""Several servers, as sonic-servers sets them up: with passwords, by TLS, in networks of their own."""

import os
import shutil
import subprocess
import threading
import time
from datetime import datetime, timedelta, timezone

from archive_servers import Servers
from support import START, ArchiveTest, half_hour, main

DAY = 86400


class Cluster(ArchiveTest):
    """A test has servers of its own; self.servers["archive-1"] is one."""

    REPLICAS = 1
    COORDINATOR = []

    def setUp(self):
        self.conf = self.folder / self.id() / "conf"
        self.stations = self.folder / self.id()
        self.servers = Servers(self.folder / self.id() / "servers")
        self.hosts = []
        os.makedirs("/etc/sonic-archive", exist_ok=True)
        self.add_servers("archive-1", "archive-2")

    def add_servers(self, *hosts):
        """Writes the configuration of all servers, starts the new ones and makes their tables."""
        self.hosts += hosts
        self.run_program("sonic-servers", self.conf, *self.hosts, *self.COORDINATOR)
        shutil.copytree(self.conf / "clients", "/etc/sonic-archive", dirs_exist_ok=True)
        admin = os.path.expanduser("~/.clickhouse-client/config.xml")
        os.makedirs(os.path.dirname(admin), exist_ok=True)
        shutil.copy("/etc/sonic-archive/admin.xml", admin)
        for host in self.hosts:
            if host in hosts:
                self.addCleanup(self.servers.start(host, zone="Asia/Kolkata", etc=self.conf / host).kill)
                self.make_tables(host, *(["--replicated"] if self.REPLICAS > 1 else []))
            else:
                self.servers[host].configure(self.conf / host)

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
