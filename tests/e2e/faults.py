"""What happens when something fails: what is done, then what must be seen.

doc/reliability.md has a row for each of these tests, and for unit tests.
"""

from harness import *

IN_FLIGHT = 20  # messages that the publisher sends before the first is acknowledged


class PortTest(DeviceTest):

    def test_silent_for_seconds(self):
        self.port = Port(2)
        self.start("--pause 50:2.5 --power-cycle 100:3 --records 150", "-r 10")
        self.assert_status(*2 * ["Disconnected", "Connected"], "Disconnected")
        self.interrupt()
        self.assert_recorded(records(50, rate=10) + records(50, after=5 + 2.5, rate=10) +
                             records(50, after=10 + 2.5 + 3, rate=10), rate=10)

    def test_noise(self):
        """A negative limit of records is a large one."""
        self.start("--noise 20 --junk 50:1000000 --records 100", "-n -5")
        self.daemon.wait_for("timeout=2")
        drops = self.daemon.output.count("Excessive length, with no delim -> clearing buffer\n")
        self.assert_status(*drops * ["Dropping excessive buffer"], "Disconnected")
        self.assertTrue(1000000 // 1200 <= drops <= 1000000 // 1000, drops)  # in reads of 200
        self.interrupt()
        spoiled = {20, 40, 60, 80, 100}
        # The record after the junk is whole only if the daemon dropped the junk to its last byte.
        if "\t{}\t{}\t".format(*records(100)[50]) not in FIRST_FILE.read_text("latin-1"):
            spoiled.add(51)
        sent = [when for k, when in enumerate(records(100), 1) if k not in spoiled]
        self.assert_recorded(sent, errors=len(spoiled))


class DiskTest(DeviceTest):

    def test_folder_not_writable(self):
        os.chown(HOME, 0, 0)
        self.start()
        self.assert_end(f"logging error opening '{FIRST_FILE}': Permission denied\n")

    def test_disk_full(self):
        configuration = (HOME / "config.json").read_text()
        small = ["-t", "tmpfs", "-o", "mode=777,size=20k"]
        subprocess.run(["mount", *small, "tmpfs", HOME], check=True)
        (HOME / "config.json").write_text(configuration)
        self.start("--records 400")
        self.assert_end(f"logging error '{FIRST_FILE}': (partial write|No space left on device)\n")
        *whole, torn = FIRST_FILE.read_text().split("\n")[5:]  # after the head
        self.assert_right(whole, records(len(whole)))
        self.assertLess(len(torn), len(whole[0]))


class BrokerTest(DeviceTest):

    def test_broker_late(self):
        self.broker.end(signal.SIGTERM)
        self.start("--records 100")
        self.daemon.wait_for("set baud rate")
        time.sleep(10)
        self.broker = Broker()
        self.subscriber.wait_for("|Disconnected")
        heard = self.subscriber.heard(self.port.topic + "/status")
        # A subscriber that returns may get the last text once more.
        self.assertEqual([*SET_UP, "Disconnected"], list(dict.fromkeys(heard)))
        self.interrupt()
        self.assertIn(f"publish{self.port.topic}/status' fail, not connected\n", self.daemon.output)
        self.assert_recorded(records(100))

    def test_broker_restarts(self):
        """A record about which the daemon complained may be missing on the fast topic, and when the
        broker is killed also those in flight. All others arrive in order."""
        self.start("--records 800")
        self.daemon.wait_for("next switch")
        for sig in 3 * [signal.SIGTERM] + [signal.SIGKILL]:
            time.sleep(2)
            self.broker.end(sig)
            time.sleep(2.5)
            self.broker = Broker()
        self.daemon.wait_for("timeout=4")
        sent = [payload(line) for line in self.assert_filed(records(800))]
        topic = self.port.topic
        self.subscriber.wait_for(f"{topic}/fast|{sent[-1]}")
        heard = list(dict.fromkeys(self.subscriber.heard(topic + "/fast")))  # some arrive twice
        complaints = re.findall(f"publish{topic}(?:/fast)?' fail, not conn", self.daemon.output)
        print(f"{len(sent)} records, {len(heard)} heard, {len(complaints)} complaints")
        self.assertEqual([text for text in sent if text in heard], heard)
        self.assertGreaterEqual(len(heard) + len(complaints) + IN_FLIGHT, len(sent))
        self.interrupt()

    def test_broker_never(self):
        self.broker.end(signal.SIGTERM)
        self.start("--records 50000 --speed max")
        status = Path(f"/proc/{self.daemon.pid}/status")
        for moment in "setup: end", "timeout=2":
            self.daemon.wait_for(moment)
            print(moment, re.findall("VmRSS.*", status.read_text()))
        self.interrupt()
        self.assert_filed(records(50000))


class ProcessTest(DeviceTest):

    def test_interrupted_in_the_set_up(self):
        self.start()
        self.daemon.wait_for("Read !!!!!")
        self.interrupt("autobaud: terminated by user\n")
        self.daemon = self.port.sonicd()
        self.daemon.wait_for("set output format")
        self.interrupt("interactive_(rx|tx_common): terminated by user\n"
                       "|interactive_tx_common: read error\n")

    def test_killed_beside_another(self):
        other = another_port(4)
        other.simulator()
        killed = other.sonicd()
        self.start("--records 200")
        killed.wait_for("next switch")
        self.daemon.wait_for("next switch")
        killed.end(signal.SIGKILL)
        self.assertEqual((True, "1\n", "UNDEFINEDYOUNG_81000"), other.left())
        self.subscriber.wait_for(f"q1 r1 {other.topic}/status|Disconnected")
        self.assert_status("Disconnected")
        self.interrupt()
        self.assert_recorded(records(200))


class SettingsTest(DeviceTest):

    def test_settings_noticed_late(self):
        """The instrument stays in its menu, where the next start finds it."""
        self.port.simulator("--state sub --paging")
        self.daemon = self.port.sonicd("-r fast")
        self.assert_end("bad lexical cast")
        self.daemon = self.port.sonicd("-n ten")
        self.assert_end("stoul\n")
        (HOME / "config.json").unlink()
        self.daemon = self.port.sonicd()
        self.assert_end(r"\* Line 1, Column 1\n")
        self.assertNotIn("WE'RE INTERACTIVE", self.daemon.output)  # nothing has been said to it yet


if __name__ == "__main__":
    main()
