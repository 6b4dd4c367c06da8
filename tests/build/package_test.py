"""The Debian packages hold what is installed, each its share, and what they hold works.

Packs a build, looks into the packages, and unpacks them into one empty folder, as if they were installed there: the tool
runs from it, and a program is built against it.
"""

import argparse
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
EXAMPLE = PROJECT / "examples/ring.cpp"
SAYS = "24000 frames played"
RUNTIME, DEVELOPMENT, TOOLS = PACKAGES = ("libbraqaudio0", "libbraqaudio-dev", "braqaudio-tools")


def run(*command, **keywords):
    """Runs a command and returns what it printed; a failure shows everything that it said."""
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **keywords)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}\n{result.stdout}")
    return result.stdout


def files_below(folder):
    """Paths of all files and links, relative to the folder."""
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_symlink() or path.is_file()}


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name).resolve()
        # Half of the time would go into pressing the static library small.
        run(OPTIONS.cpack, "--config", Path(OPTIONS.build) / "CPackConfig.cmake", "-B", cls.folder / "packages",
            "-D", "CPACK_DEBIAN_COMPRESSION_TYPE=none")
        found = {path.name.split("_")[0]: path for path in (cls.folder / "packages").glob("*.deb")}
        assert set(found) == set(PACKAGES), found
        cls.packages = found
        cls.root = cls.folder / "root"
        cls.contents = {}
        for name, path in found.items():
            run("dpkg-deb", "-x", path, cls.folder / name)
            run("dpkg-deb", "-x", path, cls.root)
            cls.contents[name] = files_below(cls.folder / name)
        cls.libraries = next(cls.root.rglob("libBRAQAudio.so")).parent

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.packages[package], name).strip()

    def control_file(self, package, name):
        return run("dpkg-deb", "-I", self.packages[package], name)

    def environment(self):
        # No sound server of the machine is found from here.
        return {**os.environ, "LD_LIBRARY_PATH": str(self.libraries), "XDG_RUNTIME_DIR": str(self.folder),
                "PIPEWIRE_RUNTIME_DIR": str(self.folder)}

    def test_each_says_what_it_is(self):
        for package in PACKAGES:
            self.assertEqual(self.field(package, "Version"), f"{OPTIONS.version}-1")
            self.assertEqual(self.field(package, "Maintainer"), "The BRAQAudio developers <braqaudio@example.org>")
            summary, _, text = self.field(package, "Description").partition("\n")
            self.assertRegex(summary, r"^audio playback.* - \w+")
            self.assertLessEqual(len(summary), 80)
            self.assertIn("This package holds", text)
        self.assertEqual([self.field(package, "Section") for package in PACKAGES], ["libs", "libdevel", "sound"])

    def test_they_depend_on_the_packages_of_what_they_are_linked_with_and_on_each_other(self):
        depends = self.field(RUNTIME, "Depends")
        for linked in ("libc6", "libstdc\\+\\+6", "libdbus-1-3", "libpipewire-0.3-0", "libavformat\\d+",
                       "libavcodec\\d+", "libsoxr0"):
            self.assertRegex(depends, rf"(^|[ |]){linked}\b")
        for package in (DEVELOPMENT, TOOLS):
            self.assertIn(f"{RUNTIME} (= {OPTIONS.version}-1)", self.field(package, "Depends"))
        self.assertRegex(self.field(TOOLS, "Depends"), r"\blibc6\b")

    def test_together_they_hold_what_is_installed_and_no_file_twice(self):
        installed = self.folder / "installed"
        run(OPTIONS.cmake, "--install", OPTIONS.build, "--prefix", installed / "usr")
        licences = {f"usr/share/doc/{package}/copyright" for package in PACKAGES}
        packed = [file for package in PACKAGES for file in self.contents[package]]
        self.assertEqual(len(packed), len(set(packed)))
        self.assertEqual(set(packed), files_below(installed) | licences)

    def test_what_runs_is_apart_from_what_builds(self):
        for file in self.contents[RUNTIME]:
            self.assertRegex(file, r"/libBRAQAudio\.so\.0(\.\d+)*$|\.mo$|/copyright$")
        for file in self.contents[TOOLS]:
            self.assertRegex(file, r"/bin/\w+$|/man/man1/|/copyright$")
        self.assertTrue(any(file.endswith("/bin/braq") for file in self.contents[TOOLS]))
        self.assertTrue(any(file.endswith("/libBRAQAudio.so") for file in self.contents[DEVELOPMENT]))

    def test_each_carries_the_licence_and_the_tool_that_of_what_is_compiled_into_it(self):
        licence = (PROJECT / "LICENSE").read_text(encoding="utf-8")
        for package in PACKAGES:
            text = (self.root / f"usr/share/doc/{package}/copyright").read_text(encoding="utf-8")
            self.assertTrue(text.startswith(licence))
            self.assertEqual("CLI11" in text, package == TOOLS)

    def test_files_belong_to_root_and_only_root_writes_them(self):
        for package in PACKAGES:
            for line in run("dpkg-deb", "-c", self.packages[package]).splitlines():
                self.assertRegex(line, r"^(l|.....-..-.) ?\S* ?root/root ")

    def test_installing_tells_the_loader_and_packagers_of_the_library(self):
        self.assertIn("activate-noawait ldconfig", self.control_file(RUNTIME, "triggers"))
        self.assertRegex(self.control_file(RUNTIME, "shlibs"), rf"^libBRAQAudio 0 {RUNTIME} ")

    def test_what_runs_has_no_debug_information(self):
        for file in ("bin/braq", f"{self.libraries.relative_to(self.root / 'usr')}/libBRAQAudio.so"):
            sections = run(OPTIONS.readelf, "-S", "--wide", self.root / "usr" / file)
            self.assertIn(".text", sections)
            self.assertNotIn(".debug_info", sections)

    def test_the_tool_runs(self):
        braq = self.root / "usr/bin/braq"
        self.assertEqual(run(braq, "--version", env=self.environment()), f"braq {OPTIONS.version}\n")
        devices = json.loads(run(braq, "devices", "--json", env=self.environment()))
        self.assertTrue(devices)

    def test_a_program_is_built_against_them_and_runs(self):
        shutil.copy(EXAMPLE, self.folder / "consumer.cpp")
        environment = {**self.environment(), "PKG_CONFIG_PATH": str(self.libraries / "pkgconfig")}
        flags = run("pkg-config", "--cflags", "--libs", "BRAQAudio", env=environment).split()
        run(OPTIONS.compiler, "-std=c++20", "consumer.cpp", "-o", "consumer", *flags, cwd=self.folder)
        self.assertIn(SAYS, run(self.folder / "consumer", env=environment))
        used = run("ldd", self.folder / "consumer", env=environment)
        self.assertIn(str(self.libraries), re.search(r"libBRAQAudio\.so\.0 => (\S+)", used)[1])


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--build", "--version", "--cmake", "--cpack", "--compiler", "--readelf"):
        parser.add_argument(option, required=True)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[__file__, *rest])
