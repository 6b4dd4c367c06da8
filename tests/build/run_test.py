"""The project's command line says what there is and refuses what there is not."""

import subprocess
import tempfile
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
COMMANDS = sorted(path.name for path in (PROJECT / "scripts/commands").iterdir())


def run(*arguments):
    """Runs ./run from a folder that is not the project's, without a terminal."""
    with tempfile.TemporaryDirectory() as folder:
        return subprocess.run([PROJECT / "run", *arguments], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, check=False)


class Run(unittest.TestCase):
    def test_alone_it_lists_every_command_with_a_description(self):
        result = run()
        self.assertEqual(result.returncode, 0)
        self.assertTrue(COMMANDS)
        for command in COMMANDS:
            self.assertRegex(result.stdout, rf"(?m)^  {command} +\w+ \w+")

    def test_every_command_has_help_and_does_nothing_else_then(self):
        for command in COMMANDS:
            result = run(command, "--help")
            self.assertEqual(result.returncode, 0)
            self.assertIn(f"./run {command}", result.stdout)
            self.assertNotIn("==", result.stdout)

    def test_an_unknown_command_is_refused(self):
        for command in ["no-such-command", "sing", "../run"]:
            result = run(command)
            self.assertEqual(result.returncode, 2)
            self.assertIn(command, result.stderr)
            self.assertIn("Usage", result.stderr)
            self.assertEqual(result.stdout, "")

    def test_an_unknown_step_of_check_is_refused(self):
        result = run("check", "everything")
        self.assertEqual(result.returncode, 2)
        self.assertIn("no step of check", result.stderr)


if __name__ == "__main__":
    unittest.main()
