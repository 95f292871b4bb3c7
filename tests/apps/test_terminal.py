"""play on a terminal: the live line, the terminal's modes, jobs of a shell, and how little it wakes up."""

import pathlib
import re
import signal
import subprocess
import sys
import termios
import time
import unittest
import unicodedata

from playing import PATIENCE, PAUSE, START, PlayTest
from support import CODE, PROGRAM

CONTROL = re.compile(r"\x1b\[[0-9;?]*[A-Za-z]")


def columns_of(text):
    return sum(1 + (unicodedata.east_asian_width(each) in "WF") for each in text)


@unittest.skipIf(b"__tsan_init" in CODE, "the thread of ThreadSanitizer wakes up ten times a second")
class Wakefulness(PlayTest):
    def switches(self, program):
        """How often the threads of a program have slept and woken."""
        files = pathlib.Path(f"/proc/{program.process.pid}/task").glob("*/status")
        count = re.compile(r"^voluntary_ctxt_switches:\s*(\d+)", re.MULTILINE)
        return sum(int(count.search(file.read_text())[1]) for file in files)

    def assert_rest(self, *programs):
        """They wake less than once a second, once settings are written and devices have come to rest."""
        for _ in range(PATIENCE // 3):
            before = [self.switches(program) for program in programs]
            time.sleep(3)  # what does not happen cannot be waited for
            if all(self.switches(program) - count < 3 for program, count in zip(programs, before)):
                return
        self.fail("does not come to rest")

    def test_a_paused_player_rests_on_a_terminal_and_without_one(self):
        path = self.tone("a.wav", 60)
        shown, told = self.start(path, on_terminal=True), self.start("--json", path)
        shown.see("▶", "00:01")
        shown.press(" ")
        shown.see("⏸")
        told.follow(*START)
        told.progress()
        told.follow(" ", PAUSE)
        self.assert_rest(shown, told)
        for program in (shown, told):
            program.quit()


class LiveLine(PlayTest):
    def test_it_shows_title_times_and_mode(self):
        program = self.start(self.tone("a song.wav", 20), on_terminal=True)
        program.see("▶", "a song.wav", "00:01", "00:20", "once")
        program.press("m")
        program.see("loop")
        program.press(" ")
        program.see("⏸")
        program.quit()

    def test_it_fits_the_width_also_after_a_resize_while_paused(self):
        path = self.tone("長い題名の曲、とても長い題名の曲.wav", 20)
        program = self.start(path, on_terminal=True, size=(24, 70))
        program.see("00:01")
        program.press(" ")
        program.see("⏸")
        for width in (40, 20, 9, 120):
            program.resize(24, width)
            columns = width
            while not min(width, 40) // 2 < columns < width:  # one drawn before may still be on its way
                columns = columns_of(CONTROL.sub("", program.see("⏸")).split("\r")[-1])
        program.quit()

    def test_no_color_takes_the_colours_away_and_nothing_else(self):
        for value, coloured in (("", True), ("1", False)):
            self.environment["NO_COLOR"] = value
            program = self.start(self.tone("a.wav", 20), on_terminal=True)
            program.see("▶", "00:20")
            program.quit()
            self.assertEqual(bool(re.search(rb"\x1b\[[0-9;]*m", program.screen)), coloured)

    def test_messages_stand_above_it_and_no_control_character_of_a_title_reaches_the_terminal(self):
        program = self.start(self.file("c\x1b[41md.wav"), self.tone("a\x1b[41mb.wav", 20), on_terminal=True)
        program.see("vantrel: c\\x1b[41md.wav: is empty\r\n", "▶", "a?[41mb.wav")
        program.quit()
        self.assertNotIn(b"\x1b[41m", program.screen)

    def test_the_day_stands_out_in_a_month_only_on_a_terminal_with_styles(self):
        command = f"{PROGRAM} time month 20240305140709"
        for value, marked in (("", True), ("1", False)):
            self.environment.update(NO_COLOR=value, TERM="xterm")
            screen = subprocess.run(
                [sys.executable, "-c", f"import pty; pty.spawn({command.split()!r})"],
                capture_output=True, stdin=subprocess.DEVNULL, env=self.environment,
            ).stdout
            self.assertEqual(b"\x1b[7m 5\x1b[0m" in screen, marked, screen)


class Modes(PlayTest):
    def test_they_are_single_keys_while_it_runs_and_what_they_were_afterwards(self):
        for end in ("q", signal.SIGINT, signal.SIGTERM, signal.SIGHUP, "\x03", "\x1c", None):
            program = self.start(self.tone("a.wav", 20 if end else 0.4), on_terminal=True)  # else the list ends
            program.see("▶", "00:")
            self.assertFalse(termios.tcgetattr(program.side)[3] & (termios.ICANON | termios.ECHO))
            if isinstance(end, str):
                program.press(end)
            elif end:
                program.process.send_signal(end)
            program.wait()
            self.assertEqual(termios.tcgetattr(program.side), program.modes)
            self.assertGreater(program.screen.rfind(b"\x1b[?25h"), program.screen.rfind(b"\x1b[?25l"))

    def test_a_shell_can_stop_it_and_bring_it_back(self):
        script = 'set -m; "$@"; echo "stopped $? canonical $(stty -a | grep -c " icanon")"; fg; echo "ended $?"'
        path = self.tone("a.wav", 60)
        program = self.start(path, on_terminal=True, wrapped_by=["bash", "-c", script, "bash"])
        program.see("▶", "00:01")
        program.press("\x1a")
        program.see("⏸", "stopped 148 canonical 1")
        program.see("▶", "00:02")
        program.press("q")
        program.see("ended 0")
        program.wait()
