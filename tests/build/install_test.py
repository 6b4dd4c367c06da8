"""What is installed is all that an application needs.

Installs into a fresh prefix, moves that prefix, and then, in an empty folder and with nothing else of the project:
compiles every installed header alone, and builds and runs the project's example against the shared and the static
library, found through CMake and through pkg-config.
"""

import argparse
import os
import shutil
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from running import run

PROJECT = Path(__file__).resolve().parents[2]
EXAMPLE = PROJECT / "examples/ring.cpp"
SAYS = "24000 frames played"

CMAKE_PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES CXX)
find_package(BRAQAudio 0.2 REQUIRED)
add_executable(with_shared consumer.cpp)
target_link_libraries(with_shared PRIVATE BRAQAudio::BRAQAudio)
add_executable(with_static consumer.cpp)
target_link_libraries(with_static PRIVATE BRAQAudio::BRAQAudio_static)
"""


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name).resolve()
        run(OPTIONS.cmake, "--install", OPTIONS.build, "--prefix", cls.folder / "first")
        cls.prefix = cls.folder / "moved"
        (cls.folder / "first").rename(cls.prefix)
        cls.include = cls.prefix / "include"
        cls.libraries = next(cls.prefix.rglob("libBRAQAudio.so")).parent

    def consumer(self, name):
        folder = self.folder / name
        folder.mkdir()
        shutil.copy(EXAMPLE, folder / "consumer.cpp")
        return folder

    def environment(self, prefix):
        pkgconfig = next(prefix.rglob("pkgconfig"))
        return {**os.environ, "PKG_CONFIG_PATH": str(pkgconfig)}

    def pkg_config(self, prefix, *arguments):
        return run("pkg-config", *arguments, "BRAQAudio", env=self.environment(prefix)).split()

    def test_every_header_compiles_alone(self):
        headers = sorted(path.relative_to(self.include) for path in self.include.rglob("*.h"))
        self.assertTrue(headers)

        def compile_alone(header):
            run(OPTIONS.compiler, "-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion",
                "-Wshadow", "-Werror", "-I", self.include, "-x", "c++", "-", input=f"#include <{header}>\n",
                cwd=self.folder)

        with ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(compile_alone, headers))

    def test_the_header_for_programs_includes_every_public_class_and_function(self):
        listed = run(OPTIONS.compiler, "-std=c++20", "-M", "-I", self.include, "-x", "c++", "-",
                     input="#include <BRAQAudio/BRAQAudio.h>\n", cwd=self.folder)
        # The platform's own C interface is included by who uses it.
        for header in sorted(path.relative_to(PROJECT / "include") for path in (PROJECT / "include").rglob("*.h")):
            if "platform" not in header.parts:
                self.assertIn(str(self.include / header), listed)

    def test_a_cmake_project_builds_and_runs_with_either_library(self):
        folder = self.consumer("cmake")
        (folder / "CMakeLists.txt").write_text(CMAKE_PROJECT, encoding="utf-8")
        run(OPTIONS.cmake, "-S", folder, "-B", folder / "build", "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={OPTIONS.compiler}")
        run(OPTIONS.cmake, "--build", folder / "build")
        for program, linked in [("with_shared", True), ("with_static", False)]:
            needed = run(OPTIONS.readelf, "-d", folder / "build" / program)
            self.assertEqual("[libBRAQAudio.so.0.2]" in needed, linked)
            self.assertIn(SAYS, run(folder / "build" / program))

    def test_a_program_builds_and_runs_with_what_pkg_config_says(self):
        folder = self.consumer("pkg-config")
        run(OPTIONS.compiler, "-std=c++20", "consumer.cpp", "-o", "consumer",
            *self.pkg_config(self.prefix, "--cflags", "--libs"), cwd=folder)
        self.assertIn("[libBRAQAudio.so.0.2]", run(OPTIONS.readelf, "-d", folder / "consumer"))
        self.assertIn(SAYS, run(folder / "consumer", env={**os.environ, "LD_LIBRARY_PATH": str(self.libraries)}))

    def test_pkg_config_names_what_the_static_library_needs(self):
        folder = self.consumer("pkg-config-static")
        prefix = self.folder / "static"
        shutil.copytree(self.prefix, prefix, symlinks=True)
        for shared in prefix.rglob("libBRAQAudio.so*"):
            shared.unlink()
        run(OPTIONS.compiler, "-std=c++20", "consumer.cpp", "-o", "consumer",
            *self.pkg_config(prefix, "--static", "--cflags", "--libs"), cwd=folder)
        self.assertNotIn("libBRAQAudio", run(OPTIONS.readelf, "-d", folder / "consumer"))
        self.assertIn(SAYS, run(folder / "consumer"))

    def test_the_tool_finds_the_library_in_the_same_prefix(self):
        version = run(self.prefix / "bin/braq", "--version")
        self.assertRegex(version, r"^braq \d")
        used = run("ldd", self.prefix / "bin/braq")
        self.assertIn(f"=> {self.prefix}/", used)

    def test_there_is_a_man_page_for_each_of_the_tools(self):
        installed = {page.name for page in self.prefix.rglob("man/man1/*.1")}
        self.assertEqual(installed, {page.name for page in (PROJECT / "tools/man").iterdir()})
        self.assertIn("braq.1", installed)

    def test_nothing_names_a_folder_of_the_machine_that_built_it(self):
        files = [path for path in self.prefix.rglob("*") if path.is_file()]
        self.assertTrue(files)
        for path in files:
            content = path.read_bytes()
            for folder in (PROJECT, Path(OPTIONS.build), self.folder):
                self.assertNotIn(str(folder).encode(), content, path)
        dynamic = run(OPTIONS.readelf, "-d", self.libraries / "libBRAQAudio.so")
        self.assertNotRegex(dynamic, r"\((RPATH|RUNPATH)\)")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--build", "--cmake", "--compiler", "--readelf"):
        parser.add_argument(option, required=True)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[__file__, *rest])
