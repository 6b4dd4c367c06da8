"""A screen without a monitor: pictures of what is on it, and a mouse and a keyboard to use it with."""

import ctypes
import os
import shutil
import struct
import subprocess
import zlib
from pathlib import Path

from dragging import Dragging


class Picture:
    """Pixels of a screen, in rows of red, green and blue bytes."""

    def __init__(self, width, rows):
        self.width, self.rows = width, rows

    @classmethod
    def from_xwd(cls, data):
        """@param data of a screen as its server keeps it: numbers, big-endian; colours; pixels of 32 bits, little-endian"""
        numbers = struct.unpack(">25I", data[:100])
        header_size, width, height, row_size, colours = (numbers[i] for i in (0, 4, 5, 12, 19))
        rows = []
        for start in range(header_size + 12 * colours, header_size + 12 * colours + height * row_size, row_size):
            row = data[start:start + 4 * width]
            pixels = bytearray(3 * width)
            pixels[0::3], pixels[1::3], pixels[2::3] = row[2::4], row[1::4], row[0::4]
            rows.append(bytes(pixels))
        return cls(width, rows)

    def __eq__(self, other):
        return self.rows == other.rows

    def pixels(self):
        return [tuple(row[x:x + 3]) for row in self.rows for x in range(0, len(row), 3)]

    def is_not_black(self):
        return any(any(row) for row in self.rows)

    def part(self, left, top, width, height):
        return Picture(width, [row[3 * left:3 * (left + width)] for row in self.rows[top:top + height]])

    def write_png(self, path):
        def chunk(kind, content):
            return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))

        header = struct.pack(">IIBBBBB", self.width, len(self.rows), 8, 2, 0, 0, 0)
        pixels = zlib.compress(b"".join(b"\0" + row for row in self.rows), 9)
        Path(path).write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) +
                               chunk(b"IEND", b""))


class Screen:
    """An X server of its own, on the first number that is free."""

    @staticmethod
    def what_is_missing():
        """Why there can be none on this machine; None if nothing is missing."""
        if shutil.which("Xvfb") is None:
            return "Xvfb is not installed"
        try:
            Screen._libraries()
        except OSError as problem:
            return str(problem)
        return None

    def __init__(self, folder):
        """@param folder for the file of pixels"""
        self._pixels = Path(folder) / "Xvfb_screen0"
        reading, writing = os.pipe()
        # It ends with its last user, also if that is killed.
        command = ["Xvfb", "-displayfd", str(writing), "-terminate", "-screen", "0", "800x600x24", "-fbdir", folder,
                   "-nolisten", "tcp"]
        self._server = subprocess.Popen(command, pass_fds=[writing], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writing)
        with os.fdopen(reading) as number:
            self.display = ":" + number.readline().strip()
        self._x, self._test = self._libraries()
        self._x.XOpenDisplay.restype = ctypes.c_void_p
        self._connection = ctypes.c_void_p(self._x.XOpenDisplay(self.display.encode()))
        assert self._connection, "the screen does not come up"

    def close(self):
        self._x.XCloseDisplay(self._connection)
        self._server.terminate()
        self._server.wait()

    def picture(self):
        return Picture.from_xwd(self._pixels.read_bytes())

    def press(self, *keys):
        """Presses keys together, such as "Control_L", "q". They go to the window below the mouse."""
        codes = [self._x.XKeysymToKeycode(self._connection, ctypes.c_ulong(self._x.XStringToKeysym(key.encode())))
                 for key in keys]
        for code in codes:
            self._test.XTestFakeKeyEvent(self._connection, code, 1, ctypes.c_ulong(0))
        for code in reversed(codes):
            self._test.XTestFakeKeyEvent(self._connection, code, 0, ctypes.c_ulong(0))
        self._x.XSync(self._connection, 0)

    def move_mouse(self, x, y):
        self._test.XTestFakeMotionEvent(self._connection, -1, x, y, ctypes.c_ulong(0))
        self._x.XSync(self._connection, 0)

    def click(self, x, y):
        self.move_mouse(x, y)
        for is_down in (1, 0):
            self._test.XTestFakeButtonEvent(self._connection, 1, is_down, ctypes.c_ulong(0))
        self._x.XSync(self._connection, 0)

    def drop(self, x, y, *paths):
        """Drags files to a place. @return whether the window there says that it has taken them"""
        dragging = Dragging(self._x, self._connection, paths)
        try:
            return dragging.drop_at(x, y)
        finally:
            dragging.close()

    @staticmethod
    def _libraries():
        return ctypes.CDLL("libX11.so.6"), ctypes.CDLL("libXtst.so.6")
