#!/usr/bin/env python3
"""Changes the code by rule, one small change at a time, and says which changes the tests do not notice.

Works in a copy of the project, build/mutate. For each change it builds the tests of the folder that the changed file is in
and runs them. A change is noticed when a test fails, crashes or does not end.

Usage: mutate.py PROJECT [FOLDER]... [--sample N] [--seed S] [--list]
"""

import argparse
import collections
import os
import random
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

import mutation_rules

FOLDERS = ["library", "platform"]
WITHOUT_EFFECT = "scripts/mutants-without-effect.txt"
# What a thread sees late on other processors only is the thread sanitizer's to notice.
APART = "memory order"


def program_for(path):
    """The test program that mirrors the folder of a source file."""
    folder = Path(path).parent.as_posix()
    if folder.startswith("library"):
        return {"library/core": "tests_core", "library/errors": "tests_errors"}.get(folder, "tests_src")
    for prefix in ("platform/samples/resampling", "platform/hardware/drivers/pipewire"):
        if folder.startswith(prefix):
            return "tests_" + prefix.replace("/", "_")
    return "tests_" + "_".join(folder.split("/")[:2])


def find_sources(project, folders):
    for folder in folders:
        place = project / folder
        if not place.exists():
            sys.exit(f"run: there is no {folder} in the project")
        files = [place] if place.is_file() else sorted(place.rglob("*"))
        yield from (file for file in files if file.suffix in (".cpp", ".h"))


def read_without_effect(text):
    """Blocks of path, lines that begin with -, lines that begin with +, and a reason."""
    known = {}
    for block in filter(None, (block.strip("\n") for block in text.split("\n\n"))):
        lines = [line for line in block.split("\n") if not line.startswith("#")]
        if not lines:
            continue
        old = "\n".join(line[1:].strip() for line in lines[1:] if line.startswith("-"))
        new = "\n".join(line[1:].strip() for line in lines[1:] if line.startswith("+"))
        reason = " ".join(line.strip() for line in lines[1:] if line[:1] not in "-+")
        if not old or not reason:
            sys.exit(f"run: {WITHOUT_EFFECT}: a block for {lines[0]} lacks the line that is changed, or a reason")
        known[lines[0], old, new] = reason
    return known


def key_of(mutant):
    def stripped(lines):
        return "\n".join(line.strip() for line in lines.split("\n"))

    return mutant.path, stripped(mutant.old), stripped(mutant.new)


def show(mutant):
    """A block as WITHOUT_EFFECT has them, less the reason."""
    lines = [f"{mutant.path}:{mutant.line + 1} ({mutant.rule})"]
    lines += ["- " + line.strip() for line in mutant.old.split("\n")]
    lines += ["+ " + line.strip() for line in mutant.new.split("\n")]
    return "\n".join(lines)


