"""The Qt player as its users see it.

Usage: qt_player_test.py --program PROGRAM
"""

import argparse

import window_case

# Where things are in the window, whose upper left corner is that of the screen: left, top, width, height.
POSITION = (46, 20, 298, 5)
BUTTON = (25, 23)
LATE = (330, 23)


class QtPlayer(window_case.WindowCase):
    mouse = (5, 5)

    def test_plays_pauses_and_seeks(self):
        player = self.start(self.make_minute())
        self.wait_until(lambda: self.coloured(POSITION), "it plays at once")
        early = self.coloured(POSITION)
        self.wait_until(lambda: self.coloured(POSITION) > early, "the position follows")
        self.screen.click(*LATE)
        self.wait_until(lambda: self.coloured(POSITION) > early + 50, "it seeks")
        self.screen.click(*BUTTON)
        self.assert_pauses()
        self.assert_closes_cleanly(player)

    def test_plays_one_file_after_another(self):
        player = self.start(self.make_file("Two seconds.wav", 2), "/no/such/file.wav", self.make_minute())
        self.wait_until(lambda: self.coloured(POSITION) > 4 * 200, "it plays the first file")
        self.wait_until(lambda: self.coloured(POSITION) < 4 * 40, "it plays the next one")
        early = self.coloured(POSITION)
        self.wait_until(lambda: self.coloured(POSITION) > early, "the position is in that")
        self.screen.click(*BUTTON)
        self.assert_pauses()
        self.assert_closes_cleanly(player)

    def test_plays_files_that_are_dropped(self):
        player = self.start(self.make_minute())
        self.wait_until(lambda: self.coloured(POSITION), "it plays at once")
        self.assertTrue(self.screen.drop(150, 23, self.make_file("Two seconds.wav", 2), self.folder / "One minute.wav"))
        self.wait_until(lambda: self.coloured(POSITION) > 4 * 200, "it plays the first file")
        self.wait_until(lambda: self.coloured(POSITION) < 4 * 40, "it plays the next one")
        early = self.coloured(POSITION)
        self.wait_until(lambda: self.coloured(POSITION) > early, "the position is in that")
        self.screen.click(*BUTTON)
        self.assert_pauses()
        self.assert_closes_cleanly(player)

    def test_shows_levels_and_holds_peaks_for_a_moment(self):
        player = self.start(self.make_file("A second.wav", 1, silence=60))
        left, right, loudest, below = (11, 41, 367, 6), (11, 49, 367, 6), (330, 41, 10, 6), (150, 41, 130, 6)
        self.wait_until(lambda: self.coloured(left) > self.coloured(right) > 0, "the left channel is louder")
        self.wait_until(lambda: self.coloured(loudest) and not self.coloured(below), "a peak above a bar that has fallen")
        self.wait_until(lambda: not self.coloured(left) and not self.coloured(right), "it is forgotten")
        self.screen.click(*BUTTON)
        self.assert_pauses()
        self.assert_closes_cleanly(player)

    def assert_pauses(self):
        """A program that paints late may still show where it was when it was paused."""
        positions = []

        def stands_still():
            positions.append(self.coloured(POSITION))
            return positions[-50:] == positions[-1:] * 50

        self.wait_until(stands_still, "it pauses")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    QtPlayer.program = parser.parse_args().program
    window_case.run(QtPlayer)
