"""play: the events of a list, keys, modes, what is remembered, files that cannot be played."""

import os
import signal
import subprocess
import unittest

from playing import CONTINUE, FINISH, PAUSE, PLAY, UPDATE, PlayTest
from support import PROGRAM


class Events(PlayTest):
    def test_a_list_is_played_once_from_its_first_event_to_its_last(self):
        first, second = self.tone("a.wav", 2.3), self.tone("b.wav", 1.2)
        program = self.start("--json", first, second)
        self.assertEqual(program.wait(), 0)
        names = [e["object"] if e["name"] == "KW_AU_NOTE" else e["name"] for e in program.events]
        self.assertEqual(
            names,
            ["KW_PLAY", "KW_UPDATE", "KW_AU_PROGRESS", "KW_AU_PROGRESS"]
            + ["KW_PLAY", "KW_UPDATE", "KW_AU_PROGRESS", "KW_AU_PROGRESS", "KW_FINISH"],
        )
        times = [e["object"] for e in program.events if e["name"] == "KW_AU_PROGRESS"]
        self.assertEqual([told["TIME_END"] for told in times], ["00:02", "00:02", "00:01", "00:01"])
        for told, fraction in zip(times, (1 / 2.3, 2 / 2.3, 0, 1 / 1.2)):
            self.assertAlmostEqual(told["PROGRESS"], fraction, delta=0.2)
        self.assertEqual(program.messages(), "")

    def test_the_typical_road_by_keys(self):
        files = [self.tone(f"{name}.wav", 20) for name in "abc"]
        program = self.start("--json", *files)
        program.expect(PLAY)
        program.expect(UPDATE)
        program.progress()
        program.press(" ")
        program.expect(PAUSE)
        program.press(" ")
        program.expect(CONTINUE)
        program.press("n")
        program.expect(PLAY)
        program.expect(UPDATE)
        program.press("b")
        program.expect(PLAY)
        program.expect(UPDATE)
        program.press("p")  # before the first comes the last
        program.expect(PLAY)
        program.expect(UPDATE)
        program.press("\x1b[C")  # and after the last the first
        program.expect(PLAY)
        program.expect(UPDATE)
        program.press("q")
        self.assertEqual(program.wait(), 0)
        self.assertEqual(self.setting("KW_AUDIO_PLAYINDEX"), "0")

    def test_the_mode_key_goes_round_the_modes(self):
        program = self.start("--json", "--mode", "2", self.tone("a.wav", 20))
        program.expect(PLAY)
        program.press("mmm")
        program.press("q")
        self.assertEqual(program.wait(), 0)
        self.assertEqual(self.setting("KW_AUDIO_PLAYMODE"), "1")

    def test_the_volume_keys_are_told_as_events(self):
        program = self.start("--json", self.tone("a.wav", 20))
        program.expect(PLAY)
        program.expect(UPDATE)
        program.press("-")
        skip = ("KW_AU_PROGRESS", "AVSystemController_SystemVolumeDidChangeNotification")
        change = program.next_event()
        while change["name"] in skip:
            change = program.next_event()
        self.assertEqual(change["name"], "KW_AU_VOLUME_CHANGE")
        self.assertTrue(0 <= change["object"] <= 1)
        program.press("q")
        self.assertEqual(program.wait(), 0)

    def test_json_tells_which_file_plays(self):
        files = [self.tone("a.wav", 0.3), self.tone("b.wav", 0.3).encode() + b"\xff"]
        os.rename(files[1][:-1], files[1])
        program = self.start("--json", *files)
        self.assertEqual(program.wait(), 0)
        paths = [files[0], {"hex": files[1].hex()}]
        self.assertEqual(program.tracks, [{"index": n, "count": 2, "path": paths[n]} for n in (0, 1)])

    def test_repeat_one_plays_the_entry_again(self):
        program = self.start("--json", "--mode", "1", self.tone("a.wav", 0.5), self.tone("b.wav", 0.5))
        for _ in range(3):
            program.expect(PLAY)
            program.expect(UPDATE)
        program.press("q")
        self.assertEqual(program.wait(), 0)
        self.assertEqual(self.setting("KW_AUDIO_PLAYINDEX"), "0")

    def test_start_picks_the_first_entry(self):
        program = self.start("--json", "--start", "1", self.tone("a.wav", 9), self.tone("b.wav", 0.5))
        self.assertEqual(program.wait(), 0)
        self.assertEqual(program.notes(), [PLAY, UPDATE, FINISH])

    def test_seconds_end_it(self):
        program = self.start("--json", "--seconds", "1.5", self.tone("a.wav", 30))
        self.assertEqual(program.wait(), 0)
        self.assertEqual(program.events[:2], [PLAY, UPDATE])
        self.assertEqual(self.setting("KW_AUDIO_PLAYINDEX"), "0")
        self.assertTrue(0.02 <= float(self.setting("KW_AUDIO_PLAYPROGRESS")) <= 0.06)

    def test_without_terminal_each_event_is_a_line_of_text(self):
        text = self.text("play", self.tone("two words.wav", 1.2))
        lines = text.splitlines()
        self.assertEqual(lines[:2], ["KW_AU_NOTE KW_PLAY", "KW_UPDATE 1/1 two words.wav"])
        self.assertRegex(lines[2], r"^KW_AU_PROGRESS 00:0\d/00:01 \d+\.\d%$")
        self.assertEqual(lines[-1], "KW_AU_NOTE KW_FINISH")
        self.assertNotIn("\x1b", text)

    def test_a_folder_is_played_in_name_order(self):
        for name in ("m/2.wav", "m/1/b.wav", "m/1/a.wav"):
            self.tone(name, 0.3)
        self.file("m/notes.txt", b"no music")
        updates = [line for line in self.text("play", os.path.join(self.home, "m")).splitlines() if "UPDATE" in line]
        self.assertEqual(updates, ["KW_UPDATE 1/3 a.wav", "KW_UPDATE 2/3 b.wav", "KW_UPDATE 3/3 2.wav"])

    def test_a_name_in_brackets_is_a_name(self):
        self.tone("[a,b]/c.wav", 0.3)
        done = subprocess.run([PROGRAM, "play", "[a,b]"], capture_output=True, cwd=self.home, env=self.environment)
        self.assertIn(b"KW_UPDATE 1/1 c.wav", done.stdout)

    def test_a_reader_that_goes_away_ends_it_quietly_with_1(self):
        process = subprocess.Popen(
            [PROGRAM, "play", "--json", self.tone("a.wav", 30)],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.environment,
        )
        process.stdout.readline()
        process.stdout.close()
        self.assertEqual(process.stderr.read(), b"")
        process.stderr.close()
        self.assertEqual(process.wait(), 1)

    def test_the_log_is_shown_when_asked(self):
        done = self.run_program("play", "--log", self.tone("a\n.wav", 0.3))
        self.assertEqual(done.returncode, 0)
        self.assertIn(rb"KWAudioPlayer a\x0a.wav size:4844", done.stderr)
        self.assertIn(rb"KW_UPDATE 1/1 a\x0a.wav", done.stdout)


