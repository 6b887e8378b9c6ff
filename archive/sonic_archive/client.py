"""The archive's server, by way of clickhouse-client."""

import os
import shlex
import subprocess
from contextlib import contextmanager

CONNECT_SECONDS = 5
ESCAPES = str.maketrans({"\\": r"\\", "'": r"\'"})
TSV_ESCAPES = {b"\\": rb"\\", b"\t": rb"\t", b"\n": rb"\n", b"\r": rb"\r", b"\0": rb"\0"}
TSV_CHARACTERS = {rb"\t": b"\t", rb"\n": b"\n", rb"\r": b"\r", rb"\0": b"\0", rb"\\": b"\\",
                  rb"\'": b"'", rb"\b": b"\b", rb"\f": b"\f"}


class ArchiveError(Exception):
    """The archive gave no answer, or did not take what it was given."""


def quoted(text):
    """A text as ClickHouse's queries write one."""
    return f"'{text.translate(ESCAPES)}'"


def tsv_cell(value):
    """Bytes as a cell of ClickHouse's TabSeparated."""
    for character, escape in TSV_ESCAPES.items():
        value = value.replace(character, escape)
    return value


def from_tsv_cell(cell):
    """The opposite of tsv_cell."""
    if b"\\" not in cell:
        return cell
    value, position = b"", 0
    while position < len(cell):
        pair = cell[position:position + 2]
        value += TSV_CHARACTERS.get(pair, cell[position:position + 1])
        position += 2 if pair in TSV_CHARACTERS else 1
    return value


class Archive:
    """Talks to the first host that answers, of those that SONIC_STORE names, which has options of
    clickhouse-client. Without an answer for `timeout` seconds it gives up. `settings` are
    ClickHouse's, for each query."""

    def __init__(self, database=None, timeout=60, **settings):
        self._options = shlex.split(os.environ.get("SONIC_STORE", ""))
        hosts = _take(self._options, "host", "localhost").split(",")
        self.database = _take(self._options, "database", "sonic") if database is None else database
        self._options.append(f"--database={self.database}")
        settings = {"connect_timeout_with_failover_ms": CONNECT_SECONDS * 1000,
                    "receive_timeout": timeout, "send_timeout": timeout, **settings}
        self._options += [f"--{name}={value}" for name, value in settings.items()]
        self._options.append(f"--connect_timeout={min(CONNECT_SECONDS, timeout)}")
        self._options.append(f"--host={self._first_that_answers(hosts)}")

    def _first_that_answers(self, hosts):
        if len(hosts) == 1:
            return hosts[0]
        for host in hosts:
            if subprocess.run(self._command("SELECT 1", f"--host={host}"), capture_output=True,
                              check=False).returncode == 0:
                return host
        raise ArchiveError(f"none of {', '.join(hosts)} answers")

    def _command(self, query, *options):
        return ["clickhouse-client", *self._options, *options, "--query", query]

    def rows(self, query):
        """A list of rows; each is a list of bytes."""
        done = subprocess.run(self._command(query + " FORMAT TabSeparated"), capture_output=True,
                              check=False)
        _check(done.returncode, done.stderr)
        return [[from_tsv_cell(cell) for cell in line.split(b"\t")]
                for line in done.stdout.split(b"\n")[:-1]]

    @contextmanager
    def lines(self, query):
        """An iterable of the answer's lines, in constant memory."""
        process = subprocess.Popen(self._command(query + " FORMAT TabSeparated"),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        with process:
            yield process.stdout
            _check(process.wait(), process.stderr.read())

    def run(self, statements):
        """Statements that have no answer, divided by semicolons."""
        done = subprocess.run(["clickhouse-client", *self._options, "--multiquery"],
                              input=statements.encode(), capture_output=True, check=False)
        _check(done.returncode, done.stderr)

    def print(self, query, format_):
        """The answer on standard output."""
        done = subprocess.run([*self._command(query), f"--format={format_}"], check=False,
                              stderr=subprocess.PIPE)
        _check(done.returncode, done.stderr)

    @contextmanager
    def insert(self, table):
        """A file for rows as TabSeparated; they are in when the context ends without an error."""
        process = subprocess.Popen(self._command(f"INSERT INTO {table} FORMAT TabSeparated"),
                                   stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        with process:
            try:
                yield process.stdin
                process.stdin.close()
            except BrokenPipeError:
                pass  # it says why on standard error
            except BaseException:
                process.kill()
                raise
            _check(process.wait(), process.stderr.read())

    def matching(self, query, structure, lines):
        """Lines of the answer to a query about the table `files`, which consists of `lines`."""
        done = subprocess.run(
            self._command(query + " FORMAT TabSeparated", "--external", "--file=-", "--name=files",
                          f"--structure={structure}"),
            input=b"".join(lines), capture_output=True, check=False)
        _check(done.returncode, done.stderr)
        return done.stdout.splitlines(keepends=True)


def _take(options, name, default):
    """Removes an option and returns its value."""
    for i, option in enumerate(options):
        if option == f"--{name}":
            value = options[i + 1] if i + 1 < len(options) else ""
            del options[i:i + 2]
            return value
        if option.startswith(f"--{name}="):
            del options[i]
            return option.partition("=")[2]
    return default


def _check(status, errors):
    if status == 0:
        return
    text = errors.decode(errors="replace").strip()
    raise ArchiveError(text or f"clickhouse-client ended with status {status}")
