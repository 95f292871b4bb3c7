"""What every subcommand has in common: help, exit status, standard output that is closed or full."""

import hashlib
import hmac
import os
import re
import resource
import subprocess
import unittest

from playing import PlayTest
from support import PROGRAM, SANITIZED

GROUPS = ["aes", "archive", "settings", "time", "files", "url"]


class Usage(PlayTest):
    def commands_of(self, *path):
        text = self.text(*path, "--help")
        listed = text.split("Subcommands:\n")
        return re.findall(r"^  (\w+)", listed[1], re.MULTILINE) if len(listed) == 2 else []

    def test_the_help_of_every_command_begins_with_examples_of_it(self):
        paths = [()] + [(name,) for name in self.commands_of()]
        paths += [(group, name) for group in GROUPS for name in self.commands_of(group)]
        self.assertGreater(len(paths), 25)
        for path in paths:
            text = self.text(*path, "--help")
            self.assertTrue(text.startswith("Examples:\n  "), text)
            self.assertIn("vantrel " + " ".join(path), text.split("\n\n")[0])
        for command, word in (("crc32", "5354554e"), ("aes encrypt", "zero bytes"), ("gunzip", "first")):
            self.assertIn(word, self.text(*command.split(), "--help"))

    def test_wrong_usage_ends_with_2(self):
        for arguments in ("", "hex a b", "hex --unknown", "int", "time", "time add 1", "archive pack a.json", "play",
                          "play --mode 4 a.ogg", "play --mode x a.ogg", "play --start -1 a.ogg",
                          "play --start 0 --resume a.ogg", "play --seconds -1 a.ogg", "play --seconds nan a.ogg"):
            self.refuses(2, (arguments, ""))
        self.refuses(2, ("nonsense", "vantrel has no command nonsense"), ("time x\x01y", r"time has no command x\x01y"),
                     ("aes encrypt --kye k", "not expected: --kye"), ("hex a [b]", "not expected: [b]"))

    def test_values_arrive_byte_for_byte(self):
        for value in (b"", b"\x01", b"\x01a", b"\x01\x01\x02", b"a\x01", b"[a,b]", b"[]", b"{}", b"++", b"%%", b"=",
                      b"--a=", b"--a=\x01", b"-a", b"-\x01", b'"a"', b"\xff"):
            digest = hmac.new(value, value, "md5").hexdigest()
            self.assertEqual(self.text("md5", "--key", value, "--", value), digest)
            self.assertEqual(self.text("md5", b"--key=" + value, "--", value), digest)
        for name in ("[a,b]", "{}"):  # of a list of values
            self.assertIn(b"KW_UPDATE 1/1 " + name.encode(), self.run_program("play", name).stdout)

    def test_names_in_messages_cannot_steer_the_terminal(self):
        told = self.assert_fails(1, "hex", b"a\x1b[31m\n\x7f\xff\xc2\x9b\xc3\xa9")
        self.assertEqual(told, "vantrel: a\\x1b[31m\\x0a\\x7f\\xff\\xc2\\x9bé: No such file or directory\n")

    def test_a_dash_is_standard_input_wherever_one_text_is_taken(self):
        self.output("settings", "set", "key", "-", input=b"a value\n")
        self.gives(
            ("int -", "02010000", b"258\n"), ("toint -", "258", b"0102\n"), ("text -", "A", b"41"),
            ("md5 -", hashlib.md5(b"abc\n").hexdigest().upper(), b"abc\n"), ("sort -", "1\n2", b"2\n1\n"),
            ("url encode -", "a%20b", b"a b\r\n"), ("url decode -", "a b", b"a%20b"),
            ("time add 1 -", "20240101000001", b"20240101000000\n"), ("time duration -", "01:05", b"65"),
            ("time diff - 20240101000000", "1", b"20240101000001\n"), ("files size -", "1.00Kb", b"1024\n"),
            ("files sizeof -", "5", b"12345"), ("settings get key", "a value"),
        )

    @unittest.skipIf(SANITIZED, "sanitizers reserve more than there is")
    def test_too_little_memory_is_told(self):
        words = self.file("words", b"1 " * 20_000_000)
        list = self.file("list", b"[" + b"1," * 20_000_000 + b"1]")
        limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (100 << 20, 100 << 20))
        for command in (f"sort {words}", f"shuffle {words}", f"json {list}", f"archive pack {list} -o -"):
            done = self.run_program(*command.split(), preexec_fn=limit)
            self.assertEqual((done.returncode, done.stderr), (1, b"vantrel: not enough memory\n"), command)

    def test_the_version_is_printed(self):
        self.assertRegex(self.text("--version"), r"^\d+\.\d+\.\d+$")

    def test_a_reader_that_goes_away_ends_the_program_quietly_with_1(self):
        for arguments in (["hex", self.file("big", os.urandom(1 << 20))], ["play", "--json", self.tone("a.wav", 30)]):
            with subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, env=self.environment) as process:
                process.stdout.read(1)
                process.stdout.close()
                self.assertEqual(process.stderr.read(), b"")
            self.assertEqual(process.returncode, 1)

    def test_data_never_lands_in_a_file_that_took_the_place_of_closed_output(self):
        json = self.file("value.json", b'{"a": 1}')
        target = self.path("value.archive")
        closed = ["sh", "-c", 'exec "$0" "$@" >&- 2>&- <&-', PROGRAM]
        subprocess.run([*closed, "archive", "pack", json, "-o", target], env=self.environment, check=True)
        self.assertEqual(self.contents(target)[:8], b"bplist00")

    def test_output_that_cannot_be_written_is_told_once(self):
        closed = b"vantrel: standard output: Bad file descriptor\n"
        for arguments in (["time", "now"], ["--help"], ["hex", PROGRAM], ["play", "--json", "missing.wav"]):
            for output, told in ((">&-", closed), (">/dev/full", b"No space left")):
                done = subprocess.run(["sh", "-c", f'exec "$0" "$@" {output}', PROGRAM, *arguments],
                                      stderr=subprocess.PIPE, env=self.environment)
                self.assertEqual((done.returncode, done.stderr.count(told)), (1, 1), (arguments, done.stderr))
