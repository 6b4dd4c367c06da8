"""The rows of the table. Each measures one program and says in a few words what was found."""

import contextlib
import itertools
import re
import shutil
import signal
import statistics
import subprocess
import tempfile
import time
from pathlib import Path

import sounds
from programs import Braq, Cannot
from sound_server import Recorder, SoundServer, Trouble, eventually

SECONDS_BETWEEN = 0.6  # from one thing that is done to the next
LONGER_SECONDS = 0.0233  # each repeat, so that a wave is cut in another cycle and at another place
SILENT_LEVEL = 0.001  # of a full-scale sine: no frames in a row that are a part of it


def spread(figures, form="{:.0f}".format):
    """The median, with the smallest and the largest in brackets."""
    text = form(statistics.median(figures))
    return text if len(set(map(form, figures))) == 1 else f"{text} ({form(min(figures))}-{form(max(figures))})"


def milliseconds(frames):
    return frames * 1000 / sounds.RATE


class Studio:
    """Where all is measured: files to play, and a new sound server for each thing that is measured, because session managers
    remember where streams were."""

    def __init__(self, folder, repeats):
        self.folder = Path(folder)
        self.repeats = repeats

    @contextlib.contextmanager
    def server(self, **options):
        with tempfile.TemporaryDirectory(dir=self.folder) as folder, SoundServer(folder, **options) as server:
            yield server

    def _made(self, name, write):
        path = self.folder / name
        if not path.exists():
            write(path)
        return path

    def numbered(self, first, count):
        return self._made(f"{first}-{count}.wav",
                          lambda path: sounds.write_wave(path, sounds.numbered_frames(first, count)))

    def sine(self, seconds, suffix=".wav"):
        if suffix == ".wav":
            return self._made(f"{seconds}.wav", lambda path: sounds.write_wave(path, sounds.sine(seconds)))
        return self._made(f"{seconds}{suffix}", lambda path: subprocess.run(
            ["ffmpeg", "-loglevel", "error", "-i", self.sine(seconds), path], check=True))


# Where it is played


def follow(studio, program, act):
    """Plays on one of two sinks and does something that should lead to the other."""
    changes = []
    for _ in range(studio.repeats):
        with studio.server(sinks=("one", "two")) as server:
            one, two = Recorder(server, "one"), Recorder(server, "two")
            player = program(server, [studio.numbered(0, 60 * sounds.RATE)])
            one.wait_for_sound()
            one.listen(SECONDS_BETWEEN)
            stream = server.playing_stream()
            act(server, stream)
            if not eventually(two.hears, 5):
                ended = player.process.poll() is not None
                return "ends" if ended else "stays on the old sink" if one.hears() else "silent from then on"
            two.listen(SECONDS_BETWEEN)
            linked = server.sinks_of(stream)
            player.stop()
            changes.append((*change(one, two), linked))
    silence, lost, linked = zip(*changes)
    silence = [max(0.0, time) for time in silence]  # the new sink may take over before the old one has played its cycle
    repeated = [max(0, -frames) for frames in lost]
    text = f"moves; {spread(silence)} ms silent; {spread([max(0, frames) for frames in lost])} frames lost, " \
           f"{spread(repeated)} repeated"
    counts = sorted({len(sinks) for sinks in linked})
    return text + f"; linked to {' or '.join(map(str, counts))} sink{'' if counts == [1] else 's'}"


def change(one, two):
    """Milliseconds of silence, and frames lost, between the last frame heard on one sink and the first on the other. Faded
    frames count as those that belong there."""
    played, continued = sounds.stretches(one.finish()), sounds.stretches(two.finish())
    last = max(i for i, stretch in enumerate(played) if stretch.kind == sounds.NUMBERED)
    first = min(i for i, stretch in enumerate(continued) if stretch.kind == sounds.NUMBERED)
    fall = _altered(played[last + 1:last + 2])
    rise = _altered(continued[max(0, first - 1):first])
    before, after = played[last], continued[first]
    silence = two.time_of(after.at - rise) - one.time_of(before.end + fall)
    return silence * 1000, after.number - before.last_number - 1 - fall - rise


