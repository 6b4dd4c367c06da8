#!/usr/bin/env python3
"""Checks that an object file swaps 16 bytes with an instruction of its own and calls no library to do so.

A library call may take a lock, which a real-time thread must never wait for.

Usage: check_compare_and_swap.py OBJECT [OBJDUMP]
"""

import re
import subprocess
import sys

# How each processor does it, as objdump writes it; every pattern of one of the ways has to be found. x86-64 needs the lock
# prefix. AArch64 has one instruction since version 8.1 and an exclusive pair before; a pair whose load does not acquire is
# followed by a barrier.
WAYS = {
    "x86-64": [[r"\block cmpxchg16b\b"]],
    "aarch64": [[r"\bcaspal\b"], [r"\bldaxp\b", r"\bstlxp\b"], [r"\bldxp\b", r"\bstlxp\b", r"\bdmb\s+ish\b"]],
}
LIBRARY_CALL = re.compile(r"\b(__atomic_|__sync_|__aarch64_cas|libatomic)\w*")


def check(disassembly):
    """Returns what is wrong with the output of `objdump --disassemble --reloc`."""
    form = re.search(r"file format elf64-(?:little)?(x86-64|aarch64)", disassembly)
    if not form:
        return ["not an object file of a processor that the library is built for"]
    problems = []
    if not any(all(re.search(part, disassembly) for part in way) for way in WAYS[form.group(1)]):
        problems.append(f"no 16-byte compare-and-swap of {form.group(1)}")
    problems += sorted({f"calls {match.group()}" for match in LIBRARY_CALL.finditer(disassembly)})
    return problems


def main(object_file, objdump="objdump"):
    disassembly = subprocess.run(
        [objdump, "--disassemble", "--reloc", object_file], check=True, capture_output=True, text=True).stdout
    problems = check(disassembly)
    print(f"{object_file}: {'; '.join(problems) or 'swaps 16 bytes inline'}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
