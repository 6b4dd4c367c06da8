"""Runs the commands that the tests of the build products need."""

import subprocess


def run(*command, **keywords):
    """Runs a command and returns what it printed; a failure shows everything that it said."""
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **keywords)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}\n{result.stdout}")
    return result.stdout
