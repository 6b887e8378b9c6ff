"""What happens when something fails: faults.py FaultTest.test_NAME, in a private device.

The tables say what is done to the daemon and what must come of it; doc/reliability.md explains.
"""

import itertools
import queue
import random
import signal
from concurrent.futures import ThreadPoolExecutor
from functools import partial, partialmethod

from harness import *

START = 1700002000  # stamp of the first record, in seconds
FILE = f"{HOME}/{START // 1800 * 1800}.young_81000_v.01234"
CONFIG = '{"uarts": [{"serial_number": "01234"}]}'
TIMEOUT = "TIMEOUT: sampling for young_81000_v"
SET_UP = ["Connecting (no data)", "Info trying 38400", "Connecting (got data)",
          "Info connected at 38400 baud", "Configuring", "Connected"]
SET_UP_AT_9600 = ["Connecting (no data)", "Info trying 38400", "Info trying 19200",
                  "Info trying 9600", *3 * ["Connecting (got data)"],
                  "Info connected at 9600 baud", "Configuring", "Connected"]
INTERRUPTED = ".*terminated by user|interactive_read_to_delimiter|sampling" \
              "|interactive_tx_common: read error"
IN_FLIGHT = 20  # messages that the publisher sends before the first is acknowledged
MEMORY = "grep VmRSS /proc/$DAEMON/status"


def stop_broker(test):
    test.broker.end(signal.SIGTERM)


def start_broker_later(test, seconds=2.5):
    time.sleep(seconds)
    test.broker = Broker()


def restart_broker(times, sig, test):
    for _ in range(times):
        time.sleep(2.5)
        test.broker.end(sig)
        start_broker_later(test)


def do(fault, test, port, pid=""):
    """A fault is a function or a command, which runs in the folder of the data files."""
    if callable(fault):
        fault(test)
    else:
        subprocess.run(fault, shell=True, cwd=port.home, env={**os.environ, "DAEMON": str(pid)})


def check_end(test, port, run, ends, status=255):
    test.assertEqual(status, run.end(seconds=200))
    test.assertRegex(run.output, f"EXCEPTION: ({ends})" if ends else "lower user to [0-9]+\n$")
    info_file, power, attribute = port.left()
    test.assertEqual((False, "0\n", "UNDEFINED"), (info_file, power, attribute[-9:]))


def bad_start(test, port, config, arguments, step, ends):
    """The daemon does not come to sampling."""
    port.simulator()
    do("rm config.json" if config is None else f"printf %s '{config}' >config.json", test, port)
    run = port.sonicd(*arguments.split())
    check_end(test, port, run, ends)
    test.assertEqual(step, re.findall("sonic_setup_auto: (.*)", run.output)[-1])


def bad_line(test, port, options, moment, signals, ends):
    """The line goes wrong before sampling."""
    instrument = None if options is None else port.simulator(*options.split())
    run = port.sonicd()
    for sig in signals:
        run.wait_for(moment)
        instrument.popen.send_signal(sig)
        time.sleep(3)
    if len(signals) == 2:  # it waits for ever, without a pause
        stat = Path(f"/proc/{run.popen.pid}/stat")
        ticks = int(stat.read_text().split()[13])
        while int(stat.read_text().split()[13]) < ticks + 50:
            time.sleep(0.1)
        run.popen.send_signal(signal.SIGINT)
    check_end(test, port, run, ends)


def interrupted(test, port, moment):
    instrument = port.simulator("--baud", 19200)
    run = port.sonicd()
    run.wait_for("argc=")
    time.sleep(moment)
    children = Path(f"/proc/{run.popen.pid}/task/{run.popen.pid}/children").read_text()
    run.popen.send_signal(signal.SIGINT)
    check_end(test, port, run, INTERRUPTED)
    test.assertEqual("", children)
    instrument.end(signal.SIGTERM)
    print(f"interrupted after {moment:.2f} s:", run.output.splitlines()[-1])


def moments(seed):
    generator = random.Random(seed)
    return [(generator.uniform(0, 60),) for _ in range(5)]


