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
        self.program.write_text(FAKE.format(python=sys.executable, calls=str(self.calls)), encoding="utf-8")
        self.program.chmod(0o755)

    def lint(self, sources, options="-O2"):
        """sources: name to text; returns the exit status and what is printed"""
        entries = []
        for name, text in sources.items():
            file = self.folder / name
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(textwrap.dedent(text), encoding="utf-8")
            entries.append({"directory": str(self.folder), "file": str(file),
                            "command": f"clang++ {options} -o {file}.o -c {file}"})
        (self.folder / "compile_commands.json").write_text(json.dumps(entries), encoding="utf-8")
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            status = lint.main([str(self.folder), r"\.cpp$", "--jobs=1", f"--clang-tidy={self.program}"])
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

    def test_a_pattern_that_fits_nothing_is_a_mistake(self):
        self.assertEqual(self.lint({"library/a.cc": "int a;"})[0], 1)


if __name__ == "__main__":
    unittest.main()
