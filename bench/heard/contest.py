"""Plays files with several programs on private sound servers and prints what was heard of each, as a table.

It is a report, not a gate: what a program cannot do, or that it is not installed, is said in its place. Only a program or a
sound server that does not work at all is a failure.

Usage: contest.py --tool BRAQ [--repeats N] [ROW]...
"""

import argparse
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

from programs import MPV, Braq, Cannot, Player, PwPlay
from rows import ROWS, Studio
from sound_server import Trouble
from sounds import NoSound

PROGRAMS: list[type[Player]] = [Braq, MPV, PwPlay]
SERVERS = {"PipeWire": "pipewire", "WirePlumber": "wireplumber"}


def version_of(command):
    result = subprocess.run([command, "--version"], capture_output=True, encoding="utf-8", check=False)
    found = re.search(r"\d+\.\d+[\w.~+-]*", result.stdout)
    return found[0] if found else "?"


def line(cells):
    print("| " + " | ".join(cell.replace("|", "\\|") for cell in cells) + " |", flush=True)


def cell(studio, measure, program):
    """What is said of a program in a row, and whether it could be found out."""
    if program.version() is None:
        return "not installed", True
    try:
        return measure(studio, program), True
    except Cannot as reason:
        return f"none: {reason}", True
    except (Trouble, NoSound, OSError, subprocess.SubprocessError) as problem:
        print(f"playing: {program.name}: {problem}", file=sys.stderr)
        return f"failed: {str(problem).splitlines()[0]}", False


def main(arguments):
    parser = argparse.ArgumentParser(prog="playing", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--tool", required=True, help="this project's braq")
    parser.add_argument("--repeats", type=int, default=5,
                        help="how often that is done of which the median, or the largest, counts")
    parser.add_argument("row", nargs="*", help=f"one of: {', '.join(ROWS)}; all without any")
    options = parser.parse_args(arguments)
    if unknown := [row for row in options.row if row not in ROWS]:
        parser.error(f"there is no row {unknown[0]}; there are: {', '.join(ROWS)}")
    if options.repeats < 1:
        parser.error("--repeats is at least 1")
    for needed in (options.tool, "dbus-daemon", *SERVERS.values(), "pw-record", "pw-dump", "pw-metadata", "ffmpeg"):
        if not shutil.which(needed):
            parser.error(f"{needed} is needed and is not installed")
    Braq.command = os.path.abspath(options.tool)
    # So that sound servers and players end with it.
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda number, _: sys.exit(128 + number))

    versions = {program: program.version() for program in PROGRAMS}
    line(["what", *(f"{program.name} {version}" if version else program.name for program, version in versions.items())])
    line(["---"] * (1 + len(PROGRAMS)))
    all_worked = True
    with tempfile.TemporaryDirectory(prefix="braq-playing-", dir="/tmp") as folder:
        studio = Studio(folder, options.repeats)
        for name in options.row or ROWS:
            what, measure = ROWS[name]
            cells = [cell(studio, measure, program) for program in PROGRAMS]
            line([what, *(text for text, _ in cells)])
            all_worked = all_worked and all(worked for _, worked in cells)
    print(f"\nMedians (smallest-largest) of {options.repeats}; " +
          ", ".join(f"{server} {version_of(command)}" for server, command in SERVERS.items()) +
          f"; {os.cpu_count()} processors, load {os.getloadavg()[0]:.1f} at the end")
    return 0 if all_worked else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
