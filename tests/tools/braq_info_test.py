"""What `braq info` says of files and draws of them, as its users see it."""

import argparse
import json
import math
import os
import pty
import resource
import signal
import stat
import struct
import subprocess
import tempfile
import unittest
import wave
import zlib
from pathlib import Path

# A period of 8 frames, so that every column of a picture has the highest sample and the lowest.
SINE = [0.5 * math.sin(frame * math.tau / 8) for frame in range(8000)]

# container, codec, kind of samples, bits, rate, channels, frames
KNOWN = {
    "lossy-aac.aac": ("ADTS", "AAC", None, None, 44100, 2, 178176),
    "lossy-aac.m4a": ("M4A", "AAC", None, None, 44100, 2, 176400),
    "lossy-cbr.mp3": ("MP3", "MP3", None, None, 44100, 2, 176400),
    "lossy-opus.opus": ("Ogg", "Opus", None, None, 48000, 2, 192000),
    "lossy-vbr.mp3": ("MP3", "MP3", None, None, 44100, 2, 176400),
    "lossy-vorbis.ogg": ("Ogg", "Vorbis", None, None, 44100, 2, 176400),
    "mono-22k-16.wav": ("WAVE", "linear PCM", "integer", 16, 22050, 1, 88200),
    "reference-44k-stereo-16.wav": ("WAVE", "linear PCM", "integer", 16, 44100, 2, 176400),
    "reference-44k-stereo-float.wav": ("WAVE", "linear PCM", "float", 32, 44100, 2, 176400),
    "reference-48k-stereo-24.wav": ("WAVE", "linear PCM", "integer", 24, 48000, 2, 192000),
    "same-as-reference-16.aiff": ("AIFF", "linear PCM", "integer", 16, 44100, 2, 176400),
    "same-as-reference-16.caf": ("CAF", "linear PCM", "integer", 16, 44100, 2, 176400),
    "same-as-reference-16.flac": ("FLAC", "FLAC", "integer", 16, 44100, 2, 176400),
    "same-as-reference-alac.m4a": ("M4A", "ALAC", "integer", 16, 44100, 2, 176400),
    "six-channel-48k-24.wav": ("WAVE", "linear PCM", "integer", 24, 48000, 6, 48000),
}


def decibels(amplitude):
    return 20 * math.log10(amplitude)


