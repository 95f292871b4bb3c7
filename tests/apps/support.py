"""What the process tests share: running the program in an environment of its own."""

import multiprocessing
import os
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM = os.environ["VANTREL"]

with open(PROGRAM, "rb") as program:
    CODE = program.read()
# Sanitizers reserve a lot of memory, and hold on to what was given back.
SANITIZED = b"__asan_init" in CODE or b"__tsan_init" in CODE


class ProgramTest(unittest.TestCase):
    """Each test has an empty home: settings, and files that it makes, are its own."""

    def setUp(self):
        self.home = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.home)
        self.environment = {
            **os.environ,
            "HOME": self.home,
            "XDG_CONFIG_HOME": os.path.join(self.home, "config"),
            "LC_ALL": "C.UTF-8",
            "TZ": "UTC",
        }

    def file(self, name, contents=b""):
        path = os.path.join(self.home, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as out:
            out.write(contents)
        return path

    def run_program(self, *arguments, input=b""):
        """The finished process, with its output as bytes."""
        return subprocess.run([PROGRAM, *arguments], input=input, capture_output=True, env=self.environment)

    def output(self, *arguments, input=b""):
        """Standard output of a run that must succeed and say nothing."""
        done = self.run_program(*arguments, input=input)
        self.assertEqual((done.returncode, done.stderr), (0, b""), arguments)
        return done.stdout

    def text(self, *arguments, input=b""):
        """The same, as text of whole lines without the last line end."""
        text = self.output(*arguments, input=input).decode()
        self.assertTrue(text.endswith("\n"), text)
        return text[:-1]

    def assert_fails(self, status, *arguments, input=b""):
        """The run ends with this status, prints no data and says why in a message."""
        done = self.run_program(*arguments, input=input)
        self.assertEqual((done.returncode, done.stdout), (status, b""), (arguments, done.stderr))
        self.assertTrue(done.stderr.startswith(b"vantrel: "), done.stderr)
        return done.stderr.decode()

    def gives(self, *cases):
        """Each command line, perhaps with what it reads, prints this text."""
        for command, printed, *read in cases:
            self.assertEqual(self.text(*shlex.split(command), input=b"".join(read)), printed, command)

    def refuses(self, status, *cases):
        """Each command line, perhaps with what it reads, fails and tells this."""
        for command, told, *read in cases:
            self.assertIn(told, self.assert_fails(status, *shlex.split(command), input=b"".join(read)), command)


def failures_of(name):
    result = unittest.TestResult()
    unittest.defaultTestLoader.loadTestsFromName(name, sys.modules["__main__"]).run(result)
    return "\n".join(text for _, text in result.failures + result.errors)


def main():
    """Runs the cases of the module that is the program, some at a time: for the most part they wait."""
    suites = unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"])
    names = [case.id().removeprefix("__main__.") for suite in suites for case in suite]
    with multiprocessing.get_context("fork").Pool(8) as pool:
        failures = list(filter(None, pool.map(failures_of, names, chunksize=1)))
    print(*failures, f"{len(names)} cases, {len(failures)} failed", sep="\n")
    sys.exit(1 if failures or not names else 0)
