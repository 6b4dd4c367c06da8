#!/usr/bin/env python3
"""Prints what the benchmarks measured as one table, each figure beside its limit or a peer.

Figures are medians over the repetitions, with the smallest and the largest in brackets; a ratio is taken within each
repetition first. It is a report, not a gate: a goal that is not met does not fail it; results that are missing or
cannot be read do.

Usage: report.py RESULT.json...
"""

import json
import operator
import statistics
import sys
from dataclasses import dataclass


@dataclass
class Ratio:
    """Ours beside a limit or a peer: both are counters of one benchmark."""
    what: str
    benchmark: str
    ours: str
    peer: str
    goal: float | None = None  # largest ratio that meets it, or smallest of speeds
    faster: bool = False  # the goal is a ratio below 1, or above it of speeds
    speeds: bool = False  # of which more is better: the goal is the smallest ratio that meets it
    peer_name: str | None = None
    scale: float = 1
    unit: str = "ns"


@dataclass
class Figure:
    """A number, beside what it may be: a number of its own or a counter of the same benchmark."""
    what: str
    benchmark: str
    ours: str
    limit: float | str | None = None
    relation: str = "<="
    unit: str = "ns"
    scale: float = 1


def copies(verb, benchmark):
    for size, place in [("16KiB", "ring of 16 KiB"), ("96KiB", "ring of 3 x 4096"), ("8MiB", "ring of 8 MiB")]:
        what = f"{verb} a block, {place}"
        yield Ratio(what, f"{benchmark}/{size}", "ours", "memcpy", goal=1.15)
        for peer in ["Boost spsc_queue", "JACK ring buffer", "PortAudio ring buffer"]:
            yield Ratio("", f"{benchmark}/{size}", "ours", peer, faster=True)


def one_thread(batch):
    benchmark, what = f"oneThread/{batch}", f"one thread, batches of {batch}"
    yield Ratio(f"{what}: reversed by the caller", benchmark, "ours reversed by caller", "bare list", goal=1.3)
    yield Ratio("  pop-all-reversed less temporary stack", benchmark, "ours less temporary stack", "bare list", goal=1.3)
    yield Ratio("  pop-all-reversed", benchmark, "ours", "bare list")
    yield Ratio("", benchmark, "ours", "Boost stack")


def two_threads(batch):
    benchmark, what = f"twoThreads/{batch}", f"two threads, batches of {batch}"
    yield Ratio(f"{what}: reversed by the caller", benchmark, "ours reversed by caller", "bare list", goal=1.3)
    yield Ratio("  pop-all-reversed", benchmark, "ours", "bare list")
    yield Ratio("", benchmark, "ours", "Boost stack")


def wake(benchmark, what):
    def row(text, figure, peer, goal=None):
        return Ratio(text, benchmark, f"ours, {figure}", f"{peer}, {figure}", goal, peer_name=peer, scale=1e-3, unit="us")

    yield row(f"{what}: median", "median", "futex", 1.2)
    yield row("  99 %", "99 %", "futex", 1.2)
    yield row("  99.9 %", "99.9 %", "futex")
    yield row("  longest", "longest", "futex")
    yield row("  median", "median", "GLib queue")
    yield row("  99 %", "99 %", "GLib queue")
    yield row("  hand-over, cost to the waking thread", "waking thread's cost", "futex")
    yield row("", "waking thread's cost", "GLib queue")


def jitter(load):
    for frames in [64, 256, 1024]:
        benchmark, what = f"jitter/{load}/{frames}", f"{load}, {frames} frames"

        def row(text, figure):
            return Ratio(text, benchmark, f"ours, {figure}", f"bare thread, {figure}", peer_name="bare thread",
                         scale=1e-3, unit="us")

        yield row(f"{what}: median", "median")
        yield row("  99 %", "99 %")
        yield row("  longest", "longest")


LINEAR = ["WAV16", "WAV24", "WAVfloat", "AIFF16"]
LOSSLESS = ["FLAC", "ALAC"]
LOSSY = ["AAC", "MP3", "Vorbis", "Opus"]


