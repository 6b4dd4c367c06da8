"""./run mutate makes the changes that its rules say, and tells those that tests notice from those that they do not."""

import contextlib
import io
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import mutate
import mutation_rules

PROJECT = {
    "CMakeLists.txt": """\
cmake_minimum_required(VERSION 3.25)
project(BRAQAudio LANGUAGES CXX)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
add_library(BRAQAudio_objects library/core/Sum.cpp)
add_executable(tests_core tests/core/SumTests.cpp)
target_link_libraries(tests_core PRIVATE BRAQAudio_objects)
""",
    "library/core/Sum.cpp": """\
int sum(int last) {
    int all = 0;
    for (int i = 1; i <= last; ++i) {
        all += i;
    }
    return all;
}
int spare = 7;
""",
    "tests/core/SumTests.cpp": "int sum(int last);\nint main() { return sum(3) == 6 ? 0 : 1; }\n",
    mutate.WITHOUT_EFFECT: "",
}


def changes(text, rule=None):
    """Old and new text of each change of a rule, without indentation."""
    return [(mutant.old.strip(), mutant.new.strip()) for mutant in mutation_rules.mutants("a.cpp", text)
            if rule in (None, mutant.rule)]


class Rules(unittest.TestCase):
    def test_comparisons_move_by_one_or_turn_round(self):
        self.assertEqual(changes("    while (a < b) {", "comparison"), [("while (a < b) {", "while (a <= b) {")])
        self.assertEqual(changes("    x = a == b;", "comparison"), [("x = a == b;", "x = a != b;")])

    def test_brackets_of_templates_are_no_comparisons(self):
        self.assertEqual(changes("    std::vector<int> a(b);", "comparison"), [])

    def test_constants_grow_by_one_and_truth_turns_round(self):
        self.assertEqual(changes("constexpr int a = 20;"), [("constexpr int a = 20;", "constexpr int a = 21;")])
        self.assertEqual(changes("bool a = true;"), [("bool a = true;", "bool a = false;")])

    def test_boundaries_are_left_out(self):
        self.assertIn(("f(a + 1);", "f(a);"), changes("    f(a + 1);", "boundary"))

    def test_statements_are_left_out(self):
        text = "    first();\n    second = 2;\n    return third;"
        self.assertEqual(changes(text, "statement"), [("first();", ""), ("second = 2;", "")])

    def test_statements_change_places_where_that_may_make_a_difference(self):
        def swapped(first, second):
            return bool(changes(f"    {first}\n    {second}", "order"))

        self.assertTrue(swapped("first();", "second();"))
        self.assertTrue(swapped("a = b;", "c += a;"))
        self.assertTrue(swapped("a = b;", "b = c;"))
        self.assertTrue(swapped("it->a = 1;", "++it->a;"))
        self.assertFalse(swapped("it->a = 0;", "it->b = 0;"))
        self.assertFalse(swapped("copy(a);", "copy(b);"))

    def test_declarations_stay(self):
        self.assertEqual(changes("    const int a = f();\n    auto b = g();", "statement"), [])

    def test_locks_are_left_out(self):
        self.assertEqual(changes("    const std::lock_guard lock(mMutex);", "lock"),
                         [("const std::lock_guard lock(mMutex);", "")])

    def test_checks_are_skipped_and_always_made(self):
        self.assertEqual(changes("    if (f(a)) {", "check"),
                         [("if (f(a)) {", "if (false) {"), ("if (f(a)) {", "if (true) {")])
        self.assertIn(("if (const int a = f()) {", "if (const int a = f(); false) {"),
                      changes("    if (const int a = f()) {", "check"))

    def test_memory_orders_are_weakened(self):
        self.assertEqual(changes("    a.store(b, std::memory_order_release);", "memory order"),
                         [("a.store(b, std::memory_order_release);", "a.store(b, std::memory_order_relaxed);")])

    def test_comments_texts_and_directives_stay(self):
        self.assertEqual(changes('#if 1 == 2\n// a == 1\n/* b\n c == 2 */\nconst char* a = "1 == 2";'), [])
        self.assertEqual(changes("const char a = '1';"), [])
        self.assertEqual(changes("static_assert(1 == 2);"), [])

    def test_a_change_is_made_where_it_was_found_only(self):
        text = "    a = 1;\n    b = 1;\n"
        found = [mutant for mutant in mutation_rules.mutants("a.cpp", text) if mutant.rule == "constant"]
        self.assertEqual(mutation_rules.apply(text, found[1]), "    a = 1;\n    b = 2;\n")
        with self.assertRaises(ValueError):
            mutation_rules.apply("another\nfile\n", found[1])


