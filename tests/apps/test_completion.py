"""The completions and the manual page that the build makes from the commands, in the shells themselves."""

import os
import subprocess
import unittest

from support import ProgramTest

BASH = """
source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
_vantrel; printf '%s\\n' "${COMPREPLY[@]}"
"""

# What stands on the line, its last word begun; some of what that may become, and some of what it must not.
LINES = [
    ("vantrel pl", {"play"}, {"hex"}),
    ("vantrel ", {"play", "hex", "aes", "time"}, {"encrypt", "--key"}),
    ("vantrel aes ", {"encrypt", "decrypt"}, {"play"}),
    ("vantrel aes encrypt --", {"--key", "--output", "--help"}, {"--resume"}),
    ("vantrel play --re", {"--resume"}, {"--mode", "--key"}),
    ("vantrel play --json --s", {"--seconds", "--start"}, {"--resume"}),
]
VALUES = ["vantrel play --mode ", "vantrel crc16 --start "]


class Completion(ProgramTest):
    def generated(self, what):
        return self.output("--generate", what).decode()

    def run_shell(self, *command):
        done = subprocess.run(command, capture_output=True, text=True, env=self.environment, cwd=self.home)
        self.assertEqual((done.returncode, done.stderr), (0, ""), command)
        return set(done.stdout.splitlines()) - {""}

    def check(self, complete):
        for line, among, never in LINES:
            words = complete(line)
            self.assertLessEqual(among, words, line)
            self.assertFalse(never & words, line)

    def test_bash(self):
        script = self.file("bash", self.generated("bash").encode())
        complete = lambda line: self.run_shell("bash", "-c", BASH, "bash", script, *line.split(" "))
        self.check(complete)
        for line in VALUES:
            self.assertEqual(complete(line), set())

    def test_fish(self):
        script = self.file("fish", self.generated("fish").encode())
        self.file("song.ogg")
        listing = lambda line: self.run_shell("fish", "-c", f"source {script}; complete -C '{line}'")
        complete = lambda line: {word.split("\t")[0] for word in listing(line)}
        self.check(complete)
        self.assertIn("song.ogg", complete("vantrel play "))
        for line in VALUES:
            self.assertEqual(complete(line), set())

    def test_zsh(self):
        self.run_shell("zsh", "-n", self.file("zsh", self.generated("zsh").encode()))

    def test_the_manual_page_has_every_command_with_its_options(self):
        page = self.file("vantrel.1", self.generated("man").encode())
        lint = self.run_shell("mandoc", "-T", "lint", "-W", "error", page)
        text = subprocess.run(["mandoc", "-T", "ascii", page], capture_output=True, check=True).stdout
        plain = subprocess.run(["col", "-bx"], input=text, capture_output=True, check=True).stdout
        shown = " ".join(plain.decode().split())
        self.assertEqual(lint, set())
        for words in ("vantrel aes encrypt --key HEX -o OUT [OPTIONS] [FILE]", "vantrel play [OPTIONS] PATH...",
                      "--seconds S end after S seconds", "tar c notes | vantrel gzip -o notes.tar.gz"):
            self.assertIn(words, shown)

    def test_nothing_else_is_generated(self):
        self.assert_fails(2, "--generate", "tcsh")