def sent_to_fast_topic(lines, output, topic):
    """Payloads handed to the publisher for the fast topic, and whether that went without complaint.
    A failure on the record topic skips the fast topic and has the next record tried on both."""
    sent, last = [], None
    traces = output.split("\nb='")[-len(lines):] if "\nb='" in output else [""] * len(lines)
    for line, trace in zip(lines, traces):
        if line.split("\t")[1] != last:
            if f"publish{topic}' fail" in trace:
                continue
            last = line.split("\t")[1]
        sent.append((payload(line), f"publish{topic}/fast' fail" not in trace))
    return sent


def check_lines(test, lines):
    for line in lines:
        test.assertEqual(line, data_line(*line.split("\t")[1:3], line.split("\t")[3:9]))


def lines_of_files(test, port, top, torn):
    lines = []
    for raw in port.data_files().values():
        head, _, text = raw.decode("latin-1").partition(HEADER + "\n")
        test.assertEqual(top if raw else "", head)
        lines += text.split("\n")
        unfinished = lines.pop()
        test.assertTrue(torn or not unfinished)
    return lines


def lines_of_console(test, port, top, output):
    lines = re.findall("^DATA_SONIC\t.*", output, re.M)
    expected = [f"switching to '{FILE}'", *top.splitlines(), HEADER, "next switch at 1700002800",
                *(p for line in lines for p in (line, payload(line))),
                *(f"timeout={n}" for n in range(1, 60))]  # all at once: a lost line reads as empty
    test.assertIn("\n".join(expected), re.sub("checksum error: .*\n", "", output))
    test.assertEqual({}, port.data_files())
    return lines


def check_messages(test, port, run, lines, statuses, unheard, at_leisure):
    """The last messages before the end may never reach the broker."""
    topic, heard_on = port.topic, test.subscriber.texts
    sent = sent_to_fast_topic(lines, run.output, topic)
    fast = list(dict.fromkeys(heard_on(topic + "/fast")))
    expected = [p for p, without_complaint in sent if without_complaint or p in fast]
    missing = [p for p in expected if p not in fast]
    print(f"{len(lines)} records, {len(sent)} of them for the fast topic, {len(missing)} unheard")
    if at_leisure:
        test.assertLessEqual(len(missing), unheard)
        test.assertEqual([p for p in expected if p in fast], fast)
    else:
        test.assertEqual(expected[:len(fast)], fast)
    if statuses is not None:
        seconds = list(dict.fromkeys(heard_on(topic)))
        test.assertEqual([payload(x) for x in first_of_each_second(lines)][:len(seconds)], seconds)
        # Some come in unknown numbers, and a subscriber that comes back hears the last once more.
        texts, statuses = ([text for text, _ in itertools.groupby(several)]
                           for several in (heard_on(topic + "/status"), statuses))
        length = len(statuses) if at_leisure else len(texts)  # the last will may follow
        test.assertEqual(statuses[:length], texts[:len(statuses)])


