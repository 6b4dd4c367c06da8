#!/usr/bin/env python3
"""Checks, or with --write brings about, that the code in the guide is that of the project's sources.

    page_examples.py [--write] PAGE...

Above each block of C++ or C in a page stands a comment that says where it comes from:

    <!-- examples/player.cpp -->            the whole file
    <!-- part of examples/ring.cpp -->      consecutive lines of it, less what all of them are indented by

--write replaces blocks that are whole files; a part is its author's to choose.
"""

import re
import sys
import textwrap
from pathlib import Path

PROJECT = Path(__file__).resolve().parent.parent
BLOCK = re.compile(r"(?:<!-- (?P<part>part of )?(?P<source>\S+) -->\n)?```(?P<language>cpp|c)\n(?P<code>.*?)^```$", re.DOTALL | re.MULTILINE)


def is_part(code, source):
    """Whether the code stands in the source, line by line, at any depth."""
    wanted = code.splitlines()
    lines = source.splitlines()
    return bool(wanted) and any(
        textwrap.dedent("\n".join(lines[start:start + len(wanted)])).splitlines() == wanted
        for start in range(len(lines) - len(wanted) + 1))


def problem(block, project=PROJECT):
    """What is wrong with a block; None if nothing is."""
    if block["source"] is None:
        return "a block does not say where it comes from"
    path = project / block["source"]
    if not path.is_file():
        return f"there is no {block['source']}"
    source = path.read_text(encoding="utf-8")
    if block["part"]:
        return None if is_part(block["code"], source) else f"a block is no part of {block['source']}"
    return None if block["code"] == source else f"a block differs from {block['source']}"


def problems(text, project=PROJECT):
    """What is wrong with the blocks of a page."""
    return [found for found in (problem(block, project) for block in BLOCK.finditer(text)) if found]


def rewritten(text, project=PROJECT):
    """The page with all blocks that are whole files as those are."""
    def replace(block):
        if block["source"] is None or block["part"] or not (project / block["source"]).is_file():
            return block[0]
        source = (project / block["source"]).read_text(encoding="utf-8")
        return f"<!-- {block['source']} -->\n```{block['language']}\n{source}```"
    return BLOCK.sub(replace, text)


def main(arguments):
    write = "--write" in arguments
    failed = False
    for name in (argument for argument in arguments if argument != "--write"):
        path = Path(name)
        text = path.read_text(encoding="utf-8")
        if write:
            text = rewritten(text)
            path.write_text(text, encoding="utf-8")
        for found in problems(text):
            print(f"{name}: {found}", file=sys.stderr)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
