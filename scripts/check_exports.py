#!/usr/bin/env python3
"""Checks that the shared library exports the documented names and no others.

A class is documented by its name, which stands for its members, tables and type information too.

Usage: check_exports.py LIBRARY NAMES_FILE [NM]
"""

import re
import subprocess
import sys
from pathlib import Path

# What the compiler adds to a class or a function.
COMPANION = re.compile(
    r"^(vtable for|VTT for|typeinfo for|typeinfo name for|guard variable for|non-virtual thunk to|virtual thunk to"
    r"|covariant return thunk to|construction vtable for) ")


def top_name(symbol):
    """The name that has to be documented for a demangled symbol: `A::b(int) const` -> `A`, `f(A const&)` -> `f`."""
    symbol = COMPANION.sub("", symbol)
    operator = re.match(r"operator\W+?(?=\()", symbol)
    return operator.group() if operator else re.split(r"::|[(<\[]", symbol)[0]


def documented_names(text):
    """One name a line; a line that begins with # is a comment."""
    return {line.strip() for line in text.splitlines() if line.strip() and not line.startswith("#")}


def exported_symbols(nm_output):
    """Demangled symbols of `nm -D --defined-only -C`."""
    return [line.split(" ", 2)[2] for line in nm_output.splitlines() if line]


def compare(symbols, documented):
    """Returns what is wrong, one line a problem."""
    problems = [
        f"exported but not documented: {symbol}" for symbol in symbols if top_name(symbol) not in documented]
    exported = {top_name(symbol) for symbol in symbols}
    problems += [f"documented but not exported: {name}" for name in sorted(documented - exported)]
    return problems


def main(library, names_file, nm="nm"):
    output = subprocess.run([nm, "-D", "--defined-only", "-C", library], check=True, capture_output=True, text=True).stdout
    symbols = exported_symbols(output)
    documented = documented_names(Path(names_file).read_text(encoding="utf-8"))
    problems = compare(symbols, documented)
    print("\n".join(problems) if problems else f"{len(symbols)} exported symbols, {len(documented)} documented names")
    return 1 if problems or not symbols else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
