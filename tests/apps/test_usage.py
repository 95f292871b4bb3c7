"""What every subcommand has in common: help, exit status, standard output that is closed or full."""

import hashlib
import hmac
import os
import re
import resource
import subprocess
import unittest

from support import PROGRAM, SANITIZED, ProgramTest

GROUPS = ["aes", "archive", "settings", "time", "files", "url"]


class Usage(ProgramTest):
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

    def test_wrong_usage_ends_with_2(self):
        for arguments in [
            [],
            ["nonsense"],
            ["hex", "a", "b"],
            ["hex", "--unknown"],
            ["int"],
            ["time"],
            ["time", "add", "1"],
            ["archive", "pack", "a.json"],
            ["play"],
            ["play", "--mode", "4", "a.ogg"],
            ["play", "--mode", "x", "a.ogg"],
            ["play", "--start", "-1", "a.ogg"],
            ["play", "--start", "0", "--resume", "a.ogg"],
            ["play", "--seconds", "-1", "a.ogg"],
            ["play", "--seconds", "nan", "a.ogg"],
        ]:
            self.assert_fails(2, *arguments)

    def test_values_arrive_byte_for_byte(self):
        for value in (b"", b"\x01", b"\x01a", b"\x01\x01\x02", b"a\x01", b"[a,b]", b"[]", b"{}", b"++", b"%%", b"=",
                      b"--a=", b"--a=\x01", b"-a", b"-\x01", b'"a"', b"\xff"):
            digest = hmac.new(value, value, "md5").hexdigest()
            self.assertEqual(self.text("md5", "--key", value, "--", value), digest)
            self.assertEqual(self.text("md5", b"--key=" + value, "--", value), digest)
        for name in ("[a,b]", "{}"):  # of a list of values
            self.assertIn(b"KW_UPDATE 1/1 " + name.encode(), self.run_program("play", name).stdout)

    def test_a_word_that_nothing_takes_is_named(self):
        for arguments, told in [
            (["nonsense"], "vantrel has no command nonsense"),
            (["time", "x\x01y"], r"time has no command x\x01y"),
            (["aes", "encrypt", "--kye", "k"], "not expected: --kye"),
            (["hex", "a", "[b]"], "not expected: [b]"),
        ]:
            self.assertIn(told, self.assert_fails(2, *arguments))

    def test_names_in_messages_cannot_steer_the_terminal(self):
        told = self.assert_fails(1, "hex", b"a\x1b[31m\n\x7f\xff\xc2\x9b\xc3\xa9")
        self.assertEqual(told, "vantrel: a\\x1b[31m\\x0a\\x7f\\xff\\xc2\\x9bé: No such file or directory\n")

    def test_a_dash_is_standard_input_wherever_one_text_is_taken(self):
        self.output("settings", "set", "key", "-", input=b"a value\n")
        for arguments, input, output in [
            (["int", "-"], b"258\n", "02010000"), (["toint", "-"], b"0102\n", "258"), (["text", "-"], b"41", "A"),
            (["md5", "-"], b"abc\n", hashlib.md5(b"abc\n").hexdigest().upper()), (["sort", "-"], b"2\n1\n", "1\n2"),
            (["url", "encode", "-"], b"a b\r\n", "a%20b"), (["url", "decode", "-"], b"a%20b", "a b"),
            (["time", "add", "1", "-"], b"20240101000000\n", "20240101000001"),
            (["time", "diff", "-", "20240101000000"], b"20240101000001\n", "1"),
            (["time", "duration", "-"], b"65", "01:05"), (["files", "size", "-"], b"1024\n", "1.00Kb"),
            (["files", "sizeof", "-"], b"12345", "5"), (["settings", "get", "key"], b"", "a value"),
        ]:
            self.assertEqual(self.text(*arguments, input=input), output)

    @unittest.skipIf(SANITIZED, "sanitizers reserve more than there is")
    def test_too_little_memory_is_told(self):
        words = self.file("words", b"1 " * 20_000_000)
        list = self.file("list", b"[" + b"1," * 20_000_000 + b"1]")
        for arguments in (["sort", words], ["shuffle", words], ["json", list],
                          ["archive", "pack", list, "-o", "-"]):
            done = subprocess.run(
                [PROGRAM, *arguments], capture_output=True, env=self.environment,
                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (100 << 20, 100 << 20)),
            )
            self.assertEqual((done.returncode, done.stderr), (1, b"vantrel: not enough memory\n"), arguments)

    def test_the_version_is_printed(self):
        self.assertRegex(self.text("--version"), r"^\d+\.\d+\.\d+$")

    def test_a_reader_that_goes_away_ends_the_program_quietly_with_1(self):
        big = self.file("big", os.urandom(1 << 20))
        process = subprocess.Popen(
            [PROGRAM, "hex", big], stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.environment
        )
        process.stdout.read(1)
        process.stdout.close()
        self.assertEqual(process.stderr.read(), b"")
        process.stderr.close()
        self.assertEqual(process.wait(), 1)

    def test_closed_standard_output_is_told_once(self):
        for arguments in (["time", "now"], ["--help"], ["hex", PROGRAM]):
            done = subprocess.run(
                ["sh", "-c", 'exec "$0" "$@" >&-', PROGRAM, *arguments], capture_output=True, env=self.environment
            )
            self.assertEqual((done.returncode, done.stderr), (1, b"vantrel: standard output: Bad file descriptor\n"))

    def test_data_never_lands_in_a_file_that_took_the_place_of_closed_output(self):
        json = self.file("value.json", b'{"a": 1}')
        target = os.path.join(self.home, "value.archive")
        done = subprocess.run(
            ["sh", "-c", 'exec "$0" "$@" >&- 2>&- <&-', PROGRAM, "archive", "pack", json, "-o", target],
            env=self.environment,
        )
        self.assertEqual(done.returncode, 0)
        with open(target, "rb") as archive:
            self.assertEqual(archive.read(8), b"bplist00")

    def test_a_full_disk_is_told_once(self):
        for arguments in (["time", "now"], ["--help"], ["hex", PROGRAM], ["play", "--json", "missing.wav"]):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([PROGRAM, *arguments], stdout=full, stderr=subprocess.PIPE, env=self.environment)
            self.assertEqual((done.returncode, done.stderr.count(b"No space left")), (1, 1), arguments)


if __name__ == "__main__":
    unittest.main()
