"""Measures the archive: archive.py BUILD RESULT.json DAYS, in the network of archive_servers.py.

A day of files goes in through the loader. DAYS of one station, and five years of half hours of
twenty stations, are made of it in the server. A month goes into a current engine, too, if
script/archive-current has fetched it. A year needs 13 GB.
"""

import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "script"))
from archive_servers import Servers  # noqa: E402

BUILD, RESULT, DAYS = Path(sys.argv[1]), Path(sys.argv[2]).resolve(), int(sys.argv[3])
CURRENT = ROOT / "build/current/node_modules/chdb"
DAY, RATE = 86400, 32
MONTH = min(DAYS, 30)
SPANS = {"day": 1, "month": MONTH}
FIRST_DAY = 1698796800  # 2023-11-01
PERIOD = [f"from={FIRST_DAY}", f"to={FIRST_DAY + 5 * 366 * DAY}"]
COLUMNS = ["station", "seconds", "nanoseconds", "u100", "v100", "w100", "sos100", "ts100", "diag",
           "texts", "rate"]
# make-files stamps records at exact fractions of a second. On a port they arrive later: here by a
# gamma distribution with a mean of 120 µs, as in bench/reading.py.
LATE = ("toUInt32(nanoseconds - 60000 * (log((rand(1) + 1) / 4294967296) "
        "+ log((rand(2) + 1) / 4294967296)))")
# What users ask records for: means and a flux by half hour.
QUESTION = ("SELECT intDiv(seconds, 1800) AS half_hour, avg({u}), avg({w}), avg({ts}), "
            "covarPop({w}, {ts}) FROM {table} WHERE station = 'mast-07' AND seconds < {end} "
            "GROUP BY half_hour FORMAT Null")
NUMBERS = {name: name for name in ("u", "w", "ts")}
TEXTS = {name: f"toFloat64({name})" for name in ("u", "w", "ts")}


def seconds_of(work, *arguments, rounds=1, **keywords):
    times = []
    for _ in range(rounds):
        start = time.monotonic()
        work(*arguments, **keywords)
        times.append(time.monotonic() - start)
    return statistics.median(times)


def run(*command, **arguments):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, **arguments).stdout


def bytes_a_row(server, database, table):
    return float(server.query("SELECT sum(bytes_on_disk) / sum(rows) FROM system.parts WHERE "
                              f"active AND database = '{database}' AND table = '{table}'"))


def insert_later(query, source, target, days):
    """As many days of records as wanted, each the one of `source` with other late stamps."""
    for day in range(days):
        moved = {"seconds": f"seconds + {day * DAY}", "nanoseconds": LATE}
        query(f"INSERT INTO {target} ({', '.join(COLUMNS)}) "
              f"SELECT {', '.join(moved.get(name, name) for name in COLUMNS)} FROM {source}")


def loading(server, folder):
    """Records a second, through the loader and by a plain INSERT of the same rows."""
    files = folder / "mast-07"
    files.mkdir()
    run(BUILD / "simulator/make-files", files, str(FIRST_DAY), str(DAY), "7")
    paths = sorted(files.iterdir())
    loader = seconds_of(run, "sonic-load", *paths)
    server.query("CREATE TABLE sonic.plain (seconds UInt64, nanoseconds UInt32, u String, v String,"
                 " w String, sos String, ts String, diag String) ENGINE = MergeTree "
                 "ORDER BY seconds")
    plain = seconds_of(run, "bash", "-c", 'sonic-records --epoch "$@" | clickhouse-client '
                       '--host archive-1 --query "INSERT INTO sonic.plain FORMAT '
                       'TabSeparatedWithNames"', "bash", *paths)
    return {"load_rate": DAY * RATE / loader, "plain_rate": DAY * RATE / plain}


def make_days(server, former):
    """DAYS of records with late stamps. `former` has a month of them as the archive's tables were
    before: values as texts, on a server with its own compression."""
    server.query("CREATE DATABASE later")
    schema = server.query("SHOW CREATE TABLE sonic.records")
    server.query(schema.encode().decode("unicode_escape").replace("sonic.records", "later.records"))
    insert_later(server.query, "sonic.records", "later.records", DAYS)
    former.query("CREATE DATABASE later")
    former.query("""
        CREATE TABLE later.records (station String, seconds UInt64, nanoseconds UInt32, u String,
          v String, w String, sos String, ts String, diag String)
        ENGINE = ReplacingMergeTree PARTITION BY toYYYYMM(toDateTime(seconds, 'UTC'))
        ORDER BY (station, seconds, nanoseconds, u, v, w, sos, ts, diag)""")
    names = ("u", "v", "w", "sos", "ts", "diag")
    values = ", ".join(f"sent[{i}] AS {name}" for i, name in enumerate(names, start=1))
    for day in range(MONTH):
        begin = FIRST_DAY + day * DAY
        run("bash", "-c",
            'clickhouse-client --host archive-1 --query "$1" | clickhouse-client --host archive-2 '
            '--query "INSERT INTO later.records FORMAT Native"', "bash",
            f"SELECT station, seconds, nanoseconds, {values} FROM later.records "
            f"WHERE seconds >= {begin} AND seconds < {begin + DAY} FORMAT Native")


