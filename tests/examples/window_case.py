"""What tests of programs with a window have in common: a screen, a file to play, and a way to look at sliders and bars."""

import math
import os
import struct
import subprocess
import tempfile
import time
import unittest
import wave
from pathlib import Path

from screen import Screen


def is_coloured(pixel):
    return max(pixel) - min(pixel) > 80


class WindowCase(unittest.TestCase):
    """On a machine without a sound server, where there is one device, a loopback."""

    program = None  # its path
    mouse = (400, 90)  # a place in the window at which nothing lights up; the keys go to the window below the mouse

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        self.screen = Screen(self.folder)
        self.addCleanup(self.screen.close)
        # No sound server, no message bus, no settings of whoever runs this, and nothing that needs a graphics card.
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith(("PIPEWIRE_", "DBUS_", "GTK_", "QT_", "XDG_", "WAYLAND_"))}
        self.environment |= {"XDG_RUNTIME_DIR": temporary.name, "XDG_CONFIG_HOME": temporary.name, "HOME": temporary.name,
                             "DISPLAY": self.screen.display, "GDK_BACKEND": "x11", "GSK_RENDERER": "cairo",
                             "GSETTINGS_BACKEND": "memory", "GTK_A11Y": "none", "QT_QPA_PLATFORM": "xcb"}

    def make_minute(self):
        return self.make_file("One minute.wav", 60)

    def make_file(self, name, seconds, levels=(16000, 6000), silence=0):
        """A tone, quieter on the right unless the channels are to have other levels, and then silence; all in seconds."""
        path = self.folder / name
        second = b"".join(struct.pack(f"<{len(levels)}h", *(round(level * tone) for level in levels))
                          for tone in (math.sin(2 * math.pi * 441 * i / 44100) for i in range(44100)))
        with wave.open(str(path), "wb") as file:
            file.setparams((len(levels), 2, 44100, 0, "NONE", None))
            file.writeframes(seconds * second + silence * bytes(len(second)))
        return path

    def start(self, *arguments):
        self.screen.move_mouse(*self.mouse)
        player = subprocess.Popen([self.program, *map(str, arguments)], env=self.environment, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8")
        self.addCleanup(player.communicate)
        self.addCleanup(player.kill)
        return player

    def wait_until(self, condition, what):
        deadline = time.monotonic() + 30
        while not condition():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.02)

    def coloured(self, part):
        """How many pixels of a part of the screen are coloured: what is filled of a slider or a bar."""
        return sum(map(is_coloured, self.screen.picture().part(*part).pixels()))

    def assert_stands_still(self, part, seconds):
        before = self.coloured(part)
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            time.sleep(0.02)
            self.assertEqual(self.coloured(part), before)

    def assert_closes_cleanly(self, player):
        self.screen.press("Control_L", "q")
        said, _ = player.communicate(timeout=30)
        self.assertEqual(player.returncode, 0, said)
        for complaint in ("CRITICAL", "WARNING", "ERROR", "Sanitizer"):
            self.assertNotIn(complaint, said)


def run(case):
    """Runs a case's tests, or says why this machine cannot show anything with them."""
    missing = Screen.what_is_missing()
    if missing:
        print(f"not shown: {missing}")
    else:
        unittest.main(module="__main__", argv=["test"], verbosity=2)
