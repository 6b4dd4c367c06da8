"""The comparison runs on a sound server and tells what it heard, of programs that are not there too."""

import re
import subprocess
import sys
import unittest

PLAYING, TOOL = sys.argv[1:]


def run(*arguments):
    return subprocess.run([PLAYING, "--tool", TOOL, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                          encoding="utf-8", check=False)


class Playing(unittest.TestCase):
    def test_tells_what_was_heard_from_one_file_to_the_next(self):
        result = run("--repeats", "1", "next")
        self.assertEqual(result.returncode, 0, result.stderr)
        title, _, row = result.stdout.split("\n\n")[0].splitlines()
        self.assertRegex(title, r"^\| what \| braq play \d+\.\d+\.\d+ \| mpv( \S+)? \| pw-play( \S+)? \|$")
        what, ours, mpv, pw_play = row.strip("| ").split(" | ")
        self.assertEqual(what, "from one file to the next")
        heard = re.compile(r"\d+ frames silent, \d+ lost or repeated")
        self.assertRegex(ours, heard)
        if mpv != "not installed":
            self.assertRegex(mpv, heard)
        self.assertEqual(pw_play, "none: pw-play plays one file")

    def test_refuses_what_there_is_not(self):
        for arguments, complaint in ((["seams"], "there is no row seams"), (["--repeats", "0"], "--repeats is at least 1"),
                                     (["--tool", "/nowhere/braq"], "/nowhere/braq is needed")):
            result = run(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""))
            self.assertIn(complaint, result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
