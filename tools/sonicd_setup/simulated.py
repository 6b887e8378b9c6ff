"""A simulated instrument: everything of it is gone after the next boot, or earlier when removed."""

from pathlib import Path

from . import DATA_FOLDER, HOME, PORTS, Failure, output, run, run_as_owner
from .instance import RUNTIME_UNITS, SIMULATED_DROP_IN, Instance, make_folder

# Not among the folders of real data, which are compressed and sent to archives. The package has it
# removed at each boot.
FOLDER = Path(f"{HOME}/simulated")
SERIAL = "simulated"  # in the name of each of its files
# The power lines are out of reach: a real instrument may be connected to the port.
SETTINGS = f"""\
[Unit]
Wants=sonicd-simulated@%i.service
After=sonicd-simulated@%i.service

[Service]
BindPaths=
BindPaths={FOLDER}:{DATA_FOLDER}
BindPaths=/run/sonicd-simulated/%i/port:/dev/%i
DeviceAllow=char-pts rw
ReadWritePaths=
"""


def port():
    """The port on which the simulated instrument plays, or None."""
    return next((name for name in PORTS if Instance(name).is_simulated()), None)


def drop_in(instance):
    """The file by which an instance is a simulated one."""
    return instance.drop_in(SIMULATED_DROP_IN, RUNTIME_UNITS)


def install(wanted):
    """Lets it play on a port that no real instrument has; the instance."""
    if port():
        raise Failure(f"a simulated instrument plays on {port()} already; "
                      "to remove it: sonicd-setup --remove")
    free = [name for name in reversed(PORTS) if not Instance(name).is_configured()]
    if not free or (wanted and wanted not in free):
        raise Failure(f"{wanted or 'every port'} is set up for a real instrument")
    instance = Instance(wanted or free[0])
    run_as_owner("rm", "-rf", str(FOLDER))
    make_folder(FOLDER, SERIAL)
    path = drop_in(instance)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(SETTINGS)
    print(f"Set up: a simulated instrument on {instance.port}, data in {FOLDER}")
    return instance


def remove():
    """Ends the simulated instrument, and removes its data and settings."""
    name = port()
    if name is None:
        raise Failure("no simulated instrument plays; for a real one: sonicd-setup --remove PORT")
    instance = Instance(name)
    output("systemctl", "stop", instance.unit, f"sonicd-simulated@{name}.service")
    drop_in(instance).unlink()
    drop_in(instance).parent.rmdir()
    run("systemctl", "daemon-reload")
    run_as_owner("rm", "-rf", str(FOLDER))
    instance.forget()
    print(f"Removed the simulated instrument on {name} and its data")
