#!/usr/bin/env python3
"""Sums up a ctest run: what passed, what failed, and what this machine could not show, with the reason.

A test that did not run and does not say "not shown: REASON" counts as failed, as does one whose output holds the report of
a sanitizer although it was skipped.

Usage: summarise_tests.py RESULTS (as written by ctest --output-junit)
"""

import re
import sys
import xml.etree.ElementTree as ElementTree

REASON = re.compile(r"not shown: (.+)")
SANITIZER = re.compile(r"(Sanitizer:|runtime error:)")


def summarise(results):
    """Returns the counts by outcome, and the lines to print about tests that did not pass."""
    counts = {"passed": 0, "failed": 0, "not shown": 0}
    lines = []
    for case in results.iter("testcase"):
        name, output = case.get("name"), case.findtext("system-out") or ""
        reason = REASON.search(output)
        outcome = "passed"
        if case.get("status") == "disabled":
            outcome, said = "failed", "it is disabled"
        elif case.find("skipped") is not None:
            outcome, said = "not shown", reason.group(1) if reason else ""
            if not reason:
                outcome, said = "failed", "it did not run and does not say why"
            elif SANITIZER.search(output):
                outcome, said = "failed", "a sanitizer has found something"
        elif case.find("failure") is not None:
            outcome, said = "failed", case.find("failure").get("message") or "see above"
        counts[outcome] += 1
        if outcome != "passed":
            lines.append(f"  {outcome}: {name}: {said}")
    return counts, sorted(lines)


def main(path):
    counts, lines = summarise(ElementTree.parse(path).getroot())
    for line in lines:
        print(line)
    print(f"{counts['not shown']} not shown on this machine")
    print(f"Tests: {counts['passed']} passed, {counts['failed']} failed")
    return 1 if counts["failed"] or not sum(counts.values()) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