def reading():
    def row(what, benchmark, peer, **goal):
        return Ratio(what, benchmark, "ours", peer, speeds=True, unit="Mframes/s", **goal)

    for name in [*LINEAR, "monoWAV16", "monoWAVfloat"]:
        yield row(f"{name}, to planes", f"readFile/{name}", "libsndfile", faster=True)
        yield row("", f"readFile/{name}", "libav")
        if name in LINEAR:
            yield row("  interleaved", f"readFileInterleaved/{name}", "libsndfile")
    for name in LOSSLESS + LOSSY:
        yield row(f"{name}, to planes", f"readFile/{name}", "libav", goal=0.95)
        if name not in ["ALAC", "AAC"]:
            yield row("", f"readFile/{name}", "libsndfile")


def seeking(benchmark, what):
    for name in LINEAR + LOSSLESS + LOSSY:
        yield Figure(f"{name}, {what}: median", f"{benchmark}/{name}", "median", unit="us")
        yield Figure("  longest", f"{benchmark}/{name}", "longest", unit="us")


def backwards():
    for names, least in [(LINEAR, 100), (LOSSLESS, None), (LOSSY, 20)]:
        for name in names:
            yield Figure(f"{name}, times real time", f"backwards/{name}", "times real time", least, ">", "")


def long_files():
    for name, coding in [("WAV", ""), ("CAF", ", ALAC"), ("M4A", ", AAC"), ("FLAC", ""), ("Vorbis", "")]:
        benchmark = f"openLongFile/{name}"
        yield Figure(f"{name}{coding}", benchmark, "opening", None if name == "Vorbis" else 50, "<", "ms")
        yield Figure("  first seek, to the end, and reading", benchmark, "first seek, to the end", unit="ms")


def rates():
    for thousandths, what in [(500, "half the speed"), (919, "44.1 to 48 kHz"), (1088, "48 to 44.1 kHz"),
                              (1250, "speed 1.25"), (1900, "speed 1.9"), (2000, "speed 2"), (8000, "speed 8"),
                              (32000, "speed 32")]:
        yield Ratio(what, f"resample/{thousandths}", "ours", "libsoxr", goal=1.1)
    yield Ratio("speed 1", "pass", "ours", "memcpy")


def playing(what, figure, unit, scale):
    for text, peer in [(what, "bare stream"), ("", "pw-cat")]:
        yield Ratio(text, "playing", f"ours, {figure}", f"{peer}, {figure}", peer_name=peer, unit=unit, scale=scale)