def asking_records(query, values, spans):
    """Seconds by the name of a span and whether equal records are merged first."""
    answers = {}
    for name, days in spans.items():
        for how, final in (("", ""), ("_final", " FINAL")):
            asked = QUESTION.format(table=f"later.records{final}", end=FIRST_DAY + days * DAY,
                                    **values)
            answers[name + how] = seconds_of(query, asked, rounds=3 if days <= MONTH else 1)
    return answers


def half_hours(server):
    """Seconds and memory for questions about five years of twenty stations."""
    columns = server.query("SELECT name FROM system.columns WHERE database = 'sonic' AND table = "
                           "'half_hours'").split()
    moved = {"station": "concat('mast-', toString(100 + number))", "seconds": "seconds + step",
             "last_second": "last_second + step"}
    for name, second in (("start", "seconds"), ("first", "seconds"), ("last", "last_second")):
        moved[name] = (f"concat(replaceOne(toString(toDateTime({second} + step, 'UTC')), ' ', "
                       f"'T'), substring({name}, 20))")
    for station in range(20):
        for year in range(5):
            server.query(f"""
                INSERT INTO sonic.half_hours ({', '.join(columns)})
                SELECT {', '.join(moved.get(name, name) for name in columns)}
                FROM (SELECT *, {station} AS number, arrayJoin(arrayMap(day ->
                  toUInt64({year * 366} + day) * {DAY}, range(366))) AS step
                  FROM sonic.half_hours WHERE station = 'mast-07')""")
    store = os.environ["SONIC_STORE"]
    os.environ["SONIC_STORE"] += " --log_queries=1"
    station = "station=mast-110"
    answers = {f"ask_{name}": seconds_of(run, "sonic-ask", name, *arguments, rounds=5)
               for name, arguments in (("stations", []), ("completeness", PERIOD),
                                       ("half_hours", [station, *PERIOD]),
                                       ("gusts", [station, *PERIOD]))}
    os.environ["SONIC_STORE"] = store
    server.query("SYSTEM FLUSH LOGS")
    answers["ask_memory"] = int(server.query("SELECT max(memory_usage) FROM system.query_log"))
    return answers


def current(folder):
    """A current engine: bytes a record, and seconds for a day and a month. It runs in the client's
    process, whose start does not count."""
    if not CURRENT.exists():
        return None
    environment = {**os.environ, "CURRENT_FOLDER": str(folder / "current"),
                   "PATH": f"{ROOT}/script/current-engine:{os.environ['PATH']}"}

    def query(text):
        return run("clickhouse-client", "--query", text, env=environment)

    def do(statement):
        run("clickhouse-client", "--multiquery", input=statement.encode(), env=environment)

    run("sonic-tables", env=environment)
    run("sonic-load", *sorted((folder / "mast-07").iterdir()), env=environment)
    do("CREATE DATABASE later; CREATE TABLE later.records AS sonic.records")
    insert_later(do, "sonic.records", "later.records", MONTH)
    size = ("SELECT sum(bytes_on_disk) / sum(rows) FROM system.parts WHERE active AND database = "
            "'{}' AND table = 'records'")
    figures = {"exact": float(query(size.format("sonic"))),
               "late": float(query(size.format("later")))}
    start = seconds_of(query, "SELECT 1", rounds=3)
    for name, seconds in asking_records(query, NUMBERS, SPANS).items():
        figures[name] = seconds - start
    return figures


def main():
    os.environ["PATH"] = f"{ROOT}/archive:{BUILD}/tools:{os.environ['PATH']}"
    os.environ["SONIC_STORE"] = "--host=archive-1"
    with tempfile.TemporaryDirectory(dir=RESULT.parent) as folder:
        folder = Path(folder)
        (folder / "etc/config.d").mkdir(parents=True)
        shutil.copy(ROOT / "archive/config/compression.xml", folder / "etc/config.d")
        servers = Servers(folder / "servers")
        server = servers.start("archive-1", etc=folder / "etc")
        run("sonic-tables")
        figures = {"days": DAYS, **loading(server, folder), **half_hours(server)}
        server.query("OPTIMIZE TABLE sonic.records FINAL")
        figures["exact"] = bytes_a_row(server, "sonic", "records")
        former = servers.start("archive-2")
        make_days(server, former)
        all_spans = {**SPANS, "all": DAYS} if DAYS > MONTH else SPANS
        figures["numbers"] = {"late": bytes_a_row(server, "later", "records"),
                              **asking_records(server.query, NUMBERS, all_spans)}
        figures["texts"] = {"late": bytes_a_row(former, "later", "records"),
                            **asking_records(former.query, TEXTS, SPANS)}
        figures["current"] = current(folder)
        for machine in servers.values():
            machine.kill()
    RESULT.write_text(json.dumps(figures, indent=2) + "\n")


if __name__ == "__main__":
    main()
