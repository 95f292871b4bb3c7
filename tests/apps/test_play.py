"""play: the events of a list, keys, modes, what is remembered, files that cannot be played."""

import os
import signal

from playing import CONTINUE, FINISH, PAUSE, PLAY, START, UPDATE, PlayTest


class Events(PlayTest):
    def test_a_list_is_played_once_from_its_first_event_to_its_last(self):
        program = self.play(self.tone("a.wav", 2.3), self.tone("b.wav", 1.2))
        told = [e["object"] if e["name"] != "KW_UPDATE" else "KW_UPDATE" for e in program.events]
        names = [each if isinstance(each, str) else each["TIME_END"] for each in told]
        self.assertEqual(names, ["KW_PLAY", "KW_UPDATE", "00:02", "00:02", "KW_PLAY", "KW_UPDATE", "00:01", "00:01",
                                 "KW_FINISH"])
        for at, fraction in ((2, 1 / 2.3), (3, 2 / 2.3), (6, 0), (7, 1 / 1.2)):
            self.assertAlmostEqual(told[at]["PROGRESS"], fraction, delta=0.2)
        self.assertEqual(program.messages(), "")

    def test_the_typical_road_by_keys(self):
        program = self.start("--json", *self.tones("abc", 20))
        program.follow(*START)
        program.progress()
        program.follow(" ", PAUSE, " ", CONTINUE, "n", *START, "b", *START)
        program.follow("p", *START, "\x1b[C", *START)  # before the first comes the last, and after it the first
        program.quit()
        self.assertEqual([track["index"] for track in program.tracks], [0, 1, 0, 2, 0])
        self.assertEqual(self.remembered("INDEX"), "0")

    def test_the_mode_key_goes_round_and_volume_keys_are_told(self):
        program = self.start("--json", "--mode", "2", self.tone("a.wav", 20))
        program.follow(PLAY, "mmm-")
        self.assertTrue(0 <= program.next_object("KW_AU_VOLUME_CHANGE") <= 1)
        program.quit()
        self.assertEqual(self.remembered("MODE"), "1")

    def test_json_tells_which_file_plays(self):
        files = [self.tone("a.wav", 0.3), self.tone("b.wav", 0.3).encode() + b"\xff"]
        os.rename(files[1][:-1], files[1])
        paths = [files[0], {"hex": files[1].hex()}]
        self.assertEqual(self.play(*files).tracks, [{"index": n, "count": 2, "path": paths[n]} for n in (0, 1)])

    def test_repeat_one_plays_the_entry_again(self):
        program = self.start("--json", "--mode", "1", *self.tones("ab", 0.4))
        program.follow(*START * 3)
        program.quit()
        self.assertEqual(self.remembered("INDEX"), "0")

    def test_start_picks_the_first_entry(self):
        program = self.play("--start", "1", self.tone("a.wav", 9), self.tone("b.wav", 0.5))
        self.assertEqual(program.notes(), [*START, FINISH])

    def test_seconds_end_it(self):
        self.assertEqual(self.play("--seconds", "1.5", self.tone("a.wav", 30)).events[:2], [*START])
        self.assertEqual(self.remembered("INDEX"), "0")
        self.assertTrue(0.02 <= float(self.remembered("PROGRESS")) <= 0.06)

    def test_without_terminal_each_event_is_a_line_of_text(self):
        text = self.text("play", self.tone("two words.wav", 1.2))
        self.assertRegex(text, r"^KW_AU_NOTE KW_PLAY\nKW_UPDATE 1/1 two words.wav\n"
                               r"(KW_AU_PROGRESS 00:0\d/00:01 \d+\.\d%\n)+KW_AU_NOTE KW_FINISH$")

    def test_a_folder_is_played_in_name_order(self):
        for name in ("[a,b]/2.wav", "[a,b]/1/b.wav", "[a,b]/1/a.wav"):
            self.tone(name, 0.3)
        self.file("[a,b]/notes.txt", b"no music")
        done = self.run_program("play", "[a,b]", cwd=self.home)
        updates = [line for line in done.stdout.splitlines() if b"UPDATE" in line]
        self.assertEqual(updates, [b"KW_UPDATE 1/3 a.wav", b"KW_UPDATE 2/3 b.wav", b"KW_UPDATE 3/3 2.wav"])

    def test_the_log_is_shown_when_asked(self):
        done = self.run_program("play", "--log", self.tone("a\n.wav", 0.3))
        self.assertEqual(done.returncode, 0)
        self.assertIn(rb"KWAudioPlayer a\x0a.wav size:4844", done.stderr)
        self.assertIn(rb"KW_UPDATE 1/1 a\x0a.wav", done.stdout)


