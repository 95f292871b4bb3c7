"""Every example, run on real input as its user would; what it gives is held against other programs."""

import array
import calendar
import json
import math
import os
import pathlib
import plistlib
import shutil
import subprocess
import tempfile
import unittest
import urllib.parse
import wave
import zlib


PROGRAMS = pathlib.Path(os.environ["EXAMPLES"])


class Examples(unittest.TestCase):
    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.home)
        self.environment = {**os.environ, "XDG_CONFIG_HOME": str(self.home), "VANTREL_AUDIO_SINK": "fakesink"}

    def run_example(self, name, *arguments, status=0):
        """What it prints, and on which stream it did not."""
        done = subprocess.run([PROGRAMS / name, *arguments], capture_output=True, env=self.environment, text=True)
        self.assertEqual(done.returncode, status, done)
        return done.stderr if status else done.stdout

    def test_json_is_edited(self):
        before = {"draft": True, "users": [{"name": "Ada", "age": 36}], "x": 1.5}
        file, broken = self.home / "people.json", self.home / "broken.json"
        file.write_text(json.dumps(before))
        self.assertEqual(self.run_example("edit_json", file).split(), ['"Ada"', '"Grace"'])
        users = [{"name": "Ada", "age": 37}, {"name": "Grace"}]
        self.assertEqual(json.loads(file.read_bytes()), {"users": users, "x": 1.5})
        broken.write_bytes(b'{"a": 1,\n "b": }')
        self.assertIn("line 2, column 7", self.run_example("edit_json", broken, status=1))

    def test_a_property_list_becomes_json(self):
        tree = {"names": ["Ada", "Grace"], "more": {"n": 7, "x": 1.5, "on": True}, "raw": b"abc"}
        file, broken = self.home / "list.plist", self.home / "broken.plist"
        for form in (plistlib.FMT_BINARY, plistlib.FMT_XML):
            file.write_bytes(plistlib.dumps(tree, fmt=form))
            self.assertEqual(json.loads(self.run_example("plist_to_json", file)), {**tree, "raw": "data(3 bytes)"})
        broken.write_bytes(b"bplist00")
        self.assertIn(": ", self.run_example("plist_to_json", broken, status=1))

    def test_a_month_is_shown(self):
        for year, month in ((2024, 2), (2026, 11), (1, 1)):
            shown = self.run_example("calendar", str(year), str(month)).split()
            days = calendar.TextCalendar(calendar.SUNDAY).formatmonth(year, month).splitlines()[1:]
            self.assertEqual(shown, " ".join(days).split())
        self.assertEqual(self.run_example("calendar", "2024", "13", status=1), "no such month\n")

    def test_an_address_is_made_and_read_back(self):
        query = "https://example.org/find?q=tea & cake é%"
        encoded = urllib.parse.quote(query, safe="!$&'()*+,-./:;=?@_~")
        self.assertEqual(self.run_example("address", "tea", "&", "cake", "é%"), f"{encoded}\n{query}\n")

    def test_a_back_end_of_ones_own_plays_an_hour(self):
        told = "minute 0: one.ogg\nminute 20: notes.txt: no music in it\nminute 20: two.ogg\n"
        told += "minute 40: three.ogg\nover\n"
        self.assertEqual(self.run_example("own_host"), told)

    def test_settings_are_kept(self):
        self.run_example("keep_settings", "one", "two")
        self.assertEqual(self.run_example("keep_settings"), "run 2, with 2 arguments before this\n")
        kept = plistlib.loads((self.home / "keep_settings/settings.plist").read_bytes())
        self.assertEqual(kept, {"runs": 2, "arguments": []})

    def test_a_timer_ticks_beside_a_task(self):
        lines = self.run_example("timer_and_task").splitlines()
        self.assertIn("the sum is 500000500000", lines)
        self.assertGreater(len(lines), 3)

    def test_a_poll_loop_drives_the_library(self):
        pipe = subprocess.PIPE
        with subprocess.Popen([PROGRAMS / "poll_loop"], stdin=pipe, stdout=pipe, text=True) as running:
            running.stdin.write("a b c\n")
            running.stdin.flush()
            seen = set()
            while not {"2 blanks", "tick 2"} <= seen:
                line = running.stdout.readline()
                self.assertTrue(line, seen)
                seen.add(line.strip())
            running.stdin.close()
            running.stdout.read()
        self.assertEqual(running.returncode, 0)

    def test_two_observers_hear_an_event(self):
        self.assertEqual(self.run_example("two_observers"), "it is 18.5 degrees\nheating\nit is 21 degrees\n")

    def test_a_file_is_sealed(self):
        text = b"to whom it may concern\n" * 100
        key, source, out = bytes(range(16)).hex(), self.home / "text", self.home / "sealed"
        source.write_bytes(text)
        told = self.run_example("seal_file", key, source, out)
        self.assertEqual(int(told, 16), zlib.crc32(out.read_bytes()))
        command = ["openssl", "enc", "-d", "-aes-128-ecb", "-nopad", "-K", key, "-in", out]
        opened = subprocess.run(command, capture_output=True, check=True).stdout
        self.assertEqual(zlib.decompressobj(31).decompress(opened), text)
        self.assertIn("No such file", self.run_example("seal_file", key, self.home / "none", out, status=1))

    def test_a_folder_is_played(self):
        music = self.home / "music"
        music.mkdir()
        (music / "c.wav").write_bytes(b"not music")
        frames = array.array("h", [int(9000 * math.sin(i / 4)) for i in range(2400)])
        for name in ("a.wav", "b.wav"):
            with wave.open(str(music / name), "wb") as out:
                out.setparams((1, 2, 8000, 0, "NONE", ""))
                out.writeframes(frames.tobytes())
        self.assertRegex(self.run_example("play_folder", music), r"^a\.wav\nb\.wav\nc\.wav: .*\n$")

    def test_the_buffers_work_from_c(self):
        self.assertEqual(self.run_example("buffers_in_c"), "in order and whole\n")
