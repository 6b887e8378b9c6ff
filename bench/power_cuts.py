"""Cuts the power of an emulated logger while it records: power_cuts.py WAY CUTS RESULT.json.

WAY is how the records get to the disk (see WAYS). The guest is brought to sampling once and kept;
each cut begins there, on a disk of its own, and ends the emulator 5 to 75 seconds later. Three
machines run at once. The way "all" has each of them CUTS times, a minute each, and is for
comparing what they cost."""

import concurrent.futures
import json
import random
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from architecture import ARCHITECTURES
from recovered import recovered
from guest import Guest
from image import ROOT
from installed import Installed, overlay
from instrument import Lines

RECORDS = ROOT / "build/default/tools/sonic-records"
RATE = 32
HALF_HOUR = 1800
START = 1700002800 + 900  # of the records: in mid file
AT_ONCE = 3               # machines
SETTLE = 0.5              # of the simulated instrument
HOME = "/home/qelta/device"
REMOUNT = "mount -o remount,{} /"
NO_FLUSH = "systemctl stop sonicd-flush; systemctl mask --runtime sonicd-flush"
WRITE_BACK = "sysctl -qw vm.dirty_writeback_centisecs={} vm.dirty_expire_centisecs={}"
WAYS = {
    "kernel": NO_FLUSH,  # as if sonicd-flush were not there
    "flush": "true",     # as the package is installed
    **{f"flush-{n}": f"mkdir -p /run/systemd/system/sonicd-flush.service.d && printf '[Service]\\n"
                     f"Environment=\"SONICD_FLUSH_OPTIONS=--seconds {n}\"\\n' "
                     ">/run/systemd/system/sonicd-flush.service.d/a.conf && systemctl "
                     "daemon-reload && systemctl restart sonicd-flush" for n in (1, 10, 30)},
    "write-back": f"{NO_FLUSH}; {WRITE_BACK.format(100, 100)}",
    "write-back-commit": f"{NO_FLUSH}; {WRITE_BACK.format(100, 100)}; {REMOUNT.format('commit=2')}",
    "commit": f"{NO_FLUSH}; {REMOUNT.format('commit=1')}",
}
# Other services write as well: when the kernel writes a file depends on its other files.
OTHERS = "systemd-run --quiet sh -c 'while sleep 2; do date >>/var/log/other.log; done'"
FINISHED = 12  # half hours that sonicd-compress finds, of twenty thousand records each
MAKE_FINISHED = f"""cd {HOME}
tail -n +6 {START - 900}.* | head -n 700 >/tmp/part
for copy in $(seq 30); do cat /tmp/part; done >/tmp/records
for start in $(seq {START - 900 - FINISHED * HALF_HOUR} {HALF_HOUR} {START - 900 - HALF_HOUR}); do
  head -n 5 {START - 900}.* | cat - /tmp/records >$start.young_81000_v.01234
  touch -d '2 hours ago' $start.*
done
chown qelta:qelta 1*; sync"""


class Sampling:
    """A guest that samples, kept with its memory."""

    def __init__(self, way, folder):
        self.folder = folder
        package = next((ROOT / "build/default").glob("sonicd_*_amd64.deb"))
        self.installed = Installed(ARCHITECTURES["amd64"], package)
        guest = self.installed.guest(folder)
        lines = Lines(guest)
        lines.attach(f"--start {START}")
        guest.run("systemctl enable --now sonicd@ttyS1")
        guest.run(f"until ls {HOME}/*.young*; do sleep 1; done; sleep 20")
        guest.run(MAKE_FINISHED, seconds=300)
        guest.run(WAYS[way])
        guest.run(OTHERS)
        time.sleep(40)  # until the kernel writes as it does all the time
        self.until = self._last(guest)
        guest.save(folder / "state")
        lines.end()
        self.disk = (folder / "disk.qcow2").rename(folder / "sampling.qcow2")

    @staticmethod
    def _last(guest):
        return int(guest.run(f"tail -qn 1 {HOME}/{START - 900}.*").split("\t")[1])

    def go_on(self, folder, start):
        """A guest that goes on with records from `start`, on a disk in `folder`, and its lines."""
        disk = overlay(folder / "cut.qcow2", self.disk, "qcow2")
        guest = Guest(self.installed.machine, self.installed.image, disk, folder,
                      state=self.folder / "state")
        lines = Lines(guest)
        instrument = lines.attach(f"--no-setup --rate {RATE} --baud 38400 --fields 5ABEC "
                                  f"--start {start}")
        return guest, lines, instrument


def stamps_of(path):
    """The stamps of the good records of a file, in order, as sonic-records reads them."""
    table = subprocess.run([RECORDS, "--epoch", path], capture_output=True, text=True)
    if table.returncode and "no record" not in table.stderr:
        raise AssertionError(f"{path.name} cannot be read: {table.stderr}")
    fields = (line.split("\t") for line in table.stdout.splitlines()[1:])
    return [int(seconds) + int(nanoseconds) / 1e9 for seconds, nanoseconds, *_ in fields]


