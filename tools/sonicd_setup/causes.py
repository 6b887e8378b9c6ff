"""What the journal's lines mean for somebody who has just connected an instrument."""

import re

# Pattern, meaning, advice.
CAUSES = [(re.compile(pattern), meaning, advice) for pattern, meaning, advice in [
    (r"EXCEPTION: autobaud error: no match",
     "no instrument was understood at any baud rate",
     "If nothing was heard, check power, cable and device. If bytes arrived, swap the two wires of "
     "the receiving pair, or use --device: the port's driver may not stamp records."),
    (r"EXCEPTION: TIMEOUT: sampling",
     "no byte arrived for a minute",
     "Check the instrument's power and cable. It is tried again by itself."),
    (r"EXCEPTION: young_enter_interactive: CANNOT ENTER INTERACTIVE",
     "the instrument was silent when asked for its menu",
     "Wait: it is tried again. If it repeats, check the wires to the instrument."),
    (r"EXCEPTION: interactive_read_to_delimiter: NO MATCH",
     "the instrument sends, but does not hear",
     "Check the wires to the instrument; on RS-422, swap the two of the transmitting pair."),
    (r"EXCEPTION: /dev/\S+ error",
     "the port cannot be used",
     "Check that it is a serial port and that no other program has it: fuser -v DEVICE"),
    (r"EXCEPTION: (\* Line|in Json::|Type is not convertible)",
     "config.json cannot be read",
     "Run sonicd-setup again, with --serial: it writes a new one."),
    (r"EXCEPTION: logging error",
     "a data file cannot be opened or written",
     "Check that the disk has room and is not read-only, and that the folder is qelta's."),
    (r"EXCEPTION: Unable to find username|status=216/GROUP",
     "the user qelta is missing",
     "systemd-sysusers sonicd.conf"),
    (r"status=226/NAMESPACE",
     "the data folder is missing, or sonic-port does not offer the port",
     "sonicd-setup --check says which."),
    (r"another sonicd writes to",
     "another sonicd writes to the same data folder",
     "Stop the other one (systemctl list-units 'sonicd@*'), or run sonicd-setup again: it gives "
     "this one a folder of its own."),
    (r"cannot be opened: No such file",
     "the adapter is not plugged in, or has another name",
     "ls -l /dev/serial/by-id/"),
    (r"cannot be opened: Device or resource busy",
     "another program has the device",
     "fuser -v DEVICE names it; a login, a modem manager?"),
    (r"cannot be opened: Permission denied",
     "the device's group is not dialout",
     "ls -lL /dev/serial/by-id/; a udev rule sets the group."),
    (r"sonic-port: .* is gone",
     "the adapter was unplugged",
     "Plug it in again: both services go on by themselves."),
    (r"EXCEPTION: (?!.*terminated by user|sampling$|interactive_read_to_delimiter$)",
     "the daemon ended",
     "messages.md in /usr/share/doc/sonicd explains each text."),
]]


def cause(line):
    """Meaning and advice, or None for a line that means nothing here."""
    for pattern, meaning, advice in CAUSES:
        if pattern.search(line):
            return meaning, advice
    return None
