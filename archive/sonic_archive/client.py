"""The archive's servers, reached through clickhouse-client."""

import os
import re
import select
import shlex
import shutil
import subprocess
import sys
from contextlib import contextmanager
from threading import Timer

CONNECT_SECONDS = 5
BLOCK = 1 << 16
SERVER_SAYS = re.compile(r"^Received exception from server \(version [\d.]+\): ")
ESCAPES = str.maketrans({"\\": r"\\", "'": r"\'"})
TSV_ESCAPES = {b"\\": rb"\\", b"\t": rb"\t", b"\n": rb"\n", b"\r": rb"\r", b"\0": rb"\0"}
TSV_CHARACTERS = {rb"\t": b"\t", rb"\n": b"\n", rb"\r": b"\r", rb"\0": b"\0", rb"\\": b"\\",
                  rb"\'": b"'", rb"\b": b"\b", rb"\f": b"\f"}


class ArchiveError(Exception):
    """The archive gave no answer, or did not take what it was given."""


def quoted(text):
    """A text as ClickHouse's queries write it."""
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
    """The first host that answers, of those that SONIC_STORE names in options for
    clickhouse-client. All methods raise ArchiveError, also after `timeout` seconds without an
    answer. `settings` are ClickHouse's, for each query."""

    def __init__(self, database=None, timeout=60, **settings):
        self._timeout = timeout
        if not shutil.which("clickhouse-client"):
            raise ArchiveError("clickhouse-client is not installed")
        try:
            self._options = shlex.split(os.environ.get("SONIC_STORE", ""))
        except ValueError as error:
            raise ArchiveError(f"SONIC_STORE: {error}") from None
        hosts = _take(self._options, "host", "localhost").split(",")
        named = _take(self._options, "database", "sonic")
        self.database = named if database is None else database
        settings = {"connect_timeout": CONNECT_SECONDS,
                    "connect_timeout_with_failover_ms": CONNECT_SECONDS * 1000,
                    "receive_timeout": timeout, "send_timeout": timeout, **settings}
        self._options.append(f"--database={self.database}")
        self._options += [f"--{name}={value}" for name, value in settings.items()]
        self._options.append(f"--host={self._first_that_answers(hosts)}")

    def _first_that_answers(self, hosts):
        if len(hosts) == 1:
            return hosts[0]
        for host in hosts:
            try:
                subprocess.run(self._command("SELECT 1", f"--host={host}"), capture_output=True,
                               timeout=2 * CONNECT_SECONDS, check=True)
                return host
            except (subprocess.CalledProcessError, subprocess.TimeoutExpired):
                pass
        raise ArchiveError(f"none of {', '.join(hosts)} answers")

    def set_if_known(self, name, value):
        """A setting that not every version of the server has."""
        if self.rows(f"SELECT 1 FROM system.settings WHERE name = {quoted(name)}"):
            self._options.append(f"--{name}={value}")

    def rows(self, query, format_="TabSeparated"):
        """A list of rows; each is a list of bytes. With TabSeparatedWithNames, the first one has
        the columns' names."""
        answer = self._answer(self._command(f"{query} FORMAT {format_}"))
        return [[from_tsv_cell(cell) for cell in line.split(b"\t")]
                for line in answer.split(b"\n")[:-1]]

    def matching(self, query, structure, lines):
        """Lines of the answer to a query about the table `files`, which consists of `lines`."""
        command = self._command(query + " FORMAT TabSeparated", "--external", "--file=-",
                                "--name=files", f"--structure={structure}")
        return self._answer(command, b"".join(lines)).splitlines(keepends=True)

    def run(self, statements):
        """Statements that have no answer, separated by semicolons."""
        self._answer(["clickhouse-client", *self._options, "--multiquery"], statements.encode())

    @contextmanager
    def lines(self, query):
        """An iterable of the answer's lines, in constant memory."""
        with self._watched(subprocess.Popen(
                self._command(query + " FORMAT TabSeparated"), stdout=subprocess.PIPE,
                stderr=subprocess.PIPE)) as process:
            yield process.stdout
            errors = process.stderr.read()
        _check(process.returncode, errors)

    def insert(self, table, blocks):
        """Stores rows, given as blocks of TabSeparated. They are stored when it returns."""
        blocks = iter(blocks)
        first = next(blocks, None)
        if first is None:  # clickhouse-client would call that an error
            return
        with self._watched(subprocess.Popen(
                self._command(f"INSERT INTO {table} FORMAT TabSeparated"), stdin=subprocess.PIPE,
                stderr=subprocess.PIPE)) as process:
            try:
                process.stdin.write(first)
                process.stdin.writelines(blocks)
                process.stdin.close()
            except BrokenPipeError:
                pass  # it says why on standard error
            errors = process.stderr.read()
        _check(process.returncode, errors)

    def print(self, query, format_):
        """Copies the answer to standard output as it arrives. Only its pauses have a limit."""
        with subprocess.Popen([*self._command(query), f"--format={format_}"],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            try:
                self._copy(process.stdout.fileno(), format_.startswith("TabSeparated"))
            except BaseException:
                process.kill()
                raise
            errors = process.stderr.read()
        _check(process.returncode, errors)

    def export(self, query, path):
        """The answer as a compressed file in ClickHouse's format Native. It may take any time."""
        with open(path, "wb") as output:
            _pipe(self._command(query + " FORMAT Native"), ["zstd", "-q"], stdout=output)

    def restore(self, table, path):
        """Stores the rows of such a file."""
        with open(path, "rb") as source:
            _pipe(["zstd", "-dcq"], self._command(f"INSERT INTO {table} FORMAT Native"),
                  stdin=source)

    def _command(self, query, *options):
        return ["clickhouse-client", *self._options, *options, "--query", query]

    def _answer(self, command, sent=b""):
        try:
            done = subprocess.run(command, input=sent, capture_output=True, check=False,
                                  timeout=self._timeout)
        except subprocess.TimeoutExpired:
            raise self._silence() from None
        _check(done.returncode, done.stderr)
        return done.stdout

    def _silence(self):
        return ArchiveError(f"no answer for {self._timeout} seconds")

    @contextmanager
    def _watched(self, process):
        """Ends the process when it takes too long. Its own limits do not cover a server that
        accepts the connection and then says nothing."""
        timer = Timer(self._timeout, process.kill)
        timer.start()
        try:
            with process:
                yield process
        except BrokenPipeError:
            pass  # it says why on standard error
        except BaseException:
            process.kill()
            raise
        finally:
            is_late = not timer.is_alive()
            timer.cancel()
        if is_late:
            raise self._silence()

    def _copy(self, source, is_table):
        """In a table, ClickHouse also escapes apostrophes, which separate nothing."""
        rest = b""  # may be the first half of an escape
        while True:
            if not select.select([source], [], [], self._timeout)[0]:
                raise self._silence()
            block = os.read(source, BLOCK)
            is_end = not block
            block = rest + block
            if is_table:
                block = block.replace(rb"\'", b"'")
                rest = b"\\" if block.endswith(b"\\") and not is_end else b""
            sys.stdout.buffer.write(block.removesuffix(rest))
            if is_end:
                return


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


def _pipe(first, second, stdin=None, stdout=None):
    with subprocess.Popen(first, stdin=stdin, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE) as source:
        done = subprocess.run(second, stdin=source.stdout, stdout=stdout, stderr=subprocess.PIPE,
                              check=False)
        source.stdout.close()
        errors = source.stderr.read()
    _check(done.returncode, done.stderr)
    _check(source.returncode, errors)


def _check(status, errors):
    if status == 0:
        return
    text = " ".join(errors.decode(errors="replace").split())
    raise ArchiveError(SERVER_SAYS.sub("", text) or f"clickhouse-client: status {status}")
