"""The GTK player as its users see it.

Usage: gtk_player_test.py --program PROGRAM --audio FOLDER --picture PNG, which is written
"""

import argparse
from pathlib import Path

import window_case

# Where things are in the window, whose upper left corner is that of the screen: left, top, width, height.
WINDOW = (0, 0, 480, 287)
LEVELS = (22, 130, 436, 30)
POSITION = (68, 184, 340, 5)
LATE = (404, 187)


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
