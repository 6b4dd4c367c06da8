"""Sounds that say what has become of them: written to files, and looked for in what was recorded of their playing."""

import itertools
import math
import struct
import wave
from array import array
from dataclasses import dataclass

RATE = 48000
# Of a full-scale sine. Five seconds further on it is at another place of its wave.
FREQUENCY = 997.13
FULL_SCALE = 32768
MOST = 32767

# A numbered frame has the low digits of its number on the left and the high ones on the right. Neither sample is ever near
# silence, and hardly any gain but 1 leaves both of them whole.
DIGITS = 16384
LOWEST = 8192
# Fewer frames in order than this are taken for chance.
FEWEST_IN_ORDER = 16
# The first samples of a fade are as they would be without it. Backwards and forwards drift apart by this much meanwhile.
UNSEEN = 16
SILENT = "silent"
ALTERED = "altered"
NUMBERED = "numbered"


def write_wave(path, samples, rate=RATE):
    """Interleaved samples of 16 bits, two channels."""
    with wave.open(str(path), "wb") as file:
        file.setparams((2, 2, rate, 0, "NONE", ""))
        file.writeframes(samples.tobytes())


def numbered_frames(first, count):
    """Interleaved samples of `count` frames, the first of which has the number `first`."""
    samples = array("h")
    frame = first
    while frame < first + count:
        high, low = divmod(frame, DIGITS)
        end = min(DIGITS, low + first + count - frame)
        block = array("h", bytes(4 * (end - low)))
        block[0::2] = array("h", range(LOWEST + low, LOWEST + end))
        block[1::2] = array("h", [LOWEST + high]) * (end - low)
        samples += block
        frame += end - low
    return samples


def sine(seconds, rate=RATE):
    """A full-scale sine, interleaved, the same in both channels."""
    wave_samples = array("h", (round(MOST * math.sin(2 * math.pi * FREQUENCY * frame / rate))
                               for frame in range(int(seconds * rate))))
    samples = array("h", bytes(4 * len(wave_samples)))
    samples[0::2] = wave_samples
    samples[1::2] = wave_samples
    return samples


@dataclass
class Sound:
    """Floats of two channels."""
    left: array
    right: array

    def __len__(self):
        return len(self.left)

    def part(self, first, end=None):
        return Sound(self.left[first:end], self.right[first:end])


class NoSound(Exception):
    pass


