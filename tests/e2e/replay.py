"""What comes of recorded port input: data files, messages and printed lines, in one text.

Adding a case: put x.port into tests/replay, and save what this script prints for it in a private
device, once it is right, as x.expected (doc/development.md has the command).
"""

import os
import subprocess
import sys
from pathlib import Path

TOPICS = ["status", "record", "fast"]


def replay(recording):
    heard = subprocess.Popen(["mosquitto_sub", "-h", "::1", "-q", "1", "-F", "%t %p"] +
                             [a for topic in TOPICS for a in ("-t", topic)],
                             stdout=subprocess.PIPE)
    printed = subprocess.run([os.environ["REPLAY"], str(recording)], stdout=subprocess.PIPE).stdout
    heard.kill()  # asked politely, it sometimes waits for itself for ever
    messages = heard.communicate()[0].splitlines()
    sections = [(str(path), path.read_bytes())
                for path in sorted(Path(os.environ["DEVICE_HOME"]).glob("*.young.*"))]
    for topic in TOPICS:
        start = topic.encode() + b" "
        sections.append((topic, b"".join(m[len(start):] + b"\n" for m in messages
                                         if m.startswith(start) and m != b"status gone")))
    sections.append(("printed", b"".join(line for line in printed.splitlines(keepends=True)
                                         if b"this=" not in line)))
    return b"".join(b"== " + name.encode() + b"\n" + text for name, text in sections)


if __name__ == "__main__":
    sys.stdout.buffer.write(replay(sys.argv[1]))
