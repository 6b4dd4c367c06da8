#!/usr/bin/env python3
"""Checks that a shared library is called for its version and its links lead to it.

Usage: check_soname.py LIBRARY_FILE NAME VERSION [READELF]
"""

import re
import subprocess
import sys
from pathlib import Path


def main(library, name, version, readelf="readelf"):
    library = Path(library)
    # Before version 1 every minor version may break what was built against the one before.
    major, minor = version.split(".")[:2]
    interface = f"0.{minor}" if major == "0" else major
    dynamic = subprocess.run([readelf, "-d", library], check=True, capture_output=True, text=True).stdout
    soname = re.search(r"\(SONAME\).*\[(.*)\]", dynamic)
    expected = {
        "file name": (library.resolve().name, f"{name}.so.{version}"),
        "soname": (soname and soname.group(1), f"{name}.so.{interface}"),
        "link of the soname": ((library.parent / f"{name}.so.{interface}").resolve(), library.resolve()),
        "link for the linker": ((library.parent / f"{name}.so").resolve(), library.resolve()),
    }
    wrong = [f"{what} is {found}, not {wanted}" for what, (found, wanted) in expected.items() if found != wanted]
    print("\n".join(wrong) or f"{library.resolve().name}, soname {soname.group(1)}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
