"""A test that did not run is never counted as passed."""

import unittest
import xml.etree.ElementTree as ElementTree

import summarise_tests

PASSED = '<testcase name="A" status="run"/>'
FAILED = '<testcase name="B" status="fail"><failure message="Timeout"/></testcase>'
SKIPPED = '<testcase name="C" status="notrun"><skipped message="x"/><system-out>{}</system-out></testcase>'


def summarise(*cases):
    return summarise_tests.summarise(ElementTree.fromstring(f"<testsuite>{''.join(cases)}</testsuite>"))


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

    def test_a_disabled_test_has_failed(self):
        self.assertEqual(summarise('<testcase name="D" status="disabled"/>')[0]["failed"], 1)


if __name__ == "__main__":
    unittest.main()