def _altered(found):
    return sum(stretch.length for stretch in found if stretch.kind == sounds.ALTERED)


def default_changed(studio, program):
    return follow(studio, program, lambda server, _: server.set_default("two"))


def sink_removed(studio, program):
    return follow(studio, program, lambda server, _: server.destroy("one"))


def stream_moved(studio, program):
    def act(server, stream):
        server.move(stream, "two")
    return follow(studio, program, act)


# From one file to the next


def next_file(studio, program):
    half = 2 * sounds.RATE
    files = [studio.numbered(0, half), studio.numbered(half, half)]
    silent, lost = [], []
    for _ in range(studio.repeats):
        with studio.server() as server:
            recorder = Recorder(server, "one")
            player = program(server, files)
            player.wait()
            recorder.listen(0.3)
            found = sounds.seams(sounds.stretches(recorder.finish()))
            silent.append(sum(seam.silent for seam in found))
            lost.append(sum(abs(seam.lost) for seam in found))
    return f"{spread(silent)} frames silent, {spread(lost)} lost or repeated"


# Steps


class LargestSteps:
    """The largest step for each thing that is done, and what was silent there: a cycle that was missed is cut off, too."""

    SHORTEST_SILENCE = 64

    def __init__(self):
        self.found = {}

    def note(self, what, sound):
        silent = sum(length for _, length in sounds.inner_silence(sound, self.SHORTEST_SILENCE, SILENT_LEVEL))
        self.found[what] = max(self.found.get(what, (0.0, 0)), (sounds.largest_step(sound), silent))

    def text_of(self, what):
        if what not in self.found:
            return f"{what} none"
        step, silent = self.found[what]
        return f"{what} {step:.2f}" + (f" ({silent} frames silent)" if silent else "")


def steps(studio, program):
    """The largest of all repeats for each thing that is done."""
    file = studio.sine(20)
    largest = LargestSteps()
    for action in (_pause_and_resume, _seeks, _next, _stop, _start_within):
        for repeat in range(studio.repeats):
            with studio.server() as server, contextlib.suppress(Cannot):
                action(server, program, file, repeat, largest.note)
    return ", ".join(map(largest.text_of, ("pause", "resume", "seek", "stop", "next", "start within")))


def _playing(server, program, files, **options):
    recorder = Recorder(server, "one")
    player = program(server, files, **options)
    recorder.wait_for_sound()
    recorder.listen(SECONDS_BETWEEN)
    return player, recorder


def _heard_of(recorder, player, actions):
    """Does one thing after the other, and returns what was heard during each."""
    ends = []
    for act in actions:
        ends.append(recorder.frames())
        act()
        recorder.listen(SECONDS_BETWEEN)
    ends.append(recorder.frames())
    if player.process.poll() is None:
        player.stop()
    sound = recorder.finish()
    return [sound.part(first, end) for first, end in itertools.pairwise(ends)]


def _pause_and_resume(server, program, file, repeat, note):
    player, recorder = _playing(server, program, [file])
    recorder.listen(repeat * LONGER_SECONDS)
    paused, resumed = _heard_of(recorder, player, [player.pause, player.resume])
    note("pause", paused)
    note("resume", resumed)


def _seeks(server, program, file, repeat, note):
    player, recorder = _playing(server, program, [file])
    recorder.listen(repeat * LONGER_SECONDS)
    for sound in _heard_of(recorder, player, [lambda: player.seek(5), lambda: player.seek(-5)]):
        note("seek", sound)


def _next(server, program, file, repeat, note):
    player, recorder = _playing(server, program, [file, file])
    recorder.listen(repeat * LONGER_SECONDS)
    (sound,) = _heard_of(recorder, player, [player.next])
    note("next", sound)


def _stop(server, program, file, repeat, note):
    player, recorder = _playing(server, program, [file])
    recorder.listen(repeat * LONGER_SECONDS)
    (sound,) = _heard_of(recorder, player, [player.stop])
    note("stop", sound)


