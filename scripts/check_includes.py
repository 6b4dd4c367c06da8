#!/usr/bin/env python3
"""Checks that includes point downwards.

Every source file belongs to one layer. A file may include files of its own layer and of the layers below it; above the
platform interface only the interface's headers may be included from the platform, and nothing of the platform knows
anything above it. A file that fits no layer is an error: place it in LAYERS.

Usage: check_includes.py PROJECT_FOLDER
"""

import re
import sys
from pathlib import Path


def classes(*names):
    """Matches a class's header, source and internal files, with or without a category: X.h, X.cpp, X_Queue.cpp."""
    return rf"(include/BRAQAudio|library|library/src)/({'|'.join(names)})(_[A-Z]\w*)?\.(h|cpp)"


# From top to bottom.
LAYERS = [
    ("programs", r"(tools|examples)/.*"),
    ("the header for programs", r"include/BRAQAudio/BRAQAudio\.h"),
    ("transport", classes("BRAQExtendedAudioFilePlayer", "BRAQExtendedAudioFileRecorder")),
    ("units", classes("BRAQAudioUnit", "BRAQOutputAudioUnit", "BRAQInputAudioUnit", "BRAQAudioInputMeter",
                      "BRAQAudioGraph")),
    ("files", classes("BRAQAudioFile", "BRAQExtendedAudioFile", "BRAQAudioFileReader", "BRAQAudioFileWriter",
                      "BRAQAudioFileStreamer")),
    ("devices", classes("BRAQAudioDevice", "BRAQAudioHardware")),
    ("buffers", classes("BRAQAudioBufferQueue", "BRAQAudioBufferQueueGate", "BRAQAudioBuffer", "BRAQAudioBufferList",
                        "BRAQAudioStreamBasicDescription")),
    ("objects", classes("BRAQDelegateEntry", "BRAQLiveObjects", "BRAQAtomicProperty", "BRAQReleasable", "BRAQBackgroundThread",
                        "ClassKind")),
    ("core", r"(include/BRAQAudio|library)/core/.*"),
    ("errors", r"(include/BRAQAudio|library)/errors/.*"),
    ("platform interface", r"include/BRAQAudio/platform/.*"),
    ("platform", r"platform/(foundation|threads|samples|hardware|units|files)/.*"),
]
NAMES = [name for name, _ in LAYERS]
PROGRAMS = NAMES.index("programs")
HEADER_FOR_PROGRAMS = NAMES.index("the header for programs")
INTERFACE = NAMES.index("platform interface")
PLATFORM = NAMES.index("platform")

INCLUDE_ROOTS = ["include", "."]
# Tests and benchmarks reach everywhere.
UNCHECKED = re.compile(r"(build|tests|bench|\..*)/")
INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')


def layer_of(path):
    """Index into LAYERS, or None."""
    return next((i for i, (_, pattern) in enumerate(LAYERS) if re.fullmatch(pattern, path)), None)


def resolve(project, includer, name, quoted):
    """Path of the project's file that an include names, relative to the project; None for a header of the system."""
    roots = ([(project / includer).parent] if quoted else []) + [project / root for root in INCLUDE_ROOTS]
    for root in roots:
        candidate = (root / name).resolve()
        if candidate.is_file() and project in candidate.parents:
            return candidate.relative_to(project).as_posix()
    return None


def may_include(layer, path, included):
    """Whether a file of `layer` may include the project's file `included`."""
    target = layer_of(included)
    if layer == PROGRAMS:
        same_folder = path.split("/")[0] == included.split("/")[0]
        return target == HEADER_FOR_PROGRAMS or (target == PROGRAMS and same_folder)
    if layer == PLATFORM:
        return target in (INTERFACE, PLATFORM)
    return target is not None and layer <= target <= INTERFACE


def check_file(project, path):
    """Yields what is wrong with the includes of one file."""
    layer = layer_of(path)
    if layer is None:
        yield f"{path}: fits no layer; place it in LAYERS of scripts/check_includes.py"
        return
    for number, line in enumerate((project / path).read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        bracket, name = match.groups()
        included = resolve(project, path, name, bracket == '"')
        if included is None:
            if bracket == '"':
                yield f"{path}:{number}: no file of the project is called \"{name}\""
            elif PROGRAMS < layer < INTERFACE and "/" in name and not name.startswith("sys/"):
                yield f"{path}:{number}: {NAMES[layer]} may use the standard library and threads only, not <{name}>"
        elif not may_include(layer, path, included):
            target = layer_of(included)
            of = f"of {NAMES[target]}" if target is not None else "of no layer"
            yield f"{path}:{number}: {NAMES[layer]} may not include {included} {of}"


def check(project):
    """Returns what is wrong, and how many files were looked at."""
    project = Path(project).resolve()
    files = sorted(
        path.relative_to(project).as_posix()
        for suffix in ("h", "hpp", "c", "cpp", "cc")
        for path in project.rglob(f"*.{suffix}"))
    files = [path for path in files if not UNCHECKED.match(path)]
    return [problem for path in files for problem in check_file(project, path)], len(files)


if __name__ == "__main__":
    problems, count = check(sys.argv[1] if len(sys.argv) > 1 else ".")
    print("\n".join(problems) if problems else f"{count} files include downwards only")
    sys.exit(1 if problems or not count else 0)