class Remembered(PlayTest):
    def test_resume_restores_track_mode_and_position(self):
        files = [self.tone(f"{name}.wav", 20) for name in "abc"]
        first = self.start("--json", "--mode", "2", "--start", "1", *files)
        first.expect(PLAY)
        while first.progress()["TIME_NOW"] < "00:03":
            pass
        first.press("q")
        self.assertEqual(first.wait(), 0)
        self.assertEqual(self.setting("KW_AUDIO_PLAYINDEX"), "1")
        self.assertEqual(self.setting("KW_AUDIO_PLAYMODE"), "2")
        self.assertGreaterEqual(float(self.setting("KW_AUDIO_PLAYPROGRESS")), 0.15)

        second = self.start("--json", "--resume", *files)
        second.expect(PLAY)
        second.expect(UPDATE)
        told = second.progress()
        self.assertTrue("00:03" <= told["TIME_NOW"] <= "00:06", told)
        second.press("q")
        self.assertEqual(second.wait(), 0)
        self.assertEqual(self.setting("KW_AUDIO_PLAYINDEX"), "1")
        self.assertEqual(self.setting("KW_AUDIO_PLAYMODE"), "2")

    def test_resume_keeps_track_and_position_of_a_paused_player(self):
        files = [self.tone(f"{name}.wav", 20) for name in "ab"]
        for key, value in [("INDEX", "1"), ("PROGRESS", "0.50"), ("MODE", "1")]:
            self.output("settings", "set", "KW_AUDIO_PLAY" + key, f'"{value}"')
        program = self.start("--json", "--resume", *files)
        program.expect(PLAY)
        program.press(" ")
        program.expect(PAUSE, skip=("KW_AU_PROGRESS", "KW_UPDATE"))
        program.press("q")
        self.assertEqual(program.wait(), 0)
        self.assertEqual(self.setting("KW_AUDIO_PLAYINDEX"), "1")
        self.assertEqual(self.setting("KW_AUDIO_PLAYMODE"), "1")
        self.assertAlmostEqual(float(self.setting("KW_AUDIO_PLAYPROGRESS")), 0.5, delta=0.05)

    def test_resume_after_a_list_that_ended_begins_with_its_first(self):
        for last in (self.tone("b.wav", 1.5), self.file("unplayable.wav")):
            files = [self.tone("a.wav", 1.5), last]
            self.start("--json", "--start", "1", *files).wait()
            again = self.start("--json", "--resume", *files)
            again.expect(PLAY)
            again.expect(UPDATE)
            self.assertEqual(again.tracks[0]["index"], 0)
            again.press("q")
            again.wait()

    def test_without_resume_a_list_starts_at_its_beginning_in_list_once_mode(self):
        for key, value in [("INDEX", "1"), ("PROGRESS", "0.50"), ("MODE", "1")]:
            self.output("settings", "set", "KW_AUDIO_PLAY" + key, f'"{value}"')
        program = self.start("--json", *[self.tone(f"{name}.wav", 0.4) for name in "ab"])
        self.assertEqual(program.wait(), 0)
        self.assertEqual(program.notes(), [PLAY, UPDATE, PLAY, UPDATE, FINISH])
        self.assertEqual(self.setting("KW_AUDIO_PLAYMODE"), "3")

    def test_a_track_that_the_list_no_longer_has_is_told(self):
        for index in ("7", "-3"):
            self.output("settings", "set", "KW_AUDIO_PLAYINDEX", f'"{index}"')
            self.output("settings", "set", "KW_AUDIO_PLAYPROGRESS", '"0.9"')
            done = self.run_program("play", "--resume", "--seconds", "0.5", self.tone("a.wav", 20))
            self.assertEqual(done.returncode, 0)
            self.assertIn(f"the remembered track {index} is not in this list".encode(), done.stderr)
            self.assertIn(b"KW_UPDATE 1/1 a.wav", done.stdout)
            self.assertEqual(self.setting("KW_AUDIO_PLAYINDEX"), "0")
            self.assertLess(float(self.setting("KW_AUDIO_PLAYPROGRESS")), 0.1)

    def test_nonsense_in_the_settings_is_as_if_there_were_nothing(self):
        for value in ('"many"', "[1]", '""', '"99999999999999999999"', '"nan"'):
            for key in ("INDEX", "PROGRESS", "MODE"):
                self.output("settings", "set", "KW_AUDIO_PLAY" + key, value)
            done = self.run_program("play", "--resume", self.tone("a.wav", 0.3))
            self.assertEqual((done.returncode, done.stdout.splitlines()[-1]), (0, b"KW_AU_NOTE KW_FINISH"), done.stderr)

    def test_signals_end_it_with_everything_remembered(self):
        for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGHUP):
            program = self.start("--json", "--start", "1", *[self.tone(f"{name}.wav", 20) for name in "ab"])
            program.expect(PLAY)
            program.progress()
            program.signal(number)
            self.assertEqual(program.wait(), -number)
            self.assertEqual(self.setting("KW_AUDIO_PLAYINDEX"), "1")
            self.assertGreater(float(self.setting("KW_AUDIO_PLAYPROGRESS")), 0.03)
            self.output("settings", "remove", "KW_AUDIO_PLAYINDEX")


