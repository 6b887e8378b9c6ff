"""What happens when something fails: faults.py FaultTest.test_NAME, in a private device.

The tables say what is done to the daemon and what must come of it; doc/reliability.md explains them.
"""

import contextlib
import queue
import random
import shutil
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
INTERRUPTED = r".*terminated by user|interactive_read_to_delimiter|sampling" \
              r"|interactive_tx_common: read error"
DROPPING = "Dropping excessive buffer"
IN_FLIGHT = 20  # messages that the publisher sends before the first is acknowledged


def small_disk(kilobytes, test, port):
    subprocess.run(["mount", "-t", "tmpfs", "-o", f"mode=777,size={kilobytes}k", "tmpfs",
                    port.home], check=True)


def fill_disk(test, port):
    with contextlib.suppress(OSError), open(port.home / "filler", "wb", buffering=0) as filler:
        while True:
            filler.write(bytes(4096))


def own_by_root(test, port):
    os.chown(port.home, 0, 0)


def remove_home(test, port):
    shutil.rmtree(port.home)


def no_ipv6(test, port):
    stop_broker(test, port)
    Path("/proc/sys/net/ipv6/conf/lo/disable_ipv6").write_text("1")


def stop_broker(test, port, sig=signal.SIGTERM, seconds=0):
    test.broker.end(sig)
    time.sleep(seconds)


def start_broker(test, port, seconds=0):
    time.sleep(seconds)
    test.broker = Broker()


def show_memory(test, port):
    print(re.findall("VmRSS.*", Path(f"/proc/{port.daemon.popen.pid}/status").read_text()))


def restart_broker(times, sig, test, port):
    for _ in range(times):
        time.sleep(2.5)
        stop_broker(test, port, sig)
        start_broker(test, port, 2.5)



def cpu_ticks(process):
    return int(Path(f"/proc/{process.popen.pid}/stat").read_text().split()[13])


def check_end(test, port, run, ends, status=255):
    test.assertEqual(status, run.end(seconds=200))
    test.assertRegex(run.output, f"EXCEPTION: ({ends})" if ends else "lower user to [0-9]+\n$")
    info_file, power, attribute = port.left()
    test.assertEqual((False, "0\n", "UNDEFINED"), (info_file, power, attribute[-9:]))


def bad_start(test, port, config, arguments, step, ends):
    """The daemon does not come to sampling."""
    port.simulator()
    if config is not None:
        (port.home / "config.json").write_text(config)
    run = port.sonicd(*arguments.split())
    check_end(test, port, run, ends)
    test.assertEqual(step, re.findall("sonic_setup_auto: (.*)", run.output)[-1])


def bad_line(test, port, moment, signals, ends):
    """The line goes wrong before sampling."""
    (port.home / "config.json").write_text(CONFIG)
    instrument = port.simulator() if moment else None
    run = port.sonicd()
    for sig in signals:
        run.wait_for(moment)
        instrument.popen.send_signal(sig)
        time.sleep(3)
    if len(signals) == 2:  # it waits without a pause, for ever
        ticks = cpu_ticks(run)
        while cpu_ticks(run) < ticks + 50:
            time.sleep(0.1)
        run.popen.send_signal(signal.SIGINT)
    check_end(test, port, run, ends)


def interrupted(test, port, moment):
    (port.home / "config.json").write_text(CONFIG)
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


def lines_of_files(test, port, top, torn):
    lines = []
    for raw in port.data_files().values():
        head, _, text = raw.decode("latin-1").partition(HEADER + "\n")
        test.assertEqual(top if raw else "", head)
        lines += text.split("\n")
        unfinished = lines.pop()
        test.assertTrue(torn or not unfinished)
    return lines


def lines_of_console(test, port, top, output, start):
    printed = [p for p in output.splitlines() if not p.startswith("checksum error: got=")]
    lines = [p for p in printed if p.startswith("DATA_SONIC\t")]
    file = f"{HOME}/{start // 1800 * 1800}.young_81000_v.01234'"
    expected = [f"new data file '{file}", f"logging: switching to '{file}", *top.splitlines(), HEADER,
                f"next switch at {start // 1800 * 1800 + 1800}",
                *(p for line in lines for p in (line, payload(line))),
                *(f"timeout={n}" for n in range(1, 60))]  # all at once: a lost line reads as empty
    test.assertIn("\n".join(expected), "\n".join(printed))
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
        seconds, texts = heard_on(topic), heard_on(topic + "/status")
        test.assertEqual([payload(x) for x in first_of_each_second(lines)][:len(seconds)], seconds)
        texts = [b for a, b in zip([""] + texts, texts) if not a == b == DROPPING]
        length = len(statuses) if at_leisure else len(texts)  # after an end, the last will may follow
        test.assertEqual(statuses[:length], texts[:len(statuses)])