def sampled(test, port, instrument="", daemon="", rate=32, start=START, config=CONFIG,
            serial="01234", before=(), when=(), records=0, lost=(), uncertain=None, gaps={},
            set_up=SET_UP, statuses=(), torn=False, heard=True, unheard=0, ends="sampling",
            sig=signal.SIGINT):
    """A run that comes to sampling. `lost`: numbers of the records that have no line; `uncertain`:
    the one behind the junk, which is spared if that is dropped to its last byte; `gaps`: seconds
    without records after those; `unheard`: messages that may be missing; `ends`: with which words
    the daemon ends by itself (None: without), if it does not get the signal."""
    for fault in before:
        do(fault, test, port)
    (port.home / "config.json").write_text(config)
    port.simulator("--start", start, *instrument.split())
    run = port.sonicd(*daemon.split())
    for text, fault in when:
        run.wait_for(text)
        do(fault, test, port, run.popen.pid)
    at_leisure = ends == "sampling"
    if at_leisure:
        run.wait_for("timeout=4")  # no more records
        if heard:
            text = port.data_files().popitem()[1].decode("latin-1")
            last = text[text.rindex("\nDATA_SONIC\t") + 1:].splitlines()[0]
            test.subscriber.wait_for(f"{port.topic}/fast|{payload(last)}")
    if sig == signal.SIGKILL:
        run.end(sig)
        test.assertEqual((True, "1\n", "UNDEFINEDYOUNG_81000"), port.left())
        will = f"{port.topic}/status|Disconnected"
        test.subscriber.wait_for(will, statuses.count("Disconnected"))
    else:
        if at_leisure:
            run.popen.send_signal(sig)
        check_end(test, port, run, ends, 255 if ends else 0)

    top = f"Model\tRM Young 81000 V\nSN\t{serial}\nVersion\t4.10\nRate\t{rate}\n"
    console = "-c" in daemon.split()
    lines = (lines_of_console(test, port, top, run.output) if console else
             lines_of_files(test, port, top, torn))
    errors = lines.count("DATAERRORH\ttext")
    lines = [line for line in lines if line.startswith("DATA_SONIC\t")]
    check_lines(test, lines)
    stamps = [int(line.split("\t")[1]) * 10**9 + int(line.split("\t")[2]) for line in lines]
    expected = [int((start + (k - 1) / rate + sum(s for at, s in gaps.items() if k > at)) * 10**6)
                * 1000 for k in range(1, records + 1) if k not in lost]
    if uncertain and len(stamps) < len(expected):
        del expected[uncertain - 1 - sum(k < uncertain for k in lost)]
    test.assertEqual(expected[:len(stamps)] if torn else expected, stamps)
    test.assertEqual(0 if console or torn else records - len(lines), errors)
    if console or not heard or not lines:
        test.assertNotRegex(test.subscriber.output, port.topic + r"(/fast)?\|")
    else:
        expected = None if statuses is None else set_up + list(statuses)
        check_messages(test, port, run, lines, expected, unheard, at_leisure)


def shared_home(test, _):
    """The name of a data file does not tell the port. No piece of a line is lost, but as a line and
    its end are two writes, lines of two daemons may run into each other."""
    ports = [Port(1), Port(2)]
    for port, start in zip(ports, [START, START + 100]):
        port.simulator("--start", start, "--speed", 8, "--records", 800)
    for port, run in [(port, port.sonicd()) for port in ports]:
        run.wait_for("timeout=1")
        run.popen.send_signal(signal.SIGINT)
        check_end(test, port, run, "sampling")
    [raw] = ports[0].data_files().values()
    lines = re.findall(r"DATA_SONIC\t\d+\t\d+(?:\t[-.0-9]+){6}\t[ \d]{3}", raw.decode())
    test.assertEqual(1600, len(set(lines)))
    check_lines(test, lines)


