#!/usr/bin/env python3
"""Checks the processors that the library is built for, as far as that goes without having one.

Cross-compiles the 16-byte compare-and-swap for AArch64 with the options that cmake/Processor.cmake chooses and looks at
the instructions; and configures for a processor that is not supported, which has to be refused.

Usage: check_processors.py PROJECT_FOLDER
"""

import subprocess
import sys
import tempfile
from pathlib import Path

import check_compare_and_swap

SOURCE = "library/core/BAtomicStack.cpp"
PRINT_OPTIONS = """
include("{project}/cmake/Processor.cmake")
execute_process(COMMAND "${{CMAKE_COMMAND}}" -E echo ${{BRAQ_PROCESSOR_OPTIONS}})
"""


def aarch64_options(project, folder):
    """The options that cmake/Processor.cmake chooses for GCC on AArch64."""
    script = folder / "options.cmake"
    script.write_text(PRINT_OPTIONS.format(project=project), encoding="utf-8")
    command = ["cmake", "-DCMAKE_SYSTEM_PROCESSOR=aarch64", "-DCMAKE_CXX_COMPILER_ID=GNU", "-P", script]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.split()


def check_aarch64(project, folder):
    """Whether the compare-and-swap is inline on AArch64."""
    object_file = folder / "stack.o"
    options = aarch64_options(project, folder)
    print("AArch64 options:", *options)
    subprocess.run(
        ["aarch64-linux-gnu-g++", "-std=c++20", "-O2", "-fPIC", "-Wall", "-Wextra", "-Werror", *options,
         "-I", project / "include", "-I", project,
         "-c", project / SOURCE, "-o", object_file], check=True)
    return check_compare_and_swap.main(object_file, "aarch64-linux-gnu-objdump") == 0


def check_refusal(project, folder, processor="riscv64"):
    """Whether configuring for another processor stops and says why."""
    result = subprocess.run(
        ["cmake", "-S", project, "-B", folder / "refused", "-G", "Ninja",
         "-DCMAKE_SYSTEM_NAME=Linux", f"-DCMAKE_SYSTEM_PROCESSOR={processor}"],
        check=False, capture_output=True, text=True)
    said = " ".join(result.stderr.split())
    refused = result.returncode != 0 and f"BRAQAudio does not build for {processor}" in said
    print(f"{processor}: {'refused, as it has to be' if refused else 'not refused: ' + said}")
    return refused


def main(project):
    project = Path(project).resolve()
    with tempfile.TemporaryDirectory() as folder:
        results = [check_aarch64(project, Path(folder)), check_refusal(project, Path(folder))]
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
