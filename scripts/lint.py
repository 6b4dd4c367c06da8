#!/usr/bin/env python3
"""Looks through sources with clang-tidy: what is found, one finding once, and the exit status 1 if there is any.

Most of clang-tidy's time goes into the headers of the standard library, which it reads and looks through again with every
source. So sources that are compiled alike are looked at several at a time, as one file that includes them. Two things are done
source by source: the static analyser, which follows only what stands in the file itself, and with it the proof that each source
includes what it needs. Sources that use one name for two things are looked at one by one.

With --remember, what nothing was found in is not looked at again until it changes.

Usage: lint.py BUILD_FOLDER PATTERN [--jobs N] [--together N] [--clang-tidy PROGRAM] [--remember FOLDER]
"""

import argparse
import collections
import json
import os
import re
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from clean_results import CleanResults

# What looks at the file itself only; the second finds sources that are included.
BY_SOURCE = ["clang-analyzer-*", "bugprone-suspicious-include"]
# Where a finding counts: in the project's files, sources too, which are headers to the file that includes them.
PROJECT_FILES = "/(include|library|platform|tests|bench|tools|examples)/.*"
# Every source of the library says which file it is, and every example is a program.
ALONE = "/(library|examples)/[^:]*$"
COLOUR = re.compile(r"\x1b\[[0-9;]*[A-Za-z]")
FINDING = re.compile(r"^\S+:\d+:\d+: (warning|error): ")
# What clang-tidy says when two sources cannot be one.
CLASH = "clang-diagnostic-"


def compiled(build, pattern):
    """The sources whose paths match, each with the options that it is compiled with."""
    sources = {}
    for entry in json.loads((build / "compile_commands.json").read_text(encoding="utf-8")):
        if re.search(pattern, entry["file"]):
            words = shlex.split(entry["command"])
            end = words.index("-o")
            sources.setdefault(entry["file"], (entry["directory"], tuple(words[:end])))
    return sources


def groups(sources, together):
    """Sources that are compiled alike and lie in one folder or beside it, at most so many in each group."""
    alike = collections.defaultdict(list)
    for file in sorted(sources):
        by_itself = file if re.search(ALONE, file) else None
        alike[(sources[file], Path(file).suffix, by_itself)].append(file)
    result = []
    for files in alike.values():
        count = -(-len(files) // together)
        size = -(-len(files) // count)
        result += [files[start:start + size] for start in range(0, len(files), size)]
    return result


def write_together(folder, number, files, options):
    """A file that includes the sources, and how it is compiled: what is global in one shadows nothing in another."""
    directory, words = options
    name = folder / f"together{number}{Path(files[0]).suffix}"
    name.write_text("".join(f'#include "{file}"\n' for file in files), encoding="utf-8")
    return {"directory": directory, "file": str(name), "arguments": [*words, "-Wno-shadow", "-c", str(name)]}


def findings(output):
    """The findings in what clang-tidy printed, each with the lines that belong to it."""
    found = []
    for line in output.splitlines():
        if FINDING.match(COLOUR.sub("", line)):
            found.append(line)
        elif found:
            found[-1] += "\n" + line
    return found


class Linter:
    def __init__(self, program, build, commands, remembered):
        """commands: file to its folder and its options; remembered: CleanResults, or None to look at everything."""
        self.program = program
        self.build = build
        self.commands = commands
        self.remembered = remembered
        self.not_looked_at = 0

    def look(self, database, file, checks):
        """Looks at one file, unless it was well before; returns whether all was well, and what was found."""
        if self.remembered is None:
            return self.look_now(database, file, checks)
        key = self.remembered.key(*self.commands[str(file)], file, checks)
        if self.remembered.has(key):
            self.not_looked_at += 1
            return True, []
        well, found = self.look_now(database, file, checks)
        if well and not found:
            self.remembered.add(key)
        return well, found

    def look_now(self, database, file, checks):
        command = [self.program, "-quiet", f"-p={database}", f"--header-filter={PROJECT_FILES}"]
        command += [f"--checks={checks}"] if checks else []
        result = subprocess.run([*command, str(file)], capture_output=True, text=True, check=False)
        found = findings(result.stdout)
        if result.returncode != 0 and not found:
            found = [f"{file}: clang-tidy ended with {result.returncode}\n{result.stdout}{result.stderr}"]
        return result.returncode == 0, found

    def one(self, file):
        return self.look(self.build, file, None)[1]

    def by_source(self, file):
        return self.look(self.build, file, ",".join(["-*", *BY_SOURCE]))[1]

    def several(self, database, name, files):
        others = ",".join(f"-{check}" for check in BY_SOURCE)
        well, found = self.look(database, name, others)
        if not well and any(CLASH in finding for finding in found):
            print(f"{len(files)} files from {os.path.relpath(files[0])} are looked at one by one: "
                  f"{COLOUR.sub('', next(finding for finding in found if CLASH in finding).splitlines()[0])}", flush=True)
            return [finding for file in files for finding in self.look(self.build, file, others)[1]]
        return found


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=Path)
    parser.add_argument("pattern")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--together", type=int, default=12)
    parser.add_argument("--clang-tidy", default="clang-tidy")
    parser.add_argument("--remember", type=Path)
    options = parser.parse_args(arguments)

    sources = compiled(options.build, options.pattern)
    if not sources:
        print(f"no source matches {options.pattern}")
        return 1
    folder = (options.build / "lint").resolve()
    folder.mkdir(exist_ok=True)
    remembered = None
    if options.remember:
        remembered = CleanResults(options.remember, options.clang_tidy, Path(__file__).resolve().parent.parent)
    commands = dict(sources)
    linter = Linter(options.clang_tidy, options.build, commands, remembered)
    work, database = [], []
    for number, files in enumerate(groups(sources, options.together)):
        if len(files) == 1:
            work.append((linter.one, files[0]))
            continue
        database.append(write_together(folder, number, files, sources[files[0]]))
        commands[database[-1]["file"]] = sources[files[0]]
        # What takes longest begins first.
        work.insert(0, (linter.several, folder, database[-1]["file"], files))
        work += [(linter.by_source, file) for file in files]
    (folder / "compile_commands.json").write_text(json.dumps(database, indent=1), encoding="utf-8")

    # A finding in a header is found with every source that includes it.
    found = {}
    with ThreadPoolExecutor(options.jobs) as pool:
        for result in pool.map(lambda task: task[0](*task[1:]), work):
            for finding in result:
                key = COLOUR.sub("", finding.splitlines()[0])
                if key not in found:
                    found[key] = finding
                    print(finding, flush=True)
    unchanged = f", {linter.not_looked_at} of {len(work)} looks not needed" if remembered else ""
    print(f"{len(sources)} sources, {len(database)} groups{unchanged}: {len(found)} findings")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
