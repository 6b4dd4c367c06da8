"""The examples in README.md are those that are built and run here, word for word."""

import re
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]


class Readme(unittest.TestCase):
    def test_its_code_is_that_of_the_examples(self):
        blocks = re.findall(r"```cpp\n(.*?)```", (PROJECT / "README.md").read_text(encoding="utf-8"), re.DOTALL)
        examples = [PROJECT / "examples" / name for name in ("ring.cpp", "devices.cpp", "play.cpp", "peak.cpp")]
        self.assertEqual(blocks, [example.read_text(encoding="utf-8") for example in examples])

    def test_the_commands_it_names_exist(self):
        names = set(re.findall(r"\./run (\w+)", (PROJECT / "README.md").read_text(encoding="utf-8")))
        self.assertTrue(names)
        for name in names:
            self.assertTrue((PROJECT / "scripts/commands" / name).is_file(), name)


if __name__ == "__main__":
    unittest.main()