# A test each. Its cases run side by side, three at a time, each on a port and in a home of its own.
FAULTS = {
    "port": (sampled, [
        dict(instrument="--noise 20 --pause 150:2.5 --power-cycle 200:3 --records 300 " +
             10 * "--junk 100:1000000 ", daemon="-n -5", records=300, gaps={150: 2.5, 200: 3},
             lost={*range(20, 301, 20)}, uncertain=101, sig=signal.SIGKILL, serial="1234",
             config='{"uarts": [{"serial_number": 1234}]}', statuses=[
                 "Dropping excessive buffer", *2 * ["Disconnected", "Connected"],
                 *2 * ["Disconnected"]]),
        dict(instrument="--bad-check 5 --hang-up 12", daemon="-c -r 8", rate=8, records=12,
             lost={5, 10}, ends=TIMEOUT),
        dict(instrument="--state sub --baud 9600 --paging --speed 8", daemon="-n 96", records=96,
             start=1700002798.5, set_up=SET_UP_AT_9600, ends=None)]),
    "silence": (sampled, [
        dict(instrument="--records 40", records=40, statuses=["Disconnected"], ends=TIMEOUT),
        dict(instrument="--records 400", records=400, torn=True,
             before=["mount -t tmpfs -o mode=777,size=20k tmpfs ."],
             ends=f"logging error '{FILE}': partial write")]),
    "disk": (sampled, [
        dict(when=[("set baud rate", 'rm -r "$PWD"')],
             ends=f"logging error opening '{FILE}': No such file or directory"),
        dict(before=["chown root ."], ends=f"logging error opening '{FILE}': Permission denied"),
        dict(before=["mount -t tmpfs -o mode=777,size=64k tmpfs ."],
             when=[("set baud rate", "cat /dev/zero >filler")],
             ends=f"logging error '{FILE}': No space left on device")]),
    "broker_late": (sampled, [
        dict(instrument="--records 100", daemon="-v", records=100, statuses=["Disconnected"],
             before=[stop_broker],
             when=[("set baud rate", partial(start_broker_later, seconds=10))])]),
    "broker_restarts": (sampled, [
        dict(instrument="--records 2400", daemon="-v", records=2400, statuses=None,
             when=[("next switch", partial(restart_broker, 12, signal.SIGTERM))])]),
    "broker_killed": (sampled, [
        dict(instrument="--records 400", daemon="-v", records=400, statuses=None, unheard=IN_FLIGHT,
             when=[("next switch", partial(restart_broker, 1, signal.SIGKILL))])]),
    "broker_never": (sampled, [
        dict(instrument="--records 50000 --speed max", records=50000, before=[stop_broker],
             when=[("setup: end", MEMORY), ("timeout=3", MEMORY)], heard=False)]),
    "broker_without_ipv6": (sampled, [
        dict(instrument="--records 40", records=40, heard=False,
             before=[stop_broker, "echo 1 >/proc/sys/net/ipv6/conf/lo/disable_ipv6"])]),
    "interrupted_1": (interrupted, moments(1)),
    "interrupted_2": (interrupted, moments(2)),
    "interrupted_3": (interrupted, moments(3)),
    "interrupted_4": (interrupted, moments(6)),
    "shared_home": (shared_home, [()]),
    # The instrument, if any, when its process gets which signals, and the end. An instrument that
    # is killed hangs up; a stopped one is silent.
    "line": (bad_line, [
        (None, "", [], "/dev/ttyS. error opening: No such file or directory"),
        ("--state silent", "", [], "autobaud error: no match"),
        ("--baud 19200", "Escape", [signal.SIGKILL], "autobaud read error: unexpected zero"),
        ("", "set error handling", [signal.SIGKILL],
         "/dev/ttyS. error writing: Input/output error|interactive_tx_common: read error"),
        ("", "auto: enter", [signal.SIGSTOP], ".*: CANNOT ENTER INTERACTIVE"),
        ("", "auto: enter", [signal.SIGSTOP, signal.SIGKILL], "interactive_read_to_delimiter")]),
    # config.json, if any, the arguments, the last step that was reached, and the end.
    "settings": (bad_start, [
        (None, "", "enter", r"\* Line 1, Column 1\n"),
        ("", "", "enter", r"\* Line 1, Column 1\n"),
        ("serial_number=1", "", "enter", r"\* Line 1, Column 1\n"),
        ('{"uarts": {"serial_number": "1"}}', "", "enter",
         r"in Json::Value::operator\[\]\(ArrayIndex\): requires arrayValue"),
        ('{"uarts": [7]}', "", "enter", "in Json::Value::find"),
        ('{"uarts": [{"serial_number": ["1"]}]}', "", "enter", "Type is not convertible to st"),
        (CONFIG, "-r fast", "set output rate", "bad lexical cast"),
        (CONFIG, "-r 4294967296", "set output rate", "bad lexical cast"),
        (CONFIG, "-r -8", "set output rate", "map::at"),
        (CONFIG, "-r 7", "set output rate", "map::at"),
        (CONFIG, "-n ten", "get config", "stoul"),
        (CONFIG, "-n 99999999999999999999", "get config", "stoul")]),
}


class FaultTest(unittest.TestCase):

    def on_ports(self, function, cases):
        self.broker = Broker()
        self.subscriber = Subscriber()
        free, homes = queue.Queue(), itertools.count()
        for number in GPIO:
            free.put(number)

        def run(case):
            number = free.get()
            port = Port(number, RUN / f"home{next(homes)}")
            port.home.mkdir()
            os.chown(port.home, USER, USER)
            (port.home / "config.json").write_text(CONFIG)
            with self.subTest(port=port.name, case=case):
                options = case if isinstance(case, dict) else {}
                function(self, port, *(() if options else case), **options)
            free.put(number)

        with ThreadPoolExecutor(len(GPIO)) as pool:
            list(pool.map(run, cases))


for name, fault in FAULTS.items():
    setattr(FaultTest, "test_" + name, partialmethod(FaultTest.on_ports, *fault))

if __name__ == "__main__":
    main()
