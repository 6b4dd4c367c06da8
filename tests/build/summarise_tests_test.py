"""A test that did not run is never counted as passed."""

import unittest
import xml.etree.ElementTree as ElementTree

import summarise_tests

PASSED = '<testcase name="A" status="run"/>'
FAILED = '<testcase name="B" status="fail"><failure message="Timeout"/></testcase>'
SKIPPED = '<testcase name="C" status="notrun"><skipped message="x"/><system-out>{}</system-out></testcase>'


WITHIN = '<testcase classname="Suite" name="{}" status="run">{}</testcase>'
SKIPPED_WITHIN = WITHIN.format("Skips", '<skipped message="c.cpp:7&#x0A;{}"/>')


def parse(*cases):
    return ElementTree.fromstring(f"<testsuite>{''.join(cases)}</testsuite>")


def summarise(*cases, within=None):
    """within: the tests that A and B consist of"""
    return summarise_tests.summarise(parse(*cases), {"A": parse(*within), "B": parse(*within)} if within else None)


class SummariseTests(unittest.TestCase):
    def test_counts_each_outcome_and_gives_reasons(self):
        counts, lines = summarise(PASSED, FAILED, SKIPPED.format("c.cpp:7: Skipped\nnot shown: no permission\n\n"))
        self.assertEqual(counts, {"passed": 1, "failed": 1, "not shown": 1})
        self.assertEqual(lines, ["  failed: B: Timeout", "  not shown: C: no permission"])

    def test_a_test_skipped_without_a_reason_has_failed(self):
        counts, _ = summarise(PASSED, SKIPPED.format("[  SKIPPED ] C"))
        self.assertEqual(counts, {"passed": 1, "failed": 1, "not shown": 0})

    def test_a_skipped_test_with_a_sanitizer_report_has_failed(self):
        report = "not shown: no permission\n==7==ERROR: LeakSanitizer: detected memory leaks"
        self.assertEqual(summarise(SKIPPED.format(report))[0]["failed"], 1)

    def test_one_that_passes_when_run_again_has_passed_and_is_named(self):
        results = parse(PASSED, FAILED)
        lines = summarise_tests.take_again(results, parse('<testcase name="B" status="run"/>'))
        self.assertEqual(lines, ["  passed when run again by itself: B"])
        self.assertEqual(summarise_tests.summarise(results)[0], {"passed": 2, "failed": 0, "not shown": 0})

    def test_one_that_fails_again_or_is_not_run_again_has_failed(self):
        for again in (parse(FAILED), parse(), parse(SKIPPED.format("not shown: x").replace('"C"', '"B"'))):
            results = parse(PASSED, FAILED)
            self.assertEqual(summarise_tests.take_again(results, again), [])
            self.assertEqual(summarise_tests.summarise(results)[0]["failed"], 1)

    def test_the_names_of_those_that_failed_make_a_pattern(self):
        case = FAILED.replace('"B"', '"All/A.b+c/1  # GetParam() = 2"')
        self.assertEqual(summarise_tests.pattern_of_failed(parse(PASSED, case, FAILED)), r"^(All/A\.b\+c/1|B)( |$)")
        self.assertEqual(summarise_tests.pattern_of_failed(parse(PASSED)), "")

    def test_a_disabled_test_has_failed(self):
        self.assertEqual(summarise('<testcase name="D" status="disabled"/>')[0]["failed"], 1)

    def test_a_test_that_is_many_counts_as_these(self):
        counts, lines = summarise(PASSED, within=(
            WITHIN.format("One", ""), WITHIN.format("Two", ""), SKIPPED_WITHIN.format("not shown: no permission")))
        self.assertEqual(counts, {"passed": 2, "failed": 0, "not shown": 1})
        self.assertEqual(lines, ["  not shown: Suite.Skips: no permission"])

    def test_what_failed_among_many_is_named(self):
        _, lines = summarise(FAILED, within=(WITHIN.format("One", ""), WITHIN.format("Two", '<failure message="x"/>')))
        self.assertEqual(lines, ["  failed: Suite.Two: see above"])

    def test_one_that_fails_after_its_many_have_passed_has_failed(self):
        counts, lines = summarise(FAILED, within=(WITHIN.format("One", ""),))
        self.assertEqual(counts, {"passed": 1, "failed": 1, "not shown": 0})
        self.assertEqual(lines, ["  failed: B: Timeout"])

    def test_one_of_many_that_is_skipped_without_a_reason_or_disabled_has_failed(self):
        disabled = '<testcase classname="Suite" name="D" status="notrun"/>'
        counts, _ = summarise(PASSED, within=(SKIPPED_WITHIN.format("later"), disabled))
        self.assertEqual(counts, {"passed": 0, "failed": 2, "not shown": 0})

    def test_what_a_failed_test_wrote_last_is_repeated(self):
        failed = '<testcase name="B" status="fail"><failure message="x"/><system-out>1\n2\n3</system-out></testcase>'
        self.assertEqual(list(summarise_tests.complaints(parse(PASSED, failed), most=2)),
                         ["  B said:", "    2", "    3"])

    def test_of_what_failed_among_many_its_own_complaint_is_repeated(self):
        within = parse(WITHIN.format("One", ""), WITHIN.format("Two", "<failure>a.cpp:3&#x0A;1 is not 2</failure>"))
        self.assertEqual(list(summarise_tests.complaints(parse(FAILED), {"B": within})),
                         ["  Suite.Two said:", "    a.cpp:3", "    1 is not 2"])


if __name__ == "__main__":
    unittest.main()
