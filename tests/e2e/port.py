"""sonic-port between instrument and daemon: what takes a program of its own, and the whole chain.

In the chain all but the wire is real: sonic-simulator --raw, sonic-port, sonicd. In a LineTest the
test itself is at both ends: it writes to self.instrument what an instrument would send, and reads
from self.user what the daemon would get. ../relay_test.cpp has what needs no program.
"""

import contextlib
import fcntl
import pty
import select
import socket
import termios

from harness import *

RECORD = b"  1.23  -0.45   0.07  343.21   21.50 0 3f\r"
MENU = b"BAUD = 38400\r C) 4800\r D) 9600\r E) 19200\r F) 38400\rX) EXIT TO MAIN MENU\r"


def read(fd, seconds=0.5, size=1 << 30):
    """What arrives in this time, or until so much has arrived."""
    data = b""
    end = time.time() + seconds
    while (left := end - time.time()) > 0 and len(data) < size:
        if select.select([fd], [], [], left)[0]:
            data += os.read(fd, 65536)
    return data


def speed(fd):
    return termios.tcgetattr(fd)[5]


def set_speed(fd, code):
    settings = termios.tcgetattr(fd)
    settings[4] = settings[5] = code
    termios.tcsetattr(fd, termios.TCSANOW, settings)


def unstamped(data):
    return re.sub(rb"\d+\.\d{9},..,", b"", data)