def sampled(test, port, instrument="", daemon="", rate=32, start=START, config=CONFIG,
            serial="01234", before=(), when=(), records=0, lost=(), gaps={}, set_up=SET_UP,
            statuses=(), torn=False, heard=True, unheard=0, ends="sampling", sig=signal.SIGINT):
    """A run that comes to sampling. `lost`: numbers of the records that have no line; `gaps`:
    seconds without records after those; `unheard`: messages that may be missing; `ends`: with which
    words the daemon ends by itself (None: without), if it does not get the signal."""
    for fault in before:
        fault(test, port)
    (port.home / "config.json").write_text(config)
    port.simulator("--start", start, *instrument.split())
    run = port.daemon = port.sonicd(*daemon.split())
    for text, fault in when:
        run.wait_for(text)
        fault(test, port)
    at_leisure = ends == "sampling"
    if at_leisure:
        run.wait_for("timeout=4")  # no more records
        if heard:
            lines = re.findall("^DATA_SONIC\t.*", port.data_files().popitem()[1].decode("latin-1"), re.M)
            test.subscriber.wait_for(f"{port.topic}/fast|{payload(lines[-1])}")
    if sig == signal.SIGKILL:
        run.end(sig)
        test.assertEqual((True, "1\n"), port.left()[:2])
        test.subscriber.wait_for(f"{port.topic}/status|Disconnected", statuses.count("Disconnected"))
    else:
        if at_leisure:
            run.popen.send_signal(sig)
        check_end(test, port, run, ends, 255 if ends else 0)

    top = f"Model\tRM Young 81000 V\nSN\t{serial}\nVersion\t4.10\nRate\t{rate}\n"
    console = "-c" in daemon.split()
    lines = (lines_of_console(test, port, top, run.output, start) if console else
             lines_of_files(test, port, top, torn))
    errors = lines.count("DATAERRORH\ttext")
    lines = [line for line in lines if line.startswith("DATA_SONIC\t")]
    for line in lines:
        test.assertEqual(line, data_line(*line.split("\t")[1:3], line.split("\t")[3:9]))
    stamps = [int(line.split("\t")[1]) * 10**9 + int(line.split("\t")[2]) for line in lines]
    expected = [int((start + (k - 1) / rate + sum(s for at, s in gaps.items() if k > at)) * 10**6)
                * 1000 for k in range(1, records + 1) if k not in lost]
    test.assertEqual(expected[:len(stamps)] if torn else expected, stamps)
    test.assertEqual(0 if console else len(lost), errors)
    if console or not heard or not lines:
        heard_on = test.subscriber.texts
        test.assertEqual([], heard_on(port.topic) + heard_on(port.topic + "/fast"))
    else:
        expected = None if statuses is None else set_up + list(statuses)
        check_messages(test, port, run, lines, expected, unheard, at_leisure)


def shared_home(test, _):
    """The name of a data file does not tell the port. No piece of a line is lost, but as a line and
    its end are two writes, lines of two daemons may run into each other."""
    ports, starts = [Port(1), Port(2)], [START, START + 100]
    for port, start in zip(ports, starts):
        port.simulator("--start", start, "--speed", 8, "--records", 800)
    runs = [port.sonicd() for port in ports]
    for port, run in zip(ports, runs):
        run.wait_for("timeout=1")
        run.popen.send_signal(signal.SIGINT)
        check_end(test, port, run, "sampling")
    [raw] = ports[0].data_files().values()
    lines = re.findall(r"DATA_SONIC\t\d+\t\d+(?:\t[-.0-9]+){6}\t[ \d]{3}", raw.decode())
    test.assertEqual(1600, len(set(lines)))
    for line in lines:
        test.assertEqual(line, data_line(*line.split("\t")[1:3], line.split("\t")[3:9]))
    torn = [line for line in raw.decode().split("\n") if line.count("DATA_SONIC\t") != 1]
    print(f"{len(torn)} lines of {len(lines)} are empty or run into others")


