"""The copying example, as its users see it.

Usage: copy_test.py --program PROGRAM --audio FOLDER
"""

import argparse
import os
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
import wave
from pathlib import Path

parser = argparse.ArgumentParser()
parser.add_argument("--program", required=True)
parser.add_argument("--audio", required=True, type=Path)
options, remaining = parser.parse_known_args()

REFERENCE = options.audio / "reference-44k-stereo-16.wav"


def copy(*arguments):
    return subprocess.run([options.program, *map(str, arguments)], capture_output=True, text=True, timeout=60)


def samples_of(path):
    with wave.open(str(path)) as file:
        return file.getparams()[:4], file.readframes(file.getnframes())


class Copy(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def copied(self, *arguments):
        result = copy(*arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, "")
        return result.stderr

    def test_lossless_copies_keep_every_sample(self):
        for name in ("a.wav", "a.rf64", "a.aiff", "a.aifc", "a.caf", "a.au", "a.mp4 pcm16", "a.m4a alac", "a.flac", "b.wav float"):
            with self.subTest(name):
                name, *coding = name.split()
                self.copied(REFERENCE, self.folder / name, *coding)
                self.copied(self.folder / name, self.folder / "back.wav")
                self.assertEqual(samples_of(self.folder / "back.wav"), samples_of(REFERENCE))

    def test_lossy_copies_keep_the_length(self):
        for name in ("a.m4a", "a.mp4"):
            with self.subTest(name):
                self.copied(REFERENCE, self.folder / name, "aac", "128000")
                self.copied(self.folder / name, self.folder / "back.wav")
                self.assertEqual(samples_of(self.folder / "back.wav")[0], samples_of(REFERENCE)[0])

    def test_progress_goes_to_standard_error_and_ends_at_the_end(self):
        lines = self.copied(REFERENCE, self.folder / "a.flac").replace("\r", "\n").split()
        percent = [int(lines[i]) for i in range(len(lines) - 1) if lines[i + 1] == "%"]
        self.assertEqual(percent, sorted(percent))
        self.assertEqual(percent[-1], 100)
        self.assertEqual(lines[-3:], ["176400", "frames", "copied"])

    def test_arguments_that_make_no_sense_give_the_usage(self):
        target = self.folder / "a.wav"
        for arguments, problem in (([], "arguments"), ([REFERENCE], "arguments"),
                                   ([REFERENCE, self.folder / "a.xyz"], "a.xyz has no extension that says what to write"),
                                   ([REFERENCE, self.folder / "a"], "has no extension"), ([REFERENCE, target, "mp3"], "mp3 is not a coding"),
                                   ([REFERENCE, target, "pcm16", "many"], "many is not a number"),
                                   ([REFERENCE, target, "pcm16", "0"], "0 is not a number"),
                                   ([REFERENCE, target, "pcm16", "1", "2"], "arguments")):
            with self.subTest(arguments):
                result = copy(*arguments)
                self.assertEqual(result.returncode, 2)
                self.assertTrue(result.stderr.startswith("copy: "), result.stderr)
                self.assertIn(problem, result.stderr)
                self.assertIn("\nusage: copy FROM TO", result.stderr)
                self.assertFalse(target.exists())

    def test_extensions_may_be_in_capitals(self):
        self.copied(REFERENCE, self.folder / "A.WAV")
        self.assertEqual(samples_of(self.folder / "A.WAV"), samples_of(REFERENCE))

    def test_what_cannot_be_copied_is_said(self):
        for source, target, coding, reason in (
                (self.folder / "missing.wav", "a.wav", "pcm16", "missing.wav: no such file or directory\n"),
                (self.folder, "a.wav", "pcm16", "(it is not a regular file)\n"),
                (options.audio / "bad-text.wav", "a.wav", "pcm16", "bad-text.wav: there is no audio in it that can be read (the type of its content is not supported)\n"),
                (REFERENCE, "a.wav", "aac", "a.wav: this type of file cannot hold this format, rate or number of channels (the coding is not supported)\n"),
                (REFERENCE, "no/such/a.wav", "pcm16", "a.wav: no such file or directory\n"),
                (REFERENCE, "folder.wav", "pcm16", "folder.wav: the file cannot be read or written (Is a directory)\n")):
            with self.subTest((source, target, coding)):
                (self.folder / "folder.wav").mkdir(exist_ok=True)
                result = copy(source, self.folder / target, coding)
                self.assertEqual(result.returncode, 1)
                self.assertTrue(result.stderr.startswith("copy: "), result.stderr)
                self.assertIn(reason, result.stderr)
                self.assertFalse((self.folder / "a.wav").exists())

    def test_a_file_that_is_there_is_replaced_unless_nothing_can_be_written(self):
        target = self.folder / "a.wav"
        target.write_bytes(b"what was there" * 100000)
        self.assertEqual(copy(REFERENCE, target, "aac").returncode, 1)
        self.assertEqual(copy(options.audio / "bad-text.wav", target).returncode, 1)
        self.assertEqual(target.read_bytes(), b"what was there" * 100000)
        self.copied(REFERENCE, target)
        self.assertEqual(samples_of(target), samples_of(REFERENCE))

    def test_a_file_is_not_copied_onto_itself(self):
        path = self.folder / "a.wav"
        self.copied(REFERENCE, path)
        (self.folder / "link.wav").symlink_to(path)
        os.link(path, self.folder / "other.wav")
        for name in ("a.wav", "link.wav", "other.wav"):
            with self.subTest(name):
                result = copy(path, self.folder / name)
                self.assertEqual(result.returncode, 1)
                self.assertIn("are the same file", result.stderr)
                self.assertEqual(samples_of(path), samples_of(REFERENCE))

    def test_signals_leave_a_file_that_can_be_read(self):
        source = self.folder / "long.wav"
        data_bytes = 1 << 30
        header = b"RIFF" + struct.pack("<I", 36 + data_bytes) + b"WAVE" + b"fmt " + struct.pack(
            "<IHHIIHH", 16, 1, 2, 48000, 48000 * 4, 4, 16) + b"data" + struct.pack("<I", data_bytes)
        source.write_bytes(header)
        os.truncate(source, len(header) + data_bytes)  # silence that takes no room
        for number, name in ((signal.SIGINT, "long.flac"), (signal.SIGTERM, "long.m4a"), (signal.SIGHUP, "long.aiff")):
            with self.subTest(name):
                target = self.folder / name
                process = subprocess.Popen([options.program, str(source), str(target)], stderr=subprocess.PIPE)
                process.stderr.read(4)  # the first progress
                process.send_signal(number)
                errors = process.communicate(timeout=60)[1].decode()
                self.assertEqual(process.returncode, 128 + number, errors)
                self.assertIn("interrupted", errors)
                frames = int(errors.splitlines()[-1].split()[0])
                self.assertGreater(frames, 0)
                self.assertLess(frames, data_bytes // 4)
                self.copied(target, self.folder / "back.wav")
                self.assertEqual(samples_of(self.folder / "back.wav")[0], (2, 2, 48000, frames))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *remaining])
