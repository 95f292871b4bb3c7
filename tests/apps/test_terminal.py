"""play on a terminal: the live line, the terminal's modes, jobs of a shell, and how little it wakes up."""

import os
import re
import signal
import subprocess
import sys
import termios
import time
import unittest
import unicodedata

from playing import PATIENCE, PAUSE, START, PlayTest
from support import CODE, PROGRAM, main

CONTROL = re.compile(r"\x1b\[[0-9;?]*[A-Za-z]")


def columns_of(text):
    return sum(
        0 if unicodedata.combining(c) else 2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in text
    )


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
        path = self.tone("長い題名の曲、とても長い題名の曲.wav", 20, channels=2)
        program = self.start(path, on_terminal=True, size=(24, 70))
        program.see("00:01")
        program.press(" ")
        program.see("⏸")
        for width in (40, 20, 9, 120):
            program.resize(24, width)
            # A line drawn before the resize may still be on its way.
            columns = width
            while not min(width, 40) // 2 < columns < width:
                drawn = CONTROL.sub("", program.see("⏸")).split("\r")
                columns = columns_of(drawn[-1])
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


@unittest.skipIf(b"__tsan_init" in CODE, "the thread of ThreadSanitizer wakes up ten times a second")
class Wakefulness(PlayTest):
    def switches(self, process):
        """How often the threads of a process have slept and woken."""
        total = 0
        for task in os.listdir(f"/proc/{process.pid}/task"):
            with open(f"/proc/{process.pid}/task/{task}/status") as status:
                total += int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", status.read(), re.MULTILINE)[1])
        return total

    def assert_rests(self, process):
        """Wakes less than once a second, once the settings are written and the devices have come to rest."""
        for _ in range(PATIENCE // 3):
            before = self.switches(process)
            time.sleep(3)  # what does not happen cannot be waited for
            if self.switches(process) - before < 3:
                return
        self.fail("does not come to rest")

    def test_a_paused_player_rests_on_a_terminal(self):
        program = self.start(self.tone("a.wav", 60), on_terminal=True)
        program.see("▶", "00:01")
        program.press(" ")
        program.see("⏸")
        self.assert_rests(program.process)
        program.quit()

    def test_a_paused_player_rests_without_a_terminal(self):
        program = self.start("--json", self.tone("a.wav", 60))
        program.follow(*START)
        program.progress()
        program.follow(" ", PAUSE)
        self.assert_rests(program.process)
        program.quit()


if __name__ == "__main__":
    main()