def _start_within(server, program, file, repeat, note):
    recorder = Recorder(server, "one")
    player = program(server, [file], start=1.30051 + repeat * 0.75013)
    recorder.wait_for_sound()
    player.stop()
    sound = recorder.finish()
    first = next(frame for frame, sample in enumerate(sound.left) if sample != 0.0)
    note("start within", sound.part(max(0, first - 1), first + sounds.RATE // 20))


# Seeks


def seeks(studio, program, quantum, suffix):
    """Seeks after which something is missing, of all, and how long that is. Beside them, what is missing where nothing is done:
    that is the machine's."""
    file = studio.sine(120, suffix)
    ways = [5, 5, -5, 5, 5, 5, -5, 5, -5, 5, 5, -5, 5, 5, -5, -5]
    with studio.server(quantum=quantum) as server:
        player, recorder = _playing(server, program, [file])
        heard = _heard_of(recorder, player, [lambda way=way: player.seek(way) for way in ways] + [lambda: None] * len(ways))
    silent = [sum(length for _, length in sounds.inner_silence(sound, quantum, SILENT_LEVEL)) for sound in heard]
    gaps = [milliseconds(frames) for frames in silent[:len(ways)] if frames]
    others = sum(frames > 0 for frames in silent[len(ways):])
    return f"{len(gaps)} of {len(ways)}" + (f", {spread(gaps, '{:.1f}'.format)} ms" if gaps else "") + \
        (f" (without a seek {others} of {len(ways)})" if gaps or others else "")


def seeks_in_all(studio, program):
    settings = [(256, ".flac"), (256, ".opus"), *([(64, ".flac"), (64, ".opus")] if issubclass(program, Braq) else [])]
    return "; ".join(f"{suffix[1:].upper() if suffix == '.flac' else 'Opus'} at {quantum}: "
                     f"{seeks(studio, program, quantum, suffix)}" for quantum, suffix in settings)


# Stopped processes


def hold_up(process, seconds):
    process.send_signal(signal.SIGSTOP)
    time.sleep(seconds)
    process.send_signal(signal.SIGCONT)


def said_of(text):
    """What a program has said of lost time."""
    found = re.findall(r"dropouts?(?: of)? [\d.]+ s(?: filled with silence)?|Audio device underrun detected|\bxruns?\b.*", text)
    return f'"{found[-1].strip()}"' if found else "nothing"


def held_up_playing(studio, program):
    with studio.server() as server:
        recorder = Recorder(server, "one")
        player = program(server, [studio.numbered(0, 5 * sounds.RATE)], warnings=True)
        recorder.wait_for_sound()
        recorder.listen(SECONDS_BETWEEN)
        hold_up(player.process, 2)
        player.wait()
        recorder.listen(0.3)
        found = sounds.seams(sounds.stretches(recorder.finish()))
        said = said_of(player.written())
    silent = sum(seam.silent for seam in found) / sounds.RATE
    return f"{silent:.2f} s silent, {sum(abs(seam.lost) for seam in found)} frames lost or repeated; says {said}"


def held_up_recording(studio, program):
    recorders = {"braq play": ("braq record", [program.command, "record", "--format", "float", "--device", "one.monitor"]),
                 "pw-play": ("pw-record", ["pw-record", "--target", "one", "--properties", Recorder.PROPERTIES, "--format",
                                           "f32"])}
    if program.name not in recorders:
        raise Cannot(f"{program.name} does not record")
    name, command = recorders[program.name]
    with studio.server() as server:
        # What is recorded is what the contest's own recorder hears, which nobody stops.
        recorder = Recorder(server, "one")
        path = server.new_path("stopped", ".wav")
        stopped = server.spawn([*command, str(path)])
        if not eventually(lambda: len(server.recording_streams()) == 2, 10):
            raise Trouble(f"{name} does not record: {stopped.log.read_text(encoding='utf-8')}")
        recorder.listen(SECONDS_BETWEEN)
        source = server.spawn(["pw-play", str(studio.numbered(0, 7 * sounds.RATE))])
        recorder.wait_for_sound()
        hold_up(stopped, 4)
        source.wait()
        recorder.listen(0.3)
        stopped.send_signal(signal.SIGINT)
        stopped.wait(30)
        heard = _span(recorder.finish())
        recorded = _span(sounds.read_recording(path))
        said = said_of(stopped.log.read_text(encoding="utf-8", errors="replace"))
    missing = (heard - recorded) / sounds.RATE
    return f"{name}: {missing:.3f} s shorter; says {said}"


def _span(sound):
    """Frames from the first numbered one to the last."""
    numbered = [stretch for stretch in sounds.stretches(sound) if stretch.kind == sounds.NUMBERED]
    return numbered[-1].end - numbered[0].at


# Backwards


def turned(studio, program):
    if not issubclass(program, Braq):
        raise Cannot("not compared")
    jumps = []
    with studio.server() as server:
        recorder = Recorder(server, "one")
        player = program(server, [studio.numbered(0, 120 * sounds.RATE)], start=60)
        recorder.wait_for_sound()
        marks = []
        for repeat in range(2 * max(studio.repeats, 8)):
            marks.append(recorder.frames())
            player.press("r")
            recorder.listen(SECONDS_BETWEEN + repeat * 0.0071)
        player.stop()
        found = sounds.stretches(recorder.finish())
    numbered = [stretch for stretch in found if stretch.kind == sounds.NUMBERED]
    for before, after in itertools.pairwise(numbered):
        if before.direction < 0 < after.direction:
            jumps.append(sounds.turn_back([before, after]))
    far = [abs(jump) for jump in jumps if abs(jump) > sounds.UNSEEN]
    return f"{len(far)} of {len(jumps)} turns jump" + (f", {spread(far)} frames" if far else "")


BLOCK = 4096  # frames that a reader reads at a time
SINGLE_PRECISION = 16_777_216


def long_reverse(studio, program):
    if not issubclass(program, Braq):
        raise Cannot("not compared")
    seconds = 20
    file = studio.numbered(0, SINGLE_PRECISION + (seconds + 2) * sounds.RATE)
    with studio.server() as server:
        recorder = Recorder(server, "one")
        player = Backwards(server, [file])
        recorder.wait_for_sound()
        recorder.listen(seconds)
        player.stop()
        found = sounds.stretches(recorder.finish())
    backwards = [stretch for stretch in found if stretch.kind == sounds.NUMBERED and stretch.direction < 0]
    blocks = sum(stretch.length for stretch in backwards) // BLOCK
    wrong = sum(before.last_number - 1 != after.number for before, after in itertools.pairwise(backwards))
    return f"{wrong} of {blocks} blocks begin at the wrong frame"


class Backwards(Braq):
    def begin(self, files, start):
        return self.play([*files, "--speed", "-1"])


# Waiting


def position_while_reading(studio, program):
    if not issubclass(program, Braq):
        raise Cannot("an operation of the library")
    probe = Path(program.command).parent / "slow_reads"
    if not shutil.which(probe):
        return "not measured: slow_reads is not built"
    result = subprocess.run([probe, studio.sine(20)], capture_output=True, encoding="utf-8", check=False, timeout=120)
    if result.returncode != 0:
        raise Trouble(f"slow_reads: {result.stderr}")
    return result.stdout.strip()


ROWS = {
    "default": ("default device changed while playing", default_changed),
    "removed": ("sink removed while playing", sink_removed),
    "moved": ("stream moved by the user", stream_moved),
    "next": ("from one file to the next", next_file),
    "steps": (f"largest step of a {sounds.FREQUENCY:g} Hz sine at full level, over its own", steps),
    "seeks": ("seeks that are followed by silent cycles", seeks_in_all),
    "stopped": ("process stopped for 2 s while playing", held_up_playing),
    "recording": ("process stopped for 4 s while recording", held_up_recording),
    "turn": ("from backwards to forwards", turned),
    "reverse": (f"backwards behind frame {SINGLE_PRECISION:,}", long_reverse),
    "position": ("position asked for while a read takes 0.12 s", position_while_reading),
}
