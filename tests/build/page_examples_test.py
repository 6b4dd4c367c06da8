"""The check of the guide's code accepts what is in the sources, names what is not, and brings whole files up to date."""

import tempfile
import unittest
from pathlib import Path

import page_examples

SOURCE = "int main() {\n    int a = 1;\n\n    return a;\n}\n"


def page(comment, code, language="cpp"):
    return f"Text.\n\n{comment}```{language}\n{code}```\n\nMore.\n"


class PageExamples(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.project = Path(folder.name)
        (self.project / "a.cpp").write_text(SOURCE, encoding="utf-8")

    def problems(self, comment, code):
        return page_examples.problems(page(comment, code), self.project)

    def test_a_whole_file_and_a_part_are_accepted(self):
        self.assertEqual(self.problems("<!-- a.cpp -->\n", SOURCE), [])
        self.assertEqual(self.problems("<!-- part of a.cpp -->\n", "int a = 1;\n\nreturn a;\n"), [])
        self.assertEqual(self.problems("<!-- part of a.cpp -->\n", "int main() {\n    int a = 1;\n"), [])

    def test_what_differs_is_named(self):
        self.assertEqual(self.problems("<!-- a.cpp -->\n", SOURCE.replace("1", "2")), ["a block differs from a.cpp"])
        for other in ("int a = 2;\n", "int a = 1;\nreturn a;\n", "int a\n", ""):
            self.assertEqual(self.problems("<!-- part of a.cpp -->\n", other), ["a block is no part of a.cpp"])

    def test_a_block_says_where_it_comes_from(self):
        self.assertEqual(self.problems("", SOURCE), ["a block does not say where it comes from"])
        self.assertEqual(self.problems("<!-- b.cpp -->\n", SOURCE), ["there is no b.cpp"])

    def test_every_block_of_a_page_is_looked_at(self):
        text = page("<!-- a.cpp -->\n", SOURCE) + page("<!-- a.cpp -->\n", "") + page("", "")
        self.assertEqual(len(page_examples.problems(text, self.project)), 2)

    def test_blocks_of_c_are_looked_at_too(self):
        (self.project / "b.c").write_text(SOURCE, encoding="utf-8")
        text = page("<!-- b.c -->\n", "old\n", "c")
        self.assertEqual(page_examples.problems(text, self.project), ["a block differs from b.c"])
        self.assertEqual(page_examples.rewritten(text, self.project), page("<!-- b.c -->\n", SOURCE, "c"))

    def test_whole_files_are_brought_up_to_date_and_nothing_else(self):
        self.assertEqual(page_examples.rewritten(page("<!-- a.cpp -->\n", "old\n"), self.project),
                         page("<!-- a.cpp -->\n", SOURCE))
        for comment in ("", "<!-- part of a.cpp -->\n", "<!-- b.cpp -->\n"):
            text = page(comment, "old\n")
            self.assertEqual(page_examples.rewritten(text, self.project), text)


if __name__ == "__main__":
    unittest.main()
