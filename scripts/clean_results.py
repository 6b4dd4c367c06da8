"""Remembers which sources a linter found nothing in, so that it looks again only at what has changed.

A source counts as unchanged when all that the linter reads is: its text after preprocessing, with comments and macros, its
options, the checks, their configuration and the linter's version. Where the project lies does not count.
"""

import hashlib
import os
import subprocess
import time
from pathlib import Path

DAYS_KEPT = 30
SECONDS_PER_DAY = 86400


class CleanResults:
    def __init__(self, folder, program, project):
        """folder: where it is kept; program: the linter; project: the folder that `.clang-tidy` files are looked for in."""
        self.folder = folder
        self.project = str(project)
        folder.mkdir(parents=True, exist_ok=True)
        self._forget_old()
        version = subprocess.run([program, "--version"], capture_output=True, check=False).stdout
        configuration = b"".join(path.read_bytes() for path in sorted(Path(project).glob("**/.clang-tidy")))
        self.common = version + b"\0" + configuration + b"\0"

    def _forget_old(self):
        oldest = time.time() - DAYS_KEPT * SECONDS_PER_DAY
        for path in self.folder.iterdir():
            if path.stat().st_mtime < oldest:
                path.unlink(missing_ok=True)

    def key(self, directory, words, file, checks):
        """None if the compiler cannot preprocess the file: then it is looked at whatever was found before."""
        result = subprocess.run([*words, "-E", "-C", "-dD", file], cwd=directory, capture_output=True, check=False)
        if result.returncode != 0:
            return None
        text = "\0".join([*words, str(file), checks or ""]).encode() + b"\0" + result.stdout
        return hashlib.sha256(self.common + text.replace(self.project.encode(), b".")).hexdigest()

    def has(self, key):
        path = self.folder / key if key else None
        if path is None or not path.exists():
            return False
        os.utime(path)
        return True

    def add(self, key):
        if key:
            (self.folder / key).touch()
