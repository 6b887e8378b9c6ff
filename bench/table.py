"""Writes the measured figures into the document: table.py RESULTS DOCUMENT COMPILER"""

import datetime
import json
import os
import platform
import subprocess
import sys
from pathlib import Path

BEGIN = "<!-- figures of script/bench -->"
END = "<!-- end of figures -->"
RATE = 32  # records a second of the fastest instrument
KIB, MIB = 1 << 10, 1 << 20


def us(seconds):
    return f"{seconds * 1e6:.2f} µs"


def percent(share):
    return f"{share * 100:.3f} %"


def machine():
    lines = subprocess.run(["lscpu"], capture_output=True, text=True).stdout.splitlines()
    facts = dict(line.strip().split(":", 1) for line in lines if ":" in line)
    model = facts.get("Model name", "").strip() or platform.processor()
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / (1 << 30)
    load = os.getloadavg()[2]
    return (f"{platform.machine()}, {model}, {os.cpu_count()} cores, {memory:.0f} GiB; "
            f"Linux {platform.release()}; load over the last quarter of an hour {load:.1f}")


def micro(results):
    """Median processor seconds per record, by benchmark."""
    runs = json.loads((results / "record.json").read_text())["benchmarks"]
    return {r["run_name"]: r["cpu_time"] * 1e-9 for r in runs if r["aggregate_name"] == "median"}


