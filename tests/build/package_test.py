"""The Debian packages hold what is installed, each its share; what they hold works, is hardened, and is the same wherever and
by whomever it is built.

Builds the packages twice, in two folders, looks into them, and unpacks those of the first into one empty folder, as if they
were installed there: the tool runs from it, and an example of the packages is built against it.

Each of the two folders is the same in every run, so that the compiler's cache has what has not changed since it was compiled
in that very folder. What was compiled in one of them is never taken for the other.
"""

import argparse
import json
import os
import re
import shutil
import sys
import unittest
from pathlib import Path

from running import run

PROJECT = Path(__file__).resolve().parents[2]
# What is needed for the packages, so that a change of anything else changes nothing here.
NOT_PACKED = shutil.ignore_patterns(".*", "build", "__pycache__", "tests", "bench", "packaging", "scripts", ".ci")
SAYS = "24000 frames played"
DEVELOPMENT, TOOLS = "libbraqaudio-dev", "braqaudio-tools"


def files_below(folder):
    """Paths of all files and links, relative to the folder."""
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_symlink() or path.is_file()}


def make_packages(source, **environment):
    """Builds the packages in a copy of the project; returns them by name."""
    shutil.copytree(PROJECT, source, ignore=NOT_PACKED, symlinks=True)
    # What would have the cache take no account of the folder.
    inherited = {name: value for name, value in os.environ.items() if name not in ("CCACHE_BASEDIR", "CCACHE_NOHASHDIR")}
    if OPTIONS.launcher:
        inherited |= {f"CMAKE_{language}_COMPILER_LAUNCHER": OPTIONS.launcher for language in ("C", "CXX")}
    run("dpkg-buildpackage", "--build=binary", "--no-sign", "--no-check-builddeps", cwd=source, env={
        **inherited,
        "DEB_BUILD_OPTIONS": f"noautodbgsym parallel={os.cpu_count()}",
        # Most of the time would go into pressing the static library small.
        "DPKG_DEB_COMPRESSOR_LEVEL": "1",
        **environment,
    })
    return {path.name.split("_")[0]: path for path in source.parent.glob("*.deb")}


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = OPTIONS.folder.resolve()
        shutil.rmtree(cls.folder, ignore_errors=True)
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        (cls.folder / "first").mkdir(parents=True)
        umask = os.umask(0o022)
        cls.packages = make_packages(cls.folder / "first/source")
        os.umask(umask)
        major, minor = OPTIONS.version.split(".")[:2]
        cls.interface = f"0.{minor}" if major == "0" else major
        cls.runtime = f"libbraqaudio{cls.interface}"
        cls.names = (cls.runtime, DEVELOPMENT, TOOLS)
        cls.root = cls.folder / "root"
        cls.contents = {}
        for name, path in cls.packages.items():
            run("dpkg-deb", "-x", path, cls.folder / name)
            run("dpkg-deb", "-x", path, cls.root)
            cls.contents[name] = files_below(cls.folder / name)
        cls.libraries = next(cls.root.rglob("libBRAQAudio.so")).parent
        cls.library = cls.libraries / f"libBRAQAudio.so.{OPTIONS.version}"
        cls.tool = cls.root / "usr/bin/braq"

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.packages[package], name).strip()

    def control_file(self, package, name):
        return run("dpkg-deb", "-I", self.packages[package], name)

    def environment(self):
        # No sound server of the machine is found from here.
        return {**os.environ, "LD_LIBRARY_PATH": str(self.libraries), "XDG_RUNTIME_DIR": str(self.folder),
                "PIPEWIRE_RUNTIME_DIR": str(self.folder)}

    def test_are_those_of_this_version(self):
        self.assertEqual(set(self.packages), set(self.names))
        for package in self.names:
            self.assertEqual(self.field(package, "Version"), f"{OPTIONS.version}-1")

    def test_each_says_what_it_is(self):
        for package in self.names:
            self.assertEqual(self.field(package, "Maintainer"), "The BRAQAudio developers <braqaudio@example.org>")
            summary, _, text = self.field(package, "Description").partition("\n")
            self.assertRegex(summary, r"^audio playback.* - \w+")
            self.assertLessEqual(len(summary), 80)
            self.assertIn("This package holds", text)
        self.assertEqual([self.field(package, "Section") for package in self.names], ["libs", "libdevel", "sound"])

    def test_nothing_is_wrong_with_them_that_a_distribution_would_refuse(self):
        if not shutil.which("lintian"):
            self.fail("lintian is not installed")
        found = run("lintian", "--allow-root", "--no-cfg", "--fail-on", "none", "--display-level", ">=warning",
                    "--tag-display-limit", "0", *self.packages.values())
        self.assertEqual(re.findall(r"(?m)^[EW]: .*", found), [])

    def test_they_depend_on_the_packages_of_what_they_are_linked_with_and_on_each_other(self):
        depends = self.field(self.runtime, "Depends")
        # Of a file that each linked library has, since the names of its packages change with its interface.
        needed = re.findall(r"\(NEEDED\).*\[(.*)\]", run(OPTIONS.readelf, "-d", self.library))
        self.assertIn("libpipewire-0.3.so.0", needed)
        for library in needed:
            owners = {line.split(":")[0] for line in run("dpkg-query", "-S", f"*/{library}").splitlines()}
            self.assertTrue(any(re.search(rf"(^|[ |]){re.escape(owner)}\b", depends) for owner in owners),
                            f"{library} of {owners}: {depends}")
        self.assertIn(f"{self.runtime} (= {OPTIONS.version}-1)", self.field(DEVELOPMENT, "Depends"))
        self.assertIn(f"{self.runtime} (>= {OPTIONS.version})", self.field(TOOLS, "Depends"))
        self.assertRegex(self.field(TOOLS, "Depends"), r"\blibc6\b")

    def test_together_they_hold_what_is_installed_and_no_file_twice(self):
        installed = self.folder / "installed"
        build = next((self.folder / "first/source").glob("obj-*"))
        run(OPTIONS.cmake, "--install", build, env={**os.environ, "DESTDIR": str(installed)})
        packed = [file for package in self.names for file in self.contents[package] if "/share/doc/" not in file]
        self.assertEqual(len(packed), len(set(packed)))
        pages = {file: f"{file}.gz" for file in files_below(installed) if "/man/" in file}
        self.assertTrue(pages)
        self.assertEqual(set(packed), {pages.get(file, file) for file in files_below(installed)})

    def test_what_runs_is_apart_from_what_builds(self):
        interface = re.escape(self.interface)
        for file in self.contents[self.runtime]:
            self.assertRegex(file, rf"/libBRAQAudio\.so\.{interface}(\.\d+)*$|-{interface}/.*\.mo$|/doc/{self.runtime}/")
        for file in self.contents[TOOLS]:
            self.assertRegex(file, rf"/bin/\w+$|/man/man1/|completions|/doc/{TOOLS}/")
        self.assertIn("usr/bin/braq", self.contents[TOOLS])
        self.assertTrue(any(file.endswith("/libBRAQAudio.so") for file in self.contents[DEVELOPMENT]))

    def test_each_carries_the_licences_and_what_follows_from_those_of_what_it_is_linked_with(self):
        for package in self.names:
            text = (self.root / f"usr/share/doc/{package}/copyright").read_text(encoding="utf-8")
            self.assertTrue(text.startswith("Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"))
            words = " ".join(re.sub(r"(?m)^ \.?", "", text).split())
            licence = (PROJECT / "LICENSE").read_text(encoding="utf-8").partition("Permission")
            self.assertIn(" ".join((licence[1] + licence[2]).split()), words)
            self.assertIn("CLI11", words)
            self.assertIn("GNU General Public License", words)

    def test_files_belong_to_root_and_only_root_writes_them(self):
        for package in self.names:
            for line in run("dpkg-deb", "-c", self.packages[package]).splitlines():
                self.assertRegex(line, r"^(lrwxrwxrwx|d?-?rw[x-]r-[x-]r-[x-]) ?\S* ?root/root ")
                self.assertRegex(line, r"^(l|-|drwxr-xr-x)")

    def test_installing_tells_the_loader_and_packagers_of_the_library(self):
        self.assertIn("activate-noawait ldconfig", self.control_file(self.runtime, "triggers"))
        self.assertEqual(self.control_file(self.runtime, "shlibs"),
                         f"libBRAQAudio {self.interface} {self.runtime} (>= {OPTIONS.version})\n")
        symbols = self.control_file(self.runtime, "symbols")
        self.assertRegex(symbols, rf"(?m)^libBRAQAudio\.so\.{re.escape(self.interface)} {self.runtime} #MINVER#$")
        self.assertRegex(symbols, rf"(?m)^ BMutexCreate@BRAQAUDIO_{re.escape(self.interface)} {OPTIONS.version}$")

    def test_what_runs_has_no_debug_information_and_no_folder_to_look_for_libraries_in(self):
        for file in (self.tool, self.library):
            sections = run(OPTIONS.readelf, "-S", "--wide", file)
            self.assertIn(".text", sections)
            self.assertNotIn(".debug_info", sections)
            self.assertNotRegex(run(OPTIONS.readelf, "-d", file), r"\((RPATH|RUNPATH)\)")

    def test_what_runs_is_hardened(self):
        for file in (self.tool, self.library):
            with self.subTest(file=file.name):
                headers = run(OPTIONS.readelf, "--wide", "--file-header", "--program-headers", "--dynamic", file)
                self.assertRegex(headers, r"Type: +DYN")
                self.assertIn("GNU_RELRO", headers)
                self.assertRegex(headers, r"\(FLAGS_1\).* NOW\b")
                self.assertRegex(headers, r"GNU_STACK.* RW ")
                symbols = run(OPTIONS.readelf, "--wide", "--dyn-syms", file)
                self.assertIn("__stack_chk_fail", symbols)
                self.assertRegex(symbols, r"__\w+_chk\b")
        self.assertRegex(run(OPTIONS.readelf, "-d", self.tool), r"\(FLAGS_1\).* PIE\b")

    def test_are_the_same_whoever_builds_them_wherever(self):
        place = self.folder / "second/folder-that-is-called-otherwise"
        place.mkdir(parents=True)
        umask = os.umask(0o077)
        again = make_packages(place / "braqaudio", TZ="Asia/Kathmandu", LC_ALL="C")
        os.umask(umask)
        self.assertEqual(set(again), set(self.packages))
        for name, package in self.packages.items():
            if package.read_bytes() != again[name].read_bytes():
                (self.folder / "again").mkdir(exist_ok=True)
                run("dpkg-deb", "-x", again[name], self.folder / "again" / name)
                differing = [file for file in self.contents[name] if (self.folder / name / file).read_bytes()
                             != (self.folder / "again" / name / file).read_bytes()]
                self.fail(f"{name} differs: {differing or 'names, modes or dates'}")

    def test_the_tool_runs(self):
        self.assertEqual(run(self.tool, "--version", env=self.environment()), f"braq {OPTIONS.version}\n")
        devices = json.loads(run(self.tool, "devices", "--json", env=self.environment()))
        self.assertTrue(devices)

    def test_an_example_is_built_against_them_and_runs(self):
        example = self.root / f"usr/share/doc/{DEVELOPMENT}/examples/ring.cpp"
        environment = {**self.environment(), "PKG_CONFIG_PATH": str(self.libraries / "pkgconfig")}
        flags = run("pkg-config", "--cflags", "--libs", "BRAQAudio", env=environment).split()
        run(OPTIONS.compiler, "-std=c++20", example, "-o", "consumer", *flags, cwd=self.folder)
        self.assertIn(SAYS, run(self.folder / "consumer", env=environment))
        used = run("ldd", self.folder / "consumer", env=environment)
        self.assertIn(str(self.libraries), re.search(rf"libBRAQAudio\.so\.{self.interface} => (\S+)", used)[1])


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--version", "--cmake", "--compiler", "--readelf"):
        parser.add_argument(option, required=True)
    parser.add_argument("--launcher")
    parser.add_argument("--folder", required=True, type=Path)
    OPTIONS, rest = parser.parse_known_args()
    missing = [program for program in ("dpkg-buildpackage", "dh", "lintian") if not shutil.which(program)]
    if missing:
        print(f"not shown: {', '.join(missing)} of Debian's dpkg-dev, debhelper and lintian are not installed")
        sys.exit(77)
    unittest.main(argv=[__file__, *rest])
