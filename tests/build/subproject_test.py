"""The library can be a part of another project, in the way and of the kind that this chooses.

A project that fetches the library with FetchContent, from this folder, and one that adds it with add_subdirectory are
configured, built and run; the latter with Clang and libc++. What they build is kept in the folder that is given, so that only
what has changed is built again.
"""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from running import run

PROJECT = Path(__file__).resolve().parents[2]
EXAMPLE = PROJECT / "examples/ring.cpp"
SAYS = "24000 frames played"
NOT_SHOWN = 77

CONSUMER = f"""
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
%s
add_executable(consumer "{EXAMPLE}")
target_compile_features(consumer PRIVATE cxx_std_20)
target_link_libraries(consumer PRIVATE BRAQAudio::BRAQAudio)
get_target_property(kind BRAQAudio::BRAQAudio TYPE)
message(STATUS "kind: ${{kind}}, build type: '${{CMAKE_BUILD_TYPE}}'")
"""
FETCHED = f"""
include(FetchContent)
FetchContent_Declare(BRAQAudio SOURCE_DIR "{PROJECT}")
FetchContent_MakeAvailable(BRAQAudio)
"""
ADDED = f'add_subdirectory("{PROJECT}" BRAQAudio)'
FOUND = "find_package(BRAQAudio REQUIRED)"


def configure(folder, obtain, *options):
    """Configures a project that obtains the library; returns what CMake said."""
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "CMakeLists.txt").write_text(CONSUMER % obtain, encoding="utf-8")
    # Several sources at once take a third of the time.
    unity = ["-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=10"]
    return run(OPTIONS.cmake, "-S", folder, "-B", folder / "build", "-G", "Ninja", *unity, *options)


def build(folder):
    run(OPTIONS.cmake, "--build", folder / "build")
    return folder / "build/consumer"


def launcher():
    return [f"-DCMAKE_{language}_COMPILER_LAUNCHER={OPTIONS.launcher}" for language in ("C", "CXX") if OPTIONS.launcher]


