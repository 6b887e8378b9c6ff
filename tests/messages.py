#!/usr/bin/python3
"""Every text that the program prints is explained in doc/operations.md, and no other."""

import ast
import re
from pathlib import Path

ROOT = Path(__file__).parent.parent
LITERAL = r'"(?:[^"\\]|\\.)*"'
# Where a text is printed, thrown, logged or published; what follows up to the semicolon is it.
PRINTED = re.compile(
    r'(?:out <<|runtime_error\(|throw_error\(\w+, \{|(?=\bfail\()|syslog\(\w+, "%s",|text = '
    r'|notify\(|throw_if_terminated\(|heard\('
    r'|print_checksums\(|_mosquitto_error\(|return (?="[a-z ]+";)'
    r'|(?:NO_\w+|\w*TERMINATED|INTERRUPTED|TIMED_OUT) = )'
    rf'((?:[^;"]|{LITERAL})*);')
EITHER_OR = re.compile(rf"\? ({LITERAL}) : ({LITERAL})")
# Texts of libraries and of the system, which the program passes on.
OTHERS = re.compile(r"map::at|stoull?|bad lexical cast: |\* Line |in Json::Value::|Type is not conv"
                    r"|Memory exhausted|std::bad_alloc|terminate called after ")


def pattern(statement):
    """The literals of a statement, and any text for what stands between them."""
    literals = [ast.literal_eval(c).strip(" ,.\n") for c in re.findall(LITERAL, statement)]
    code = [re.sub(r"std::(endl|hex|dec|string)", "", c) for c in re.split(LITERAL, statement)]
    gaps = [".*" if re.search(r"[\w,]", c) else r"\s*" for c in code]
    text = "".join(gap + re.escape(literal) for gap, literal in zip(gaps, literals + [""]))
    return text if any(literals) else None


def printed():
    for path in sorted(ROOT.glob("src/*/*.cpp")):
        source = re.sub("//.*", "", path.read_text())
        for statement in PRINTED.findall(source):
            for side in r"\1", r"\2":
                if text := pattern(EITHER_OR.sub(side, statement)):
                    yield text


def explained():
    """What stands as code in the first column of the tables."""
    text = (ROOT / "doc/operations.md").read_text()
    chapters = re.findall("^## (?:The status topic|Messages)\n(.*?)(?=^## )", text, re.M | re.S)
    for cell in re.findall(r"^\|(.*?) \| ", "".join(chapters), re.M):
        yield from re.findall("`(.*?)`", cell)


texts, messages = set(printed()), list(explained())
unexplained = [t for t in texts if not any(re.match(f"(.*, )?{t}", m) for m in messages)]
unknown = [m for m in messages if not any(re.match(t, m) for t in texts) and not OTHERS.match(m)]
print("not explained:", *unexplained, "not printed:", *unknown, sep="\n  ")
raise SystemExit(bool(unexplained or unknown))
