"""What was wrong before, and what has not been reported yet."""

import json
import os
import sys

from sonic_alarm.condition import span_text, time_text

MAX_UNREPORTED_LINES = 500


class Memory:
    """Kept in a file that is replaced in one piece, so that an end at any moment loses nothing."""

    def __init__(self, path):
        self.path = path
        self.ports, self.active, self.unreported = {}, {}, []
        self.last_run = self.broker_seen = 0
        try:
            state = json.loads(path.read_text())
            self.ports, self.active = dict(state["ports"]), dict(state["active"])
            self.unreported = list(state["unreported"])
            self.last_run, self.broker_seen = state["last_run"], state["broker_seen"]
        except FileNotFoundError:
            pass
        except (OSError, ValueError, TypeError, KeyError) as error:
            print(f"sonic-alarm: {path}: {error!r}; beginning again", file=sys.stderr)

    def update(self, conditions, now):
        """Notes what has changed. What is not among the conditions is not known now."""
        for key, subject, problem, well in conditions:
            known = self.active.get(key)
            if problem and not known:
                self.active[key] = {"since": now, "subject": subject}
                self._report(now, f"ALARM {subject}: {problem}")
            elif known and not problem:
                lasted = span_text(now - known["since"])
                self._report(now, f"well again after {lasted}: {subject}: {well}")
                del self.active[key]

    def forget(self, name):
        """A port, or all of a station. Returns whether there was anything."""
        names = [port for port in self.ports if port == name or port.startswith(f"{name}/")]
        keys = [f"silent {port}" for port in names]
        keys += [key for key in self.active if key.split(" ")[1:2] == [name]]
        for port in names:
            del self.ports[port]
        for key in keys:
            self.active.pop(key, None)
        return bool(names or keys)

    def _report(self, now, line):
        # A station's name may have any characters, and goes into the head of a mail.
        line = "".join(c if c.isprintable() else "?" for c in line)
        self.unreported.append(f"{time_text(now)}  {line}")
        if len(self.unreported) > MAX_UNREPORTED_LINES:
            self.unreported[:2] = ["(earlier lines are left out)"]

    def save(self):
        """Writes it in one piece that outlives a power cut."""
        part = self.path.with_name(f".{self.path.name}.part")
        with open(part, "w", encoding="ascii") as file:
            json.dump({name: value for name, value in vars(self).items() if name != "path"}, file,
                      indent=1)
            file.flush()
            os.fsync(file.fileno())
        part.replace(self.path)