class Part(unittest.TestCase):
    """With the compiler that everything is built with."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name).resolve()
        cls.compiler = f"-DCMAKE_CXX_COMPILER={OPTIONS.compiler}"

    def test_fetched_and_static_it_is_built_run_installed_and_found(self):
        folder = OPTIONS.folder / "fetched"
        said = configure(folder, FETCHED, self.compiler, *launcher(), "-DBUILD_SHARED_LIBS=OFF", "-DBRAQ_INSTALL=ON",
                         "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0")
        self.assertIn("kind: STATIC_LIBRARY", said)
        program = build(folder)
        self.assertNotIn("libBRAQAudio", run(OPTIONS.readelf, "-d", program))
        self.assertIn(SAYS, run(program))
        self.assertFalse(list((folder / "build").rglob("libBRAQAudio.so*")), "what was not chosen is built, too")

        prefix = self.folder / "prefix"
        run(OPTIONS.cmake, "--install", folder / "build", "--prefix", prefix)
        self.assertTrue(list(prefix.rglob("libBRAQAudio.a")))
        self.assertFalse(list(prefix.rglob("libBRAQAudio.so*")))
        said = configure(self.folder / "found", FOUND, self.compiler, f"-DCMAKE_PREFIX_PATH={prefix}")
        self.assertIn("kind: STATIC_LIBRARY", said)
        self.assertIn(SAYS, run(build(self.folder / "found")))
        # Who did not choose the kind does not have to know it.
        pkgconfig = {**os.environ, "PKG_CONFIG_PATH": str(next(prefix.rglob("pkgconfig")))}
        flags = run("pkg-config", "--cflags", "--libs", "BRAQAudio", env=pkgconfig).split()
        run(OPTIONS.compiler, "-std=c++20", EXAMPLE, "-o", self.folder / "consumer", *flags)
        self.assertIn(SAYS, run(self.folder / "consumer"))

    def test_added_it_is_of_the_kind_that_is_chosen_and_leaves_alone_what_is_the_other_projects(self):
        for choice, kind in [("", "SHARED_LIBRARY"), ("ON", "SHARED_LIBRARY"), ("OFF", "STATIC_LIBRARY")]:
            with self.subTest(choice=choice):
                folder = self.folder / f"added{choice}"
                said = configure(folder, ADDED, self.compiler, *([f"-DBUILD_SHARED_LIBS={choice}"] if choice else []))
                self.assertIn(f"kind: {kind}, build type: ''", said)
                run(OPTIONS.cmake, "--install", folder / "build", "--prefix", folder / "prefix")
                self.assertFalse(list((folder / "prefix").rglob("*")), "it installs what nobody has asked for")
                targets = run("ninja", "-C", folder / "build", "-t", "targets", "all")
                self.assertNotIn("braq:", targets)

    def test_alone_it_is_optimised_and_installed_of_the_kind_that_is_chosen_else_of_both(self):
        for choice, kinds in [("", {"BRAQAudio", "BRAQAudio_static"}), ("ON", {"BRAQAudio"}), ("OFF", {"BRAQAudio_static"})]:
            with self.subTest(choice=choice):
                folder = self.folder / f"alone{choice}"
                run(OPTIONS.cmake, "-S", PROJECT, "-B", folder, "-G", "Ninja", self.compiler, "-DBRAQ_BUILD_TESTS=OFF",
                    "-DBRAQ_BUILD_TOOLS=OFF", *([f"-DBUILD_SHARED_LIBS={choice}"] if choice else []))
                self.assertIn("CMAKE_BUILD_TYPE:STRING=RelWithDebInfo", (folder / "CMakeCache.txt").read_text())
                exported = next((folder / "CMakeFiles/Export").rglob("BRAQAudioTargets.cmake")).read_text()
                self.assertEqual({kind for kind in ("BRAQAudio", "BRAQAudio_static")
                                  if f"add_library(BRAQAudio::{kind} " in exported}, kinds)
                commands = run("ninja", "-C", folder, "-t", "commands", "all")
                files = {"BRAQAudio": "lib/libBRAQAudio.so.", "BRAQAudio_static": "lib/libBRAQAudio.a"}
                self.assertEqual({kind for kind, file in files.items() if file in commands}, kinds)


class LibCxx(unittest.TestCase):
    """With Clang and its own standard library."""

    def test_added_and_shared_it_is_built_and_run(self):
        folder = OPTIONS.folder / "libcxx"
        said = configure(folder, ADDED, f"-DCMAKE_CXX_COMPILER={CLANG}",
                         "-DCMAKE_CXX_FLAGS=-stdlib=libc++", *launcher(), "-DBUILD_SHARED_LIBS=ON",
                         "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -Werror",
                         "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON")
        self.assertIn("kind: SHARED_LIBRARY", said)
        program = build(folder)
        for file in (program, next((folder / "build").rglob("libBRAQAudio.so"))):
            needed = run(OPTIONS.readelf, "-d", file)
            self.assertIn("[libc++.so", needed)
            self.assertNotIn("libstdc++", needed)
        self.assertIn(SAYS, run(program))


def clang_with_libcxx():
    """A Clang whose libc++ has the algorithms on ranges, which came with version 16; None where there is none."""
    program = "#include <algorithm>\n#include <string>\nint main() { return std::ranges::count(std::string(), 'a'); }\n"
    for name in ["clang++", *(f"clang++-{version}" for version in range(16, 40))]:
        if shutil.which(name) and subprocess.run(
                [name, "-std=c++20", "-stdlib=libc++", "-x", "c++", "-", "-o", "/dev/null"], input=program, text=True,
                check=False, stderr=subprocess.DEVNULL).returncode == 0:
            return name
    return None


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--cmake", "--compiler", "--readelf"):
        parser.add_argument(option, required=True)
    parser.add_argument("--launcher", default="")
    parser.add_argument("--folder", type=Path, required=True)
    OPTIONS, rest = parser.parse_known_args()
    CLANG = clang_with_libcxx()
    if "LibCxx" in rest and CLANG is None:
        print("not shown: Clang with libc++ from 16 (clang, libc++-dev, libc++abi-dev) is not installed")
        sys.exit(NOT_SHOWN)
    unittest.main(argv=[__file__, *rest])