class LineTest(unittest.TestCase):
    """The test plays the instrument on a pseudo-terminal, and the user of the offered port."""

    def setUp(self):
        self.instrument, device = pty.openpty()
        Path("/dev/instrument").symlink_to(os.ttyname(device))
        self.found = termios.tcgetattr(device)
        os.close(device)
        os.environ["NOTIFY_SOCKET"] = str(RUN / "supervisor")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as supervisor:
            supervisor.bind(os.environ["NOTIFY_SOCKET"])
            self.driver = Process("setpriv", "--bounding-set=-sys_admin", "sonic-port",
                                  "--link", "/dev/ttyS1", "/dev/instrument")
            self.assertEqual(b"READY=1", supervisor.recv(99))
        self.open()

    def open(self):
        self.user = os.open("/dev/ttyS1", os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)

    def test_keys_and_changes_of_speed_at_once(self):
        os.close(self.user)
        for acts in ["open write speed", "open speed write", "open write close open speed",
                     "open speed write close open",
                     "open speed close open write", "open other write speed",
                     "open other speed write", "open speed other write", "open write other speed"]:
            time.sleep(0.1)
            self.fill_device()
            self.driver.signal(signal.SIGSTOP)
            for act in acts.split():
                getattr(self, act)()
            self.driver.signal(signal.SIGCONT)
            time.sleep(0.3)
            written_first = acts.index("write") < acts.index("speed")
            self.assertEqual(self.found[5] if written_first else termios.B9600,
                             speed(self.instrument), acts)
            self.assertEqual(b"X", read(self.instrument, 0.2).replace(b"#", b""), acts)
            self.assertEqual(termios.B9600, speed(self.instrument), acts)
            set_speed(self.user, self.found[5])
            self.close()

    def fill_device(self):
        """Keys stay where they are until the instrument reads, and so does a speed after them."""
        device = os.open("/dev/instrument", os.O_WRONLY | os.O_NOCTTY | os.O_NONBLOCK)
        for _ in range(5):  # the kernel makes room by moving what it has
            with contextlib.suppress(BlockingIOError):
                while True:
                    os.write(device, b"#")
            time.sleep(0.02)
        os.close(device)

    def close(self):
        os.close(self.user)

    def write(self):
        os.write(self.user, b"X")

    def speed(self):
        set_speed(self.user, termios.B9600)

    def other(self):
        """Another program opens the port."""
        os.close(os.open("/dev/ttyS1", os.O_RDWR | os.O_NOCTTY))

    def test_user_that_wants_the_port_alone(self):
        set_speed(self.user, termios.B9600)
        fcntl.ioctl(self.user, termios.TIOCEXCL)
        os.write(self.user, b"X")
        os.close(self.user)
        self.driver.wait_for("offering /dev/pts/")
        self.assertEqual(b"X", read(self.instrument, 0.9, 1))
        self.open()
        self.assertEqual((termios.B9600, termios.B9600), (speed(self.user), speed(self.instrument)))
        os.write(self.instrument, MENU)
        self.assertEqual(MENU, read(self.user, 0.9, len(MENU)))

    def test_whole_lines_are_dropped_when_nobody_reads(self):
        lines = 60000
        for _ in range(lines // 50):
            os.write(self.instrument, 50 * RECORD)
        self.driver.wait_for("lines dropped, as nobody reads the port: ")
        data = read(self.user, 2)
        os.close(self.instrument)
        self.driver.end()
        dropped = sum(int(n) for n in re.findall(r"lines dropped.*: (\d+)", self.driver.output))
        self.assertEqual((lines - dropped) * RECORD, unstamped(data))
        self.assertGreater(len(data), 1 << 20)

    def test_its_messages_do_not_go_to_the_instrument(self):
        self.driver.end(signal.SIGINT)
        Process("sh", "-c", "exec sonic-port --link /dev/ttyS1 /dev/instrument <&- >&- 2>&-")
        while not Path("/dev/ttyS1").is_symlink():
            time.sleep(0.05)
        self.assertEqual(b"", read(self.instrument))


class Chain(Port):
    """A port that sonic-port offers, with an instrument on a plain line."""

    def simulator(self, options=""):
        self.line = f"/dev/instrument{self.name[-1]}"
        instrument = Process(SIMULATOR, "--raw", "--link", self.line, "--trace", *options.split())
        instrument.wait_for("linked as")
        self.driver = Process("sonic-port", "--trace", "--link", self.device, self.line)
        self.driver.wait_for("linked as")
        return instrument


class ChainTest(DeviceTest):

    def setUp(self):
        super().setUp()
        self.port = Chain()

    def lines_of_run(self, count):
        """This many lines of a run, as the instrument sends them. The same wind blows each time."""
        options = "--raw --no-setup --settle 0 --rate 32 --fields 5ABEC --speed max"
        again = Process(SIMULATOR, "--link", "/dev/again", "--records", count, *options.split())
        again.wait_for("linked as")
        line = os.open("/dev/again", os.O_RDWR | os.O_NOCTTY)
        lines = read(line).decode("latin-1").split("\r")[:-1]
        os.close(line)
        again.end(signal.SIGTERM)
        self.assertEqual(count, len(lines))
        return lines

    def assert_came(self, sent):
        """Each of these lines is a record in the file and on its topic."""
        files = self.port.home.glob("*.young_81000_v.01234")
        text = "".join(file.read_text("latin-1") for file in files)
        lines = re.findall("DATA_SONIC\t.*", text)
        values = [line.split("\t")[3:9] for line in lines]
        self.assertEqual([line.split()[:6] for line in sent], values)
        self.assert_heard("/fast", [payload(line) for line in lines])

    def test_every_setting_wrong(self):
        self.start("--baud 9600 --rate 20 --averaging 2 --error-handling omit --format nmea "
                   "--records 100")
        self.daemon.wait_for("timeout=1")
        self.interrupt()
        self.instrument.wait_for("operate mode, 38400 baud, 32 Hz, averaging 0, errors included, "
                                 "format 5ABEC")
        self.assert_came(self.lines_of_run(100))
        trace = self.port.driver.output
        self.assertEqual(["19200", "9600", "38400"], re.findall("port: (\\d+) baud\n", trace))
        self.assertGreaterEqual(trace.count(" ms later\n"), 100)

    def test_unplugged_and_back(self):
        self.start()
        self.daemon.wait_for("set error handling")
        self.unplug()
        self.assert_end("/dev/ttyS1 error writing: Input/output error\n"
                        "|interactive_tx_common: read error\n")
        self.start("--records 40")
        self.daemon.wait_for("timeout=1")
        self.unplug()
        self.assert_end("TIMEOUT: sampling for young_81000_v\n")
        self.assert_came(self.lines_of_run(40))
        self.start()
        self.daemon.wait_for("baud rate detected: 38400")

    def unplug(self):
        self.instrument.end(signal.SIGKILL)
        self.assertEqual(1, self.port.driver.end())
        self.assertIn("/dev/instrument1 is gone: Input/output error\n", self.port.driver.output)


if __name__ == "__main__":
    main()
