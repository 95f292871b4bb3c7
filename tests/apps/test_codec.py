"""crc16, crc32, aes, md5, gzip, gunzip; compared with openssl, gzip and Python's zlib, binascii and hmac."""

import binascii
import gzip
import hashlib
import hmac
import os
import resource
import stat
import subprocess
import unittest
import zlib

from support import PROGRAM, SANITIZED, ProgramTest

KEY = "000102030405060708090a0b0c0d0e0f"
SIZES = (1, 15, 16, 17, 1000, 65535, 65536, 65537, 200_000, 1_000_003)
FOUR_GIB = 1 << 32


def openssl(direction, data):
    command = ["openssl", "enc", "-aes-128-ecb", direction, "-nopad", "-K", KEY]
    return subprocess.run(command, input=data, capture_output=True, check=True).stdout


def wordy(size):
    return (b"a stream of the bytes in a window of some length\n" * (size // 49 + 1))[:size]


class CodecTest(ProgramTest):
    def path(self, name):
        return os.path.join(self.home, name)

    def contents(self, path):
        with open(path, "rb") as file:
            return file.read()

    def sparse(self, name, size):
        path = self.file(name)
        os.truncate(path, size)
        return path

    def peak(self, status, *arguments):
        """The most memory, in MiB, that a run took which ends with this status."""
        process = subprocess.Popen(
            [PROGRAM, *arguments], env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )
        _, ended, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(ended)
        self.assertEqual(process.returncode, status)
        return 0 if SANITIZED else usage.ru_maxrss >> 10

    def assert_quiet(self, *arguments, input=b""):
        self.assertEqual(self.output(*arguments, input=input), b"")

    def assert_home_holds(self, *names):
        self.assertEqual(sorted(os.listdir(self.home)), sorted(names))


class Checksums(CodecTest):
    def test_crc16_is_that_of_xmodem(self):
        for size in (0, *SIZES):
            data = os.urandom(size)
            path = self.file("data", data)
            expected = f"{binascii.crc_hqx(data, 0):04x}"
            self.assertEqual(self.text("crc16", path), expected)
            self.assertEqual(self.text("crc16", input=data), expected)
            self.assertEqual(self.text("crc16", "-", input=data), expected)

    def test_crc16_begins_anywhere(self):
        data = os.urandom(70_000)
        for start in ("0", "1", "ffff", "1D0F", "0xABc", "0X00ff"):
            expected = f"{binascii.crc_hqx(data, int(start, 16)):04x}"
            self.assertEqual(self.text("crc16", "--start", start, input=data), expected)
        self.assertEqual(self.text("crc16", "--start", "ffff", input=b"123456789"), "29b1")
        self.assertEqual(self.text("crc16", "--start", "12ab"), "12ab")
        middle = self.text("crc16", input=data[:33_333])
        self.assertEqual(self.text("crc16", "--start", middle, input=data[33_333:]), self.text("crc16", input=data))

    def test_crc16_refuses_what_is_no_start_value(self):
        for start in ("", "0x", "10000", "g", "-1", "+1", " 1", "0x0x1"):
            self.assert_fails(2, "crc16", f"--start={start}", self.file("data"))

    def test_crc32_is_that_of_zlib_for_stun(self):
        self.assertEqual(self.text("crc32", input=b"123456789"), "98a06c68")
        for size in (0, *SIZES):
            data = os.urandom(size)
            expected = f"{zlib.crc32(data) ^ 0x5354554E:08x}"
            self.assertEqual(self.text("crc32", self.file("data", data)), expected)
            self.assertEqual(self.text("crc32", input=data), expected)

    def test_crc32_refuses_what_its_length_cannot_count(self):
        path = self.sparse("vast", FOUR_GIB)
        self.assertIn("4294967295", self.assert_fails(1, "crc32", path))
        with open(path, "rb") as vast:
            done = subprocess.run([PROGRAM, "crc32"], stdin=vast, capture_output=True, env=self.environment)
            self.assertEqual((done.returncode, done.stdout), (1, b""))
            self.assertIn(b"standard input: too large", done.stderr)
            vast.seek(FOUR_GIB - 3)
            done = subprocess.run([PROGRAM, "crc32"], stdin=vast, capture_output=True, env=self.environment)
            self.assertEqual(done.stdout.decode(), f"{zlib.crc32(bytes(3)) ^ 0x5354554E:08x}\n")

    def test_what_cannot_be_read_fails(self):
        for command in ("crc16", "crc32"):
            self.assertIn("No such file", self.assert_fails(1, command, "/nonexistent"))
            self.assertIn("Is a directory", self.assert_fails(1, command, self.home))


class Md5(CodecTest):
    def test_without_a_key_it_is_md5_in_uppercase(self):
        for text in ("", "abc", "[a,b]", "grün 中文", "x" * 100_000):
            self.assertEqual(self.text("md5", "--", text), hashlib.md5(text.encode()).hexdigest().upper())
        self.assertEqual(self.text("md5", b"\xff\xfe"), hashlib.md5(b"\xff\xfe").hexdigest().upper())

    def test_with_a_key_it_is_hmac_in_lowercase(self):
        for key in ("", "Jefe", "k" * 64, "k" * 65, "k" * 1000, "密钥"):
            expected = hmac.new(key.encode(), b"a text", "md5").hexdigest()
            self.assertEqual(self.text("md5", "a text", "--key", key), expected)

    def test_a_text_is_asked_for(self):
        self.assert_fails(2, "md5")
        self.assert_fails(2, "md5", "--key", "k")


class Aes(CodecTest):
    def test_encryption_is_that_of_openssl_over_whole_blocks(self):
        for size in (0, *SIZES):
            data = os.urandom(size)
            expected = openssl("-e", data + bytes(-size % 16))
            out = self.path("out")
            self.assert_quiet("aes", "encrypt", "--key", KEY, self.file("data", data), "-o", out)
            self.assertEqual(self.contents(out), expected)
            self.assertEqual(self.output("aes", "encrypt", "--key", KEY.upper(), "-o", "-", input=data), expected)

    def test_decryption_is_that_of_openssl(self):
        for size in (0, 16, 32, 65536, 65552, 1_000_000):
            data = os.urandom(size)
            expected = openssl("-d", data)
            out = self.path("out")
            self.assert_quiet("aes", "decrypt", "--key", KEY, self.file("data", data), "-o", out)
            self.assertEqual(self.contents(out), expected)
            self.assertEqual(self.output("aes", "decrypt", "--key", KEY, "-", "-o", "-", input=data), expected)

    def test_a_file_may_be_replaced_by_its_own_result(self):
        data = os.urandom(200_000)
        path = self.file("data", data)
        os.chmod(path, 0o640)
        os.symlink(path, self.path("link"))
        self.assert_quiet("aes", "encrypt", "--key", KEY, path, "-o", path)
        self.assertEqual(self.contents(path), openssl("-e", data))
        self.assert_quiet("aes", "decrypt", "--key", KEY, self.path("link"), "-o", self.path("link"))
        self.assertEqual(self.contents(path), data)
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o640)
        self.assert_home_holds("data", "link")

    def test_what_is_no_whole_number_of_blocks_is_not_decrypted(self):
        out = self.file("out", b"kept")
        for size in (1, 15, 17, 65535, 65537, 131073):
            data = os.urandom(size)
            told = self.assert_fails(1, "aes", "decrypt", "--key", KEY, self.file("data", data), "-o", out)
            self.assertIn("blocks of 16", told)
            told = self.assert_fails(1, "aes", "decrypt", "--key", KEY, "-o", out, input=data)
            self.assertIn("blocks of 16", told)
        self.assertEqual(self.contents(out), b"kept")
        self.assert_home_holds("data", "out")

    def test_a_key_has_32_digits_and_is_never_shown(self):
        path = self.file("data", b"x" * 16)
        for key in ("", "00", KEY[:-1], KEY + "0", KEY[:-1] + "g", "0x" + KEY[2:], KEY[:-1] + " "):
            told = self.assert_fails(2, "aes", "encrypt", f"--key={key}", path, "-o", self.path("out"))
            self.assertIn("32 hexadecimal digits", told)
            self.assertNotIn(KEY[:8], told)
        self.assert_fails(2, "aes", "encrypt", path, "-o", self.path("out"))
        self.assert_fails(2, "aes", "encrypt", "--key", KEY, path)
        self.assert_fails(2, "aes", "--key", KEY, path)
        self.assert_home_holds("data")

    def test_large_files_pass_in_pieces(self):
        path = self.sparse("large", 200 << 20)
        for command in (["crc16"], ["aes", "encrypt", "--key", KEY], ["aes", "decrypt", "--key", KEY]):
            out = ["-o", "/dev/null"] if command[0] == "aes" else []
            self.assertLess(self.peak(0, *command, path, *out), 100)


class Gzip(CodecTest):
    def test_gzip_and_python_read_what_is_written(self):
        for data in (b"a" * 20, bytes(1000), wordy(300_000), os.urandom(300), os.urandom(1_000_003)):
            out = self.path("out.gz")
            self.assert_quiet("gzip", self.file("data", data), "-o", out)
            read = subprocess.run(["gzip", "-dc", out], capture_output=True, check=True).stdout
            self.assertEqual(read, data)
            stream = self.output("gzip", "-o", "-", input=data)
            self.assertEqual(gzip.decompress(stream), data)
            self.assertEqual(stream, self.contents(out))

    def test_what_gzip_and_python_write_is_read(self):
        for data in (b"", b"a", bytes(1_000_000), wordy(300_000), os.urandom(100_000)):
            path = self.file("data", data)
            for level in ("-1", "-6", "-9"):
                stream = subprocess.run(["gzip", level, "-c", path], capture_output=True, check=True).stdout
                self.assert_quiet("gunzip", self.file("data.gz", stream), "-o", self.path("out"))
                self.assertEqual(self.contents(self.path("out")), data)
            for level in (0, 1, 9):
                self.assertEqual(self.output("gunzip", "-o", "-", input=zlib.compress(data, level)), data)
                self.assertEqual(self.output("gunzip", "-", "-o", "-", input=gzip.compress(data, level)), data)

    def test_the_first_member_counts(self):
        stream = gzip.compress(wordy(1000)) + gzip.compress(wordy(50)) + b"rest"
        self.assertEqual(self.output("gunzip", "-o", "-", input=stream), wordy(1000))

    def test_damaged_streams_leave_no_file(self):
        whole = gzip.compress(wordy(3000))
        raw = zlib.compressobj(9, zlib.DEFLATED, -15)
        streams = [
            whole[:-1], whole[:20], whole[:-8] + b"\0" + whole[-7:], whole[:-1] + b"\1", b"x" * 100,
            raw.compress(wordy(3000)) + raw.flush(),
        ]
        for stream in streams:
            out = self.path("out")
            self.assertIn("no sound gzip", self.assert_fails(1, "gunzip", self.file("in", stream), "-o", out))
        self.assert_home_holds("in")

    def test_what_cannot_be_compressed_is_told(self):
        for data, reason in ((b"", "empty"), (os.urandom(100), "too short")):
            told = self.assert_fails(1, "gzip", self.file("in", data), "-o", self.path("out"))
            self.assertIn(reason, told)
            self.assertEqual(told.count("\n"), 1)
            self.assertIn("standard input", self.assert_fails(1, "gzip", "-o", "-", input=data))
        self.assertIn("empty", self.assert_fails(1, "gunzip", "-o", self.path("out")))
        self.assert_home_holds("in")

    def test_four_gibibytes_are_refused_before_they_are_read(self):
        path = self.sparse("vast", FOUR_GIB)
        for command in ("gzip", "gunzip"):
            told = self.assert_fails(1, command, path, "-o", self.path("out"))
            self.assertIn("vast: too large: more than 4294967295 bytes", told)
        self.assert_home_holds("vast")

    def test_a_limit_is_kept(self):
        stream = gzip.compress(bytes(1_000_000))
        self.assertEqual(self.output("gunzip", "--limit", "1000000", "-o", "-", input=stream), bytes(1_000_000))
        self.assertIn("999999 bytes", self.assert_fails(1, "gunzip", "--limit", "999999", "-o", "-", input=stream))
        for limit in ("-1", "x", "1.5", str(1 << 64)):
            self.assert_fails(2, "gunzip", f"--limit={limit}", "-o", "-", input=stream)

    def test_a_bomb_of_four_gibibytes_takes_no_more_than_the_limit(self):
        packer = zlib.compressobj(9, zlib.DEFLATED, -15)
        piece = packer.compress(bytes(1 << 20)) + packer.flush(zlib.Z_FULL_FLUSH)
        bomb = b"\x1f\x8b\x08\0\0\0\0\0\0\x03" + piece * 4096 + b"\x03\0"
        path = self.file("bomb.gz", bomb + bytes(8))
        out = ["-o", self.path("out")]
        self.assertLess(self.peak(1, "gunzip", "--limit", str(100 << 20), path, *out), 200)
        self.assertLess(self.peak(1, "gunzip", path, *out), 1200)
        self.assertIn("1073741824", self.assert_fails(1, "gunzip", path, *out))
        self.assert_home_holds("bomb.gz")


class Outputs(CodecTest):
    def test_what_cannot_be_written_is_told(self):
        path = self.file("data", wordy(300_000))
        stream = self.file("data.gz", gzip.compress(wordy(300_000)))
        commands = (("gzip", path), ("gunzip", stream), ("aes", "encrypt", "--key", KEY, path))
        for command in commands:
            for out, reason in (
                (self.path("no/such/folder"), "No such file"),
                (self.home, "Is a directory"),
                ("/dev/full", "No space left"),
                (path + "/below", "Not a directory"),
            ):
                told = self.assert_fails(1, *command, "-o", out)
                self.assertIn(f"{out}: {reason}", told)
            self.assertIn("No such file", self.assert_fails(1, *command[:-1], "/nonexistent", "-o", self.path("out")))
        self.assert_home_holds("data", "data.gz")

    def test_a_file_that_is_new_has_the_usual_rights(self):
        for mask, mode in ((0o022, 0o644), (0o077, 0o600)):
            out = self.path(f"out{mask}")
            subprocess.run(
                [PROGRAM, "gzip", "-o", out], input=wordy(500), env=self.environment, check=True,
                preexec_fn=lambda: os.umask(mask),
            )
            self.assertEqual(stat.S_IMODE(os.stat(out).st_mode), mode)

    def test_the_help_says_what_is_not_as_one_might_think(self):
        for command, word in ((["crc32"], "5354554e"), (["aes", "encrypt"], "zero bytes"),
                              (["aes", "decrypt"], "multiple of 16"), (["gunzip"], "first")):
            text = self.text(*command, "--help")
            self.assertTrue(text.startswith("Examples:\n  vantrel " + " ".join(command)), text)
            self.assertIn(word, text)


if __name__ == "__main__":
    unittest.main()
