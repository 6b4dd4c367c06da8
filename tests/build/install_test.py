"""What is installed is all that an application needs.

Installs into a fresh prefix, moves that prefix, and then, in an empty folder and with nothing else of the project:
compiles every installed header alone, uses every function that the headers declare, and builds and runs the project's
examples against the shared and the static library, found through CMake and through pkg-config.
"""

import argparse
import os
import re
import shutil
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from running import run

PROJECT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "scripts"))
import check_exports  # noqa: E402
import declared_functions  # noqa: E402

EXAMPLE = PROJECT / "examples/ring.cpp"
SAYS = "24000 frames played"
C_SAYS = "176400 frames, peak 0.707947"

C_EXAMPLE = PROJECT / "examples/from_c.c"

# Both print each number and the size of each record of the C interface.
C_NUMBERS = """
{includes}
#include <stdio.h>
int main(void) {{
    {statements}
    return 0;
}}
"""

CMAKE_PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
find_package(BRAQAudio 0.2 REQUIRED)
foreach(language c cpp)
  add_executable(${language}_with_shared consumer.${language})
  target_link_libraries(${language}_with_shared PRIVATE BRAQAudio::BRAQAudio)
  add_executable(${language}_with_static consumer.${language})
  target_link_libraries(${language}_with_static PRIVATE BRAQAudio::BRAQAudio_static)
