"""What the process tests share: running the program in an environment of its own."""

import os
import pathlib
import shlex
import shutil
import subprocess
import tempfile
import unittest

PROGRAM = os.environ["VANTREL"]

CODE = pathlib.Path(PROGRAM).read_bytes()
# Sanitizers reserve a lot of memory, and hold on to what was given back.
SANITIZED = b"__asan_init" in CODE or b"__tsan_init" in CODE
# GStreamer keeps here what it knows of its plug-ins, and else would load them all in each process.
CACHE = os.environ.get("XDG_CACHE_HOME", os.path.expanduser("~/.cache"))


class ProgramTest(unittest.TestCase):
    """Each test has an empty home: settings, and files that it makes, are its own."""

    def setUp(self):
        self.home = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.home)
        self.environment = {
            **os.environ,
            "HOME": self.home,
            "XDG_CONFIG_HOME": self.path("config"),
            "XDG_CACHE_HOME": CACHE,
            "LC_ALL": "C.UTF-8",
            "TZ": "UTC",
        }

    def file(self, name, contents=b""):
        path = pathlib.Path(self.home, name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(contents)
        return str(path)

    def path(self, name):
        return os.path.join(self.home, name)

    def contents(self, path):
        return pathlib.Path(path).read_bytes()

    def run_program(self, *arguments, **options):
        """The finished process, with its output as bytes; it reads nothing if the options do not say what."""
        options = {"capture_output": True, "env": self.environment, "input": b"", **options}
        if "stdin" in options:
            del options["input"]
        return subprocess.run([PROGRAM, *arguments], **options)

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