class Unplayable(PlayTest):
    def test_entries_that_cannot_be_played_are_told_and_passed_over(self):
        bad = self.file("bad.mp3", b"not music at all" * 100)
        missing = os.path.join(self.home, "missing.ogg")
        good = self.tone("good.wav", 0.4)
        program = self.start("--json", bad, missing, good)
        self.assertEqual(program.wait(), 0)
        self.assertEqual(program.notes(), [PLAY, UPDATE] * 3 + [FINISH])
        told = program.messages()
        self.assertIn("bad.mp3: no audio in it", told)
        self.assertIn("missing.ogg: No such file or directory", told)
        self.assertNotIn("good.wav", told)

    def test_a_last_entry_that_cannot_be_played_ends_list_once(self):
        program = self.start("--json", self.tone("good.wav", 0.4), self.file("empty.ogg"))
        self.assertEqual(program.wait(), 0)
        self.assertEqual(program.notes(), [PLAY, UPDATE] * 2)

    def test_a_round_without_anything_playable_ends_with_1_in_every_mode(self):
        files = [self.file("empty.ogg"), os.path.join(self.home, "missing.mp3")]
        for mode in "0123":
            program = self.start("--json", "--mode", mode, *files)
            self.assertEqual(program.wait(), 1)
            self.assertEqual(program.notes(), [PLAY, UPDATE] * 2)
            self.assertIn("nothing could be played", program.messages())

    def test_no_files_at_all(self):
        os.mkdir(os.path.join(self.home, "empty"))
        self.assertIn("no audio files", self.assert_fails(1, "play", os.path.join(self.home, "empty")))
        self.assert_fails(2, "play", "--start", "1", self.tone("a.wav", 0.1))
        self.assertIn("standard input", self.assert_fails(2, "play", self.tone("a.wav", 0.1), "-"))


if __name__ == "__main__":
    unittest.main()
