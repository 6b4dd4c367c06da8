"""What a shell offers at the Tab key is what `braq` takes: each command, each option, the devices, the formats and files.

The shell itself is asked, in an empty folder but for two files: bash by calling the function that it would call, fish by its
own command for that, zsh by pressing Tab on a terminal. What the tool takes is read from its help.

Usage: completion_test.py --program PROGRAM --shell SHELL
"""

import argparse
import os
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

COMPLETIONS = Path(__file__).resolve().parents[2] / "tools/completions"
NOT_SHOWN = 77

BASH = """
source "$1"; shift
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
registered=($(complete -p braq))
"${registered[2]}" braq && printf '%s\\n' "${COMPREPLY[@]}"
"""

# What is added to the list of matches is written down on its way there.
ZSH = """
PS1= report=%s
fpath=(%s $fpath)
autoload -U compinit && compinit -D -u
compadd() {
    if [[ ${@[1,(i)(-|--)]} != *-(O|A|D)\\ * ]]; then
        local -a matches
        builtin compadd -A matches "$@"
        print -rl -- $matches >> $report
    fi
    builtin compadd "$@"
}
report-matches() { _main_complete; compstate[insert]= compstate[list]= ; print done >> $report.done }
zle -C report-matches complete-word report-matches
bindkey '^I' report-matches
"""


def run(*command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, timeout=60,
                            cwd=FOLDER, env=ENVIRONMENT)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}\n{result.stdout}")
    return result.stdout


def ask_bash(line):
    # The shell takes --option=value for three words.
    words = re.findall(r"=|[^\s=]+", line) + ([""] if line.endswith(" ") else [])
    return run("bash", "--norc", "-c", BASH, "bash", COMPLETIONS / "braq", *words).splitlines()


def ask_fish(line):
    offered = run("fish", "--no-config", "-c", f"source {COMPLETIONS}/braq.fish; complete --do-complete '{line}'")
    return [candidate.partition("\t")[0] for candidate in offered.splitlines()]


def ask_zsh(line):
    with tempfile.TemporaryDirectory() as name:
        report, start = Path(name) / "report", Path(name) / "start"
        report.touch()
        start.write_text(ZSH % (report, COMPLETIONS), encoding="utf-8")
        process, terminal = pty.fork()
        if process == 0:
            os.chdir(FOLDER)
            os.execvpe("zsh", ["zsh", "-f", "-i"], {**ENVIRONMENT, "TERM": "dumb"})
        try:
            os.write(terminal, f" . {start}\n{line}\t".encode())
            end = time.monotonic() + 60
            said = b""
            while not Path(f"{report}.done").exists() and time.monotonic() < end:
                if select.select([terminal], [], [], 0.05)[0]:
                    said += os.read(terminal, 65536)
            if not Path(f"{report}.done").exists():
                raise AssertionError(f"zsh offers nothing for '{line}': {said.decode(errors='replace')}")
            return report.read_text(encoding="utf-8").splitlines()
        finally:
            os.kill(process, 9)
            os.close(terminal)
            os.waitpid(process, 0)


ASK = {"bash": ask_bash, "fish": ask_fish, "zsh": ask_zsh}


def offered(line):
    """What the shell offers at the end of the line; the spaces and equals signs that go with some are no part of them."""
    return {candidate.rstrip(" =") for candidate in ASK[OPTIONS.shell](line)} - {""}


def options_offered(line):
    """All options. After one hyphen bash and zsh offer the long ones, too; fish only some."""
    return {option for start in ("-", "--") for option in offered(line + start) if option.startswith("-")}


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        text = run(OPTIONS.program, "--help")
        cls.commands = set(re.findall(r"(?m)^  (\w+)", re.split("(?i)subcommands:", text)[1]))
        cls.help = {command: run(OPTIONS.program, command, "--help") for command in cls.commands} | {"": text}
        cls.devices = set(re.findall(r'"uid": "(.*)"', run(OPTIONS.program, "devices", "--json")))

    def options(self, command):
        """Each option, with whether a value follows."""
        lines = re.findall(r"(?m)^ {2,10}(-[\w-]+(?:, *-[\w-]+)?)( [A-Z]+\b)?", self.help[command])
        return {name: value.strip() in ("TEXT", "FLOAT", "UINT")
                for names, value in lines for name in re.split(", *", names)}

    def test_offers_each_command(self):
        self.assertIn("play", self.commands)
        self.assertEqual(offered("braq "), self.commands)
        self.assertEqual(offered("braq re"), {"record"})

    def test_offers_each_option(self):
        for command in sorted(self.help):
            with self.subTest(command=command):
                self.assertIn("--help", self.options(command))
                self.assertEqual(options_offered(f"braq {command} " if command else "braq "), set(self.options(command)))

    def test_offers_no_option_for_the_value_of_one(self):
        for command in sorted(self.help):
            for option in (name for name, takes_value in self.options(command).items() if takes_value):
                with self.subTest(command=command, option=option):
                    self.assertFalse([word for word in offered(f"braq {command} {option} ") if word.startswith("-")])

    def test_offers_the_devices(self):
        self.assertTrue(self.devices)
        for line in ("braq meter ", "braq play --device ", "braq record --device ", "braq play --device="):
            with self.subTest(line=line):
                found = {word.removeprefix("--device=") for word in offered(line)}
                self.assertEqual(found, self.devices)

    def test_offers_the_formats(self):
        listed = re.findall(r"(?m)^  \..*", self.help["record"])
        formats = {word for line in listed for word in line.split() if not word.startswith(".")}
        self.assertIn("flac24", formats)
        self.assertEqual(offered("braq record --format "), formats)

    def test_offers_files(self):
        for line in ("braq play ", "braq record ", "braq info ", "braq info --json "):
            with self.subTest(line=line):
                self.assertEqual(offered(line + "son"), {"song.wav"})
        self.assertEqual(offered("braq info --waveform pic"), {"picture.png"})


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", type=Path, required=True)
    parser.add_argument("--shell", choices=ASK, required=True)
    OPTIONS, rest = parser.parse_known_args()
    if not shutil.which(OPTIONS.shell):
        print(f"not shown: {OPTIONS.shell} is not installed")
        sys.exit(NOT_SHOWN)
    with tempfile.TemporaryDirectory() as name:
        FOLDER = Path(name).resolve()
        for file in ("song.wav", "picture.png"):
            (FOLDER / file).touch()
        # The tool that is found is the one to test, and it finds no sound server.
        ENVIRONMENT = {**os.environ, "PATH": f"{OPTIONS.program.parent}:{os.environ['PATH']}", "HOME": name, "LC_ALL": "C.UTF-8",
                       "XDG_RUNTIME_DIR": name, "PIPEWIRE_RUNTIME_DIR": name, "XDG_CONFIG_HOME": name, "XDG_DATA_HOME": name}
        unittest.main(argv=[__file__, *rest])
