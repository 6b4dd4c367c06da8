"""Whatever names the version of the project names this one, and recipes for packages fit the project.

vcpkg and Conan themselves are not needed: their recipes are run with functions in place of theirs that do nothing or write
down what they are called with.
"""

import argparse
import importlib.util
import json
import re
import sys
import tempfile
import types
import unittest
from pathlib import Path
from unittest import mock

from running import run

PROJECT = Path(__file__).resolve().parents[2]
VCPKG = PROJECT / "packaging/vcpkg/braqaudio"
CONAN = PROJECT / "packaging/conan/conanfile.py"


def read(path):
    return (PROJECT / path).read_text(encoding="utf-8")


def conan_recipe(copied):
    """The class of the recipe, as Conan reads it; what it copies is written down."""
    recipe = type("ConanFile", (), {})
    modules = {name: types.ModuleType(name) for name in (
        "conan", "conan.tools", "conan.tools.cmake", "conan.tools.files", "conan.tools.system",
        "conan.tools.system.package_manager")}
    modules["conan"].ConanFile = recipe
    for name in ("CMake", "CMakeToolchain", "cmake_layout"):
        setattr(modules["conan.tools.cmake"], name, mock.MagicMock())
    modules["conan.tools.files"].copy = lambda _, pattern, source, destination: copied.append(pattern)
    modules["conan.tools.system.package_manager"].Apt = mock.MagicMock()
    with mock.patch.dict(sys.modules, modules):
        spec = importlib.util.spec_from_file_location("conanfile", CONAN)
        module = importlib.util.module_from_spec(spec)
        spec.loader.exec_module(module)
    return module.BRAQAudio


def is_option_of_the_project(name):
    return re.search(rf"option\({name} ", read("CMakeLists.txt")) is not None


class Versions(unittest.TestCase):
    def setUp(self):
        major, minor = OPTIONS.version.split(".")[:2]
        self.interface = f"0.{minor}" if major == "0" else major

    def test_the_newest_entry_of_each_changelog_is_about_it(self):
        self.assertEqual(re.search(r"(?m)^## \[([\d.]+)\] - \d{4}-\d\d-\d\d$", read("CHANGELOG.md"))[1], OPTIONS.version)
        self.assertRegex(read("debian/changelog"), rf"^braqaudio \({re.escape(OPTIONS.version)}-\d+\) ")

    def test_recipes_are_for_it(self):
        self.assertEqual(json.loads((VCPKG / "vcpkg.json").read_text(encoding="utf-8"))["version"], OPTIONS.version)
        self.assertEqual(conan_recipe([]).version, OPTIONS.version)

    def test_packages_are_named_for_the_interface(self):
        self.assertEqual(set(re.findall(r"libbraqaudio\d[\d.]*", read("debian/control"))), {f"libbraqaudio{self.interface}"})
        self.assertEqual({path.name for path in (PROJECT / "debian").glob("libbraqaudio[0-9]*.*") if path.is_file()},
                         {f"libbraqaudio{self.interface}.{kind}" for kind in ("install", "symbols")})
        self.assertIn(f"BRAQAUDIO_{self.interface} {OPTIONS.version}\n",
                      read(f"debian/libbraqaudio{self.interface}.symbols"))

    def test_pages_ask_for_it(self):
        for page in ("README.md", "docs/guide/getting-started.md"):
            self.assertEqual(set(re.findall(r"find_package\(BRAQAudio ([\d.]+)", read(page))),
                             {".".join(OPTIONS.version.split(".")[:2])}, page)
            self.assertEqual(set(re.findall(r"libbraqaudio(\d[\d.]*\d)\b", read(page))), {self.interface}, page)
            self.assertEqual(set(re.findall(r"braqaudio\*_([\d.]+)-1", read(page))), {OPTIONS.version}, page)


class Recipes(unittest.TestCase):
    def test_that_of_vcpkg_builds_this_project_with_options_that_it_has(self):
        with tempfile.TemporaryDirectory() as name:
            script = Path(name) / "run.cmake"
            functions = "\n".join(f'function({function})\n  message("called {function} ${{ARGN}}")\nendfunction()' for function in (
                "vcpkg_cmake_configure", "vcpkg_cmake_install", "vcpkg_cmake_config_fixup", "vcpkg_fixup_pkgconfig",
                "vcpkg_install_copyright"))
            script.write_text(f'{functions}\nset(CURRENT_PACKAGES_DIR "{name}")\ninclude("{VCPKG}/portfile.cmake")\n')
            said = run(OPTIONS.cmake, "-P", script)
        self.assertIn(f"called vcpkg_cmake_configure SOURCE_PATH;{PROJECT}", said.replace("/;", ";"))
        options = re.findall(r"-D(\w+)=", said)
        self.assertTrue(options)
        for option in options:
            self.assertTrue(is_option_of_the_project(option), option)

    def test_that_of_conan_takes_along_what_the_project_is_built_from(self):
        copied = []
        recipe = conan_recipe(copied)()
        recipe.recipe_folder, recipe.export_sources_folder = str(CONAN.parent), ""
        recipe.export_sources()
        self.assertTrue(copied)
        for pattern in copied:
            self.assertTrue(list(PROJECT.glob(pattern)), pattern)
        # Whatever the project's own description builds from, without tools and tests.
        for folder in re.findall(r"add_subdirectory\((\w+)\)|\b(\w+)(?:/\w+)*/\*\.cpp", read("CMakeLists.txt")):
            folder = "".join(folder)
            if folder not in ("tools", "examples", "tests", "bench"):
                self.assertIn(f"{folder}/*", copied)

    def test_that_of_conan_sets_options_that_the_project_has(self):
        options = re.findall(r'cache_variables\["(\w+)"\]', CONAN.read_text(encoding="utf-8"))
        self.assertTrue(options)
        for option in options:
            self.assertTrue(is_option_of_the_project(option), option)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--version", "--cmake"):
        parser.add_argument(option, required=True)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[__file__, *rest])
