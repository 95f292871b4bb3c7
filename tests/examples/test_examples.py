"""Every example, run on real input as its user would; what it gives is held against other programs."""

import array
import json
import math
import os
import plistlib
import shutil
import subprocess
import tempfile
import unittest
import wave
import zlib


class Examples(unittest.TestCase):
    def setUp(self):
        self.home = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.home)
        self.environment = {**os.environ, "XDG_CONFIG_HOME": self.home, "VANTREL_AUDIO_SINK": "fakesink"}

    def path(self, name, contents=None):
        path = os.path.join(self.home, name)
        if contents is not None:
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as out:
                out.write(contents)
        return path

    def contents(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def run_example(self, name, *arguments, status=0):
        """What it prints, and on which stream it did not."""
        program = os.path.join(os.environ["EXAMPLES"], name)
        done = subprocess.run([program, *arguments], capture_output=True, env=self.environment, text=True)
        self.assertEqual(done.returncode, status, done)
        return done.stderr if status else done.stdout

    def test_json_is_edited(self):
        before = {"draft": True, "users": [{"name": "Ada", "age": 36}], "x": 1.5}
        file = self.path("people.json", json.dumps(before).encode())
        self.assertEqual(self.run_example("edit_json", file).split(), ['"Ada"', '"Grace"'])
        users = [{"name": "Ada", "age": 37}, {"name": "Grace"}]
        self.assertEqual(json.loads(self.contents("people.json")), {"users": users, "x": 1.5})
        broken = self.path("broken.json", b'{"a": 1,\n "b": }')
        self.assertIn("line 2, column 7", self.run_example("edit_json", broken, status=1))

    def test_settings_are_kept(self):
        self.run_example("keep_settings", "one", "two")
        self.assertEqual(self.run_example("keep_settings"), "run 2, with 2 arguments before this\n")
        kept = plistlib.loads(self.contents("keep_settings/settings.plist"))
        self.assertEqual(kept, {"runs": 2, "arguments": []})

    def test_a_timer_ticks_beside_a_task(self):
        lines = self.run_example("timer_and_task").splitlines()
        self.assertIn("the sum is 500000500000", lines)
        self.assertGreater(len(lines), 3)

    def test_a_poll_loop_drives_the_library(self):
        program = os.path.join(os.environ["EXAMPLES"], "poll_loop")
        with subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as running:
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
        told = "it is 18.5 degrees\nheating\nit is 21 degrees\n"
        self.assertEqual(self.run_example("two_observers"), told)

    def test_a_file_is_sealed(self):
        text = b"to whom it may concern\n" * 100
        key, source, out = bytes(range(16)).hex(), self.path("text", text), self.path("sealed")
        told = self.run_example("seal_file", key, source, out)
        self.assertEqual(int(told, 16), zlib.crc32(self.contents("sealed")))
        opened = subprocess.run(
            ["openssl", "enc", "-d", "-aes-128-ecb", "-nopad", "-K", key, "-in", out], capture_output=True, check=True
        )
        self.assertEqual(zlib.decompressobj(31).decompress(opened.stdout), text)
        self.assertIn("No such file", self.run_example("seal_file", key, self.path("none"), out, status=1))

    def test_a_folder_is_played(self):
        self.path("music/c.wav", b"not music")
        for name in ("a", "b"):
            with wave.open(self.path(f"music/{name}.wav"), "wb") as out:
                out.setparams((1, 2, 8000, 0, "NONE", ""))
                out.writeframes(array.array("h", [int(9000 * math.sin(i / 4)) for i in range(9600)]).tobytes())
        lines = self.run_example("play_folder", self.path("music")).splitlines()
        self.assertEqual(lines[:2], ["a.wav", "b.wav"])
        self.assertRegex(lines[2], "^c.wav: .")
        self.assertEqual(len(lines), 3)

    def test_the_buffers_work_from_c(self):
        self.assertEqual(self.run_example("buffers_in_c"), "in order and whole\n")


unittest.main()