SECTIONS = [
    ("Copying blocks of 512 frames x 2 channels (4 KiB), a block", [*copies("drain", "drain"), *copies("fill", "fill")]),
    ("Lock-free stack: push and take, a record", [
        *one_thread(1), *one_thread(16), *two_threads(1), *two_threads(16),
        Figure("temporary stack of pop-all-reversed, each", "temporaryStack", "ours"),
    ]),
    ("From handing a buffer over to its processing block", [
        *wake("wake/realtime_idle", "real-time, idle"),
        *wake("wake/realtime_busy", "real-time, all busy"),
        *wake("wake/timeshared_other_idle", "time-shared, other processor, idle"),
        *wake("wake/timeshared_other_busy", "time-shared, other processor, all busy"),
        *wake("wake/timeshared_same_idle", "time-shared, same processor, idle"),
        *wake("wake/timeshared_same_busy", "time-shared, same processor, all busy"),
    ]),
    ("A cycle of a software device, stereo both ways", [
        Ratio("one empty procedure, 64 frames, a cycle", "cycle/64", "ours", "silence"),
        Ratio("  512 frames", "cycle/512", "ours", "silence"),
        Ratio("mixing one more player, a frame", "mix", "ours", "add loop"),
    ]),
    ("Changing the rate, a frame of 2 channels", [*rates()]),
    ("Playing through an output unit, a frame of 2 channels", [
        Ratio("at rate 1", "chain/rate1", "ours", "memcpy"),
        Ratio("44.1 kHz on a device of 48 kHz", "chain/from44100", "ours", "soxr", peer_name="libsoxr"),
        Ratio("at rate 1.25", "chain/rate125", "ours", "soxr", peer_name="libsoxr"),
        *(Figure(f"{count} units, a cycle of 512 frames, a unit", f"units/{count}", "ours", unit="us", scale=1e-3)
          for count in [1, 10, 100, 1000]),
        Figure("most units of which no cycle is late, one processor", "most", "most", unit=""),
    ]),
    ("A player on a sound server, cycles of 256 frames at 48 kHz", [
        Ratio("from starting the program until its sound is heard", "untilHeard", "ours", "pw-cat", unit="ms"),
        Ratio("", "untilHeard", "ours", "bare stream", unit="ms"),
        Figure("  from startFilePlaying in a program that runs", "untilHeard", "in a program that runs", unit="ms"),
        *playing("processor time of a second of stereo", "processor", "us", 1),
        *playing("memory that no other process shares", "memory", "KiB", 1 / 1024),
        Figure("heap of one more player", "oneMore", "heap", unit="KiB", scale=1 / 1024),
    ]),
    ("How late cycles begin", [
        *jitter("idle"), *jitter("busy"),
        Figure("while procedures come and go: median", "comingAndGoing", "ours, median", unit="us", scale=1e-3),
        Figure("  99 %", "comingAndGoing", "ours, 99 %", unit="us", scale=1e-3),
        Figure("  longest", "comingAndGoing", "ours, longest", unit="us", scale=1e-3),
        Figure("  procedures that came and went", "comingAndGoing", "came and went", unit=""),
        Figure("  cycles of 1000 late by a whole one", "comingAndGoing", "late by a cycle", unit=""),
    ]),
    ("Reading ten minutes in calls of 4096 frames, a second of processor time", [*reading()]),
    ("Going to any frame and reading 512", [*seeking("seek", "seek and read")]),
    ("Reading blocks of 4096 frames backwards", [*backwards()]),
    ("From being told to play from somewhere else to a full ring of 3 x 4096 frames", [*seeking("prime", "prime")]),
    ("Opening a file of ten hours", [*long_files()]),
    ("Memory of a ring of 3 x 4096 frames x 2 channels", [
        Figure("heap besides 98304 bytes of samples", "ring", "bytes besides samples", 4096, "<", "bytes"),
        Figure("stack of the worker", "ring", "stack bytes", 256, "<=", "KiB", 1 / 1024),
        Figure("heap calls on the I/O side, a pass", "running", "I/O thread, heap calls", 0, "=", ""),
        Figure("heap calls of the worker, a pass", "running", "worker, heap calls", 0, "=", ""),
    ]),
]

NOT_MEASURED = "not measured"
RELATIONS = {"<": operator.lt, "<=": operator.le, "=": operator.eq, ">": operator.gt, ">=": operator.ge}


class BrokenResults(Exception):
    pass


@dataclass
class Benchmark:
    repetitions: list
    error: str | None = None


def read_results(paths):
    """Benchmarks by name, from the files of all programs, and a line on the machine."""
    benchmarks = {}
    machine = ""
    for path in paths:
        try:
            with open(path, encoding="utf-8") as file:
                text = file.read()
            # What a program leaves when a filter has excluded all that it has.
            results = json.loads(text) if text else {"benchmarks": []}
            machine = machine or describe_machine(results.get("context", {}))
            for run in results["benchmarks"]:
                if run["run_type"] == "iteration":
                    benchmark = benchmarks.setdefault(plain_name(run["run_name"]), Benchmark([]))
                    if run.get("error_occurred"):
                        benchmark.error = run["error_message"]
                    else:
                        benchmark.repetitions.append(run)
        except (OSError, ValueError, KeyError, TypeError) as problem:
            raise BrokenResults(f"{path}: {type(problem).__name__}: {problem}") from problem
    if not benchmarks:
        raise BrokenResults("there are no results")
    return benchmarks, machine


def describe_machine(context):
    parts = [context.get("date", "")[:10], f"{context['num_cpus']} processors" if "num_cpus" in context else "",
             f"load {context['load_avg'][0]:.1f} at the start" if context.get("load_avg") else ""]
    return ", ".join(part for part in parts if part)


def plain_name(run_name):
    """Without what Google Benchmark appends about how it ran."""
    return run_name.split("/iterations:")[0]


def values(benchmark, counter):
    """One a repetition, or nothing when this benchmark or counter was not measured."""
    return [run[counter] for run in benchmark.repetitions if counter in run]


