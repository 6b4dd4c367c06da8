#!/usr/bin/env python3
"""Checks that the functions and constants that programs in C, and calls by name, reach are exported under their plain names.

Usage: check_c_names.py LIBRARY NAMES_FILE [NM]
"""

import re
import subprocess
import sys
from pathlib import Path

# Of the documented names, those of the core, of the functions on rings, readers and lists of buffers, of the check's two, and
# of the platform's C interface; but not the gate, which is a class.
PLAIN = re.compile(r"B(?!RAQ)\w+|BRAQAudio(BufferList|BufferQueue|FileReader)[A-Z]\w+|NSXMakeError\w+"
                   r"|(Ext)?Audio\w+|(New|Dispose)?AUGraph\w*|BRAQ_CF\w+|BRAQThread\w+")
CLASSES = {"BRAQAudioBufferQueueGate"}


def main(library, names_file, nm="nm"):
    documented = set(Path(names_file).read_text(encoding="utf-8").split("\n"))
    plain = {name for name in documented if PLAIN.fullmatch(name)} - CLASSES
    output = subprocess.run([nm, "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    missing = sorted(plain - {line.split(" ", 2)[2].partition("@@")[0] for line in output.splitlines()})
    print("\n".join(f"not exported under its plain name: {name}" for name in missing) or f"{len(plain)} plain names")
    return 1 if missing or not plain else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
