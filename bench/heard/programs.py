"""The programs that are compared, each told what to do in its own way."""

import fcntl
import json
import os
import pty
import re
import shutil
import signal
import socket
import struct
import subprocess
import termios
import threading

from sound_server import Trouble, eventually


class Cannot(Exception):
    """The program has no such thing: why."""


class Player:
    """A program that plays files on the default device. `files` are paths, `start` is the position in the first one, in
    seconds."""

    name = ""
    command = ""

    def __init__(self, server, files, start=None, warnings=False):
        self.server = server
        self.warnings = warnings
        self.process = self.begin([str(file) for file in files], start)

    @classmethod
    def version(cls):
        """The version of the program that is installed, or nothing if none is."""
        if not shutil.which(cls.command):
            return None
        result = subprocess.run([cls.command, "--version"], capture_output=True, encoding="utf-8", check=False)
        found = re.search(r"\d+\.\d+[\w.~+-]*", result.stdout + result.stderr)
        return found[0] if found else "of an unknown version"

    def begin(self, files, start):
        raise NotImplementedError

    def pause(self):
        raise Cannot(f"{self.name} has no pause")

    def resume(self):
        raise Cannot(f"{self.name} has no pause")

    def seek(self, seconds):
        raise Cannot(f"{self.name} has no seek")

    def next(self):
        raise Cannot(f"{self.name} plays one file")

    def stop(self):
        """Ends it as a user does, and returns when it is over."""
        self.process.send_signal(signal.SIGINT)
        self.wait()

    def wait(self):
        try:
            self.process.wait(60)
        except subprocess.TimeoutExpired:
            raise Trouble(f"{self.name} does not end") from None

    def written(self):
        """What it has said."""
        return self.process.log.read_text(encoding="utf-8", errors="replace")


class Braq(Player):
    """This project's tool, on a terminal of its own."""

    name = "braq play"
    keys = {-5: "\x1b[D", 5: "\x1b[C", 60: "\x1b[5~", -60: "\x1b[6~"}

    def begin(self, files, start):
        return self.play([*files, *(["--start", str(start)] if start else [])])

    def play(self, arguments):
        self.terminal, other_end = pty.openpty()
        self.heard_of = bytearray()
        fcntl.ioctl(other_end, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 200, 0, 0))
        process = self.server.spawn([self.command, "play", *arguments], stdin=other_end, stdout=other_end,
                                    stderr=other_end, start_new_session=True,
                                    preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(other_end)
        self.reading = threading.Thread(target=self._read, daemon=True)
        self.reading.start()
        return process

    def _read(self):
        try:
            while written := os.read(self.terminal, 4096):
                self.heard_of += written
        except OSError:  # nobody is at the other end any more
            os.close(self.terminal)

    def press(self, key):
        os.write(self.terminal, key.encode())

    def pause(self):
        self.press(" ")

    def resume(self):
        self.press(" ")

    def seek(self, seconds):
        self.press(self.keys[seconds])

    def next(self):
        self.press("n")

    def stop(self):
        self.press("q")
        self.wait()

    def written(self):
        self.reading.join()
        return re.sub(r"\x1b\[[?0-9;]*[A-Za-z]", "", self.heard_of.decode(errors="replace"))


class MPV(Player):
    """mpv without a configuration, told what to do through its socket."""

    name = "mpv"
    command = "mpv"

    def begin(self, files, start):
        self.socket_path = self.server.new_path("mpv", ".socket")
        quiet = "--msg-level=all=warn" if self.warnings else "--really-quiet"
        return self.server.spawn([self.command, "--ao=pipewire", "--no-config", "--no-video", quiet,
                                  f"--input-ipc-server={self.socket_path}", *([f"--start={start}"] if start else []),
                                  *files])

    def tell(self, *command):
        if not eventually(lambda: os.path.exists(self.socket_path)):
            raise Trouble("mpv does not listen")
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(30)
            connection.connect(str(self.socket_path))
            connection.sendall(json.dumps({"command": command, "request_id": 1}).encode() + b"\n")
            for line in connection.makefile(encoding="utf-8"):
                answer = json.loads(line)
                if answer.get("request_id") == 1:
                    if answer["error"] != "success":
                        raise Trouble(f"mpv: {command}: {answer['error']}")
                    return
        raise Trouble("mpv does not answer")

    def pause(self):
        self.tell("set_property", "pause", True)

    def resume(self):
        self.tell("set_property", "pause", False)

    def seek(self, seconds):
        self.tell("seek", seconds, "relative")

    def next(self):
        self.tell("playlist-next")

    def stop(self):
        self.tell("quit")
        self.wait()


class PwPlay(Player):
    """PipeWire's own player."""

    name = "pw-play"
    command = "pw-play"

    def begin(self, files, start):
        if len(files) > 1:
            raise Cannot("pw-play plays one file")
        if start:
            raise Cannot("pw-play begins at the beginning")
        return self.server.spawn([self.command, *files])
