"""A logger without a clock chip starts in the past."""

import time

from harness import MachineTest, long

PAST = "2000-01-01 00:05:00"


class ClockTest(MachineTest):
    """With sonic-port, whose stamps are those of the guest's clock."""

    @long
    def test_set_right_while_it_records(self):
        """The records go on in a file of the right half hour."""
        self.run(f"date -s '{PAST}'")
        self.plug("--raw --records 500")
        self.use_adapter()
        self.run("systemctl start sonicd@ttyS1")
        self.wait_for_records(50)
        now = int(time.time())
        self.run(f"date -s @{now}")
        self.wait_for_records(500)
        self.assertGreater(self.summary(since=now)["records"], 0)
        self.assert_count(500)
