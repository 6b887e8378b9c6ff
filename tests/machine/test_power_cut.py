"""A logger that loses its power, and has it again."""

import json
import time

from harness import START, MachineTest, long

SECONDS = 5  # of records are lost at most
HALF_HOUR = 1800
HISTORY = "/var/lib/sonicd/live/stations.json"


class PowerCutTest(MachineTest):

    def test_costs_seconds(self):
        """The rest is on the disk, and recording goes on without help."""
        self.attach()
        self.run("systemctl enable --now sonicd@ttyS1")
        self.wait_for_records(500)
        last = self.summary()["last"]
        self.run(f"sleep {SECONDS}")
        self.boot_again()
        self.attach(start=START + 300)
        seen = self.summary()
        self.assertGreaterEqual(seen["last"], last)
        self.wait_for_records(seen["records"] + 200)
        self.assert_recorded(restarts=1, gaps=1)

    @long
    def test_leaves_the_half_hours_of_the_page_whole(self):
        """While they are written again and again."""
        self.attach(start=(int(time.time()) // HALF_HOUR - 2) * HALF_HOUR + 60)
        self.run("systemctl enable --now sonicd@ttyS1")
        self.wait_for_records(200)
        self.start("sh -c 'while systemctl reset-failed sonicd-history; do "
                   "systemctl start sonicd-history; done'")
        self.wait_until(f"grep half_hours {HISTORY}")
        self.run(f"sleep {SECONDS}")
        self.boot_again()
        header, row = self.half_hours()
        self.assertGreater(int(row[header.index("records")]), 0)
        self.run("systemctl start sonicd-history")
        self.assertEqual(header, self.half_hours()[0])

    def half_hours(self):
        station, = json.loads(self.run(f"cat {HISTORY}"))["stations"]
        instrument, = station["instruments"]
        return instrument["half_hours"]
