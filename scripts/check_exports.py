#!/usr/bin/env python3
"""Checks that the shared library exports the documented names and no others, all with the version node of the library.

A class is documented by its name, which stands for its members, tables and type information too. Constants are called BRAQ...
or kBRAQ...: data of the same plain name in another library would be used in their place.

Usage: check_exports.py LIBRARY NAMES_FILE VERSION_NODE [NM]
"""

import re
import subprocess
import sys
from pathlib import Path

# What the compiler adds to a class or a function.
COMPANION = re.compile(
    r"^(vtable for|VTT for|typeinfo for|typeinfo name for|guard variable for|non-virtual thunk to|virtual thunk to"
    r"|covariant return thunk to|construction vtable for) ")

# What nm calls data. Tables, type information and static variables of classes are other kinds and come with their class.
DATA = set("BDRS")


def top_name(symbol):
    """The name that has to be documented for a demangled symbol: `A::b(int) const` -> `A`, `f(A const&)` -> `f`."""
    symbol = COMPANION.sub("", symbol)
    operator = re.match(r"operator\W+?(?=\()", symbol)
    return operator.group() if operator else re.split(r"::|[(<\[]", symbol)[0]


def documented_names(text):
    """One name a line; a line that begins with # is a comment."""
    return {line.strip() for line in text.splitlines() if line.strip() and not line.startswith("#")}


def exported_symbols(nm_output, node):
    """Type, demangled name and version node of each symbol of `nm -D --defined-only -C`, less the node itself."""
    symbols = []
    for line in nm_output.splitlines():
        kind, symbol = line.split(" ", 2)[1:]
        name, _, version = symbol.partition("@@")
        if name != node:
            symbols.append((kind, name, version))
    return symbols


def compare(symbols, documented, node):
    """Returns what is wrong, one line a problem."""
    problems = []
    for kind, name, version in symbols:
        if top_name(name) not in documented:
            problems.append(f"exported but not documented: {name}")
        if version != node:
            problems.append(f"exported with the version node '{version}': {name}")
        if kind in DATA and not re.match("k?BRAQ", name):
            problems.append(f"data of a name that is not ours: {name}")
    exported = {top_name(name) for _, name, _ in symbols}
    problems += [f"documented but not exported: {name}" for name in sorted(documented - exported)]
    return problems


def main(library, names_file, node, nm="nm"):
    output = subprocess.run([nm, "-D", "--defined-only", "-C", library], check=True, capture_output=True, text=True).stdout
    symbols = exported_symbols(output, node)
    documented = documented_names(Path(names_file).read_text(encoding="utf-8"))
    problems = compare(symbols, documented, node)
    print("\n".join(problems) if problems else f"{len(symbols)} exported symbols, {len(documented)} documented names")
    return 1 if problems or not symbols else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
