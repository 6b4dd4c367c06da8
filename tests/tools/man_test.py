"""The man pages say what the tool's help says, and are correctly written."""

import argparse
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

PAGES = Path(__file__).resolve().parents[2] / "tools/man"
NOT_SHOWN = 77


def lines_of_help(*command):
    result = subprocess.run([OPTIONS.program, *command, "--help"], stdout=subprocess.PIPE, timeout=60, check=True,
                            encoding="utf-8")
    return result.stdout.splitlines()


def options_of_help(*command):
    """All names of options that the help lists: each line of one begins with them, how far in depends on CLI11's version."""
    names = set()
    for line in lines_of_help(*command):
        match = re.match(r" {2,10}(-[\w-]+(?:, *-[\w-]+)?)", line)
        if match:
            names |= set(re.split(", *", match.group(1)))
    return names


def subcommands_of_help():
    lines = lines_of_help()
    listed = lines[[line.lower() for line in lines].index("subcommands:") + 1:]
    return {line.split()[0] for line in listed if re.match(r"  \S", line)}


def page(name):
    return (PAGES / f"{name}.1").read_text(encoding="utf-8")


def options_of(text, *macros):
    """All names of options on the lines of a page that begin with one of the macros."""
    names = set()
    for line in re.findall(rf"(?m)^\.(?:{'|'.join(macros)}) .*", text):
        names |= {f"-{name}" for name in re.findall(r"\bFl (\S+)", line)}
    return names


class Help(unittest.TestCase):
    def test_has_a_page_for_each_subcommand(self):
        self.assertTrue(subcommands_of_help())
        for subcommand in subcommands_of_help():
            self.assertTrue((PAGES / f"braq-{subcommand}.1").is_file(), subcommand)

    def test_has_the_options_that_the_pages_explain(self):
        for command in [[], *([subcommand] for subcommand in subcommands_of_help())]:
            with self.subTest(command=command):
                helped = options_of_help(*command)
                self.assertIn("--help", helped)
                self.assertEqual(options_of(page("-".join(["braq", *command])), "It"), helped)

    def test_has_the_options_of_the_synopses(self):
        for command in [[], *([subcommand] for subcommand in subcommands_of_help())]:
            with self.subTest(command=command):
                text = page("-".join(["braq", *command]))
                synopsis = text[text.index(".Sh SYNOPSIS"):text.index(".Sh DESCRIPTION")]
                self.assertEqual(options_of(synopsis, "Op", "Fl"), options_of_help(*command))

    def test_has_subcommands_that_the_main_page_explains(self):
        explained = set(re.findall(r"(?m)^\.It Cm (\w+)", page("braq")))
        self.assertEqual(explained, {path.stem.removeprefix("braq-") for path in PAGES.glob("braq-*.1")})
        self.assertLessEqual(subcommands_of_help(), explained)

    def test_says_its_exit_statuses_on_each_page(self):
        for path in PAGES.glob("*.1"):
            text = path.read_text(encoding="utf-8")
            status = text[text.index(".Sh EXIT STATUS"):].split("\n.Sh", 1)[0]
            self.assertEqual(set(re.findall(r"(?m)(?:^|; |It )([0-9])\b", status)), {"0", "1", "2"}, path)


class Lint(unittest.TestCase):
    def test_finds_nothing(self):
        paths = sorted(PAGES.glob("*.1"))
        self.assertTrue(paths)
        result = subprocess.run(["mandoc", "-T", "lint", *paths], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                timeout=60, check=False, encoding="utf-8")
        # Whether a page is referred to that there is not, it would say of those that are installed.
        found = [line for line in result.stdout.splitlines() if "referenced manual not found" not in line]
        self.assertEqual(found, [])

    def test_would_find_something(self):
        result = subprocess.run(["mandoc", "-T", "lint"], input=".Dd now\n.Dt X 1\n.Os\n.Nosuchmacro\n", timeout=60,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, encoding="utf-8")
        self.assertIn("Nosuchmacro", result.stdout)

    def test_every_page_that_is_referred_to_is_there(self):
        references = [(path, *reference) for path in PAGES.glob("*.1")
                      for reference in re.findall(r"(?m)^\.Xr (\S+) (\d)", path.read_text(encoding="utf-8"))]
        self.assertTrue(references)
        for path, name, section in references:
            self.assertTrue((PAGES / f"{name}.{section}").is_file(), f"{path}: {name}")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program")
    OPTIONS, rest = parser.parse_known_args()
    if "Lint" in rest and shutil.which("mandoc") is None:
        print("not shown: there is no mandoc")
        sys.exit(NOT_SHOWN)
    unittest.main(argv=[__file__, *rest])
