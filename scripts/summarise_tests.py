#!/usr/bin/env python3
"""Sums up a ctest run: what passed, what failed, and what this machine could not show, with the reason.

A test that did not run and does not say "not shown: REASON" counts as failed, as does one whose output holds the report of
a sanitizer although it was skipped.

Where a test of ctest is many of GoogleTest, which has written SHARDS/NAME.xml, these are what is counted; and the whole as
one more that failed, if it did and none of them has.

A test that failed, but not when it was run again by itself, which AGAIN holds, counts as passed and is named all the same.

Usage: summarise_tests.py RESULTS [SHARDS [AGAIN]] (as written by ctest --output-junit and, in a folder, by GoogleTest)
       summarise_tests.py --failed RESULTS (prints a regular expression that the names of the tests that failed match)
"""

import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

REASON = re.compile(r"not shown: (.+)")
SANITIZER = re.compile(r"(Sanitizer:|runtime error:)")


def outcome_of(case):
    """What came of a test of ctest, and what is said about it."""
    output = case.findtext("system-out") or ""
    reason = REASON.search(output)
    if case.get("status") == "disabled":
        return "failed", "it is disabled"
    if case.find("skipped") is not None:
        if not reason:
            return "failed", "it did not run and does not say why"
        if SANITIZER.search(output):
            return "failed", "a sanitizer has found something"
        return "not shown", reason.group(1)
    if case.find("failure") is not None:
        return "failed", case.find("failure").get("message") or "see above"
    return "passed", ""


def outcomes_within(shard):
    """Name, outcome and what is said about it, of each test in a file of GoogleTest."""
    for case in shard.iter("testcase"):
        name = f"{case.get('classname')}.{case.get('name')}"
        skipped = case.find("skipped")
        reason = REASON.search(skipped.get("message") or "") if skipped is not None else None
        if case.get("status") == "notrun":
            yield name, "failed", "it is disabled"
        elif case.find("failure") is not None:
            yield name, "failed", "see above"
        elif skipped is not None and not reason:
            yield name, "failed", "it did not run and does not say why"
        else:
            yield name, *(("not shown", reason.group(1)) if reason else ("passed", ""))


def names_of(results, *outcomes):
    """The names that tests with these outcomes have for ctest."""
    return [case.get("name") for case in results.iter("testcase") if outcome_of(case)[0] in outcomes]


def pattern_of_failed(results):
    """A regular expression of CMake that fits the tests that failed, and nothing if none did."""
    names = [re.sub(r"([][.*+?()^$|\\])", r"\\\1", name.split(" ")[0]) for name in names_of(results, "failed")]
    return f"^({'|'.join(names)})( |$)" if names else ""


def take_again(results, again):
    """Has tests that passed when they were run again count as passed; returns what to say about them."""
    passed = set(names_of(again, "passed"))
    lines = []
    for case in results.iter("testcase"):
        if case.get("name") in passed and outcome_of(case)[0] == "failed":
            lines.append(f"  passed when run again by itself: {case.get('name')}")
            case.set("status", "run")
            case.remove(case.find("failure"))
    return lines


def summarise(results, shards=None):
    """Returns the counts by outcome, and the lines to print about tests that did not pass.

    shards: files of GoogleTest by the name that their test has for ctest
    """
    outcomes = []
    for case in results.iter("testcase"):
        name = case.get("name")
        outcome, said = outcome_of(case)
        if name not in (shards or {}):
            outcomes.append((name, outcome, said))
            continue
        within = list(outcomes_within(shards[name]))
        outcomes += within
        if outcome == "failed" and all(one != "failed" for _, one, _ in within):
            outcomes.append((name, outcome, said))
    counts = {"passed": 0, "failed": 0, "not shown": 0}
    for _, outcome, _ in outcomes:
        counts[outcome] += 1
    return counts, sorted(f"  {outcome}: {name}: {said}" for name, outcome, said in outcomes if outcome != "passed")


def complaints(results, shards=None, most=60):
    """What each test that failed has to say, so that nobody has to look for it far above: what GoogleTest wrote down of its
    own, and of others the last lines.
    """
    for case in results.iter("testcase"):
        if outcome_of(case)[0] != "failed":
            continue
        name = case.get("name")
        within = shards[name].iter("testcase") if name in (shards or {}) else ()
        failures = [(f"{one.get('classname')}.{one.get('name')}", failure.text or failure.get("message"))
                    for one in within for failure in one.iter("failure")]
        for of, said in failures or [(name, case.findtext("system-out") or "")]:
            yield f"  {of} said:"
            yield from (f"    {line}" for line in said.splitlines()[-most:])


def main(path, folder=None, again=None):
    if path == "--failed":
        print(pattern_of_failed(ElementTree.parse(folder).getroot()))
        return 0
    files = Path(folder).glob("*.xml") if folder else []
    shards = {file.name.removesuffix(".xml"): ElementTree.parse(file).getroot() for file in files}
    results = ElementTree.parse(path).getroot()
    shown = list(complaints(results, shards))
    repeated = take_again(results, ElementTree.parse(again).getroot()) if again else []
    counts, lines = summarise(results, shards)
    for line in (*lines, *shown, *repeated):
        print(line)
    print(f"{counts['not shown']} not shown on this machine")
    print(f"Tests: {counts['passed']} passed, {counts['failed']} failed")
    return 1 if counts["failed"] or not sum(counts.values()) else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
