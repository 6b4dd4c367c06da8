"""The examples for the terminal as their users see them, on a machine without a sound server: there is one device, a loopback.

Usage: programs_test.py --programs FOLDER --audio FOLDER
"""

import argparse
import os
import re
import signal
import subprocess
import tempfile
import unittest
import wave
from pathlib import Path


class Programs(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.environment = {name: value for name, value in os.environ.items() if not name.startswith("PIPEWIRE_")}
        self.environment["XDG_RUNTIME_DIR"] = folder.name

    def start(self, name, *arguments):
        program = subprocess.Popen([OPTIONS.programs / f"example_{name}", *map(str, arguments)], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=self.environment, encoding="utf-8")
        self.addCleanup(program.communicate)
        self.addCleanup(program.kill)
        return program

    def run_to_end(self, name, *arguments):
        """@return exit status, what is said, what is complained about"""
        program = self.start(name, *arguments)
        said, complaint = program.communicate(timeout=60)
        return program.returncode, said, complaint

    def test_the_player_plays_to_the_end(self):
        status, said, complaint = self.run_to_end("player", OPTIONS.audio / "reference-44k-stereo-16.wav")
        self.assertEqual(status, 0, complaint)
        self.assertRegex(said, r"\Aplayed to 4 s, \d+ underruns\n\Z")

    def test_the_player_refuses_what_it_cannot_play(self):
        for path in (OPTIONS.audio / "bad-text.wav", self.folder / "nothing.wav"):
            status, said, complaint = self.run_to_end("player", path)
            self.assertEqual((status, said), (1, ""))
            self.assertIn("Could not load audio file", complaint)
        self.assertEqual(self.run_to_end("player")[0], 1)

    def frames_in(self, path):
        with wave.open(str(path)) as file:
            self.assertEqual(file.getparams()[:3], (2, 2, 48000))
            return file.getnframes()

    def frames_said(self, said):
        return int(re.fullmatch(r"(\d+) frames recorded, \d+ overruns\n", said)[1])

    def test_the_recorder_records_so_long(self):
        path = self.folder / "a.wav"
        status, said, complaint = self.run_to_end("recorder", "0.5", path)
        self.assertEqual(status, 0, complaint)
        self.assertGreaterEqual(self.frames_said(said), 24000)
        self.assertEqual(self.frames_in(path), self.frames_said(said))
        self.assertRegex(complaint, r"0\.\d s    -inf dB    -inf dB")

    def test_an_interrupted_recording_is_complete(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            path = self.folder / "a.wav"
            program = self.start("recorder", "1000", path)
            shown = ""
            while not re.search(r"\d\.[3-9] s", shown):
                shown += program.stderr.read(1)
            program.send_signal(number)
            said, complaint = program.communicate(timeout=60)
            self.assertEqual(program.returncode, 0, complaint)
            self.assertGreaterEqual(self.frames_said(said), 12000)
            self.assertEqual(self.frames_in(path), self.frames_said(said))

    def test_the_recorder_refuses_what_it_cannot_do(self):
        status, said, complaint = self.run_to_end("recorder", "1", self.folder / "no folder" / "a.wav")
        self.assertEqual((status, said), (1, ""))
        self.assertIn("recorder: ", complaint)
        for duration in ("0", "-1", "long", "1s", ""):
            self.assertEqual(self.run_to_end("recorder", duration, self.folder / "a.wav")[0], 2, duration)

    def test_the_meter_shows_levels_until_it_is_interrupted(self):
        program = self.start("meter")
        shown = [program.stdout.readline() for _ in range(8)]
        # On a busy machine the device may be late, and what a level says before the device has begun means nothing.
        self.assertEqual(shown[-3:], ["    -inf dB    -inf dB\n"] * 3, shown)
        program.send_signal(signal.SIGINT)
        _, complaint = program.communicate(timeout=60)
        self.assertEqual(program.returncode, 0, complaint)

    def test_the_synthesiser_plays_keys(self):
        for arguments, count in ((["cCg A"], 5), ([], 7)):
            status, said, complaint = self.run_to_end("synthesiser", *arguments)
            self.assertEqual((status, said), (0, f"{count} keys played\n"), complaint)

    def test_the_synthesiser_refuses_what_is_no_key(self):
        for arguments in (["h"], ["c", "d"], ["c-d"]):
            self.assertEqual(self.run_to_end("synthesiser", *arguments)[:2], (2, ""))

    def test_the_effect_tells_its_latency(self):
        status, said, complaint = self.run_to_end("effect", "1")
        self.assertEqual(status, 0, complaint)
        found = re.fullmatch(r"latency: input (\S+) ms, ring (\S+) ms, output (\S+) ms; \d+ underruns\n", said)
        self.assertIsNotNone(found, said)
        captured, kept, played = map(float, found.groups())
        self.assertEqual((captured, played), (0.0, 0.0), "of the loopback")
        self.assertTrue(0.0 <= kept < 1000.0, said)

    def test_the_effect_refuses_a_duration_that_is_none(self):
        for arguments in ([], ["0"], ["-1"], ["long"], ["1", "2"]):
            self.assertEqual(self.run_to_end("effect", *arguments)[:2], (2, ""))

    def test_the_watcher_begins_with_what_is_there(self):
        program = self.start("watch")
        self.assertEqual(program.stdout.readline(), "here: Loopback (no sound server), 2 out, 2 in, 48000 Hz\n")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", required=True, type=Path)
    parser.add_argument("--audio", required=True, type=Path)
    OPTIONS = parser.parse_args()
    unittest.main(argv=["test"], verbosity=2)
