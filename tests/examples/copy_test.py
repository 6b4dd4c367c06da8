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
        for name in ("a.wav", "a.rf64", "a.aiff", "a.aifc", "a.caf", "a.mp4 pcm16", "a.m4a alac", "a.flac", "b.wav float"):
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
        for arguments in ([], [REFERENCE], [REFERENCE, self.folder / "a.xyz"], [REFERENCE, target, "mp3"],
                          [REFERENCE, target, "pcm16", "many"], [REFERENCE, target, "pcm16", "0"],
                          [REFERENCE, target, "pcm16", "1", "2"]):
            with self.subTest(arguments):
                result = copy(*arguments)
                self.assertEqual(result.returncode, 2)
                self.assertTrue(result.stderr.startswith("usage: copy FROM TO"), result.stderr)
                self.assertFalse(target.exists())

    def test_what_cannot_be_copied_is_said(self):
        for source, target, coding in ((self.folder / "missing.wav", "a.wav", "pcm16"),
                                       (options.audio / "bad-text.wav", "a.wav", "pcm16"),
                                       (REFERENCE, "a.wav", "aac"), (REFERENCE, "no/such/a.wav", "pcm16")):
            with self.subTest((source, target, coding)):
                result = copy(source, self.folder / target, coding)
                self.assertEqual(result.returncode, 1)
                self.assertIn("copy: ", result.stderr)

    def test_a_file_is_not_copied_onto_itself(self):
        path = self.folder / "a.wav"
        self.copied(REFERENCE, path)
        result = copy(path, path)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(samples_of(path), samples_of(REFERENCE))

    def test_ctrl_c_leaves_a_file_that_can_be_read(self):
        source = self.folder / "long.wav"
        data_bytes = 1 << 30
        header = b"RIFF" + struct.pack("<I", 36 + data_bytes) + b"WAVE" + b"fmt " + struct.pack(
            "<IHHIIHH", 16, 1, 2, 48000, 48000 * 4, 4, 16) + b"data" + struct.pack("<I", data_bytes)
        source.write_bytes(header)
        os.truncate(source, len(header) + data_bytes)  # silence that takes no room
        target = self.folder / "long.flac"
        process = subprocess.Popen([options.program, str(source), str(target)], stderr=subprocess.PIPE)
        process.stderr.read(4)  # the first progress
        process.send_signal(signal.SIGINT)
        errors = process.communicate(timeout=60)[1].decode()
        self.assertEqual(process.returncode, 130, errors)
        self.assertIn("interrupted", errors)
        frames = int(errors.splitlines()[-1].split()[0])
        self.assertGreater(frames, 0)
        self.assertLess(frames, data_bytes // 4)
        self.copied(target, self.folder / "back.wav")
        self.assertEqual(samples_of(self.folder / "back.wav")[0], (2, 2, 48000, frames))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *remaining])
