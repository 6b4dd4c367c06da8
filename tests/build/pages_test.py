"""The documents show code that is built, name commands and files that there are, and are all to be found."""

import re
import sys
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "scripts"))
import page_examples  # noqa: E402

GUIDE = sorted((PROJECT / "docs/guide").glob("*.md"))
PAGES = [*GUIDE, *sorted((PROJECT / "docs").glob("*.md")), *sorted(PROJECT.glob("*.md"))]


def text_of(page):
    return page.read_text(encoding="utf-8")


def prose_of(page):
    return re.sub(r"^```.*?^```$", "", text_of(page), flags=re.DOTALL | re.MULTILINE)


class Pages(unittest.TestCase):
    def test_the_code_of_the_pages_is_that_of_the_sources(self):
        pages = [*GUIDE, PROJECT / "README.md"]
        found = {str(page.relative_to(PROJECT)): page_examples.problems(text_of(page)) for page in pages}
        self.assertTrue(found)
        self.assertEqual({page: problems for page, problems in found.items() if problems}, {})

    def test_what_links_lead_to_exists(self):
        links = [(page, link) for page in PAGES for link in re.findall(r"\]\(([^)#\s]+)", prose_of(page))
                 if not re.match(r"[a-z]+:", link)]
        self.assertTrue(links)
        missing = [f"{page.relative_to(PROJECT)}: {link}" for page, link in links if not (page.parent / link).exists()]
        self.assertEqual(missing, [])

    def test_examples_that_are_named_exist(self):
        for page in PAGES:
            for name in re.findall(r"examples/\w+\.(?:cpp|c)\b", text_of(page)):
                self.assertTrue((PROJECT / name).is_file(), f"{page.relative_to(PROJECT)}: {name}")

    def test_commands_that_are_named_exist(self):
        for page in PAGES:
            for name in re.findall(r"\./run (\w+)", text_of(page)):
                self.assertTrue((PROJECT / "scripts/commands" / name).is_file(), f"{page.relative_to(PROJECT)}: {name}")

    def test_every_page_of_the_guide_is_listed(self):
        listed = re.findall(r"\]\(([\w-]+\.md)\)", text_of(PROJECT / "docs/guide/README.md"))
        self.assertEqual(sorted(listed), [page.name for page in GUIDE if page.name != "README.md"])

    def test_pages_are_made_in_the_order_of_the_index(self):
        listed = re.findall(r"\]\(([\w-]+\.md)\)", text_of(PROJECT / "docs/guide/README.md"))
        made = re.findall(r"docs/guide/([\w-]+\.md) \\", text_of(PROJECT / "docs/Doxyfile"))
        self.assertEqual(made, ["README.md", *listed])

    def test_every_public_declaration_is_in_a_group(self):
        defined = set(re.findall(r"@defgroup (\w+)", text_of(PROJECT / "docs/groups.dox")))
        used = set()
        for header in sorted((PROJECT / "include").rglob("*.h")):
            found = re.findall(r"(?m)^/// @addtogroup (\w+)\n/// @\{$", text_of(header))
            includes_only = re.fullmatch(r"(\s*(#.*|//.*)\n)*", text_of(header))
            if not includes_only:
                self.assertEqual(len(found), 1, header.relative_to(PROJECT))
                self.assertTrue(text_of(header).endswith("\n/// @}\n"), header.relative_to(PROJECT))
            used.update(found)
        self.assertLessEqual(used, defined)


if __name__ == "__main__":
    unittest.main()
