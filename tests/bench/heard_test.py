"""What has been done to a sound is found in a recording of it: gaps, frames that are lost or played twice, clicks and turns."""

import math
import struct
import tempfile
import unittest
from array import array
from pathlib import Path

import contest
import programs
import rows
import sound_server
import sounds


def heard(*pieces):
    """What is recorded of 16-bit samples, interleaved in two channels, one piece after the other."""
    samples = array("f", (sample / 32768 for piece in pieces for sample in piece))
    return sounds.Sound(samples[0::2], samples[1::2])


def silence(frames):
    return array("h", bytes(4 * frames))


def numbered(first, count):
    return sounds.numbered_frames(first, count)


def backwards(last, count):
    """`count` frames, the first of which has the number `last`."""
    samples = numbered(last - count + 1, count)
    mirrored = array("h", bytes(4 * count))
    mirrored[0::2] = samples[0::2][::-1]
    mirrored[1::2] = samples[1::2][::-1]
    return mirrored


def faded(samples, gain_of):
    frames = len(samples) // 2
    return [sample * gain_of(i // 2 / frames) for i, sample in enumerate(samples)]


def rising(at):
    return (1 - math.cos(math.pi * (at * 0.98 + 0.01))) / 2


def falling(at):
    return 1 - rising(at)


def seams(*pieces):
    return [(seam.lost, seam.silent) for seam in sounds.seams(sounds.stretches(heard(*pieces)))]


class NumberedFrames(unittest.TestCase):
    def test_that_are_played_as_they_are_have_no_seam(self):
        self.assertEqual(seams(silence(100), numbered(16000, 40000), silence(100)), [])

    def test_keep_their_numbers_behind_those_of_single_precision(self):
        for first in (0, 16383, 2**24 - 5, 20_000_000):
            (stretch,) = sounds.stretches(heard(numbered(first, 1000)))
            self.assertEqual((stretch.number, stretch.last_number, stretch.length), (first, first + 999, 1000))

    def test_with_silence_between_them_are_silent_so_long(self):
        self.assertEqual(seams(numbered(0, 5000), silence(1024), numbered(5000, 5000)), [(0, 1024)])

    def test_that_are_lost_are_counted(self):
        self.assertEqual(seams(numbered(0, 5000), numbered(5256, 5000)), [(256, 0)])
        self.assertEqual(seams(numbered(0, 5000), silence(512), numbered(5512, 5000)), [(512, 512)])

    def test_that_are_played_twice_are_counted(self):
        self.assertEqual(seams(numbered(0, 5000), numbered(4999, 5000)), [(-1, 0)])
        self.assertEqual(seams(numbered(0, 5000), silence(300), numbered(4744, 5000)), [(-256, 300)])

    def test_that_are_faded_are_not_lost(self):
        self.assertEqual(seams(numbered(0, 5000), faded(numbered(5000, 384), falling), silence(2000),
                               faded(numbered(5384, 384), rising), numbered(5768, 5000)), [(0, 2000)])
        self.assertEqual(seams(numbered(0, 5000), faded(numbered(5000, 384), falling), silence(2000),
                               faded(numbered(5394, 384), rising), numbered(5778, 5000)), [(10, 2000)])

    def test_are_followed_backwards(self):
        (stretch,) = sounds.stretches(heard(backwards(20_000, 5000)))
        self.assertEqual((stretch.direction, stretch.number, stretch.last_number), (-1, 20_000, 15_001))

    def test_that_are_played_twice_backwards_are_found(self):
        first, second = sounds.stretches(heard(backwards(20_000, 4096), backwards(15_905, 4096)))
        self.assertEqual(first.last_number, second.number)


class Turns(unittest.TestCase):
    @staticmethod
    def turn(*pieces):
        return sounds.turn_back(sounds.stretches(heard(*pieces)))

    def test_that_go_on_with_the_frame_heard_last_do_not_jump(self):
        self.assertEqual(self.turn(backwards(9000, 3001), numbered(6000, 3000)), 0)
        self.assertEqual(self.turn(backwards(9000, 3001), numbered(6001, 3000)), 1)

    def test_that_jump_are_measured(self):
        self.assertEqual(self.turn(backwards(9000, 3001), numbered(4976, 3000)), -1024)

    def test_are_measured_where_the_fade_begins(self):
        both = [back * falling(i // 2 / 384) + forth * rising(i // 2 / 384)
                for i, (back, forth) in enumerate(zip(backwards(5999, 384), numbered(6000, 384)))]
        self.assertAlmostEqual(self.turn(backwards(9000, 3001), both, numbered(6384, 3000)), 0, delta=sounds.UNSEEN)
        self.assertAlmostEqual(self.turn(backwards(9000, 3001), both, numbered(6484, 3000)), 100, delta=sounds.UNSEEN)

    def test_that_there_are_not_are_not_made_up(self):
        with self.assertRaises(sounds.NoSound):
            self.turn(numbered(0, 5000))


class Steps(unittest.TestCase):
    def setUp(self):
        self.sine = sounds.sine(0.1)

    def test_of_the_sine_itself_are_one(self):
        self.assertAlmostEqual(sounds.largest_step(heard(self.sine)), 1, delta=0.01)

    def test_of_a_wave_that_is_cut_off_show(self):
        peak = self.sine.index(max(self.sine)) // 2
        step = sounds.largest_step(heard(self.sine[:2 * peak + 2], silence(100)))
        self.assertAlmostEqual(step, 1 / (2 * math.sin(math.pi * sounds.FREQUENCY / sounds.RATE)), delta=0.05)

    def test_of_one_channel_show(self):
        self.sine[1001] = 0
        self.sine[1003] = 32767
        self.assertGreater(sounds.largest_step(heard(self.sine)), 7)

    def test_of_a_fade_do_not(self):
        self.assertLess(sounds.largest_step(heard(faded(self.sine, falling), silence(100))), 1.01)


    def test_tell_of_the_silence_that_they_are_beside(self):
        largest = rows.LargestSteps()
        largest.note("seek", heard(self.sine))
        self.assertEqual(largest.text_of("seek"), "seek 1.00")
        largest.note("seek", heard(self.sine[:2 * 1000], silence(1024), self.sine))
        self.assertRegex(largest.text_of("seek"), r"^seek [2-7]\.\d\d \(102[45] frames silent\)$")
        largest.note("seek", heard(self.sine))
        self.assertRegex(largest.text_of("seek"), "silent")
        self.assertEqual(largest.text_of("pause"), "pause none")


class Silence(unittest.TestCase):
    def test_is_found_between_sounds_only(self):
        sound = heard(silence(500), sounds.sine(0.1), silence(256), sounds.sine(0.1), silence(500))
        self.assertEqual(sounds.inner_silence(sound, 64, 0.001), [(500 + 4800, 257)], "a sine begins with a zero")

    def test_is_no_place_where_a_wave_passes_zero(self):
        self.assertEqual(sounds.silent_stretches(heard(sounds.sine(0.1)), 4, 0.001), [])


class Recordings(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = Path(folder.name) / "a.wav"

    def write(self, stated, form=(3, 2, 48000, 384000, 8, 32), after=b""):
        samples = array("f", [0.5, -0.5] * 100).tobytes()
        self.path.write_bytes(b"RIFF\0\0\0\0WAVE" + b"fact\4\0\0\0\0\0\0\0fmt \x10\0\0\0" + struct.pack("<HHIIHH", *form) +
                              b"data" + struct.pack("<I", stated) + samples + after)

    def test_that_are_complete_are_read_to_their_end(self):
        self.write(800, after=b"LIST\4\0\0\0abcd")
        sound = sounds.read_recording(self.path)
        self.assertEqual((len(sound), sound.left[99], sound.right[99]), (100, 0.5, -0.5))

    def test_of_a_killed_program_have_what_was_written(self):
        for stated in (0, 0xFFFFFFFF):
            self.write(stated)
            self.assertEqual(len(sounds.read_recording(self.path)), 100)

    def test_of_another_format_are_refused(self):
        self.write(800, form=(3, 1, 48000, 192000, 4, 32))
        with self.assertRaises(sounds.NoSound):
            sounds.read_recording(self.path)

    def test_know_when_a_frame_was_there_though_some_cycles_are_written_late(self):
        recorder = object.__new__(sound_server.Recorder)
        recorder.growth = [(10 + i * 0.02 + (0.015 if i % 3 else 0), 960 * i) for i in range(100)]
        self.assertAlmostEqual(recorder.time_of(48000), 11)


class FromOneSinkToAnother(unittest.TestCase):
    class Recorded:
        def __init__(self, begins, *pieces):
            self.begins = begins
            self.sound = heard(*pieces)

        def finish(self):
            return self.sound

        def time_of(self, frame):
            return self.begins + frame / sounds.RATE

    def change(self, before, after):
        silent, lost = rows.change(self.Recorded(7, *before), self.Recorded(6, *after))
        return round(silent, 3), lost

    def test_all_frames_and_no_time_may_go_by(self):
        self.assertEqual(self.change([numbered(0, 4800), silence(480)], [silence(52800), numbered(4800, 4800)]), (0, 0))

    def test_silence_and_lost_frames_are_found(self):
        self.assertEqual(self.change([numbered(0, 4800), silence(480)], [silence(53760), numbered(5824, 4800)]), (20, 1024))

    def test_frames_that_are_played_twice_are_found(self):
        self.assertEqual(self.change([numbered(0, 4800)], [silence(52800), numbered(4700, 4800)]), (0, -100))

    def test_frames_that_are_faded_are_there(self):
        self.assertEqual(self.change([numbered(0, 4800), faded(numbered(4800, 384), falling), silence(480)],
                                     [silence(53184 + 480), faded(numbered(5184, 384), rising), numbered(5568, 4800)]),
                         (10, 0))


class Table(unittest.TestCase):
    @staticmethod
    def cell(problem=None, version="1.0"):
        class Program(programs.Player):
            name = "some player"

            @classmethod
            def version(cls):
                return version

        def measure(_studio, _program):
            if problem:
                raise problem
            return "0 ms"
        return contest.cell(None, measure, Program)

    def test_has_what_was_measured_or_why_it_was_not(self):
        self.assertEqual(self.cell(), ("0 ms", True))
        self.assertEqual(self.cell(version=None), ("not installed", True))
        self.assertEqual(self.cell(programs.Cannot("no pause")), ("none: no pause", True))

    def test_never_passes_what_did_not_work(self):
        self.assertEqual(self.cell(sound_server.Trouble("nothing is heard\nlogs")), ("failed: nothing is heard", False))

    def test_gives_medians_with_their_range(self):
        self.assertEqual(rows.spread([3, 1, 20]), "3 (1-20)")
        self.assertEqual(rows.spread([5.2, 5.4]), "5")

    def test_quotes_what_is_said_of_lost_time(self):
        self.assertEqual(rows.said_of("\x0d0:01 dropouts 1 s\nplayed, dropouts of 2.013 s\n"), '"dropouts of 2.013 s"')
        self.assertEqual(rows.said_of("\r0:01 of 0:05  dropouts 1.960 s\r0:05"), '"dropouts 1.960 s"')
        self.assertEqual(rows.said_of("[ao] Audio device underrun detected.\n"), '"Audio device underrun detected"')
        self.assertEqual(rows.said_of("played 5 s, 0 underruns"), "nothing")


if __name__ == "__main__":
    unittest.main()
