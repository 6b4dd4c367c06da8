"""Each finding is told once, whether its source is looked at alone or with others, and none is lost."""

import contextlib
import io
import json
import sys
import tempfile
import textwrap
import unittest
from pathlib import Path

import lint

# Finds each word BAD in what it is given and in what that includes; TWICE in two sources does not compile.
FAKE = """#!{python}
import re, sys
checks = next((a for a in sys.argv if a.startswith("--checks=")), "--checks=all")[len("--checks="):]
file = sys.argv[-1]
if file == "--version":
    print({version!r})
    sys.exit()
with open({calls!r}, "a") as calls:
    calls.write(checks + " " + file + "\\n")
def lines(name):
    for number, line in enumerate(open(name), 1):
        included = re.match('#include "(.*)"', line)
        yield from lines(included.group(1)) if included else [(name, number, line)]
seen, status = 0, 0
for name, number, line in lines(file):
    kind = None
    if "BAD" in line and checks != "-*,clang-analyzer-*,bugprone-suspicious-include":
        kind = "readability-bad"
    if "DEEP" in line and name == file and not checks.startswith("-clang-analyzer"):
        kind = "clang-analyzer-deep"
    if "TWICE" in line:
        seen += 1
        kind = "clang-diagnostic-error" if seen > 1 else None
    if kind:
        print(f"{{name}}:{{number}}:1: error: found [{{kind}}]\\n    {{line.strip()}}")
        status = 1
if "CRASH" in open(file).read():
    sys.exit(139)
sys.exit(status)
"""


