"""Configuring for a processor without a known 16-byte compare-and-swap is refused."""

import tempfile
import unittest
from pathlib import Path

import check_processors

PROJECT = Path(__file__).resolve().parents[2]


class CheckProcessors(unittest.TestCase):
    def refused(self, processor):
        with tempfile.TemporaryDirectory() as folder:
            return check_processors.check_refusal(PROJECT, Path(folder), processor)

    def test_other_processors_are_refused(self):
        self.assertTrue(self.refused("riscv64"))

    def test_a_supported_processor_is_not(self):
        self.assertFalse(self.refused("x86_64"))


if __name__ == "__main__":
    unittest.main()