def number(value):
    if value == int(value) and abs(value) < 1e6:
        return str(int(value))
    return f"{value:.3g}" if abs(value) < 100 else f"{value:.0f}"


def spread(figures, unit="", scale=1, form=number):
    figures = [figure * scale for figure in figures]
    text = form(statistics.median(figures)) + (f" {unit}" if unit else "")
    if min(figures) != max(figures):
        text += f" ({form(min(figures))}-{form(max(figures))})"
    return text


def why_not_measured(benchmark):
    """Text for a row whose benchmark has no figures."""
    if benchmark is None or benchmark.error is None:
        return NOT_MEASURED
    return benchmark.error if benchmark.error.startswith("not shown") else f"failed: {benchmark.error}"


def ratio_row(row, benchmark):
    name = row.peer_name or row.peer
    relation = (">" if row.speeds else "<") + ("" if row.faster else "=")
    limit = 1 if row.faster else row.goal
    goal = "" if limit is None else f"{relation} {limit:g}"
    ours = values(benchmark, row.ours) if benchmark else []
    if not ours or benchmark.error:
        return [row.what, "", name, "", goal, why_not_measured(benchmark)]
    peer = values(benchmark, row.peer)
    figure = spread(ours, row.unit, row.scale)
    if len(peer) != len(ours):
        return [row.what, figure, name, "", goal, NOT_MEASURED]
    ratios = [a / b for a, b in zip(ours, peer)]
    ratio = statistics.median(ratios)
    met = limit is None or RELATIONS[relation](ratio, limit)
    return [row.what, figure, f"{name} {spread(peer, row.unit, row.scale)}", spread(ratios, form="{:.2f}".format), goal,
            ("met" if met else "NOT MET") if goal else ""]


def figure_row(row, benchmark):
    ours = [figure * row.scale for figure in values(benchmark, row.ours)] if benchmark else []
    if not ours or benchmark.error:
        return [row.what, "", "", "", "", why_not_measured(benchmark)]
    if row.limit is None:
        return [row.what, spread(ours, row.unit), "", "", "", ""]
    limit = benchmark.repetitions[0][row.limit] if isinstance(row.limit, str) else row.limit
    # Not a matter of medians: every repetition has to keep to it.
    met = all(RELATIONS[row.relation](figure, limit) for figure in ours)
    return [row.what, spread(ours, row.unit), "", "", f"{row.relation} {number(limit)}", "met" if met else "NOT MET"]


def other_rows(benchmarks):
    """Counters of benchmarks that no row above is about."""
    known = {row.benchmark for _, rows in SECTIONS for row in rows}
    own = {"real_time", "cpu_time", "iterations", "repetitions", "repetition_index", "family_index",
           "per_family_instance_index", "threads"}
    for name, benchmark in benchmarks.items():
        if name in known:
            continue
        if benchmark.error:
            yield [name, "", "", "", "", why_not_measured(benchmark)]
            continue
        first = benchmark.repetitions[0]
        yield [name, spread(values(benchmark, "real_time"), first["time_unit"]), "", "", "", ""]
        for counter, value in first.items():
            if isinstance(value, (int, float)) and counter not in own:
                yield [f"  {counter}", spread(values(benchmark, counter)), "", "", "", ""]


def table(benchmarks):
    """Rows of cells; a row of one cell is a heading."""
    yield ["what", "ours", "limit or peer", "ratio", "goal", ""]
    for title, rows in SECTIONS:
        yield [title]
        for row in rows:
            make = ratio_row if isinstance(row, Ratio) else figure_row
            yield make(row, benchmarks.get(row.benchmark))
    others = list(other_rows(benchmarks))
    if others:
        yield ["Others"]
        yield from others


def print_table(rows):
    widths = [max(len(row[i]) for row in rows if len(row) > 1) for i in range(6)]
    for row in rows:
        if len(row) == 1:
            print(f"\n{row[0]}")
        else:
            print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())


def main(paths):
    try:
        benchmarks, machine = read_results(paths)
    except BrokenResults as problem:
        print(f"report: {problem}", file=sys.stderr)
        return 1
    print_table(list(table(benchmarks)))
    print(f"\nMedians of the repetitions (smallest-largest). {machine}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