# A test each. Its cases run side by side, three at a time, each on a port and in a home of its own.
FAULTS = {
    "port": (sampled, [
        dict(instrument="--noise 20 --pause 150:2.5 --power-cycle 200:3 --records 300 " +
             10 * "--junk 100:1000000 ", daemon="-n -5", records=300, gaps={150: 2.5, 200: 3},
             lost={*range(20, 301, 20), 101}, sig=signal.SIGKILL, serial="1234",
             config='{"uarts": [{"serial_number": 1234}]}',
             statuses=[DROPPING, *2 * ["Disconnected", "Connected"], *2 * ["Disconnected"]]),
        dict(instrument="--bad-check 5 --hang-up 12", daemon="-c -r 8", rate=8, records=12,
             lost={5, 10}, ends=TIMEOUT),
        dict(instrument="--state sub --baud 9600 --paging --speed 8", daemon="-n 96", records=96,
             start=1700002798.5, set_up=SET_UP_AT_9600, ends=None)]),
    "silence": (sampled, [
        dict(instrument="--records 40", records=40, statuses=["Disconnected"], ends=TIMEOUT),
        dict(instrument="--records 400", records=400, before=[partial(small_disk, 20)], torn=True,
             ends=f"logging error '{FILE}': (partial write|No space left on device)")]),
    "disk": (sampled, [
        dict(when=[("set baud rate", remove_home)],
             ends=f"logging error opening '{FILE}': No such file or directory"),
        dict(before=[own_by_root], ends=f"logging error opening '{FILE}': Permission denied"),
        dict(before=[partial(small_disk, 64)], when=[("set baud rate", fill_disk)],
             ends=f"logging error '{FILE}': No space left on device")]),
    "broker_late": (sampled, [
        dict(instrument="--records 100", daemon="-v", records=100, statuses=["Disconnected"],
             before=[stop_broker], when=[("set baud rate", partial(start_broker, seconds=10))])]),
    "broker_restarts": (sampled, [
        dict(instrument="--records 2400", daemon="-v", records=2400, statuses=None,
             when=[("next switch", partial(restart_broker, 12, signal.SIGTERM))])]),
    "broker_killed": (sampled, [
        dict(instrument="--records 400", daemon="-v", records=400, statuses=None, unheard=IN_FLIGHT,
             when=[("next switch", partial(restart_broker, 1, signal.SIGKILL))])]),
    "broker_never": (sampled, [
        dict(instrument="--records 50000 --speed max", records=50000, before=[stop_broker],
             when=[("setup: end", show_memory), ("timeout=3", show_memory)], heard=False)]),
    "broker_without_ipv6": (sampled, [
        dict(instrument="--records 40", records=40, before=[no_ipv6], heard=False)]),
    "interrupted_1": (interrupted, moments(1)),
    "interrupted_2": (interrupted, moments(2)),
    "interrupted_3": (interrupted, moments(3)),
    "interrupted_4": (interrupted, moments(6)),
    "shared_home": (shared_home, [()]),
    # When what is sent to the instrument's process, and the end. An instrument that is killed hangs
    # up; a stopped one is silent.
    "line": (bad_line, [
        ("", [], "/dev/ttyS. error opening: No such file or directory"),
        ("Trying 38400", [signal.SIGKILL], "autobaud read error: unexpected zero"),
        ("set error handling", [signal.SIGKILL],
         "/dev/ttyS. error writing: Input/output error|interactive_tx_common: read error"),
        ("setup_auto: enter", [signal.SIGSTOP], "young_enter_interactive: CANNOT ENTER INTERACTIVE"),
        ("setup_auto: enter", [signal.SIGSTOP, signal.SIGKILL], "interactive_read_to_delimiter")]),
    # config.json, if any, the arguments, the last step that was reached, and the end.
    "settings": (bad_start, [
        (None, "", "enter", r"\* Line 1, Column 1\n"),
        ("", "", "enter", r"\* Line 1, Column 1\n"),
        ("serial_number=1", "", "enter", r"\* Line 1, Column 1\n"),
        ('{"uarts": {"serial_number": "1"}}', "", "enter",
         r"in Json::Value::operator\[\]\(ArrayIndex\): requires arrayValue"),
        ('{"uarts": [{"serial_number": ["1"]}]}', "", "enter",
         "Type is not convertible to string"),
        (CONFIG, "-r fast", "set output rate", "bad lexical cast"),
        (CONFIG, "-r 4294967296", "set output rate", "bad lexical cast"),
        (CONFIG, "-r -8", "set output rate", "map::at"),
        (CONFIG, "-r 7", "set output rate", "map::at"),
        (CONFIG, "-n ten", "get config", "stoul"),
        (CONFIG, "-n 99999999999999999999", "get config", "stoul")]),
}


class FaultTest(DeviceTest):

    def on_ports(self, function, cases):
        self.broker = Broker()
        self.subscriber = Subscriber()
        free = queue.Queue()
        for number in GPIO:
            free.put(Port(number, RUN / f"home{number}"))

        def run(case):
            port = free.get()
            port.home.mkdir()
            os.chown(port.home, USER, USER)
            with self.subTest(port=port.name, case=case):
                options = case if isinstance(case, dict) else {}
                function(self, port, *(() if options else case), **options)
            subprocess.run(["umount", "-q", port.home])
            shutil.rmtree(port.home, ignore_errors=True)
            free.put(port)

        with ThreadPoolExecutor(len(GPIO)) as pool:
            list(pool.map(run, cases))


for name, fault in FAULTS.items():
    setattr(FaultTest, "test_" + name, partialmethod(FaultTest.on_ports, *fault))

if __name__ == "__main__":
    main()
