"""Helpers for tests of `vantrel play`: tones to play, and a program on a terminal of its own."""

import array
import fcntl
import json
import math
import os
import pty
import re
import select
import struct
import subprocess
import termios
import time
import wave

from support import PROGRAM, ProgramTest

PATIENCE = 20  # seconds until a test gives up waiting for the program


def event(name, object=None):
    return {"name": name, "object": object}


PLAY = event("KW_AU_NOTE", "KW_PLAY")
PAUSE = event("KW_AU_NOTE", "KW_PAUSE")
CONTINUE = event("KW_AU_NOTE", "KW_CONTINUE")
FINISH = event("KW_AU_NOTE", "KW_FINISH")
UPDATE = event("KW_UPDATE")
START = (PLAY, UPDATE)


class Running:
    """A program on a pseudo terminal; its standard output goes there too or into a pipe of JSON lines."""

    def __init__(self, test, *arguments, on_terminal=False, size=(24, 80), wrapped_by=()):
        self.terminal, self.side = pty.openpty()
        self.resize(*size)
        self.modes = termios.tcgetattr(self.side)
        self.screen = b""
        self.events = []
        self.tracks = []  # of the updates among them
        self.unread = b""
        self.process = subprocess.Popen(
            [*wrapped_by, PROGRAM, "play", *arguments],
            stdin=self.side,
            stdout=self.side if on_terminal else subprocess.PIPE,
            stderr=self.side if on_terminal else subprocess.PIPE,
            env={**test.environment, "TERM": "xterm-256color"},
            start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0),
        )
        self.test = test
        test.addCleanup(self.clean_up)

    def clean_up(self):
        with self.process:
            self.process.kill()
        os.close(self.terminal)
        os.close(self.side)

    def resize(self, rows, columns):
        fcntl.ioctl(self.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def press(self, keys):
        os.write(self.terminal, keys.encode())

    def follow(self, *steps, skip=("KW_AU_PROGRESS",)):
        """Presses the keys among the steps and reads on to the events: each is the next that is not skipped."""
        for step in steps:
            if isinstance(step, str):
                self.press(step)
                continue
            while self.next_event()["name"] in skip:
                pass
            self.test.assertEqual(self.events[-1], step, self.events)

    def quit(self, key="q"):
        self.press(key)
        self.test.assertEqual(self.wait(), 0)

    def next_event(self):
        while b"\n" not in self.unread:
            ready = select.select([self.process.stdout], [], [], PATIENCE)[0]
            part = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            self.test.assertTrue(part, f"nothing more came after {self.events}")
            self.unread += part
        line, self.unread = self.unread.split(b"\n", 1)
        self.keep(line)
        return self.events[-1]

    def keep(self, line):
        told = json.loads(line)
        if told["name"] == "KW_UPDATE":
            self.tracks.append(told.pop("track"))
        self.events.append(told)

    def progress(self):
        return self.next_object("KW_AU_PROGRESS")

    def next_object(self, name):
        """That of the next event of this name."""
        while self.next_event()["name"] != name:
            pass
        return self.events[-1]["object"]

    def notes(self):
        """All events but those of progress, whose number depends on how fast things went."""
        return [told for told in self.events if told["name"] != "KW_AU_PROGRESS"]

    def read_screen(self, until, failure):
        """Reads the screen until a condition holds."""
        deadline = time.monotonic() + PATIENCE
        while not until():
            self.test.assertLess(time.monotonic(), deadline, failure)
            if select.select([self.terminal], [], [], 0.05)[0]:
                self.screen += os.read(self.terminal, 65536)

    def see(self, *wanted):
        """Reads the screen until the texts have appeared on it one after the other; gives what came."""
        start = len(self.screen)
        pattern = re.compile(b".*?".join(re.escape(text.encode()) for text in wanted), re.DOTALL)
        self.read_screen(lambda: pattern.search(self.screen, start), f"{wanted} did not appear")
        return self.screen[start:].decode(errors="replace")

    def wait(self):
        """The exit status; what is still printed is read."""
        if self.process.stdout is None:
            self.read_screen(lambda: self.process.poll() is not None, "does not end")
            self.read_screen(lambda: not select.select([self.terminal], [], [], 0)[0], "prints on")
        else:
            for line in (self.unread + self.process.stdout.read()).splitlines():
                self.keep(line)
        return self.process.wait(PATIENCE)

    def messages(self):
        return self.process.stderr.read().decode()


class PlayTest(ProgramTest):
    def tone(self, name, seconds, rate=8000):
        """A WAV file with a sine tone of half full scale."""
        path = self.file(name)
        turn = 440 * 2 * math.pi / rate
        second = array.array("h", [int(16384 * math.sin(index * turn)) for index in range(rate)])
        with wave.open(path, "wb") as out:
            out.setparams((1, 2, rate, 0, "NONE", ""))
            out.writeframes((second * math.ceil(seconds))[: int(seconds * rate)].tobytes())
        return path

    def tones(self, names, seconds):
        return [self.tone(f"{name}.wav", seconds) for name in names]

    def start(self, *arguments, **options):
        return Running(self, *arguments, **options)

    def play(self, *arguments):
        """A run that has ended by itself."""
        program = self.start("--json", *arguments)
        self.assertEqual(program.wait(), 0)
        return program

    def remember(self, **values):
        for key, value in values.items():
            self.output("settings", "set", "KW_AUDIO_PLAY" + key, json.dumps(value))

    def remembered(self, key):
        return self.text("settings", "get", "KW_AUDIO_PLAY" + key)
