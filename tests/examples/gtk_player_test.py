"""The GTK player as its users see it.

Usage: gtk_player_test.py --program PROGRAM --audio FOLDER --picture PNG, which is written
"""

import argparse
from pathlib import Path

import window_case

# Where things are in the window, whose upper left corner is that of the screen: left, top, width, height.
WINDOW = (0, 0, 480, 300)
LEVELS = (22, 132, 436, 22)
POSITION = (68, 197, 340, 5)
LATE = (404, 200)
PLAY = (217, 230, 47, 47)


class GtkPlayer(window_case.WindowCase):
    def test_plays_pauses_seeks_and_ends(self):
        player = self.start(self.make_minute())
        self.wait_until(lambda: self.coloured(LEVELS), "it plays at once")
        early = self.coloured(POSITION)
        self.wait_until(lambda: self.coloured(POSITION) > early, "the position follows")
        self.screen.picture().part(*WINDOW).write_png(OPTIONS.picture)

        self.screen.press("space")
        self.wait_until(lambda: not self.coloured(LEVELS), "it pauses")
        self.assert_stands_still(POSITION, 0.5)
        self.screen.click(*LATE)
        self.screen.move_mouse(*self.mouse)
        self.wait_until(lambda: self.coloured(POSITION) > 4 * 300, "it seeks")
        self.assert_stands_still(POSITION, 3)  # longer than what is left would take
        self.assertEqual(self.coloured(LEVELS), 0)

        self.screen.press("space")
        self.wait_until(lambda: self.coloured(LEVELS), "it plays on")
        self.wait_until(lambda: not self.coloured(LEVELS) and self.coloured(POSITION) <= early, "the end is the beginning")
        self.assert_closes_cleanly(player)

    def test_plays_one_file_after_another(self):
        player = self.start(self.make_file("Two seconds.wav", 2), "/no/such/file.wav", self.make_minute())
        self.wait_until(lambda: self.coloured(POSITION) > 4 * 250, "it plays the first file")
        self.wait_until(lambda: self.coloured(POSITION) < 4 * 50, "it plays the next one")
        early = self.coloured(POSITION)
        self.wait_until(lambda: self.coloured(POSITION) > early and self.coloured(LEVELS), "the position is in that")
        self.assert_closes_cleanly(player)

    def test_plays_files_that_are_dropped(self):
        player = self.start()
        self.assertTrue(self.screen.drop(240, 150, self.make_file("Two seconds.wav", 2), self.make_minute()))
        self.wait_until(lambda: self.coloured(LEVELS), "it plays at once")
        self.wait_until(lambda: self.coloured(POSITION) > 4 * 250, "it plays the first file")
        self.wait_until(lambda: self.coloured(POSITION) < 4 * 50, "it plays the next one")
        self.assertTrue(self.screen.drop(240, 150, self.make_file("A second.wav", 1)))
        self.wait_until(lambda: self.coloured(POSITION) > 4 * 250, "it plays what is dropped while it plays")
        self.assert_closes_cleanly(player)

    def test_nothing_can_be_pressed_before_a_file_is_open(self):
        player = self.start()
        self.wait_until(lambda: self.screen.picture().part(*WINDOW).is_not_black(), "there is a window")
        self.assert_stands_still(PLAY, 0.5)
        self.assertEqual(self.coloured(PLAY), 0, "the button is not lit")
        self.screen.click(240, 253)
        self.screen.move_mouse(*self.mouse)
        self.assert_stands_still(PLAY, 0.5)
        self.assert_closes_cleanly(player)

    def test_each_channel_has_a_bar(self):
        player = self.start(self.make_file("Six channels.wav", 60, levels=(16000, 0, 16000, 0, 16000, 16000)))
        lit = [(22, 132 + 11 * bar, 436, 8) for bar in (0, 2, 4, 5)]
        self.wait_until(lambda: all(self.coloured(bar) for bar in lit), "bars of the channels with a tone")
        for bar in (1, 3):
            self.assertEqual(self.coloured((22, 132 + 11 * bar, 436, 8)), 0)
        self.assert_closes_cleanly(player)

    def test_holds_peaks_for_a_moment(self):
        player = self.start(self.make_file("A second.wav", 1, silence=60))
        loudest, below = (404, 132, 10, 8), (200, 132, 150, 8)
        self.wait_until(lambda: self.coloured(loudest) and not self.coloured(below), "a peak above a bar that has fallen")
        self.wait_until(lambda: not self.coloured(LEVELS), "it is forgotten")
        self.assert_closes_cleanly(player)

    def test_is_closed_while_it_plays(self):
        player = self.start(self.make_minute())
        self.wait_until(lambda: self.coloured(LEVELS), "it plays at once")
        self.assert_closes_cleanly(player)

    def test_says_in_red_what_it_cannot_play(self):
        player = self.start(OPTIONS.audio / "bad-text.wav")
        self.wait_until(lambda: any(red > 150 > 50 > max(green, blue) for red, green, blue in self.screen.picture().pixels()),
                        "a message in red")
        self.assert_closes_cleanly(player)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--audio", required=True, type=Path)
    parser.add_argument("--picture", required=True, type=Path)
    OPTIONS = parser.parse_args()
    GtkPlayer.program = OPTIONS.program
    window_case.run(GtkPlayer)
