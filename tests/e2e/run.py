"""End-to-end tests: run.py DaemonTest.test_NAME, each in a private device of its own."""

import subprocess

from harness import *

HELP = """\
PROGRAM [ <options>* }
\t\t<no parameters> .... Print this help and exit

\t\t-c, --console .... Print all output to console
\t\t-f, --fast-pub .... Fast publishing output
\t\t-n <n> .... Number of sample iterations
\t\t-r <r>, --output-rate <r> .... Sample output rate
\t\t-p <port>, --port <port> .... Use this serial port
\t\t-v, --verbose .... Verbose output
"""


class DaemonTest(DeviceTest):

    def test_starts_that_end_at_once(self):
        program = os.environ["SONICD"]
        cases = [
            ([], 0, HELP.replace("PROGRAM", program)),
            (["--iterations", "10"], 255, "argc=3\ni=1, --iterations\nid='', arg=0\n"
                                          "EXCEPTION: Unknown option '--iterations'\n"),
            (["-v", "-p"], 255, "argc=3\ni=1, -v\nid='verbose', arg=0\nid 'verbose' -> '1'\n"
                                "i=2, -p\nid='port', arg=1\n"
                                "EXCEPTION: Missing argument for '-p'\n"),
            (["-c"], 255, "argc=2\ni=1, -c\nid='console_only', arg=0\nid 'console_only' -> '1'\n"
                          "EXCEPTION: Port not specified\n"),
            (["-p", "ttyS3"], 255, "argc=3\ni=1, -p\nid='port', arg=1\nid 'port' -> 'ttyS3'\n"
                                   "EXCEPTION: map::at\n"),
        ]
        for arguments, status, output in cases:
            with self.subTest(arguments):
                run = self.sonicd(*arguments)
                self.assertEqual((status, output), (run.end(), run.output))
        self.assertEqual("", TYPE_ATTRIBUTE.read_text())

        nobody = RUN / "passwd-without-qelta"
        nobody.write_text("root:x:0:0::/root:/bin/sh\n")
        subprocess.run(["mount", "--bind", nobody, "/etc/passwd"], check=True)
        for arguments, status, output in [
                ([], 0, HELP.replace("PROGRAM", program)),
                (["--bogus"], 255, "EXCEPTION: Unable to find username\n")]:
            with self.subTest(arguments):
                run = self.sonicd(*arguments)
                self.assertEqual((status, output), (run.end(), run.output))


if __name__ == "__main__":
    main()
