#!/usr/bin/env python3
"""Checks that includes point downwards.

Every source file belongs to one layer. A file may include files of its own layer and of the layers below it; where a layer
has a folder for each of its members, such as drivers or subcommands, members do not know each other. Above the platform
interface only the interface's headers may be included from the platform, and nothing of the platform knows anything above
it. A file that fits no layer is an error: place it in LAYERS.

Usage: check_includes.py PROJECT_FOLDER
"""

import re
import sys
from pathlib import Path


def classes(*names):
    """Matches a class's header, source and internal files, with or without a category: X.h, X.cpp, X_Queue.cpp."""
    return rf"(include/BRAQAudio|library|library/src)/({'|'.join(names)})(_[A-Z]\w*)?\.(h|cpp)"


# From top to bottom. A group called "member" tells the members of a layer apart.
LAYERS = [
    ("the tool", r"tools/braq/[^/]*"),
    ("subcommands", r"tools/braq/(?!(terminal|shared)/)(?P<member>[^/]*)/.*"),
    ("the tool's terminal", r"tools/braq/terminal/.*"),
    ("what subcommands share", r"tools/braq/shared/.*"),
    ("examples", r"examples/.*"),
    ("the header for programs", r"include/BRAQAudio/BRAQAudio\.h"),
    ("transport", classes("BRAQExtendedAudioFilePlayer", "BRAQExtendedAudioFileRecorder", "BRAQPlayerDecks")),
    ("units", classes("BRAQAudioUnit", "BRAQOutputAudioUnit", "BRAQInputAudioUnit", "BRAQRenderAudioUnit",
                      "BRAQAudioInputMeter", "BRAQAudioGraph", "BRAQQueueSequence", "BRAQHeardFrames", "BRAQDeviceChange", "BRAQDeviceWatch",
                      "BRAQLossWatch", "BRAQUnitPropertyWatch")),
    ("files", classes("BRAQAudioFile", "BRAQExtendedAudioFile", "BRAQAudioFileReader", "BRAQAudioFileWriter",
                      "BRAQLoopWalk", "BRAQLostStretch", "BRAQLostStretches", "BRAQAudioFileStreamer")),
    ("devices", classes("BRAQAudioDevice", "BRAQAudioHardware")),
    ("buffers", classes("BRAQAudioBufferQueue", "BRAQAudioBufferQueueGate", "BRAQAudioBuffer", "BRAQAudioBufferList",
                        "BRAQAudioFrameRing", "BRAQAudioStreamBasicDescription")),
    ("objects", classes("BRAQDelegateEntry", "BRAQLiveObjects", "BRAQAtomicProperty", "BRAQPublishedAnswer", "BRAQReleasable",
                        "BRAQBackgroundThread", "ClassKind")),
    ("core", r"(include/BRAQAudio|library)/core/.*"),
    ("errors", r"(include/BRAQAudio|library)/errors/.*"),
    ("files of the platform", r"platform/files/[^/]*"),
    ("readers and writers", r"platform/files/(?P<member>reading|writing)/.*"),
    ("libav", r"platform/files/libav/.*"),
    ("file formats", r"platform/files/formats/.*"),
    ("units of the platform", r"platform/units/.*"),
    ("hardware", r"platform/hardware/[^/]*"),
    ("the list of drivers", r"platform/hardware/drivers/Drivers\.(h|cpp)"),
    ("drivers", r"platform/hardware/drivers/(?P<member>[^/]*)/.*"),
    ("what a driver is", r"platform/hardware/drivers/(Driver|DeviceDescription|PropertyAddress)\.(h|cpp)"),
    ("samples", r"platform/samples/.*"),
    ("threads", r"platform/threads/.*"),
    ("foundation", r"platform/foundation/.*"),
    ("platform interface", r"include/BRAQAudio/platform/.*"),
]
NAMES = [name for name, _ in LAYERS]
EXAMPLES = NAMES.index("examples")
HEADER_FOR_PROGRAMS = NAMES.index("the header for programs")
ERRORS = NAMES.index("errors")
INTERFACE = NAMES.index("platform interface")

INCLUDE_ROOTS = ["include", "."]
# Tests and benchmarks reach everywhere.
UNCHECKED = re.compile(r"(build|tests|bench|\..*)/")
INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')


def place_of(path):
    """Index into LAYERS and member of that layer, if it has members; None and None for what fits no layer."""
    for index, (_, pattern) in enumerate(LAYERS):
        if match := re.fullmatch(pattern, path):
            return index, match.groupdict().get("member")
    return None, None


def resolve(project, includer, name, quoted):
    """Path of the project's file that an include names, relative to the project; None for a header of the system."""
    roots = ([(project / includer).parent] if quoted else []) + [project / root for root in INCLUDE_ROOTS]
    for root in roots:
        candidate = (root / name).resolve()
        if candidate.is_file() and project in candidate.parents:
            return candidate.relative_to(project).as_posix()
    return None


def may_include(path, included):
    """Whether a file may include another of the project."""
    layer, member = place_of(path)
    target, target_member = place_of(included)
    if target is None or target < layer or (target == layer and target_member != member):
        return False
    if layer == EXAMPLES and path.endswith(".c"):
        return target == INTERFACE
    if layer <= EXAMPLES:
        return target == HEADER_FOR_PROGRAMS or (target <= EXAMPLES and path.split("/")[0] == included.split("/")[0])
    return layer > ERRORS or target <= ERRORS or target == INTERFACE


def check_file(project, path):
    """Yields what is wrong with the includes of one file."""
    layer, _ = place_of(path)
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
            elif EXAMPLES < layer <= ERRORS and "/" in name and not name.startswith("sys/"):
                yield f"{path}:{number}: {NAMES[layer]} may use the standard library and threads only, not <{name}>"
        elif not may_include(path, included):
            target, _ = place_of(included)
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