class Picture:
    """A PNG file of 8 bits a colour, taken apart."""

    def __init__(self, path):
        data = Path(path).read_bytes()
        assert data.startswith(b"\x89PNG\r\n\x1a\n")
        chunks, offset = [], 8
        while offset < len(data):
            length, kind = struct.unpack_from(">I4s", data, offset)
            content = data[offset + 8:offset + 8 + length]
            assert struct.unpack_from(">I", data, offset + 8 + length)[0] == zlib.crc32(kind + content)
            chunks.append((kind, content))
            offset += 12 + length
        self.width, self.height, depth, colours, _, _, interlaced = struct.unpack(">IIBBBBB", chunks[0][1])
        assert (chunks[0][0], chunks[-1][0], depth, colours, interlaced) == (b"IHDR", b"IEND", 8, 2, 0)
        packed = zlib.decompress(b"".join(content for kind, content in chunks if kind == b"IDAT"))
        self.rows, above = [], bytes(3 * self.width)
        for row in range(self.height):
            start = row * (3 * self.width + 1)
            above = self.unfiltered(packed[start], packed[start + 1:start + 1 + 3 * self.width], above)
            self.rows.append(above)

    @staticmethod
    def unfiltered(kind, filtered, above):
        row = bytearray(filtered)
        for i, byte in enumerate(filtered):
            left, up, corner = (row[i - 3], above[i], above[i - 3]) if i >= 3 else (0, above[i], 0)
            if kind == 4:
                guess = left + up - corner
                predicted = min((left, up, corner), key=lambda value: abs(guess - value))
            else:
                predicted = (0, left, up, (left + up) // 2)[kind]
            row[i] = (byte + predicted) & 0xFF
        return row

    def pixels(self, rows, columns):
        for row in rows:
            for column in columns:
                yield tuple(self.rows[row][3 * column:3 * column + 3])

    def is_blue(self, rows, columns):
        """Which part of an area has the colours of a waveform."""
        pixels = list(self.pixels(rows, columns))
        return sum(blue > red + 40 for red, _, blue in pixels) / len(pixels)

    def is_red(self, rows, columns):
        pixels = list(self.pixels(rows, columns))
        return sum(red > blue + 100 for red, _, blue in pixels) / len(pixels)


class Info(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def run_tool(self, *arguments, **keywords):
        keywords = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **keywords}
        return subprocess.run([OPTIONS.program, "info", *arguments], timeout=120, check=False, encoding="utf-8",
                              **keywords)

    def facts(self, *paths):
        result = self.run_tool("--json", *paths)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return json.loads(result.stdout)["files"]

    def make_wave(self, name, channels):
        """A file of float samples at 8000 Hz; each channel is a list of them."""
        values = [value for frame in zip(*channels) for value in frame]
        samples = struct.pack(f"<{len(values)}f", *values)
        width = 4 * len(channels)
        header = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(samples), b"WAVE", b"fmt ", 16, 3, len(channels),
                             8000, 8000 * width, width, 32, b"data", len(samples))
        path = os.fsencode(self.folder) + b"/" + os.fsencode(name)
        with open(path, "wb") as file:
            file.write(header + samples)
        return Path(os.fsdecode(path))

    def draw(self, path, *arguments):
        target = self.folder / "picture.png"
        result = self.run_tool(path, "--waveform", target, *arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(sorted(left.name for left in self.folder.iterdir()), sorted({target.name, path.name}))
        return Picture(target)

    # What it says

    def test_knows_every_type_of_file(self):
        paths = [OPTIONS.audio / name for name in KNOWN]
        readable = {path.name for path in OPTIONS.audio.iterdir() if not path.name.startswith("bad-")}
        self.assertEqual(readable, set(KNOWN))
        for path, facts in zip(paths, self.facts(*paths), strict=True):
            with self.subTest(path.name):
                self.assertEqual(facts["file"], str(path))
                self.assertEqual(tuple(facts[name] for name in ("container", "codec", "sampleKind", "bitsPerSample",
                                                                "rate", "channels", "frames")), KNOWN[path.name])
                self.assertEqual(facts["framesRead"], facts["frames"])
                self.assertAlmostEqual(facts["seconds"], facts["frames"] / facts["rate"], 6)
                self.assertEqual(facts["layout"], {1: "mono", 2: "stereo"}.get(facts["channels"]))
                self.assertEqual(len(facts["levels"]), facts["channels"])
                average = path.stat().st_size * 8 / facts["seconds"]
                self.assertAlmostEqual(facts["bitRate"] / average, 1, delta=0.01)

    def test_measures_the_same_whatever_the_coding(self):
        with wave.open(str(OPTIONS.audio / "reference-44k-stereo-16.wav")) as file:
            samples = struct.unpack(f"<{2 * file.getnframes()}h", file.readframes(file.getnframes()))
        for name, (*_, channels, _) in KNOWN.items():
            # The one that has no priming said begins with what the coder made of silence before it.
            if channels != 2 or name == "lossy-aac.aac":
                continue
            (facts,) = self.facts(OPTIONS.audio / name)
            for channel, levels in enumerate(facts["levels"]):
                own = samples[channel::2]
                exact = "16" in name or "alac" in name
                with self.subTest(name, channel=channel):
                    peak = max(map(abs, own)) / 32768
                    self.assertAlmostEqual(levels["peak"], decibels(peak), delta=0.006 if exact else 0.6)
                    rms = math.sqrt(sum(sample * sample for sample in own) / len(own)) / 32768
                    self.assertAlmostEqual(levels["rms"], decibels(rms), delta=0.006 if exact else 0.3)

    def test_tells_what_codings_add(self):
        known = {"lossy-aac.m4a": (1024, 752), "lossy-cbr.mp3": (1105, 1055), "lossy-opus.opus": (312, 648),
                 "same-as-reference-16.flac": (0, 3824), "reference-44k-stereo-16.wav": (0, 0),
                 "lossy-aac.aac": (None, None)}
        for name, (priming, padding) in known.items():
            (facts,) = self.facts(OPTIONS.audio / name)
            self.assertEqual((facts["primingFrames"], facts["paddingFrames"]), (priming, padding), name)

    def test_says_the_same_to_people(self):
        path = OPTIONS.audio / "reference-44k-stereo-16.wav"
        result = self.run_tool(path, OPTIONS.audio / "six-channel-48k-24.wav")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        first, second = result.stdout.split("\n\n")
        self.assertEqual(first.splitlines(), [
            str(path),
            "  container    WAVE",
            "  codec        linear PCM",
            "  samples      16-bit integer",
            "  rate         44100 Hz",
            "  channels     2 (stereo)",
            "  bit rate     1411.2 kbit/s",
            "  frames       176400",
            "  duration     4.000 s",
            "  priming      0 frames",
            "  padding      0 frames",
            "  levels       L: peak -3.0 dBFS, RMS -20.4 dBFS",
            "               R: peak -3.0 dBFS, RMS -20.6 dBFS"])
        self.assertIn("  channels     6\n", second)
        self.assertIn("               6: peak -6.0 dBFS, RMS -9.0 dBFS\n", second)

    def test_silence_has_no_level(self):
        path = self.make_wave("silent.wav", [[0.0] * 100, SINE])
        (facts,) = self.facts(path)
        self.assertEqual(facts["levels"][0], {"channel": "L", "peak": None, "rms": None})
        self.assertAlmostEqual(facts["levels"][1]["rms"], -9.03, delta=0.5)
        self.assertIn("L: peak -inf dBFS, RMS -inf dBFS", self.run_tool(path).stdout)

    def test_a_file_without_frames_is_one(self):
        (facts,) = self.facts(self.make_wave("empty.wav", [[]]))
        self.assertEqual((facts["frames"], facts["seconds"], facts["levels"][0]["peak"]), (0, 0, None))

    def test_leaves_out_what_is_no_number(self):
        path = self.make_wave("odd.wav", [[0.5, math.nan, -0.5, math.inf]])
        (facts,) = self.facts(path)
        self.assertEqual((facts["samplesLeftOut"], facts["levels"][0]["peak"]), (2, -6.02))
        self.assertIn("without 2 samples that are not finite", self.run_tool(path).stdout)

    def test_takes_any_name(self):
        for name in (b"a \"quoted\" \\ name.wav", "Ton für Töne – スピ.wav".encode(), b"no utf-8 \xff.wav",
                     b"line\nend.wav"):
            path = self.make_wave(os.fsdecode(name), [SINE])
            (facts,) = self.facts(path)
            self.assertEqual(facts["file"], os.fsencode(path).decode("utf-8", "replace"))
            self.assertEqual(self.run_tool(path).stdout.count("\n"), 12)

    def test_what_cannot_be_read_is_named_and_the_others_are_shown(self):
        good = OPTIONS.audio / "mono-22k-16.wav"
        bad = {OPTIONS.audio / name: f"there is no audio in it that can be read ({reason})"
               for name, reason in (("bad-empty.wav", "the type of its content is not supported"),
                                    ("bad-header-only.wav", "the type of its content is not supported"),
                                    ("bad-no-moov.m4a", "moov atom not found"),
                                    ("bad-noise.mp3", "the type of its content is not supported"),
                                    ("bad-text.wav", "the type of its content is not supported"))}
        bad |= {self.folder: "it is a folder", self.folder / "none.wav": "no such file or directory",
                Path("/dev/null"): "the file cannot be read or written (it is not a regular file)"}
        for arguments in ([], ["--json"]):
            result = self.run_tool(*arguments, *bad, good)
            self.assertEqual(result.returncode, 1)
            self.assertEqual([line for line in result.stderr.splitlines() if line.startswith("braq: ")],
                             [f"braq: {path}: {complaint}" for path, complaint in bad.items()])
            self.assertIn("mono-22k-16.wav", result.stdout)
            self.assertNotIn("bad", result.stdout)
        self.assertEqual(len(json.loads(result.stdout)["files"]), 1)

    def test_says_that_a_file_is_damaged_inside(self):
        damaged = bytearray((OPTIONS.audio / "same-as-reference-16.flac").read_bytes())
        damaged[100000:100400] = bytes(400)
        path = self.folder / "damaged.flac"
        path.write_bytes(damaged)
        result = self.run_tool(path)
        self.assertEqual(result.returncode, 0)
        self.assertIn("  frames       176400\n", result.stdout)
        self.assertIn(f"{path} is damaged; there is silence in the place of what is lost\n", result.stderr)

    def test_output_that_nobody_reads_is_no_failure(self):
        reading, writing = os.pipe()
        os.close(reading)
        result = self.run_tool(OPTIONS.audio / "mono-22k-16.wav", stdout=writing)
        os.close(writing)
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    # Long files

    def make_endless(self):
        """A file of many hours that takes no room: reading it takes minutes."""
        path = self.folder / "endless.au"
        with open(path, "wb") as file:
            file.write(struct.pack(">4sIIIII", b".snd", 24, 0xFFFFFFFF, 3, 44100, 2))
            file.truncate(100 << 30)
        return path

    def test_interrupted_it_shows_what_it_was_done_with(self):
        good, endless = OPTIONS.audio / "mono-22k-16.wav", self.make_endless()
        for number in (signal.SIGINT, signal.SIGTERM):
            tool = subprocess.Popen([OPTIONS.program, "info", good, endless, good], stdout=subprocess.PIPE,
                                    stderr=subprocess.PIPE, encoding="utf-8")
            self.addCleanup(tool.communicate)
            self.addCleanup(tool.kill)
            self.assertEqual(tool.stdout.readline(), f"{good}\n")  # it is at the endless one now, or will be
            tool.send_signal(number)
            self.assertEqual(tool.wait(timeout=60), 0)
            self.assertEqual(tool.stdout.read().count("container"), 1)
            self.assertEqual(tool.stderr.read(), f"braq: {endless}: interrupted before its end\n")

    def test_interrupted_its_json_is_whole_and_an_old_picture_stays(self):
        endless, target = self.make_endless(), self.folder / "picture.png"
        target.write_text("old", encoding="utf-8")
        terminal, other_end = pty.openpty()
        tool = subprocess.Popen([OPTIONS.program, "info", "--json", "--waveform", target, endless],
                                stdout=subprocess.PIPE, stderr=other_end, encoding="utf-8")
        self.addCleanup(tool.kill)
        os.close(other_end)
        written = b""
        while written.count(b"%") < 2:
            written += os.read(terminal, 4096)
        tool.send_signal(signal.SIGINT)
        output, _ = tool.communicate(timeout=60)
        self.assertEqual((tool.returncode, json.loads(output)), (0, {"files": []}))
        try:
            while more := os.read(terminal, 4096):
                written += more
        except OSError:  # nobody is at the other end any more
            pass
        os.close(terminal)
        self.assertRegex(written, rb"^\r  0 %  .*endless\.au\x1b\[K\r")
        self.assertRegex(written, rb"\r\x1b\[Kbraq: .*interrupted before its end\r\n$", "the line is gone")
        self.assertEqual(target.read_text(encoding="utf-8"), "old")
        self.assertEqual(len(list(self.folder.iterdir())), 2)

    # What it draws

    def test_a_picture_has_a_lane_for_each_channel(self):
        picture = self.draw(self.make_wave("half.wav", [[0.0] * 8000, SINE]), "--size", "640x300")
        self.assertEqual((picture.width, picture.height), (640, 300))
        middle = range(100, 580)
        silent, loud = range(50, 145), range(165, 260)
        self.assertEqual(picture.is_blue(silent, middle), 0)
        self.assertGreater(picture.is_blue(loud, middle), 0.4)
        # Half of full scale: nothing beyond it, all of it within.
        self.assertEqual(picture.is_blue(range(165, 180), middle), 0)
        self.assertEqual(picture.is_blue(range(200, 225), middle), 1)
        self.assertEqual(picture.is_red(range(300), range(640)), 0)

    def test_a_picture_has_what_happens_where_it_happens(self):
        picture = self.draw(self.make_wave("late.wav", [[0.0] * 6000 + SINE[:2000]]), "--size", "640x200")
        left, right = 92, 640 - 52
        end_of_silence = left + (right - left) * 3 // 4
        self.assertEqual(picture.is_blue(range(50, 160), range(left, end_of_silence - 1)), 0)
        self.assertGreater(picture.is_blue(range(50, 160), range(end_of_silence + 1, right)), 0.4)
        self.assertEqual(picture.is_blue(range(50, 160), range(right + 1, 640)), 0)

    def test_a_picture_has_words_around_the_lanes(self):
        picture = self.draw(self.make_wave("words.wav", [SINE]), "--size", "800x200")
        for what, rows, columns in (("title", range(12, 34), range(92, 300)),
                                    ("name", range(90, 120), range(10, 56)),
                                    ("amplitudes", range(48, 162), range(58, 90)),
                                    ("decibels", range(48, 162), range(752, 790)),
                                    ("times", range(170, 190), range(80, 800))):
            dark = sum(sum(pixel) < 500 for pixel in picture.pixels(rows, columns))
            self.assertGreater(dark, 20, what)
        self.assertEqual({pixel for pixel in picture.pixels(range(0, 8), range(800))}, {(255, 255, 255)})

    def test_a_picture_marks_what_is_beyond_full_scale(self):
        picture = self.draw(self.make_wave("loud.wav", [[3.0 * sample for sample in SINE]]), "--size", "640x200")
        self.assertGreater(picture.is_red(range(48, 51), range(100, 580)), 0.9)

    def test_a_picture_has_its_usual_size(self):
        picture = self.draw(self.make_wave("stereo.wav", [SINE, SINE]))
        self.assertEqual((picture.width, picture.height), (1200, 400))

    def test_a_picture_of_nothing_is_empty(self):
        picture = self.draw(self.make_wave("empty.wav", [[], []]), "--size", "640x300")
        self.assertEqual(picture.is_blue(range(48, 260), range(92, 588)), 0)

    def test_a_picture_takes_the_place_of_another_and_of_nothing_else(self):
        path = self.make_wave("tone.wav", [SINE])
        target = self.folder / "old.png"
        target.write_text("old", encoding="utf-8")
        target.chmod(0o640)
        (self.folder / "folder.png").mkdir()
        (self.folder / "link.png").symlink_to(path.name)
        os.mkfifo(self.folder / "pipe.png")
        for name in ("folder.png", "link.png", "pipe.png"):
            result = self.run_tool(path, "--waveform", self.folder / name)
            self.assertEqual((result.returncode, result.stdout), (1, ""), name)
            self.assertIn("not a regular file; it was left alone" if name != "link.png" else "would take its place",
                          result.stderr)
        self.assertEqual(self.run_tool(path, "--waveform", target).returncode, 0)
        self.assertEqual(Picture(target).width, 1200)
        self.assertEqual(stat.S_IMODE(target.stat().st_mode), 0o640)

    def test_a_picture_does_not_take_the_place_of_the_sound(self):
        path = self.make_wave("sound.png", [SINE])
        before = path.read_bytes()
        result = self.run_tool(path, "--waveform", path)
        self.assertEqual(result.returncode, 1)
        self.assertIn("would take its place", result.stderr)
        self.assertEqual(path.read_bytes(), before)

    def test_a_picture_that_cannot_be_written_loses_nothing(self):
        path, target = self.make_wave("tone.wav", [SINE]), self.folder / "old.png"
        target.write_text("old", encoding="utf-8")

        def fill_the_disk():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

        result = self.run_tool(path, "--waveform", target, preexec_fn=fill_the_disk, restore_signals=False)
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"cannot write {target}: File too large", result.stderr)
        self.assertEqual(target.read_text(encoding="utf-8"), "old")
        self.assertEqual(sorted(left.name for left in self.folder.iterdir()), ["old.png", "tone.wav"])
        result = self.run_tool(path, "--waveform", self.folder / "none/new.png")
        self.assertEqual(result.returncode, 1)
        self.assertIn("No such file or directory", result.stderr)

    def test_a_picture_needs_room_for_its_channels(self):
        result = self.run_tool(self.make_wave("many.wav", [SINE] * 40), "--waveform", self.folder / "x.png", "--size",
                               "400x200")
        self.assertEqual(result.returncode, 1)
        self.assertIn("no room for 40 channels", result.stderr)

    # The command line

    def test_a_wrong_command_line_is_refused(self):
        path = str(self.make_wave("tone.wav", [SINE]))
        target = str(self.folder / "new.png")
        for arguments in ([], ["--json"], ["--loud", path], ["--waveform", target], ["--waveform", path, path],
                          ["--size", "640x200", path], ["--waveform", target, "--size", "large", path],
                          ["--waveform", target, "--size", "10x10", path], ["--waveform", target, path, path]):
            result = self.run_tool(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
            self.assertIn("--help", result.stderr)
        self.assertFalse(Path(target).exists())


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--audio", required=True, type=Path)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[__file__, *rest])