def read_recording(path):
    """A WAVE file of 32-bit floats and two channels. If the program that wrote it was killed before it could state the length,
    all that there is counts."""
    with open(path, "rb") as file:
        content = file.read()
    if content[:4] != b"RIFF" or content[8:12] != b"WAVE":
        raise NoSound(f"{path} is not a WAVE file")
    at = 12
    description = None
    while at + 8 <= len(content):
        kind, size = struct.unpack_from("<4sI", content, at)
        at += 8
        if kind == b"fmt ":
            description = struct.unpack_from("<HHIIHH", content, at)
        if kind == b"data":
            if description is None or description[1:3] != (2, RATE) or description[5] != 32:
                raise NoSound(f"{path} has another format: {description}")
            length = size if 0 < size <= len(content) - at else len(content) - at
            samples = array("f", content[at:at + length // 8 * 8])
            return Sound(samples[0::2], samples[1::2])
        at += size + size % 2
    raise NoSound(f"{path} has no samples")


def silent_stretches(sound, fewest, threshold=0.0):
    """First frame and length of each stretch of at least `fewest` frames in which no sample is above the threshold."""
    found = []
    frame = 0
    for is_silent, group in itertools.groupby(abs(left) <= threshold and abs(right) <= threshold
                                              for left, right in zip(sound.left, sound.right)):
        length = sum(1 for _ in group)
        if is_silent and length >= fewest:
            found.append((frame, length))
        frame += length
    return found


def inner_silence(sound, fewest, threshold=0.0):
    """The silent stretches with sound on both sides of them."""
    return [(first, length) for first, length in silent_stretches(sound, fewest, threshold)
            if first > 0 and first + length < len(sound)]


def largest_step(sound, rate=RATE):
    """The largest step between neighbouring samples, over the largest one that the full-scale sine itself has."""
    steps = (abs(after - before) for samples in (sound.left, sound.right)
             for before, after in itertools.pairwise(samples))
    return max(steps, default=0.0) / (2 * math.sin(math.pi * FREQUENCY / rate) * MOST / FULL_SCALE)


@dataclass
class Stretch:
    """Frames of one kind: silent ones, numbered ones in order, or ones that something has been done to."""
    kind: str
    at: int  # in the recording
    length: int
    number: int = 0  # of the first frame
    direction: int = 1  # 1: forwards, -1: backwards

    @property
    def end(self):
        return self.at + self.length

    def number_at(self, frame):
        """What is played at a frame of the recording if this stretch goes on, or has begun earlier."""
        return self.number + self.direction * (frame - self.at)

    @property
    def last_number(self):
        return self.number_at(self.end - 1)


def number_of(left, right):
    """The number of a frame as it was written, or nothing."""
    low = left * FULL_SCALE - LOWEST
    high = right * FULL_SCALE - LOWEST
    if low == int(low) and high == int(high) and 0 <= low < DIGITS and 0 <= high:
        return int(high) * DIGITS + int(low)
    return None


def stretches(sound):
    """What was recorded of numbered frames, from the first frame to the last."""
    found = []
    for frame, (left, right) in enumerate(zip(sound.left, sound.right)):
        if left == 0.0 and right == 0.0:
            kind, number = SILENT, 0
        else:
            number = number_of(left, right)
            kind = ALTERED if number is None else NUMBERED
        last = found[-1] if found else None
        if last is not None and last.kind == kind:
            if kind != NUMBERED or number == last.number_at(frame):
                last.length += 1
                continue
            if last.length == 1 and number == last.number - 1:
                last.direction = -1
                last.length = 2
                continue
        found.append(Stretch(kind, frame, 1, number or 0))
    return _without_chance(found)


def _without_chance(found):
    """A few whole samples within a fade are no frames in order, and a sample at zero there is no silence."""
    kept = []
    for i, stretch in enumerate(found):
        is_inner = 0 < i < len(found) - 1
        if stretch.kind == NUMBERED and stretch.length < FEWEST_IN_ORDER or \
                stretch.kind == SILENT and stretch.length < FEWEST_IN_ORDER and is_inner:
            stretch = Stretch(ALTERED, stretch.at, stretch.length)
        if kept and kept[-1].kind == stretch.kind == ALTERED:
            kept[-1].length += stretch.length
        else:
            kept.append(stretch)
    return kept


@dataclass
class Seam:
    """What lies between two stretches of frames that are played forwards."""
    lost: int  # frames; negative: played twice
    silent: int
    at: int  # in the recording: the first frame after what was played last
    number: int  # of the frame that was played last


def seams(found):
    """Where frames do not follow directly. Frames that something has been done to count as those that belong there."""
    numbered = [stretch for stretch in found if stretch.kind == NUMBERED]
    result = []
    for before, after in itertools.pairwise(numbered):
        silent = sum(stretch.length for stretch in found
                     if stretch.kind == SILENT and before.end <= stretch.at < after.at)
        altered = after.at - before.end - silent
        lost = after.number - before.last_number - 1 - altered
        if lost or silent or altered:
            result.append(Seam(lost, silent, before.end, before.last_number))
    return result


def turn_back(found):
    """Frames between the last one that is heard backwards and the one that forwards begins with; 0 if it goes on there. During
    a fade both directions are heard, so both are followed to its beginning, which is known to within `UNSEEN` frames."""
    numbered = [stretch for stretch in found if stretch.kind == NUMBERED]
    for before, after in itertools.pairwise(numbered):
        if before.direction < 0 < after.direction:
            return after.number_at(before.end) - before.last_number
    raise NoSound("it was not turned")
