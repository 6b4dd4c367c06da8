"""The tool as its users see it, on a machine without a sound server: there is one device, a loopback."""

import argparse
import fcntl
import json
import os
import re
import signal
import struct
import subprocess
import tempfile
import termios
import unittest


class Tool(unittest.TestCase):
    def setUp(self):
        # An empty folder of sockets: there is no sound server in it, whatever runs on this machine.
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.environment = {name: value for name, value in os.environ.items() if not name.startswith("PIPEWIRE_")}
        self.environment["XDG_RUNTIME_DIR"] = folder.name

    def run_tool(self, *arguments, **keywords):
        """Runs the tool to its end."""
        keywords = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "env": self.environment, **keywords}
        return subprocess.run([OPTIONS.program, *arguments], timeout=60, check=False, encoding="utf-8", **keywords)

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
        tool = subprocess.Popen([OPTIONS.program, "meter"], stderr=subprocess.PIPE, env=self.environment, **keywords)
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

    def test_meters_nothing_that_is_not_there(self):
        for arguments, complaint in ((["nothing"], "no device to record from is called 'nothing'"),
                                     (["--channels", "1,9"], "has no channel 9")):
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


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--program", "--version"):
        parser.add_argument(option, required=True)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[__file__, *rest])
