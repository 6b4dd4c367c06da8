"""From the clone that this file is in: conan create packaging/conan

The libraries that it is linked with are those of the system, which are the ones that its sound server and the rest of its desktop
go with.
"""

import os

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy
from conan.tools.system.package_manager import Apt


class BRAQAudio(ConanFile):
    name = "braqaudio"
    version = "0.2.0"
    description = "Plays, records and meters audio in Linux desktop applications"
    license = "MIT"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}

    def export_sources(self):
        project = os.path.join(self.recipe_folder, "..", "..")
        for folder in ("cmake", "include", "library", "platform", "po"):
            copy(self, f"{folder}/*", project, self.export_sources_folder)
        for file in ("CMakeLists.txt", "LICENSE"):
            copy(self, file, project, self.export_sources_folder)

    def system_requirements(self):
        Apt(self).install(["pkgconf", "gettext", "libdbus-1-dev", "libpipewire-0.3-dev", "libavformat-dev",
                           "libavcodec-dev", "libavutil-dev", "libsoxr-dev",
                           "libsoundtouch-dev"], update=True, check=True)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["BRAQ_BUILD_TESTS"] = False
        toolchain.cache_variables["BRAQ_BUILD_TOOLS"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        # Programs find it with the description for CMake that it installs.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "BRAQAudio")]
        self.cpp_info.libs = ["BRAQAudio"]