class Lint(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.calls = self.folder / "calls"
        self.program = self.folder / "fake"
        self.program.write_text(self.fake("14"), encoding="utf-8")
        self.program.chmod(0o755)

        self.compiler = self.folder / "compiler"
        self.compiler.write_text('#!/bin/sh\n[ -e broken ] || cat "$(eval echo \\${$#})" *.h 2>/dev/null; [ ! -e broken ]\n',
                                 encoding="utf-8")
        self.compiler.chmod(0o755)

    def fake(self, version):
        return FAKE.format(python=sys.executable, calls=str(self.calls), version=version)

    def lint(self, sources, options="-O2", arguments=()):
        """sources: name to text; returns the exit status and what is printed"""
        entries = []
        for name, text in sources.items():
            file = self.folder / name
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(textwrap.dedent(text), encoding="utf-8")
            entries.append({"directory": str(self.folder), "file": str(file),
                            "command": f"{self.compiler} {options} -o {file}.o -c {file}"})
        (self.folder / "compile_commands.json").write_text(json.dumps(entries), encoding="utf-8")
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            status = lint.main([str(self.folder), r"\.cpp$", "--jobs=1", f"--clang-tidy={self.program}", *arguments])
        return status, output.getvalue()

    def calls_for(self, name):
        return [line for line in self.calls.read_text(encoding="utf-8").splitlines() if line.endswith(name)]

    def test_nothing_is_found_where_nothing_is(self):
        status, printed = self.lint({"platform/a.cpp": "int a;", "platform/b.cpp": "int b;"})
        self.assertEqual(status, 0)
        self.assertIn("2 sources, 1 groups: 0 findings", printed)

    def test_sources_of_one_kind_are_looked_at_together_and_analysed_alone(self):
        self.lint({"platform/a.cpp": "int a;", "platform/b.cpp": "int b;"})
        self.assertEqual(len(self.calls_for("together0.cpp")), 1)
        self.assertEqual([call.split()[0] for call in self.calls_for("/a.cpp")],
                         ["-*,clang-analyzer-*,bugprone-suspicious-include"])

    def test_a_finding_in_one_of_them_is_told_with_its_line(self):
        status, printed = self.lint({"platform/a.cpp": "int a;", "platform/b.cpp": "int b;\nBAD\n"})
        self.assertEqual(status, 1)
        self.assertIn("platform/b.cpp:2:1: error: found [readability-bad]\n    BAD", printed)

    def test_what_only_the_analyser_finds_is_told(self):
        status, printed = self.lint({"platform/a.cpp": "int a;", "platform/b.cpp": "DEEP"})
        self.assertEqual(status, 1)
        self.assertIn("platform/b.cpp:1:1: error: found [clang-analyzer-deep]", printed)

    def test_a_finding_in_a_header_of_several_is_told_once(self):
        header = self.folder / "h.h"
        header.write_text("BAD\n", encoding="utf-8")
        include = f'#include "{header}"\n'
        _, printed = self.lint({"library/a.cpp": include, "library/b.cpp": include})
        self.assertEqual(printed.count("readability-bad"), 1)

    def test_sources_that_do_not_go_together_are_looked_at_one_by_one(self):
        status, printed = self.lint({"platform/a.cpp": "TWICE", "platform/b.cpp": "TWICE"})
        self.assertEqual(status, 0, printed)
        self.assertIn("2 files from", printed)
        self.assertEqual(len(self.calls_for("/a.cpp")), 2)
        status, printed = self.lint({"platform/a.cpp": "TWICE", "platform/b.cpp": "TWICE\nBAD"})
        self.assertEqual(status, 1)
        self.assertIn("b.cpp:2:1: error: found [readability-bad]", printed)

    def test_sources_of_the_library_are_looked_at_one_by_one(self):
        self.lint({"library/a.cpp": "int a;", "library/b.cpp": "int b;"})
        self.assertEqual(self.calls_for("/a.cpp"), [f"all {self.folder}/library/a.cpp"])

    def test_a_linter_that_crashes_is_a_finding(self):
        status, printed = self.lint({"library/a.cpp": "CRASH"})
        self.assertEqual(status, 1)
        self.assertIn("clang-tidy ended with 139", printed)

    def remember(self, sources, options="-O2"):
        """Looks, remembering; returns the exit status, and how often the linter was started for sources."""
        before = self.looks()
        status, self.printed = self.lint(sources, options, [f"--remember={self.folder / 'remembered'}"])
        return status, self.looks() - before

    def looks(self):
        if not self.calls.exists():
            return 0
        return sum(line.endswith(".cpp") for line in self.calls.read_text(encoding="utf-8").splitlines())

    def test_what_was_clean_is_not_looked_at_again(self):
        sources = {"platform/a.cpp": "int a;", "platform/b.cpp": "int b;", "library/c.cpp": "int c;"}
        self.assertEqual(self.remember(sources), (0, 4))
        self.assertEqual(self.remember(sources), (0, 0))
        self.assertIn("4 of 4 looks not needed: 0 findings", self.printed)

    def test_without_remembering_everything_is_looked_at(self):
        sources = {"library/a.cpp": "int a;"}
        self.remember(sources)
        self.lint(sources)
        self.assertEqual(self.looks(), 2)

    def test_what_has_changed_is_looked_at_again(self):
        sources = {"library/a.cpp": "int a;", "library/b.cpp": "int b;"}
        self.remember(sources)
        self.assertEqual(self.remember({**sources, "library/b.cpp": "int b;\nBAD"}), (1, 1))
        self.assertEqual(self.remember(sources), (0, 0))
        (self.folder / "some.h").write_text("int more;", encoding="utf-8")
        self.assertEqual(self.remember(sources), (0, 2), "a header")
        self.assertEqual(self.remember(sources, "-O3"), (0, 2), "another option")

    def test_findings_are_found_again(self):
        sources = {"library/a.cpp": "BAD"}
        self.assertEqual(self.remember(sources), (1, 1))
        self.assertEqual(self.remember(sources), (1, 1))

    def test_what_cannot_be_preprocessed_is_looked_at_every_time(self):
        (self.folder / "broken").touch()
        sources = {"library/a.cpp": "int a;"}
        self.assertEqual(self.remember(sources), (0, 1))
        self.assertEqual(self.remember(sources), (0, 1))

    def test_another_linter_looks_again(self):
        sources = {"library/a.cpp": "int a;"}
        self.remember(sources)
        self.program.write_text(self.fake("15"), encoding="utf-8")
        self.assertEqual(self.remember(sources), (0, 1))

    def test_a_pattern_that_fits_nothing_is_a_mistake(self):
        self.assertEqual(self.lint({"library/a.cc": "int a;"})[0], 1)


if __name__ == "__main__":
    unittest.main()
