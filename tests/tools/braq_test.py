"""The tool as its users see it, on a machine without a sound server: there is one device, a loopback."""

import argparse
import fcntl
import json
import math
import os
import re
import resource
import select
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest
import wave


LOOPBACK = "BRAQAudio.loopback"


def wave_file(path, seconds, rate=48000):
    """A tone of 16 bits and two channels."""
    period = b"".join(struct.pack("<hh", *2 * [round(16000 * math.sin(frame * math.pi / 50))]) for frame in range(100))
    with wave.open(path, "wb") as file:
        file.setparams((2, 2, rate, 0, "NONE", ""))
        file.writeframes(period * int(seconds * rate // 100))


class ToolTest(unittest.TestCase):
    def setUp(self):
        # An empty folder of sockets: there is no sound server in it, whatever runs on this machine.
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.environment = {name: value for name, value in os.environ.items() if not name.startswith("PIPEWIRE_")}
        self.environment["XDG_RUNTIME_DIR"] = folder.name
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def run_tool(self, *arguments, **keywords):
        """Runs the tool to its end."""
        keywords = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "env": self.environment, "encoding": "utf-8",
                    **keywords}
        return subprocess.run([OPTIONS.program, *arguments], timeout=60, check=False, **keywords)

    def run_on_loopback(self, command, *arguments, **keywords):
        return self.run_tool(command, *([] if "--device" in arguments else ["--device", LOOPBACK]), *arguments, **keywords)


class Tool(ToolTest):
    def start_watching(self):
        """Starts to watch and waits until it has shown what is there."""
        tool = subprocess.Popen([OPTIONS.program, "devices", "--watch"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                env=self.environment, encoding="utf-8")
        self.addCleanup(tool.communicate)
        self.addCleanup(tool.kill)
        self.assertTrue(tool.stdout.readline().startswith("DEFAULT"))
        self.assertIn("BRAQAudio.loopback", tool.stdout.readline())
        return tool

    def test_lists_the_loopback_device(self):
        result = self.run_tool("devices")
        self.assertEqual(result.returncode, 0, result.stderr)
        title, device = result.stdout.splitlines()
        self.assertTrue(title.startswith("DEFAULT"))
        self.assertIn("play+record", device)
        self.assertEqual(device.index("BRAQAudio.loopback"), title.index("UID"))

    def test_json_is_json_and_says_the_same(self):
        result = self.run_tool("devices", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        (device,) = json.loads(result.stdout)["devices"]
        self.assertEqual(device["uid"], "BRAQAudio.loopback")
        self.assertEqual(device["connection"], "virtual")
        self.assertGreater(device["rate"], 0)
        for direction in ("playback", "recording"):
            self.assertTrue(device[direction]["isDefault"])
            self.assertGreater(device[direction]["channels"], 0)

    def test_writes_the_same_in_every_locale(self):
        plain = self.run_tool("devices", "--json", env={**self.environment, "LC_ALL": "C"}).stdout
        self.assertEqual(self.run_tool("devices", "--json", env={**self.environment, "LC_ALL": "C.UTF-8"}).stdout, plain)

    def test_interrupted_it_stops_watching_and_has_succeeded(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            tool = self.start_watching()
            tool.send_signal(number)
            output, complaint = tool.communicate(timeout=60)
            self.assertEqual((tool.returncode, output), (0, ""), complaint)

    def test_a_mistyped_subcommand_is_met_with_the_nearest(self):
        for typed, answer in (("plya", "did you mean 'play'?"), ("recrod", "did you mean 'record'?"),
                              ("song.flac", "there are: devices, meter, play, record, info")):
            result = self.run_tool(typed, "--device", "x")
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            self.assertIn(f"braq: there is no subcommand '{typed}'; {answer}\n", result.stderr)

    def test_stops_watching_when_nobody_reads_any_more(self):
        tool = self.start_watching()
        tool.stdout.close()
        self.assertEqual(tool.wait(timeout=60), 0)

    def test_output_that_nobody_reads_is_no_failure(self):
        for arguments in (["devices"], ["devices", "--json"], ["devices", "--watch"], ["--help"], ["--version"]):
            reading, writing = os.pipe()
            os.close(reading)
            result = self.run_tool(*arguments, stdout=writing)
            os.close(writing)
            self.assertEqual((result.returncode, result.stderr), (0, ""), arguments)

    def start_metering(self, **keywords):
        tool = subprocess.Popen([OPTIONS.program, "meter", LOOPBACK], stderr=subprocess.PIPE, env=self.environment, **keywords)
        self.addCleanup(tool.communicate)
        self.addCleanup(tool.kill)
        return tool

    def test_meters_with_a_line_a_second_for_a_file(self):
        tool = self.start_metering(stdout=subprocess.PIPE, encoding="utf-8")
        for _ in range(2):
            self.assertEqual(tool.stdout.readline(), "1: -inf  2: -inf\n")
        tool.send_signal(signal.SIGINT)
        output, complaint = tool.communicate(timeout=60)
        self.assertEqual((tool.returncode, complaint), (0, ""), output)

    def test_meters_with_bars_on_a_terminal_and_leaves_it_clean(self):
        for columns, number in ((80, signal.SIGINT), (20, signal.SIGTERM)):
            terminal, other_end = os.openpty()
            fcntl.ioctl(other_end, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            tool = self.start_metering(stdout=other_end)
            os.close(other_end)
            output = b""
            while output.count(b"\x1b[2A") < 3:  # it has been drawn over three times
                output += os.read(terminal, 4096)
            tool.send_signal(number)
            self.assertEqual(tool.wait(timeout=60), 0)
            try:
                while more := os.read(terminal, 4096):
                    output += more
            except OSError:  # nobody is at the other end any more
                pass
            os.close(terminal)
            self.assertTrue(output.startswith(b"\x1b[?25l1 ["), output)
            self.assertTrue(output.endswith(b"\n\x1b[?25h"), output)
            for line in re.sub(rb"\x1b\[[?0-9]*[A-Za-z]", b"", output).splitlines():
                self.assertLessEqual(len(line), columns)

    def test_takes_a_sound_server_unless_the_loopback_is_named(self):
        sound = self.path("sound.wav")
        wave_file(sound, 1)
        recording = self.path("recording.wav")
        for arguments, verb in ((["play", sound], "play on"), (["record", recording], "record from"),
                                (["meter"], "record from")):
            result = self.run_tool(*arguments)
            self.assertEqual((result.returncode, result.stdout), (1, ""), arguments)
            self.assertEqual(result.stderr, f"braq: there is no sound server; to {verb} the loopback device {LOOPBACK} "
                                            "all the same, name it\n")
        self.assertFalse(os.path.exists(recording))

    def test_meters_nothing_that_is_not_there(self):
        for arguments, complaint in ((["nothing"], "no device to record from is called 'nothing'"),
                                     ([LOOPBACK, "--channels", "1,9"], "has no channel 9")):
            result = self.run_tool("meter", *arguments)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertIn(complaint, result.stderr)
        self.assertEqual(self.run_tool("meter", "--channels", "first").returncode, 2)

    def test_output_that_cannot_be_written_is_one(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            result = self.run_tool("devices", stdout=full)
        self.assertEqual(result.returncode, 1)
        self.assertTrue(result.stderr.startswith("braq: cannot write"), result.stderr)

    def test_says_its_version(self):
        result = self.run_tool("--version")
        self.assertEqual((result.returncode, result.stdout), (0, f"braq {OPTIONS.version}\n"))

    def test_helps(self):
        for arguments, said in ((["--help"], "devices"), (["devices", "--help"], "--watch")):
            result = self.run_tool(*arguments)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn(said, result.stdout)

    def test_a_wrong_command_line_is_refused(self):
        for arguments in ([], ["sing"], ["devices", "--loud"], ["devices", "--json", "--watch"], ["devices", "all"]):
            result = self.run_tool(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
            self.assertIn("--help", result.stderr)


# Runs a program in the foreground. When that is suspended, it says so, and has it go on at the next line that it is given.
SHELL = """
import os, signal, sys
signal.signal(signal.SIGTTOU, signal.SIG_IGN)
child = os.fork()
if child == 0:
    os.setpgid(0, 0)
    os.tcsetpgrp(0, os.getpid())
    signal.signal(signal.SIGTTOU, signal.SIG_DFL)
    os.execv(sys.argv[1], sys.argv[1:])
while True:
    status = os.waitpid(child, os.WUNTRACED)[1]
    os.tcsetpgrp(0, os.getpid())
    if not os.WIFSTOPPED(status):
        sys.exit(os.waitstatus_to_exitcode(status))
    print("suspended", flush=True)
    sys.stdin.readline()
    os.tcsetpgrp(0, child)
    os.kill(child, signal.SIGCONT)
"""


class Terminal:
    """A program on a terminal of its own, whose keys a test presses."""

    def __init__(self, test, arguments, columns=80, **streams):
        self.device, self.other_end = os.openpty()
        fcntl.ioctl(self.other_end, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.settings = termios.tcgetattr(self.other_end)
        self.output = b""

        def become_leader():
            os.setsid()
            fcntl.ioctl(2, termios.TIOCSCTTY, 0)
            signal.signal(signal.SIGHUP, signal.SIG_DFL)  # whatever the test was started with

        streams = {"stdin": self.other_end, "stdout": self.other_end, "stderr": self.other_end,
                   "preexec_fn": become_leader, **streams}
        self.program = subprocess.Popen(arguments, env=test.environment, **streams)
        test.addCleanup(self.close)

    def close(self):
        self.program.kill()
        self.program.wait()
        os.close(self.device)
        os.close(self.other_end)

    def read_until(self, text):
        """Reads until the program has written it, and returns all up to there."""
        text = text.encode()
        deadline = time.monotonic() + 60
        while text not in self.output:
            if not select.select([self.device], [], [], max(0, deadline - time.monotonic()))[0]:
                raise AssertionError(f"{text} is not in {self.output}")
            self.output += os.read(self.device, 65536)
        before, after = self.output.split(text, 1)
        self.output = after
        return before + text

    def press(self, keys):
        os.write(self.device, keys.encode())

    def wait(self):
        """The exit status, and what was written last."""
        deadline = time.monotonic() + 60
        while self.program.poll() is None and time.monotonic() < deadline:
            self.read_for(0.01)
        self.read_for(0)
        return self.program.wait(timeout=60), self.output.decode()

    def read_for(self, seconds):
        while select.select([self.device], [], [], seconds)[0]:
            self.output += os.read(self.device, 65536)

    def is_as_it_was(self):
        return termios.tcgetattr(self.other_end) == self.settings

    def takes_keys_one_by_one(self):
        return not termios.tcgetattr(self.other_end)[3] & (termios.ICANON | termios.ECHO)


class Play(ToolTest):
    def setUp(self):
        super().setUp()
        self.file = self.path("tone.wav")
        wave_file(self.file, 1)
        self.long_file = self.path("long.wav")
        wave_file(self.long_file, 60, rate=8000)

    def start(self, *arguments, columns=80, **streams):
        terminal = Terminal(self, [OPTIONS.program, "play", "--device", LOOPBACK, *arguments], columns, **streams)
        terminal.read_until("> 0:")
        return terminal

    def end(self, terminal, status=0):
        ended, output = terminal.wait()
        self.assertEqual(ended, status, output)
        self.assertTrue(terminal.is_as_it_was())
        self.assertTrue(output.endswith("\x1b[?25h"), output)

    def test_says_what_it_plays_where_there_is_no_terminal(self):
        result = self.run_on_loopback("play", self.file, self.file, "--speed", "4", "--volume", "-20")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(result.stdout, 2 * (f"playing {self.file} (0:01.0, 48000 Hz, 2 channels) on "
                                             f"Loopback (no sound server)\nplayed {self.file} to 0:01.0, 0 underruns\n"))

    def test_takes_the_time_that_a_file_takes(self):
        for speed, seconds in (("1", 1), ("-2", 0.5)):
            before = time.monotonic()
            self.assertEqual(self.run_on_loopback("play", self.file, "--speed", speed).returncode, 0)
            self.assertGreater(time.monotonic() - before, seconds)

    def test_shows_how_far_it_is_to_the_end(self):
        terminal = self.start(self.file)
        self.assertTrue(terminal.takes_keys_one_by_one())
        terminal.read_until("> 0:01.0 / 0:01.0")
        self.end(terminal)

    def test_no_line_is_wider_than_the_terminal(self):
        for columns in (10, 20, 40, 120):
            terminal = self.start(self.file, "--speed", "4", columns=columns)
            self.assertEqual(terminal.wait()[0], 0)
            lines = re.sub(r"\x1b\[[?0-9]*[A-Za-z]", "", terminal.output.decode()).splitlines()
            self.assertGreater(len(lines), 2)
            for line in lines:
                self.assertLessEqual(len(line), columns)

    def test_keys_do_what_they_say(self):
        terminal = self.start(self.long_file)
        for key, shown in ((" ", "|| 0:0"), (" ", "> 0:0"), ("\x1b[C", "> 0:05."), ("\x1b[C", "> 0:10."),
                           ("\x1b[D", "> 0:05."), ("\x1b[A", "+1 dB"), ("\x1b[B\x1b[B", "-1 dB"), ("+", "x1.06"),
                           ("--", "x0.94"), ("+r", "x-1.00"), ("r", "x1.00"), ("?", "space pause")):
            terminal.output = b""
            terminal.press(key)
            terminal.read_until(shown)
        terminal.press("q")
        self.end(terminal)

    def test_goes_on_after_a_pause_where_it_was(self):
        terminal = self.start(self.file)
        terminal.press(" ")
        terminal.read_until("|| 0:00.")
        time.sleep(1.5)  # longer than the file
        terminal.press(" ")
        terminal.read_until("> 0:01.0 / 0:01.0")
        self.end(terminal)

    def test_reverse_ends_at_the_beginning(self):
        terminal = self.start(self.long_file)
        terminal.press("r")
        terminal.read_until("< 0:00.0")
        self.end(terminal)

    def test_goes_to_the_next_file_and_back(self):
        terminal = self.start(self.long_file, self.file)
        terminal.press("n")
        terminal.read_until(f"playing {self.file}")
        terminal.press("p")
        terminal.read_until(f"playing {self.long_file}")
        terminal.press("p")
        terminal.read_until(f"playing {self.long_file}")
        terminal.press("nn")
        self.end(terminal)

    def test_no_key_is_lost(self):
        files = [self.path(f"{number}.wav") for number in range(1, 6)]
        for file in files:
            wave_file(file, 60, rate=8000)
        terminal = self.start(*files)
        terminal.press("nnn")
        terminal.read_until(f"playing {files[3]}")
        terminal.press("pp\x1b[C+")
        terminal.read_until(f"playing {files[1]}")
        terminal.read_until("> 0:05.")
        terminal.read_until("x1.06")
        for skipped in (files[2], files[4]):
            self.assertNotIn(f"playing {skipped}".encode(), terminal.output)
        terminal.press("nnnq")
        self.end(terminal)

    def test_pages_and_ends_are_keys(self):
        wave_file(self.long_file, 180, rate=8000)
        terminal = self.start(self.long_file, self.file)
        for key, shown in (("\x1b[5~", "> 1:0"), ("\x1b[5~", "> 2:0"), ("\x1b[6~", "> 1:0"), ("\x1b[H", "> 0:00."),
                           ("\x1b[F", f"playing {self.file}")):
            terminal.output = b""
            terminal.press(key)
            terminal.read_until(shown)
        self.end(terminal)

    def test_the_keys_fit_80_columns(self):
        terminal = self.start(self.long_file)
        terminal.press("?")
        terminal.read_until("space pause")
        lines = ("space pause" + terminal.read_until("keep the pitch").decode()).splitlines()
        self.assertEqual(len(lines), 3)
        for line in lines:
            self.assertLessEqual(len(line), 80)
        terminal.press("q")
        self.end(terminal)

    def test_loops_between_two_marks(self):
        terminal = self.start(self.long_file, self.file)
        terminal.press("\x1b[C")
        terminal.read_until("> 0:05.")
        terminal.press("l")
        mark = re.search(r"loop (0:0[5-9]\.\d)-  ", terminal.read_until("-  ").decode())[1]
        time.sleep(0.5)
        terminal.press("l")
        terminal.read_until(f"loop {mark}-0:0")
        for _ in range(2):  # it gets no further, and comes back
            terminal.output = b""
            terminal.read_until(f"> {mark} ")
            time.sleep(0.3)
        terminal.press("r")
        terminal.read_until("< 0:0")
        terminal.press("r")
        terminal.press("l")
        terminal.output = b""
        terminal.read_until("> 0:07.")
        self.assertNotIn(b"loop", terminal.output)
        terminal.press("ln")
        terminal.read_until(f"playing {self.file}")
        terminal.output = b""
        terminal.read_until("> 0:00.3 / 0:01.0")
        self.assertNotIn(b"loop", terminal.output)
        self.end(terminal)

    def test_plays_what_comes_out_of_a_pipe(self):
        kept = self.path("kept")
        os.mkdir(kept)
        self.environment["TMPDIR"] = kept
        with open(self.file, "rb") as file:
            sound = file.read()
        for arguments, streams in ((["-"], {"input": sound}), (["/dev/stdin", "-"], {"input": sound}),
                                   (["-"], {"stdin": open(self.file, "rb")})):
            result = subprocess.run([OPTIONS.program, "play", "--device", LOOPBACK, "--speed", "8", *arguments],
                                    timeout=60, capture_output=True, env=self.environment, check=False, **streams)
            self.assertEqual((result.returncode, result.stderr), (0, b""))
            self.assertEqual(result.stdout.decode(),
                             len(arguments) * ("playing standard input (0:01.0, 48000 Hz, 2 channels) on Loopback (no sound "
                                               "server)\nplayed standard input to 0:01.0, 0 underruns\n"))
            self.assertEqual(os.listdir(kept), [])
            if "stdin" in streams:
                streams["stdin"].close()

    def test_a_socket_and_the_rest_of_a_file_are_read_as_well(self):
        with open(self.file, "rb") as file:
            sound = file.read()
        ends = socket.socketpair()
        with subprocess.Popen([OPTIONS.program, "play", "--device", LOOPBACK, "--speed", "8", "-"], stdin=ends[0],
                              stdout=subprocess.PIPE, env=self.environment) as tool:
            ends[0].close()
            ends[1].sendall(sound)
            ends[1].close()
            self.assertIn(b"played standard input to 0:01.0", tool.communicate(timeout=60)[0])
        with open(self.path("rest"), "wb") as file:
            file.write(b"behind this " + sound)
        with open(self.path("rest"), "rb", buffering=0) as file:
            file.seek(12)
            result = self.run_on_loopback("play", "-", "--speed", "8", stdin=file)
        self.assertIn("played standard input to 0:01.0", result.stdout)

    def test_waits_for_a_pipe_and_plays_the_others_meanwhile(self):
        pipe = self.path("pipe")
        os.mkfifo(pipe)
        terminal = self.start(self.file, pipe, self.file)
        terminal.read_until(f"{pipe}: 0.0 MB")
        with open(self.long_file, "rb") as file, open(pipe, "wb") as writing:
            sound = file.read()
            writing.write(sound[:200000])
            writing.flush()
            terminal.read_until(f"{pipe}: 0.2 MB")
            terminal.press("?")
            terminal.read_until("space pause")
            writing.write(sound[200000:])
        terminal.read_until(f"playing {pipe} (1:00.0, 8000 Hz, 2 channels)")
        for key, shown in (("\x1b[C", "> 0:05."), ("r", "< 0:0"), ("\x1b[F", "< 0:5")):
            terminal.output = b""
            terminal.press(key)
            terminal.read_until(shown)
        terminal.press("n")
        terminal.read_until(f"playing {self.file}")
        self.end(terminal)

    def test_a_pipe_may_be_left_for_the_next_file_and_for_good(self):
        pipe = self.path("pipe")
        os.mkfifo(pipe)
        terminal = Terminal(self, [OPTIONS.program, "play", "--device", LOOPBACK, pipe, self.file, pipe])
        terminal.read_until(f"{pipe}: 0.0 MB")
        terminal.press("n")
        terminal.read_until("> 0:00.5 / 0:01.0")
        terminal.read_until(f"{pipe}: 0.0 MB")
        terminal.press("q")
        self.end(terminal)

    def test_keys_come_from_the_terminal_while_sound_comes_out_of_a_pipe(self):
        with open(self.long_file, "rb") as file:
            sound = file.read()
        reading, writing = os.pipe()
        terminal = Terminal(self, [OPTIONS.program, "play", "--device", LOOPBACK, "-"], stdin=reading)
        os.close(reading)
        with os.fdopen(writing, "wb") as pipe:
            pipe.write(sound)
        terminal.read_until("> 0:00.2 / 1:00.0")
        terminal.press("\x1b[C")
        terminal.read_until("> 0:05.")
        terminal.press("q")
        self.end(terminal)

    def test_a_pipe_without_sound_says_why(self):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))

        full = {"preexec_fn": limit, "restore_signals": False}
        with open(self.file, "rb") as file:
            sound = file.read()
        for text, reason, keywords in ((b"", "it is empty", {}), (b"This is no audio.", "there is no audio in it that can be read", {}),
                                       (sound, "it cannot be kept in /var/tmp: File too large", full)):
            result = subprocess.run([OPTIONS.program, "play", "--device", LOOPBACK, "-", self.file, "--speed", "8"], input=text,
                                    timeout=60, capture_output=True, env=self.environment, check=False, **keywords)
            self.assertEqual(result.returncode, 1)
            self.assertIn(f"braq: standard input: {reason}", result.stderr.decode())
            self.assertIn(f"played {self.file} to 0:01.0", result.stdout.decode())
        terminal = Terminal(self, [OPTIONS.program, "play", "--device", LOOPBACK, "-"])
        status, output = terminal.wait()
        self.assertEqual(status, 1)
        self.assertIn("standard input: it is a terminal, and no file comes out of it", output)

    def test_wakes_for_nothing_but_news_without_a_terminal(self):
        recording = self.path("recording.wav")
        for arguments, begun in (([self.long_file], b"playing"), ([self.long_file, "--loop"], b"playing")):
            self.expect_no_wakes("play", arguments, begun)
        self.expect_no_wakes("record", [recording], b"recording")

    def expect_no_wakes(self, command, arguments, begun):
        tool = subprocess.Popen([OPTIONS.program, command, "--device", LOOPBACK, *arguments], stdout=subprocess.PIPE,
                                env=self.environment)
        self.addCleanup(tool.communicate)
        self.addCleanup(tool.kill)
        self.assertIn(begun, tool.stdout.readline())
        time.sleep(0.5)
        before = self.waits_of(tool)
        time.sleep(2)
        self.assertLessEqual(self.waits_of(tool) - before, 4, command)  # with a picture, there would be 40
        tool.send_signal(signal.SIGTERM)
        tool.communicate(timeout=60)
        self.assertEqual(tool.returncode, 0)

    def waits_of(self, tool):
        """How often the main thread has waited for something."""
        with open(f"/proc/{tool.pid}/task/{tool.pid}/status", encoding="utf-8") as status:
            return int(re.search(r"(?m)^voluntary_ctxt_switches:\s*(\d+)", status.read())[1])

    def test_plays_folders_and_lists(self):
        os.makedirs(self.path("album/disc 2"))
        short = [self.path("album/2.wav"), self.path("album/10.wav"), self.path("album/disc 2/1.wav")]
        for file in short:
            wave_file(file, 0.1)
        with open(self.path("list.m3u"), "w", encoding="utf-8") as file:
            file.write("#EXTM3U\nalbum/10.wav\n")
        result = self.run_on_loopback("play", self.path("album"), self.path("list.m3u"), self.path("none.m3u"))
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, f"braq: {self.path('none.m3u')}: No such file or directory\n")
        self.assertEqual(re.findall("playing (.*) \\(0:", result.stdout), [*short, self.path("album/10.wav")])

    def test_repeats_all_files(self):
        second = self.path("second.wav")
        wave_file(second, 0.2)
        bad = self.path("none.wav")
        terminal = self.start(second, bad, self.file, "--repeat")
        for _ in range(2):
            terminal.read_until(f"playing {self.file}")
            terminal.output = b""
            terminal.read_until(f"playing {second}")
            terminal.output = b""
        terminal.press("p")
        terminal.read_until(f"playing {self.file}")
        terminal.press("q")
        self.end(terminal, 1)

    def test_repeats_nothing_that_cannot_be_played(self):
        result = self.run_on_loopback("play", self.path("none.wav"), self.path("none 2.wav"), "--repeat")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(result.stderr.count("no such file"), 2)

    def test_shuffled_each_file_is_played_once(self):
        files = [self.path(f"{number}.wav") for number in range(1, 8)]
        for file in files:
            wave_file(file, 0.02)
        orders = set()
        for _ in range(3):
            played = re.findall("playing (.*) \\(0:", self.run_on_loopback("play", "--shuffle", *files).stdout)
            self.assertEqual(sorted(played), files)
            orders.add(tuple(played))
        self.assertGreater(len(orders), 1)  # by chance it is one in 25 million runs

    def test_the_line_and_the_keys_go_on_with_the_next_file(self):
        terminal = self.start(self.file, self.long_file)
        terminal.read_until(f"playing {self.long_file} (1:00.0, 8000 Hz, 2 channels)")
        terminal.output = b""
        terminal.read_until("> 0:00.1 / 1:00.0")
        terminal.press("\x1b[C")
        terminal.read_until("> 0:05.")
        terminal.press("p")
        terminal.read_until(f"playing {self.file}")
        terminal.press("q")
        self.end(terminal)

    def test_the_next_file_follows_in_the_direction_that_holds(self):
        terminal = self.start(self.long_file, self.file)
        terminal.press("r")
        terminal.read_until(f"playing {self.file}")
        terminal.output = b""
        terminal.read_until("< 0:00.5 / 0:01.0")
        self.end(terminal)

    def test_plays_again_and_again(self):
        terminal = self.start(self.file, "--loop")
        for _ in range(2):
            terminal.read_until("> 0:00.9")
            terminal.read_until("> 0:00.1")
        terminal.press("r\x1b[Cq")
        self.end(terminal)

    def test_every_way_out_gives_the_terminal_back(self):
        for leave in (lambda terminal: terminal.press("\x03"), lambda terminal: terminal.press("q"),
                      lambda terminal: terminal.program.terminate(),
                      lambda terminal: terminal.program.send_signal(signal.SIGHUP)):
            terminal = self.start(self.long_file)
            self.assertFalse(terminal.is_as_it_was())
            terminal.press("\x1c")  # a core dump would leave the terminal as it is
            leave(terminal)
            self.end(terminal)

    def test_gives_the_terminal_back_while_it_is_suspended(self):
        terminal = Terminal(self, [sys.executable, "-c", SHELL, OPTIONS.program, "play", "--device", LOOPBACK,
                                   self.long_file])
        terminal.read_until("> 0:00.2")
        terminal.press("\x1a")
        self.assertTrue(terminal.read_until("suspended").endswith(b"\x1b[?25hsuspended"))
        self.assertTrue(terminal.is_as_it_was())
        terminal.press("\n")
        terminal.read_until("> 0:0")
        self.assertTrue(terminal.takes_keys_one_by_one())
        terminal.press("q")
        self.end(terminal)

    def test_a_file_that_cannot_be_played_says_why_and_the_others_play(self):
        bad = self.path("bad.wav")
        with open(bad, "w", encoding="utf-8") as file:
            file.write("This is no audio.")
        for name, reason in (("none.wav", "no such file or directory\n"),
                             ("bad.wav", "there is no audio in it that can be read (the type of its content is not supported)\n")):
            result = self.run_on_loopback("play", self.path(name), self.file)
            self.assertEqual(result.returncode, 1)
            self.assertIn(f"braq: {self.path(name)}: {reason}", result.stderr)
            self.assertIn(f"played {self.file} to 0:01.0", result.stdout)

    def test_stops_when_nobody_reads_any_more(self):
        reading, writing = os.pipe()
        os.close(reading)
        result = self.run_on_loopback("play", self.long_file, stdout=writing)
        os.close(writing)
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_plays_nothing_beyond_the_end(self):
        result = self.run_on_loopback("play", self.file, "--start", "2")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn("it is 0:01.0 long", result.stderr)

    def test_a_device_that_is_not_there_is_one_failure(self):
        result = self.run_on_loopback("play", self.file, "--device", "nothing")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn("no device to play on is called 'nothing'", result.stderr)

    def test_a_wrong_command_line_is_refused(self):
        for arguments in ([], [self.file, "--speed", "0"], [self.file, "--speed", "33"], [self.file, "--speed", "nan"],
                          [self.file, "--start", "1:60"], [self.file, "--volume", "loud"],
                          [self.file, "--loop", "--speed", "-1"], [self.file, "--loop", "--repeat"]):
            result = self.run_on_loopback("play", *arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
            self.assertIn("--help", result.stderr)


class Record(ToolTest):
    def start(self, *arguments):
        return Terminal(self, [OPTIONS.program, "record", "--device", LOOPBACK, *arguments])

    def frames_of(self, name):
        with wave.open(self.path(name)) as file:
            return file.getnframes()

    def test_records_as_long_as_it_is_told_to(self):
        result = self.run_on_loopback("record", self.path("a.wav"), "--duration", "0.25")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("recorded 0:00.2 (12000 frames at 48000 Hz)", result.stdout)
        self.assertEqual(self.frames_of("a.wav"), 12000)

    def test_every_way_out_leaves_a_complete_file_and_the_terminal_as_it_was(self):
        for leave in (lambda terminal: terminal.press("\x03"), lambda terminal: terminal.press("q"),
                      lambda terminal: terminal.program.terminate(),
                      lambda terminal: terminal.program.send_signal(signal.SIGHUP)):
            terminal = self.start(self.path("a.wav"), "--force")
            terminal.read_until("* 0:00.5")
            self.assertTrue(terminal.takes_keys_one_by_one())
            terminal.press("\x1a")  # recording is not suspended
            terminal.read_until("* 0:00.6")
            leave(terminal)
            status, output = terminal.wait()
            self.assertEqual(status, 0, output)
            self.assertTrue(terminal.is_as_it_was())
            written = int(re.search(r"\((\d+) frames", output)[1])
            self.assertGreater(written, 24000)
            self.assertEqual(self.frames_of("a.wav"), written)

    def test_leaves_out_what_is_heard_in_a_pause(self):
        terminal = self.start(self.path("a.wav"), "--duration", "1.5")
        terminal.read_until("* 0:00.3")
        before = time.monotonic()
        terminal.press(" ")
        terminal.read_until("|| 0:00.")
        time.sleep(2)  # longer than the rest
        terminal.press("  ")
        terminal.press(" ")
        terminal.read_until("* 0:0")
        status, output = terminal.wait()
        self.assertEqual(status, 0, output)
        self.assertIn("recorded 0:01.5 (72000 frames at 48000 Hz)", output)
        self.assertIn("0 overruns", output)
        self.assertEqual(self.frames_of("a.wav"), 72000)
        self.assertGreater(time.monotonic() - before, 2)

    def test_records_into_a_pipe(self):
        for arguments, beginning in (([], b"RIFF\xff\xff\xff\xffWAVE"), (["--format", "flac"], b"fLaC"),
                                     (["--format", "aac"], b"\xff\xf1")):
            result = self.run_on_loopback("record", "-", "--duration", "0.5", *arguments, encoding=None)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertTrue(result.stdout.startswith(beginning), result.stdout[:40])
            self.assertEqual(result.stderr.decode(), "recording Loopback (no sound server) into the standard output\n"
                                                     "recorded 0:00.5 (24000 frames at 48000 Hz) into the standard output, "
                                                     "0 overruns\n")
            read = subprocess.run([OPTIONS.program, "info", "--json", "-"], input=result.stdout, capture_output=True,
                                  env=self.environment, check=True, timeout=60)
            (facts,) = json.loads(read.stdout)["files"]
            self.assertEqual(facts["file"], "/dev/stdin")
            self.assertGreaterEqual(facts["frames"], 24000)
            self.assertLess(facts["frames"], 24000 + (4096 if "aac" in arguments else 1))

    def test_a_reader_that_has_had_enough_ends_it(self):
        tool = subprocess.Popen([OPTIONS.program, "record", "--device", LOOPBACK, "-"], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, env=self.environment)
        self.addCleanup(tool.kill)
        self.assertEqual(tool.stdout.read(4), b"RIFF")
        tool.stdout.close()
        complaint = tool.stderr.read().decode()
        tool.stderr.close()
        self.assertEqual(tool.wait(timeout=60), 0)
        self.assertRegex(complaint, "^recording .*\nrecorded .* into the standard output, 0 overruns; nobody reads it any more\n$")

    def test_shows_on_a_terminal_what_goes_into_a_pipe(self):
        reading, writing = os.pipe()
        terminal = Terminal(self, [OPTIONS.program, "record", "--device", LOOPBACK, "--duration", "1", "--format", "flac", "-"],
                            stdout=writing)
        os.close(writing)
        with os.fdopen(reading, "rb") as pipe:
            terminal.read_until("* 0:00.5 / 0:01.0")
            status, output = terminal.wait()
            self.assertEqual(status, 0, output)
            self.assertTrue(output.endswith("\x1b[?25hrecorded 0:01.0 (48000 frames at 48000 Hz) into the standard output, 0 overruns\r\n"),
                            output)
            self.assertTrue(pipe.read().startswith(b"fLaC"))

    def test_no_file_goes_to_a_terminal(self):
        terminal = self.start("-")
        status, output = terminal.wait()
        self.assertEqual(status, 2)
        self.assertIn("braq: the standard output is a terminal; ", output)

    def test_a_recording_of_a_file_does_not_depend_on_who_reads_what_is_said(self):
        def without(*descriptors):
            return lambda: [os.close(descriptor) for descriptor in descriptors]

        reading, unread = os.pipe()
        os.close(reading)
        for keywords in ({"preexec_fn": without(1)}, {"preexec_fn": without(0, 1, 2)}, {"stdout": unread},
                         {"stdout": open("/dev/full", "wb")}):
            result = self.run_on_loopback("record", self.path("a.wav"), "--duration", "0.5", "--force", **keywords)
            self.assertEqual((result.returncode, result.stderr), (0, ""), keywords)
            self.assertEqual(self.frames_of("a.wav"), 24000)
            if "stdout" in keywords and keywords["stdout"] != unread:
                keywords["stdout"].close()
        os.close(unread)

    def test_a_recording_that_is_to_survive_its_terminal_does(self):
        def lead_without_hangup():
            os.setsid()
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)
            signal.signal(signal.SIGHUP, signal.SIG_IGN)

        device, other_end = os.openpty()
        tool = subprocess.Popen([OPTIONS.program, "record", "--device", LOOPBACK, self.path("a.wav"), "--duration", "1.5"],
                                stdin=other_end, stdout=other_end, stderr=other_end, env=self.environment,
                                preexec_fn=lead_without_hangup)
        self.addCleanup(tool.kill)
        os.close(other_end)
        output = b""
        while b"* 0:00.3" not in output:
            output += os.read(device, 4096)
        os.close(device)
        self.assertEqual(tool.wait(timeout=60), 0)
        self.assertEqual(self.frames_of("a.wav"), 72000)

    def test_no_recording_is_lost_to_another_one(self):
        self.run_on_loopback("record", self.path("a.wav"), "--duration", "0.1")
        result = self.run_on_loopback("record", self.path("a.wav"), "--duration", "0.2")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn("already exists; --force replaces it", result.stderr)
        self.assertEqual(self.frames_of("a.wav"), 4800)
        self.assertEqual(self.run_on_loopback("record", self.path("a.wav"), "--duration", "0.2", "--force").returncode, 0)
        self.assertEqual(self.frames_of("a.wav"), 9600)

    def test_what_a_full_disk_has_room_for_can_be_read(self):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (200000, 200000))

        result = self.run_on_loopback("record", self.path("a.wav"), preexec_fn=limit, restore_signals=False)
        self.assertEqual(result.returncode, 1)
        self.assertIn("a.wav could not be written to its end: the file cannot be read or written (File too large)\n",
                      result.stderr)
        self.assertNotIn("above", result.stderr)
        self.assertIn("(32768 frames at 48000 Hz)", result.stdout)
        self.assertEqual(self.frames_of("a.wav"), 32768)

    def test_refuses_what_cannot_be(self):
        for arguments, complaint in ((["none/a.wav"], "a.wav: no such file or directory\n"), (["a.wav", "--device", "x"], "no device"),
                                     (["a.wav", "--channels", "3"], "has no channel 3")):
            result = self.run_on_loopback("record", *arguments, cwd=self.folder)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertIn(complaint, result.stderr)
        self.assertFalse(os.path.exists(self.path("a.wav")))

    def test_a_wrong_command_line_is_refused(self):
        for arguments in ([], ["a.mp3"], ["a"], ["a.wav", "--format", "aac"], ["a.wav", "--format", "x"],
                          ["a.wav", "--duration", "-1"], ["a.wav", "--rate", "1"], ["a.wav", "b.wav"]):
            result = self.run_on_loopback("record", *arguments, cwd=self.folder)
            self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
            self.assertIn("--help", result.stderr)
        self.assertEqual(os.listdir(self.folder), [])

    def test_help_lists_the_formats(self):
        self.assertIn(".flac         flac flac24", self.run_tool("record", "--help").stdout)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--program", "--version"):
        parser.add_argument(option, required=True)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[__file__, *rest])
