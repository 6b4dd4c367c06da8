"""The check of the 16-byte compare-and-swap refuses library calls and unlocked instructions."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import check_compare_and_swap

X86 = "stack.o:     file format elf64-x86-64\n"
ARM = "stack.o:     file format elf64-littleaarch64\n"


class CheckCompareAndSwap(unittest.TestCase):
    def test_accepts_the_instructions_of_each_processor(self):
        for disassembly in [
                X86 + "  a7:\tf0 48 0f c7 0b       \tlock cmpxchg16b (%rbx)\n",
                ARM + " 25c:\t4862ff16 \tcaspal\tx2, x3, x22, x23, [x24]\n",
                ARM + " 25c:\t\tldaxp\tx2, x3, [x24]\n 26c:\t\tstlxp\tw0, x22, x23, [x24]\n",
                ARM + " 25c:\t\tldxp\tx2, x3, [x24]\n 26c:\t\tstlxp\tw0, x22, x23, [x24]\n 274:\t\tdmb\tish\n",
        ]:
            with self.subTest(disassembly=disassembly):
                self.assertEqual(check_compare_and_swap.check(disassembly), [])

    def test_refuses_everything_else(self):
        for disassembly in [
                X86,
                X86 + "  a8:\t48 0f c7 0b       \tcmpxchg16b (%rbx)\n",
                X86 + "lock cmpxchg16b (%rbx)\n\t\t2a: R_X86_64_PLT32\t__atomic_compare_exchange_16-0x4\n",
                ARM + " 25c:\t\tcasp\tx2, x3, x22, x23, [x24]\n",
                ARM + " 25c:\t\tldxp\tx2, x3, [x24]\n 26c:\t\tstlxp\tw0, x22, x23, [x24]\n",
                ARM + " 25c:\t\tldaxp\tx2, x3, [x24]\n",
                ARM + "caspal\n\t\ta0: R_AARCH64_CALL26\t__aarch64_cas8_acq_rel\n",
                "stack.o: file format elf32-i386\nlock cmpxchg16b\n",
        ]:
            with self.subTest(disassembly=disassembly):
                self.assertNotEqual(check_compare_and_swap.check(disassembly), [])

    def test_refuses_what_the_compiler_makes_of_a_16_byte_atomic(self):
        with tempfile.TemporaryDirectory() as folder:
            source, object_file = Path(folder, "swap.cpp"), Path(folder, "swap.o")
            source.write_text(
                "bool swap(unsigned __int128* where, unsigned __int128 before, unsigned __int128 after) {\n"
                "    return __atomic_compare_exchange_n(where, &before, after, false, __ATOMIC_SEQ_CST, 0);\n"
                "}\n", encoding="utf-8")
            subprocess.run([os.environ["CXX"], "-O2", "-c", source, "-o", object_file], check=True, capture_output=True)
            self.assertEqual(check_compare_and_swap.main(object_file, os.environ["OBJDUMP"]), 1)


if __name__ == "__main__":
    unittest.main()
