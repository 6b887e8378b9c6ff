"""A logger that loses its power, and has it again."""

from harness import START, MachineTest

SECONDS = 5  # of records are lost at most


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