endforeach()
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
        cls.static_prefix = cls.folder / "static"
        shutil.copytree(cls.prefix, cls.static_prefix, symlinks=True)
        for shared in cls.static_prefix.rglob("libBRAQAudio.so*"):
            shared.unlink()
        cls.headers = sorted(str(path.relative_to(cls.include)) for path in cls.include.rglob("*.h"))
        # Headers that can be used from C make a difference for C++.
        cls.c_headers = [header for header in cls.headers if "__cplusplus" in (cls.include / header).read_text(encoding="utf-8")]

    def consumer(self, name, example=EXAMPLE):
        folder = self.folder / name
        folder.mkdir()
        shutil.copy(example, folder / f"consumer{example.suffix}")
        return folder

    def environment(self, prefix):
        pkgconfig = next(prefix.rglob("pkgconfig"))
        return {**os.environ, "PKG_CONFIG_PATH": str(pkgconfig)}

    def run_in_c(self, program):
        """What a program in C prints about the peak of a file on a machine without a sound server."""
        environment = {**os.environ, "LD_LIBRARY_PATH": str(self.libraries), "XDG_RUNTIME_DIR": str(self.folder)}
        return run(program, PROJECT / "tests/audio/reference-44k-stereo-16.wav", env=environment)

    def pkg_config(self, prefix, *arguments):
        return run("pkg-config", *arguments, "BRAQAudio", env=self.environment(prefix)).split()

    def compile_alone(self, headers, *command):
        self.assertTrue(headers)

        def compile_one(header):
            run(*command, "-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror", "-I",
                self.include, "-", input=f"#include <{header}>\n", cwd=self.folder)

        with ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(compile_one, headers))

    def test_every_header_compiles_alone(self):
        self.compile_alone(self.headers, OPTIONS.compiler, "-std=c++20", "-x", "c++")

    def test_the_platforms_c_interface_compiles_as_c(self):
        folder = "BRAQAudio/platform"
        self.assertLessEqual({f"{folder}/{name}.h" for name in ("hardware", "units", "graphs", "files")}, set(self.c_headers))
        self.compile_alone(self.c_headers, OPTIONS.c_compiler, "-std=c11", "-x", "c")

    def test_numbers_and_records_are_the_same_in_c(self):
        text = "".join((self.include / header).read_text(encoding="utf-8") for header in self.c_headers)
        constants = re.findall(r"BRAQ_CONSTANT\(\s*\w+,\s*(k\w+),", text) + ["kAudioObjectPropertyElementWildcard"]
        records = re.findall(r"typedef struct (\w+) \{", text) + re.findall(r"enum class (\w+) ", text)
        enumerations = [(kind, name) for kind, body in re.findall(r"enum class (\w+) : UInt32 \{(.*?)\};", text, re.DOTALL)
                        for name in re.findall(r"(?m)^    (\w+) =", body)]
        for found in (constants, records, enumerations):
            self.assertGreater(len(found), 9)

        def printed(language, compiler, standard, scope):
            values = [*((name, name) for name in constants), *((f"sizeof {name}", f"sizeof({name})") for name in records),
                      *((f"{kind} {name}", f"{kind}{scope}{name}") for kind, name in enumerations)]
            program = C_NUMBERS.format(
                includes="\n".join(f"#include <{header}>" for header in self.c_headers),
                statements="\n    ".join(f'printf("{name} %lld\\n", (long long)({value}));' for name, value in values))
            run(compiler, standard, "-x", language, "-I", self.include, "-", "-o", self.folder / language, input=program)
            return run(self.folder / language)

        in_c = printed("c", OPTIONS.c_compiler, "-std=c11", "_")
        self.assertIn("kAudioHardwarePropertyDevices 1684370979\n", in_c)
        self.assertEqual(in_c, printed("c++", OPTIONS.compiler, "-std=c++20", "::"))

    def test_every_declared_function_links_with_either_library(self):
        documented = check_exports.documented_names((PROJECT / "docs/exported-names.txt").read_text(encoding="utf-8"))
        for language, compiler, options, headers in [
                ("c", OPTIONS.c_compiler, ["-std=c11"], self.c_headers),
                ("c++", OPTIONS.compiler, ["-std=c++20"], self.headers)]:
            found = declared_functions.declared(compiler, language, self.include, headers)
            self.assertGreater(len(found), 50)
            if language == "c++":
                # What is documented is declared in a header, so that nothing of it was overlooked.
                names = {(one.owner or one.name).partition("::")[0] for one in found}
                self.assertEqual({name for name in documented if not names & {name, name.removeprefix("BRAQ_")}}, set())
            source = self.folder / f"every.{language}"
            source.write_text(declared_functions.program(language, found, headers), encoding="utf-8")
            compiled = source.with_suffix(".o")
            run(compiler, *options, "-x", language, "-w", "-c", source, "-o", compiled, "-I", self.include)
            run(compiler, compiled, "-o", self.folder / "every", *self.pkg_config(self.prefix, "--libs"))
            self.assertIn("[libBRAQAudio.so.0.2]", run(OPTIONS.readelf, "-d", self.folder / "every"))
            run(compiler, compiled, "-o", self.folder / "every", *self.pkg_config(self.static_prefix, "--static", "--libs"))
            self.assertNotIn("libBRAQAudio", run(OPTIONS.readelf, "-d", self.folder / "every"))

    def test_the_header_for_programs_includes_every_public_class_and_function(self):
        listed = run(OPTIONS.compiler, "-std=c++20", "-M", "-I", self.include, "-x", "c++", "-",
                     input="#include <BRAQAudio/BRAQAudio.h>\n", cwd=self.folder)
        # The platform's own C interface is included by who uses it.
        for header in sorted(path.relative_to(PROJECT / "include") for path in (PROJECT / "include").rglob("*.h")):
            if "platform" not in header.parts:
                self.assertIn(str(self.include / header), listed)

    def test_a_cmake_project_builds_and_runs_with_either_library(self):
        folder = self.consumer("cmake")
        shutil.copy(C_EXAMPLE, folder / "consumer.c")
        (folder / "CMakeLists.txt").write_text(CMAKE_PROJECT, encoding="utf-8")
        run(OPTIONS.cmake, "-S", folder, "-B", folder / "build", "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_C_COMPILER={OPTIONS.c_compiler}", f"-DCMAKE_CXX_COMPILER={OPTIONS.compiler}")
        run(OPTIONS.cmake, "--build", folder / "build")
        for kind, linked in [("with_shared", True), ("with_static", False)]:
            for program in (f"c_{kind}", f"cpp_{kind}"):
                needed = run(OPTIONS.readelf, "-d", folder / "build" / program)
                self.assertEqual("[libBRAQAudio.so.0.2]" in needed, linked)
            self.assertIn(SAYS, run(folder / "build" / f"cpp_{kind}"))
            self.assertIn(C_SAYS, self.run_in_c(folder / "build" / f"c_{kind}"))

    def test_a_program_in_c_builds_and_runs_with_what_pkg_config_says(self):
        folder = self.consumer("pkg-config-c", C_EXAMPLE)
        for prefix, options in [(self.prefix, []), (self.static_prefix, ["--static"])]:
            run(OPTIONS.c_compiler, "-std=c11", "consumer.c", "-o", "consumer",
                *self.pkg_config(prefix, *options, "--cflags", "--libs"), cwd=folder)
            self.assertIn(C_SAYS, self.run_in_c(folder / "consumer"))

    def test_a_program_builds_and_runs_with_what_pkg_config_says(self):
        folder = self.consumer("pkg-config")
        run(OPTIONS.compiler, "-std=c++20", "consumer.cpp", "-o", "consumer",
            *self.pkg_config(self.prefix, "--cflags", "--libs"), cwd=folder)
        self.assertIn("[libBRAQAudio.so.0.2]", run(OPTIONS.readelf, "-d", folder / "consumer"))
        self.assertIn(SAYS, run(folder / "consumer", env={**os.environ, "LD_LIBRARY_PATH": str(self.libraries)}))

    def test_pkg_config_names_what_the_static_library_needs(self):
        folder = self.consumer("pkg-config-static")
        run(OPTIONS.compiler, "-std=c++20", "consumer.cpp", "-o", "consumer",
            *self.pkg_config(self.static_prefix, "--static", "--cflags", "--libs"), cwd=folder)
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
    for option in ("--build", "--cmake", "--compiler", "--c-compiler", "--readelf"):
        parser.add_argument(option, required=True)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[__file__, *rest])
