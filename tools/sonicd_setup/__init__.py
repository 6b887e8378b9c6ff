"""Parts of sonicd-setup."""

import subprocess

# sonicd serves these ports; each has a power line (GPIO) on the loggers that have one.
POWER_LINES = {"ttyS1": 13, "ttyS2": 66, "ttyS4": 9}
PORTS = list(POWER_LINES)
OWNER = "qelta"
HOME = f"/home/{OWNER}"
DATA_FOLDER = f"{HOME}/device"  # where sonicd writes; a unit may bind another folder over it


class Failure(Exception):
    """Nothing more can be done; the text says why and what helps."""


class UsageError(Failure):
    """The command line is wrong."""


def output(*command):
    """What a command prints, whatever its status, without the line's end."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          stdin=subprocess.DEVNULL, encoding="utf-8", errors="replace", check=False)
    return done.stdout.rstrip("\n")


def run(*command):
    """Runs a command that must succeed."""
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, encoding="utf-8", errors="replace", check=False)
    if done.returncode:
        raise Failure(f"{' '.join(command)}: {done.stderr.strip() or done.returncode}")


def run_as_owner(*command, text=""):
    """Runs a command as the user who owns the data folders, so that a link placed there leads root
    nowhere."""
    done = subprocess.run(command, input=text, stderr=subprocess.PIPE, encoding="utf-8",
                          user=OWNER, group=OWNER, extra_groups=[], cwd="/", check=False)
    if done.returncode:
        raise Failure(f"{' '.join(command)}: {done.stderr.strip() or done.returncode}")