class WithoutEffect(unittest.TestCase):
    def test_is_known_by_file_and_lines(self):
        known = mutate.read_without_effect("# why\n\na.cpp\n- x = 1;\n+ x = 2;\n  nobody reads it\n")
        self.assertEqual(known, {("a.cpp", "x = 1;", "x = 2;"): "nobody reads it"})

    def test_needs_a_reason(self):
        with self.assertRaises(SystemExit):
            mutate.read_without_effect("a.cpp\n- x = 1;\n+ x = 2;\n")


class Programs(unittest.TestCase):
    def test_mirror_the_folders(self):
        for path, program in (("library/core/A.cpp", "tests_core"), ("library/BRAQAudioGraph.cpp", "tests_src"),
                              ("platform/files/writing/A.cpp", "tests_platform_files"),
                              ("platform/hardware/drivers/software/A.cpp", "tests_platform_hardware"),
                              ("platform/samples/resampling/A.cpp", "tests_platform_samples_resampling")):
            self.assertEqual(mutate.program_for(path), program)


class Run(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.project = Path(folder.name)
        for name, text in PROJECT.items():
            (self.project / name).parent.mkdir(parents=True, exist_ok=True)
            (self.project / name).write_text(text, encoding="utf-8")
        subprocess.run(["git", "init", "-q", self.project], check=True)

    def run_it(self, *arguments):
        output = io.StringIO()
        with mock.patch.object(sys, "argv", ["mutate.py", str(self.project), *arguments]), \
                contextlib.redirect_stdout(output):
            mutate.main()
        return output.getvalue()

    def test_tells_what_tests_notice_from_what_they_do_not(self):
        printed = self.run_it(str(self.project / "library/core"))
        self.assertRegex(printed, r"noticed .*Sum.cpp:3 comparison")
        self.assertRegex(printed, r"noticed .*Sum.cpp:4 statement")
        self.assertIn("- int spare = 7;\n+ int spare = 8;", printed)
        self.assertRegex(printed, r"Score: \d+ of \d+ noticed")
        self.assertEqual((self.project / "library/core/Sum.cpp").read_text(encoding="utf-8"),
                         PROJECT["library/core/Sum.cpp"], "the project itself is left alone")
        # Again, knowing the reason of the one that is not noticed.
        (self.project / mutate.WITHOUT_EFFECT).write_text(
            "library/core/Sum.cpp\n- int spare = 7;\n+ int spare = 8;\n  nobody reads it\n", encoding="utf-8")
        self.assertNotIn("Not noticed", self.run_it("--sample", "1000", str(self.project / "library")))

    def test_samples_are_the_same_for_one_seed(self):
        def sample(seed):
            return self.run_it("--list", "--sample", "2", "--seed", seed, str(self.project / "library"))

        self.assertEqual(sample("5"), sample("5"))
        self.assertEqual(sample("5").count("\n- "), 2)

    def test_tests_that_fail_as_they_are_end_it(self):
        (self.project / "tests/core/SumTests.cpp").write_text("int main() { return 1; }\n", encoding="utf-8")
        with self.assertRaisesRegex(SystemExit, "fails without any change"):
            self.run_it(str(self.project / "library"))


if __name__ == "__main__":
    unittest.main()