class Remembered(PlayTest):
    def test_resume_restores_track_mode_and_position(self):
        files = self.tones("abc", 10)
        program = self.start("--json", "--mode", "2", "--start", "1", *files)
        while program.progress()["PROGRESS"] < 0.1:
            pass
        program.quit()
        for _ in range(2):
            self.assertEqual((self.remembered("INDEX"), self.remembered("MODE")), ("1", "2"))
            self.assertGreaterEqual(float(self.remembered("PROGRESS")), 0.1)
            program = self.start("--json", "--resume", *files)
            program.follow(*START)
            told = program.progress()
            self.assertTrue("00:01" <= told["TIME_NOW"] <= "00:06", told)
            program.quit()

    def test_resume_keeps_track_and_position_of_a_paused_player(self):
        self.remember(INDEX="1", PROGRESS="0.50", MODE="1")
        program = self.start("--json", "--resume", *self.tones("ab", 20))
        program.follow(PLAY, " ", PAUSE, skip=("KW_AU_PROGRESS", "KW_UPDATE"))
        program.quit()
        self.assertEqual((self.remembered("INDEX"), self.remembered("MODE")), ("1", "1"))
        self.assertAlmostEqual(float(self.remembered("PROGRESS")), 0.5, delta=0.05)

    def test_resume_after_a_list_that_ended_begins_with_its_first(self):
        for last in (self.tone("b.wav", 1.5), self.file("unplayable.wav")):
            files = [self.tone("a.wav", 1.5), last]
            self.start("--json", "--start", "1", *files).wait()
            again = self.start("--json", "--resume", *files)
            again.follow(*START)
            self.assertEqual(again.tracks[0]["index"], 0)
            again.quit()

    def test_without_resume_a_list_starts_at_its_beginning_in_list_once_mode(self):
        self.remember(INDEX="1", PROGRESS="0.50", MODE="1")
        self.assertEqual(self.play(*self.tones("ab", 0.4)).notes(), [*START, *START, FINISH])
        self.assertEqual(self.remembered("MODE"), "3")

    def test_a_track_that_the_list_no_longer_has_is_told(self):
        for index in ("7", "-3"):
            self.remember(INDEX=index, PROGRESS="0.9")
            done = self.run_program("play", "--resume", "--seconds", "0.5", self.tone("a.wav", 20))
            self.assertEqual(done.returncode, 0)
            self.assertIn(f"the remembered track {index} is not in this list".encode(), done.stderr)
            self.assertIn(b"KW_UPDATE 1/1 a.wav", done.stdout)
            self.assertEqual(self.remembered("INDEX"), "0")
            self.assertLess(float(self.remembered("PROGRESS")), 0.1)

    def test_nonsense_in_the_settings_is_as_if_there_were_nothing(self):
        for value in ("many", [1], "", "99999999999999999999", "nan"):
            self.remember(INDEX=value, PROGRESS=value, MODE=value)
            done = self.run_program("play", "--resume", self.tone("a.wav", 0.1))
            self.assertEqual((done.returncode, done.stdout.splitlines()[-1]), (0, b"KW_AU_NOTE KW_FINISH"), done.stderr)

    def test_signals_end_it_with_everything_remembered(self):
        files = self.tones("ab", 20)
        programs = {}
        for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGHUP):
            self.environment["XDG_CONFIG_HOME"] = os.path.join(self.home, str(number))
            programs[number] = self.start("--json", "--start", "1", *files)
        for number, program in programs.items():
            program.progress()
            program.process.send_signal(number)
            self.assertEqual(program.wait(), -number)
            self.environment["XDG_CONFIG_HOME"] = os.path.join(self.home, str(number))
            self.assertEqual(self.remembered("INDEX"), "1")
            self.assertGreater(float(self.remembered("PROGRESS")), 0.03)


class Unplayable(PlayTest):
    def test_entries_that_cannot_be_played_are_told_and_passed_over(self):
        bad = self.file("bad.mp3", b"not music at all" * 100)
        program = self.play(bad, os.path.join(self.home, "missing.ogg"), self.tone("good.wav", 0.4))
        self.assertEqual(program.notes(), [*START * 3, FINISH])
        self.assertRegex(program.messages(), r"^.*bad.mp3: no audio in it\n.*missing.ogg: No such file or dir.*\n$")

    def test_a_last_entry_that_cannot_be_played_ends_list_once(self):
        self.assertEqual(self.play(self.tone("good.wav", 0.4), self.file("empty.ogg")).notes(), [*START * 2])

    def test_a_round_without_anything_playable_ends_with_1_in_every_mode(self):
        files = [self.file("empty.ogg"), "/missing.mp3"]
        for program in [self.start("--json", "--mode", mode, *files) for mode in "0123"]:
            self.assertEqual(program.wait(), 1)
            self.assertEqual(program.notes(), [*START * 2])
            self.assertIn("nothing could be played", program.messages())

    def test_no_files_at_all(self):
        os.mkdir(os.path.join(self.home, "empty"))
        tone = self.tone("a.wav", 0.1)
        self.refuses(1, (f"play {self.home}/empty", "no audio files"))
        self.refuses(2, (f"play --start 1 {tone}", ""), (f"play {tone} -", "standard input"))
