"""Starts of the daemon on a UART that the kernel drives, by hand and on several lines at once."""

from harness import MachineTest, long

SET_BY_DAEMON = "operate mode, 38400 baud, 32 Hz, averaging 0, errors included, format 5ABEC"
RECORDS = 40
PAIRS = ("operate", "top"), ("sub", "sub --paging")  # on two lines at once
# At 4800 baud a sub-menu's page takes longer than the daemon waits for it. It ends, and what gets
# an instrument out of there is its power line.
STARTS = [(baud, pair) for baud in (38400, 19200, 9600) for pair in PAIRS] + [(4800, PAIRS[0])]


class StartsTest(MachineTest):

    def sonicd(self, line=1):
        """Starts a daemon that ends after some records, on its console, and starts it again when it
        fails, as its unit does: a busy emulator may deliver half of a page for which it waits a
        quarter of a second. Returns the file to which it prints."""
        log = f"/tmp/ttyS{line}.log"
        self.run(f"rm -f {log}")
        self.start(f"sh -c 'until sonicd -p ttyS{line} -c -n {RECORDS}; do sleep 1; done; "
                   "echo ended'", log)
        return log

    def assert_samples(self, log, instrument):
        # Until it has ended: otherwise it takes bytes that the next one on this line waits for.
        self.wait_until(f"grep '^ended' {log}")
        self.assertGreaterEqual(int(self.run(f"grep -c ^DATA_SONIC.[0-9] {log}")), RECORDS)
        self.assertIsNotNone(instrument.seen(SET_BY_DAEMON))

    @long
    def test_each_state_at_each_speed(self):
        for baud, states in STARTS:
            # At the default rate, its records are more than 4800 baud can carry.
            instruments = [self.attach(f"--rate 4 --baud {baud} --state {state}", line)
                           for line, state in enumerate(states, 1)]
            logs = [self.sonicd(line) for line in (1, 2)]
            for log, instrument in zip(logs, instruments):
                self.assert_samples(log, instrument)

    @long
    def test_nothing_answers(self):
        self.attach("--state silent")
        log = self.sonicd()
        self.wait_until(f"grep 'EXCEPTION: autobaud error: no match' {log}")