def rows(results):
    cost = micro(results)
    both, burst, paced, absent, live = (
        json.loads((results / f"{name}.json").read_text())
        for name in ["floor", "burst", "paced", "absent", "live"])
    own = sum(both[k] for k in ["main", "client"])
    least = sum(both[k] for k in ["floor_main", "floor_client"])
    calls = burst["system_calls"]
    named = sorted(((n, name) for name, n in calls.items() if n > 0.005), reverse=True)
    growth = paced["memory_late"] - paced["memory_early"]
    absent_hour = absent["bytes_per_record"] * RATE * 3600
    lost = 1_000_000 - min(burst["records"], paced["records"])
    missing = max(1_000_000 - paced["fast_topic"], -(-1_000_000 // RATE) - paced["topic"])
    share = live["share_main"] + live["share_client"]

    yield "**One record, processor time**", "", "", None
    yield "the matcher alone (`regexec`, 20 sub-matches)", us(cost["matcher"]), "", None
    yield ("extraction (match, assemble, both checks)",
           *ratio(cost["extraction"], cost["matcher"], 1.25, "the matcher"))
    yield ("everything else of our own (cut, transform, check, line, split, JSON)",
           *ratio(cost["all_but_extraction"], cost["matcher"], 0.5, "the matcher"))
    yield "**The whole daemon, processor time per record**", "", "", None
    yield "floor program", us(least), "", None
    yield ("daemon, in turns with it; median of the ratios",
           *ratio(own, least, 1.2, "the floor", both["ratio"]))
    yield ("of that: main thread / MQTT client's thread",
           f"{us(both['main'])} / {us(both['client'])}", "", None)
    yield ("the same while bursting",
           f"{us(burst['cpu_main'])} / {us(burst['cpu_client'])}", "", None)
    yield "system calls per record", f"{sum(calls.values()):.1f}", "", None
    yield "of that", ", ".join(f"{name} {n:.2f}" for n, name in named), "", None
    yield "**A million records**", "", "", None
    yield ("as fast as the port gives them",
           f"{burst['rate']:,.0f} records/s", "≥ 3,200 records/s", burst["rate"] >= 3200)
    yield ("sustained, to file and both topics, with a subscriber",
           f"{paced['rate']:,.0f} records/s", "≥ 3,200 records/s", paced["rate"] >= 3200)
    yield "records lost in the file, both runs", f"{lost}", "0", lost == 0
    yield "messages lost on the topics, sustained", f"{missing}", "0", missing == 0
    yield ("memory (RSS) grown from record 100,000 to 1,000,000, sustained",
           f"{growth / KIB:.0f} KiB", "< 512 KiB", growth < 512 * KIB)
    yield "highest memory, sustained", f"{paced['memory_peak'] / MIB:.1f} MiB", "", None
    yield ("as fast as the port gives them: longest queue in the MQTT client",
           f"{burst['longest_queue']:,} messages", "", None)
    yield ("highest memory with that queue", f"{burst['memory_peak'] / MIB:.0f} MiB", "", None)
    yield ("until the broker had the rest, after the last record",
           f"{burst['caught_up_seconds']:.1f} s", "", None)
    yield f"**{RATE} Hz in real time, over {live['seconds']:.0f} s**", "", "", None
    yield "records", f"{live['records']:,}", "", None
    yield ("share of one core: main thread / MQTT client's thread",
           f"{percent(live['share_main'])} / {percent(live['share_client'])}", "", None)
    yield "share of one core, together", percent(share), "", None
    yield "the broker's share, for comparison", percent(live["share_broker"]), "", None
    yield "highest memory", f"{live['memory_peak'] / MIB:.1f} MiB", "", None
    yield "**Without a broker**", "", "", None
    yield ("memory per record", f"{absent['bytes_per_record']:.0f} bytes", "", None)
    yield f"memory per hour at {RATE} Hz", f"{absent_hour / MIB:.0f} MiB", "", None
    yield (f"share of one core for looking for the broker, after an hour at {RATE} Hz",
           percent(absent["client_share"] * RATE * 3600 / absent["records"]), "", None)
    yield ("memory with the queue full / after the broker had all",
           f"{absent['memory_full'] / MIB:.0f} / {absent['memory_after'] / MIB:.0f} MiB", "", None)
    yield from port_rows(json.loads((results / "port.json").read_text()))
    yield from reading_rows(json.loads((results / "reading.json").read_text()))
    yield from archive_rows(json.loads((results / "archive.json").read_text()))


def port_rows(port):
    early, late = port["memory"]
    yield "**sonic-port**", "", "", None
    for what, seconds in [("delay of the stamps after the sending", port["stamps"]),
                          ("of a program that only reads and takes the time", port["reader"])]:
        yield (f"{what}, {RATE} Hz over {port['seconds']} s: median / 99 % / worst",
               " / ".join(f"{s * 1e6:.0f}" for s in seconds) + " µs", "", None)
    for when, cost in [("in real time", port["live"]), ("at 400 times that", port["paced"])]:
        yield (f"processor time per record {when}, in turns with `socat`; median of the ratios",
               *ratio(cost["own"], cost["socat"], 1.3, "socat", cost["ratio"]))
    yield ("memory (RSS) grown from record 100,000 to 1,000,000",
           f"{(late - early) / KIB:.0f} KiB", "< 512 KiB", late - early < 512 * KIB)


def reading_rows(day):
    own, pandas, mawk = (day[f"{name}_seconds"] for name in ("records", "pandas", "mawk"))
    yield f"**A day of files, {day['bytes'] / MIB:.0f} MiB, in turns**", "", "", None
    yield "sonic-records, to a table", f"{day['bytes'] / own / MIB:,.0f} MiB/s", "", None
    yield ("pandas' C reader takes", f"{pandas / own:.1f} times as long", "≥ 5 times",
           pandas >= 5 * own)
    yield ("mawk, splitting the lines alone, takes", f"{mawk / own:.1f} times as long", "≥ 1 times",
           mawk >= own)
    memory, limit = day["records_memory"], 8 * MIB
    yield ("highest memory of sonic-records", f"{memory / MIB:.1f} MiB", "< 8 MiB", memory < limit)
    hours = day["half_hours_seconds"]
    yield ("its half hours: time", f"{hours:.2f} s", "", None)
    yield ("pandas' C reader, without any statistics, takes", f"{pandas / hours:.1f} times as long",
           "≥ 3.2 times", pandas >= 3.2 * hours)
    memory = day["month_memory"]
    yield (f"the half hours of a month, {day['month_files']} files: time",
           f"{day['month_seconds']:.0f} s", "", None)
    yield ("highest memory of that", f"{memory / MIB:.1f} MiB", "< 16 MiB", memory < 16 * MIB)
    yield ("sonic-plot: time / highest memory",
           f"{day['plot_seconds']:.1f} s / {day['plot_memory'] / MIB:.0f} MiB", "", None)
    yield ("sonicd-compress: time a half hour / plain to compressed",
           f"{day['compress_seconds']:.2f} s / {day['compress_ratio']:.1f}", "", None)
    yield "**A half hour with stamps as they arrive**", "", "", None
    for name, level in day["levels"].items():
        yield (f"{name}: plain to compressed / time / memory",
               f"{level['ratio']:.2f} / {level['seconds']:.2f} s / {level['memory'] / MIB:.0f} MiB",
               "", None)


def archive_rows(archive):
    numbers, texts, current = (archive[name] for name in ("numbers", "texts", "current"))
    yield "**The archive: one server, 18.16**", "", "", None
    yield ("loading a day of files, with their half hours",
           f"{archive['load_rate']:,.0f} records/s", "", None)
    yield ("a plain INSERT of the same records",
           f"{archive['plain_rate']:,.0f} records/s", "", None)
    days = archive["days"]
    yield from size_and_times("", numbers, days, archive["exact"])
    if "all" in numbers:
        yield times_of(days), pair(numbers, "all"), "", None
    yield from size_and_times("the former tables with values as texts: ", texts, days)
    if current:
        yield from size_and_times("a current engine, as a library: ", current, days,
                                  current["exact"])
    yield "**Half hours of twenty stations in five years**", "", "", None
    for name, what in [("stations", "all stations"), ("completeness", "every day of all stations"),
                       ("half_hours", "five years of one station"),
                       ("gusts", "five years of one station")]:
        seconds = archive[f"ask_{name}"]
        yield f"`sonic-ask {name}`: {what}", f"{seconds:.2f} s", "< 1 s", seconds < 1
    yield ("most memory of one of these questions",
           f"{archive['ask_memory'] / MIB:.0f} MiB", "", None)


def size_and_times(name, figures, days, exact=None):
    also = f"; {exact:.1f} with exact ones" if exact else ""
    yield (f"{name}disk, with stamps as they arrive",
           f"{figures['late']:.1f} bytes a record{also}", "", None)
    for span, its_days in (("day", 1), ("month", min(days, 30))):
        yield name + times_of(its_days), pair(figures, span), "", None


def times_of(days):
    return (f"means and a flux by half hour of {days * 86400 * RATE / 1e6:,.0f} million records "
            f"({days} d): with `FINAL` / without")


def pair(figures, span):
    return f"{figures[span + '_final']:.1f} s / {figures[span]:.1f} s"


def ratio(cost, reference, target, name, value=None):
    value = cost / reference if value is None else value
    return f"{us(cost)}, {value:.2f} times {name}", f"≤ {target} times", value <= target


def table(results, compiler):
    lines = [f"Machine: {machine()}.  ", f"Compiler: {compiler}.  ",
             f"Date: {datetime.date.today()}.", "",
             "| what | measured | target | |", "|---|---|---|---|"]
    for what, measured, target, met in rows(results):
        verdict = {None: "", True: "met", False: "**missed**"}[met]
        lines.append(f"| {what} | {measured} | {target} | {verdict} |")
    return "\n".join(lines)


if __name__ == "__main__":
    document = Path(sys.argv[2])
    head, _, rest = document.read_text().partition(BEGIN)
    _, _, tail = rest.partition(END)
    text = table(Path(sys.argv[1]), sys.argv[3])
    document.write_text(f"{head}{BEGIN}\n{text}\n{END}{tail}")
    print(text)