class Copy:
    """The copy of the project that is changed, and what is built of it."""

    def __init__(self, project):
        self.project = project
        self.tree = project / "build/mutate/tree"
        self.build_folder = project / "build/mutate/build"
        self.seconds = {}  # that the tests of each program take

    def refresh(self):
        """Has the copy hold what the project holds; files that did not change keep their times, so little is built."""
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=self.project,
                                check=True, capture_output=True, text=True).stdout
        wanted = {name for name in listed.split("\0") if name and (self.project / name).is_file()}
        for name in wanted:
            source, target = self.project / name, self.tree / name
            if not target.is_file() or target.read_bytes() != source.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)
        for file in [file for file in self.tree.rglob("*") if file.is_file()]:
            if file.relative_to(self.tree).as_posix() not in wanted:
                file.unlink()

    def configure(self):
        # Sources of the library one by one, because one of them is compiled anew for each change; tests ten at a time.
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O1", "-DCMAKE_UNITY_BUILD=ON",
                   "-DCMAKE_UNITY_BUILD_BATCH_SIZE=10",
                   f"-DCMAKE_PROJECT_BRAQAudio_INCLUDE={Path(__file__).parent / 'mutate.cmake'}"]
        if shutil.which("mold"):
            options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=mold")
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        subprocess.run(["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build_folder, *options], check=True,
                       stdout=subprocess.DEVNULL)

    def build(self, program):
        """Whether it compiles."""
        return subprocess.run(["cmake", "--build", self.build_folder, "--target", program], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, check=False).returncode == 0

    def passes(self, program, limit):
        command = [self.build_folder / "bin" / program, "--gtest_brief=1", "--gtest_fail_fast"]
        with subprocess.Popen(command, cwd=self.tree, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              start_new_session=True) as running:
            try:
                return running.wait(timeout=limit) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                try:
                    os.killpg(running.pid, signal.SIGKILL)  # and what it has started
                except ProcessLookupError:
                    pass

    def measure(self, program):
        """Builds and runs the tests as they are."""
        if program in self.seconds:
            return
        if not self.build(program):
            sys.exit(f"run: {program} does not build without any change")
        began = time.monotonic()
        if not self.passes(program, 600):
            sys.exit(f"run: {program} fails without any change")
        self.seconds[program] = time.monotonic() - began

    def try_out(self, mutant):
        """"noticed", "survived", or "not built"."""
        program = program_for(mutant.path)
        file = self.tree / mutant.path
        text = file.read_text(encoding="utf-8")
        try:
            file.write_text(mutation_rules.apply(text, mutant), encoding="utf-8")
            if not self.build(program):
                return "not built"
            return "survived" if self.passes(program, 10 + 4 * self.seconds[program]) else "noticed"
        finally:
            file.write_text(text, encoding="utf-8")


def report(results, known):
    """Prints who survived, and scores by rule."""
    rules = collections.defaultdict(collections.Counter)
    left = []
    for mutant, result in results:
        if result == "survived" and key_of(mutant) in known:
            result = "without effect"
        elif result == "survived":
            left.append(mutant)
        rules[mutant.rule][result] += 1
    if left:
        print("\nNot noticed:\n")
        print("\n\n".join(show(mutant) for mutant in left))
    print(f"\n{'rule':<14}{'noticed':>9}{'survived':>10}{'no effect':>11}{'not built':>11}")
    for rule, counts in sorted(rules.items()):
        print(f"{rule:<14}{counts['noticed']:>9}{counts['survived']:>10}{counts['without effect']:>11}"
              f"{counts['not built']:>11}")
    noticed = sum(counts["noticed"] for rule, counts in rules.items() if rule != APART)
    survived = sum(counts["survived"] for rule, counts in rules.items() if rule != APART)
    if noticed + survived:
        print(f"\nScore: {noticed} of {noticed + survived} noticed, {100 * noticed / (noticed + survived):.1f} %, "
              f"without the rule of {APART}s, which are the thread sanitizer's to notice")


def main():
    parser = argparse.ArgumentParser(prog="./run mutate", description=__doc__.split("\n")[0])
    parser.add_argument("project", type=Path, help=argparse.SUPPRESS)
    parser.add_argument("folders", nargs="*", metavar="FOLDER", help="folders or files (default: library platform)")
    parser.add_argument("--sample", type=int, metavar="N", help="so many changes at random instead of all")
    parser.add_argument("--seed", type=int, default=1, metavar="S", help="which sample (default: 1)")
    parser.add_argument("--list", action="store_true", help="print the changes instead of making them")
    arguments = parser.parse_intermixed_args()
    project = arguments.project.resolve()

    folders = [(Path.cwd() / folder).resolve() for folder in arguments.folders]
    if any(project not in [folder, *folder.parents] for folder in folders):
        sys.exit("run: only what is in the project can be changed")
    folders = [folder.relative_to(project).as_posix() for folder in folders] or FOLDERS
    found = []
    for file in find_sources(project, folders):
        found += mutation_rules.mutants(file.relative_to(project).as_posix(), file.read_text(encoding="utf-8"))
    if arguments.sample is not None and arguments.sample < len(found):
        found = random.Random(arguments.seed).sample(found, arguments.sample)
    # Those of one file together: what they have in common is built once.
    found.sort(key=lambda mutant: (mutant.path, mutant.line))
    if arguments.list:
        signal.signal(signal.SIGPIPE, signal.SIG_DFL)
        print("\n\n".join(show(mutant) for mutant in found))
        return
    known = read_without_effect((project / WITHOUT_EFFECT).read_text(encoding="utf-8"))

    copy = Copy(project)
    copy.refresh()
    copy.configure()
    results = []
    try:
        for number, mutant in enumerate(found, 1):
            copy.measure(program_for(mutant.path))
            began = time.monotonic()
            result = copy.try_out(mutant)
            results.append((mutant, result))
            print(f"{number:>5}/{len(found)} {result:<10}{time.monotonic() - began:6.1f} s  "
                  f"{mutant.path}:{mutant.line + 1} {mutant.rule}", flush=True)
    except KeyboardInterrupt:
        print("\nStopped; this is what was found so far.")
    report(results, known)


if __name__ == "__main__":
    main()