def look(folder, start, cut, before):
    """What the cut at the record time `cut` left. Records arrived until `before`, and then from
    `start` on."""
    stamps, zeros, finished = [], 0, {}
    for path in sorted(folder.glob("device/[0-9]*")):
        half_hour, found = int(path.name[:10]), stamps_of(path)
        if half_hour < START - 900:
            finished.setdefault(half_hour, []).append((path.suffix == ".zst", len(found)))
        else:
            zeros += path.read_bytes().count(b"\0")
            stamps += found
    counts = {count for copies in finished.values() for _, count in copies}
    assert len(finished) == FINISHED and len(counts) == 1, f"finished half hours: {finished}"
    last = max(stamps)
    gaps = sum(b - a > 1.5 / RATE for a, b in zip(stamps, stamps[1:]) if not a < start <= b)
    return {"lost": cut - start + before - last if last < start else cut - last, "zeros": zeros,
            "gaps": gaps, "compressed": sum(copy for copies in finished.values()
                                            for copy, _ in copies[:1])}


def comes_back(sampling, folder, start):
    """Seconds from power on until the first record from `start` on is in a file."""
    begin = time.time()
    guest = Guest(sampling.installed.machine, sampling.installed.image, folder / "cut.qcow2",
                  folder)
    lines = Lines(guest)
    try:
        lines.attach(f"--baud 38400 --start {start}")
        guest.wait_until_up()
        while time.time() < begin + 300:
            last = guest.result(guest.start(f"tail -qn 1 $(ls -t {HOME}/*.young* | head -n 1)"))[1]
            if last.startswith("DATA_SONIC\t") and int(last.split("\t")[1]) >= start:
                return time.time() - begin
            time.sleep(1)
        raise AssertionError("no record arrived after the machine had booted")
    finally:
        guest.cut_power()
        lines.end()


def opened(instrument):
    """When the guest's line reached the instrument, which counts the records' time from then."""
    while not (when := instrument.seen("port opened")):
        time.sleep(0.01)
    return when


def one_cut(sampling, folder, k, seconds):
    start = sampling.until + 1
    across = k % 5 == 4
    if across:  # the half hour ends while it runs
        start = START - 900 + HALF_HOUR - random.randrange(0, int(seconds))
    guest, lines, instrument = sampling.go_on(folder, start)
    try:
        guest.wait_until_up()
        begin = opened(instrument)
        # It syncs, which brings the records to the disk as well: in every other cut only.
        if k % 2:
            time.sleep(max(0, begin + seconds - random.uniform(0.2, 8) - time.time()))
            guest.start("systemctl start sonicd-compress")
        time.sleep(max(0, begin + seconds - time.time()))
        guest.cut_power()
        cut = start + time.time() - begin - SETTLE
    finally:
        guest.process.kill()
        lines.end()
    seen = look(recovered(folder / "cut.qcow2", folder), start, cut, sampling.until)
    if k % 10 == 9:
        seen["back"] = comes_back(sampling, folder, start + HALF_HOUR)
    return {"seconds": seconds, "across": across, "compress": bool(k % 2), **seen}


def written(sampling, folder, way="true", settle=10, seconds=120):
    """Bytes, writes and flushes of the disk a second, while nothing but the sampling goes on, and
    what a cut then leaves."""
    start = sampling.until + 1
    guest, lines, instrument = sampling.go_on(folder, start)
    try:
        guest.wait_until_up()
        guest.run(way)
        time.sleep(settle)
        before = guest.written()
        time.sleep(seconds + random.uniform(0, settle))
        after = guest.written()
        cut = start + time.time() - opened(instrument) - SETTLE
        guest.cut_power()
    finally:
        guest.process.kill()
        lines.end()
    seen = look(recovered(folder / "cut.qcow2", folder), start, cut, sampling.until)
    return [(b - a) / seconds for a, b in zip(before, after)], seen["lost"]


def in_a_folder(function, sampling, *arguments):
    with tempfile.TemporaryDirectory(dir=sampling.folder) as folder:
        return function(sampling, Path(folder), *arguments)


def compare(rounds, folder):
    sampling = Sampling("flush", folder)
    tries = [way for way in WAYS for _ in range(rounds)]
    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        seen = list(pool.map(
            lambda way: in_a_folder(written, sampling, WAYS[way], 30, 60), tries))
    for way in WAYS:
        costs, losses = zip(*(one for name, one in zip(tries, seen) if name == way))
        size, writes, flushes = (statistics.mean(cost) for cost in zip(*costs))
        print(f"{way}: {size / 1000:.1f} kB, {writes:.2f} writes and {flushes:.2f} flushes a "
              f"second; lost {', '.join(f'{loss:.1f}' for loss in losses)} s", flush=True)


def cut_often(way, cuts, folder, result):
    sampling = Sampling(way, folder)
    report = {"way": way, "written": in_a_folder(written, sampling)[0], "cuts": []}

    def cut(k):
        seen = in_a_folder(one_cut, sampling, k, random.uniform(5, 75))
        print(way, k, seen, flush=True)
        report["cuts"].append(seen)
        result.write_text(json.dumps(report, indent=1))

    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        list(pool.map(cut, range(cuts)))
    lost = [cut["lost"] for cut in report["cuts"]]
    worst = {what: max(cut.get(what, 0) for cut in report["cuts"])
             for what in ("lost", "gaps", "zeros", "back")}
    print(f"{way}: {cuts} cuts; seconds of records lost: median {statistics.median(lost):.1f}, "
          f"worst {worst['lost']:.1f}; gaps {worst['gaps']}, zero bytes at most {worst['zeros']}; "
          f"first record at most {worst['back']:.0f} s after the power was back")


def main(way, cuts, result):
    random.seed(way)
    with tempfile.TemporaryDirectory(prefix="power-", dir=ROOT / "build/machine") as folder:
        if way == "all":
            compare(int(cuts), Path(folder))
        else:
            cut_often(way, int(cuts), Path(folder), Path(result))


if __name__ == "__main__":
    main(*sys.argv[1:])
