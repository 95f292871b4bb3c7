"""crc16, crc32, aes, md5, gzip, gunzip; compared with openssl, gzip and Python's zlib, binascii and hmac."""

import binascii
import gzip
import hashlib
import hmac
import os
import subprocess
import zlib

from support import PROGRAM, SANITIZED, ProgramTest

KEY = "000102030405060708090a0b0c0d0e0f"
SIZES = (0, 16, 65535, 65536, 1_000_003)
FOUR_GIB = 1 << 32


def run(*command, input=b""):
    return subprocess.run(command, input=input, capture_output=True, check=True).stdout


def openssl(direction, data):
    return run("openssl", "enc", "-aes-128-ecb", direction, "-nopad", "-K", KEY, input=data)


def stun_crc(data):
    return zlib.crc32(data) ^ 0x5354554E


def wordy(size):
    return (b"a stream of the bytes in a window of some length\n" * (size // 49 + 1))[:size]


class CodecTest(ProgramTest):
    def sparse(self, name, size):
        path = self.file(name)
        os.truncate(path, size)
        return path

    def peak(self, status, *arguments):
        """The most memory, in MiB, that a run took which ends with this status, and its message."""
        with subprocess.Popen([PROGRAM, *arguments], env=self.environment, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE) as process:
            message = process.stderr.read().decode()
            _, ended, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(ended)
        self.assertEqual(process.returncode, status)
        return 0 if SANITIZED else usage.ru_maxrss >> 10, message

    def assert_makes(self, expected, *command, data):
        """The command, whose input these data are, writes these bytes into a file and to standard output."""
        out = self.path("out")
        self.assertEqual(self.output(*command, self.file("data", data), "-o", out), b"")
        self.assertEqual(self.contents(out), expected)
        self.assertEqual(self.output(*command, "-o", "-", input=data), expected)
        self.assertEqual(self.output(*command, "-", "-o", "-", input=data), expected)

    def assert_home_holds(self, *names):
        self.assertEqual(sorted(os.listdir(self.home)), sorted(names))


class Checksums(CodecTest):
    def test_they_are_those_of_xmodem_and_of_zlib_for_stun(self):
        for size in SIZES:
            data = os.urandom(size)
            path = self.file("data", data)
            for command, sum in (("crc16", f"{binascii.crc_hqx(data, 0):04x}"), ("crc32", f"{stun_crc(data):08x}")):
                self.gives((f"{command} {path}", sum), (command, sum, data), (command + " -", sum, data))
        for path, told in (("/nonexistent", "No such file"), (self.home, "Is a directory")):
            self.refuses(1, (f"crc16 {path}", told), (f"crc32 {path}", told))
        self.gives(("crc32", "98a06c68", b"123456789"))

    def test_crc16_begins_anywhere(self):
        data = os.urandom(70_000)
        for start in ("0", "1", "ffff", "1D0F", "0xABc", "0X00ff"):
            self.gives((f"crc16 --start {start}", f"{binascii.crc_hqx(data, int(start, 16)):04x}", data))
        self.gives(("crc16 --start ffff", "29b1", b"123456789"), ("crc16 --start 12ab", "12ab"))
        for start in ("", "0x", "10000", "g", "-1", "+1", " 1", "0x0x1"):
            self.assert_fails(2, "crc16", f"--start={start}", self.file("data"))

    def test_crc32_refuses_what_its_length_cannot_count(self):
        path = self.sparse("vast", FOUR_GIB)
        self.refuses(1, (f"crc32 {path}", "4294967295"))
        with open(path, "rb") as vast:
            for offset, status, told in ((0, 1, b"standard input: too large"), (FOUR_GIB - 3, 0, b"")):
                vast.seek(offset)
                done = self.run_program("crc32", stdin=vast)
                self.assertEqual(done.returncode, status)
                self.assertIn(told, done.stderr)
        self.assertEqual(done.stdout.decode(), f"{stun_crc(bytes(3)):08x}\n")


class Md5(CodecTest):
    def test_it_is_md5_in_uppercase_and_with_a_key_hmac_in_lowercase(self):
        for text in (b"", b"abc", b"[a,b]", "grün 中文".encode(), b"x" * 100_000, b"\xff\xfe"):
            self.assertEqual(self.text("md5", "--", text), hashlib.md5(text).hexdigest().upper())
        for key in ("", "Jefe", "k" * 64, "k" * 65, "k" * 1000, "密钥"):
            digest = hmac.new(key.encode(), b"a text", "md5").hexdigest()
            self.assertEqual(self.text("md5", "a text", "--key", key), digest)
        self.refuses(2, ("md5", ""), ("md5 --key k", ""))


class Aes(CodecTest):
    def test_it_is_that_of_openssl_over_whole_blocks(self):
        for size in SIZES:
            data = os.urandom(size)
            self.assert_makes(openssl("-e", data + bytes(-size % 16)), "aes", "encrypt", "--key", KEY, data=data)
            data = data[: size // 16 * 16]
            self.assert_makes(openssl("-d", data), "aes", "decrypt", "--key", KEY.upper(), data=data)

    def test_a_file_may_be_replaced_by_its_own_result(self):
        data = os.urandom(200_000)
        path, link = self.file("data", data), self.path("link")
        os.symlink(path, link)
        for direction, file, result in (("encrypt", path, openssl("-e", data)), ("decrypt", link, data)):
            self.assertEqual(self.output("aes", direction, "--key", KEY, file, "-o", file), b"")
            self.assertEqual(self.contents(path), result)
        self.assertTrue(os.path.islink(link))
        self.assert_home_holds("data", "link")

    def test_what_is_no_whole_number_of_blocks_is_not_decrypted(self):
        out = self.file("out", b"kept")
        for size in (1, 15, 17, 65535, 65537, 131073):
            data = os.urandom(size)
            command = f"aes decrypt --key {KEY} -o {out}"
            self.refuses(1, (f"{command} {self.file('data', data)}", "blocks of 16"), (command, "blocks of 16", data))
        self.assertEqual(self.contents(out), b"kept")
        self.assert_home_holds("data", "out")

    def test_a_key_has_32_digits_and_is_never_shown(self):
        path = self.file("data", b"x" * 16)
        for key in ("", "00", KEY[:-1], KEY + "0", KEY[:-1] + "g", "0x" + KEY[2:], KEY[:-1] + " "):
            told = self.assert_fails(2, "aes", "encrypt", f"--key={key}", path, "-o", self.path("out"))
            self.assertIn("32 hexadecimal digits", told)
            self.assertNotIn(KEY[:8], told)
        for rest in (f"encrypt {path} -o out", f"encrypt --key {KEY} {path}", f"--key {KEY} {path}"):
            self.refuses(2, ("aes " + rest, ""))
        self.assert_home_holds("data")

    def test_large_files_pass_in_pieces(self):
        path = self.sparse("large", 120 << 20)
        for command in ("crc16", "aes encrypt -o /dev/null --key " + KEY, "aes decrypt -o /dev/null --key " + KEY):
            self.assertLess(self.peak(0, *command.split(), path)[0], 60)


class Gzip(CodecTest):
    def test_gzip_and_python_read_what_is_written_and_the_reverse(self):
        for data in (b"a" * 20, wordy(300_000), os.urandom(1_000_003)):
            stream = self.output("gzip", "-o", "-", input=data)
            self.assertEqual(gzip.decompress(stream), data)
            self.assert_makes(stream, "gzip", data=data)
            self.assertEqual(run("gzip", "-dc", self.path("out")), data)
        for data in (b"", wordy(300_000), os.urandom(100_000)):
            more = gzip.compress(data) + gzip.compress(wordy(50)) + b"rest"  # the first member counts
            for stream in (run("gzip", "-1", "-c", input=data), more, zlib.compress(data, 9)):
                self.assert_makes(data, "gunzip", data=stream)

    def test_damaged_streams_leave_no_file(self):
        whole = gzip.compress(wordy(3000))
        raw = zlib.compressobj(9, zlib.DEFLATED, -15)
        for stream in (whole[:-1], whole[:20], whole[:-8] + b"\0" + whole[-7:], whole[:-1] + b"\1",
                       raw.compress(wordy(3000)) + raw.flush(), b"x" * 100):
            self.refuses(1, (f"gunzip {self.file('in', stream)} -o {self.path('out')}", "no sound gzip"))
        self.assert_home_holds("in")

    def test_what_cannot_be_compressed_is_told(self):
        out = "-o " + self.path("out")
        for data, reason in ((b"", "empty"), (os.urandom(100), "too short")):
            path = self.file("in", data)
            self.refuses(1, (f"gzip {path} {out}", reason), ("gzip -o -", "standard input", data))
        self.refuses(1, ("gunzip " + out, "empty"))
        vast = self.sparse("vast", FOUR_GIB)
        for command in ("gzip", "gunzip"):
            self.refuses(1, (f"{command} {vast} {out}", "vast: too large: more than 4294967295 bytes"))
        self.assert_home_holds("in", "vast")

    def test_a_limit_is_kept(self):
        stream = gzip.compress(bytes(1_000_000))
        self.assertEqual(self.output("gunzip", "--limit", "1000000", "-o", "-", input=stream), bytes(1_000_000))
        self.refuses(1, ("gunzip --limit 999999 -o -", "999999 bytes", stream))
        self.refuses(2, *[(f"gunzip --limit={limit} -o -", "", stream) for limit in ("-1", "x", "1.5", 1 << 64)])

    def test_a_bomb_of_four_gibibytes_takes_no_more_than_the_limit(self):
        packer = zlib.compressobj(9, zlib.DEFLATED, -15)
        piece = packer.compress(bytes(1 << 20)) + packer.flush(zlib.Z_FULL_FLUSH)
        path = self.file("bomb.gz", b"\x1f\x8b\x08\0\0\0\0\0\0\x03" + piece * 4096 + b"\x03\0" + bytes(8))
        for limit, most, told in ((["--limit", str(100 << 20)], 200, "104857600"), ([], 1200, "1073741824")):
            peak, message = self.peak(1, "gunzip", *limit, path, "-o", self.path("out"))
            self.assertLess(peak, most)
            self.assertIn(told, message)
        self.assert_home_holds("bomb.gz")


class Outputs(CodecTest):
    def test_what_cannot_be_written_is_told(self):
        path = self.file("data", wordy(300_000))
        stream = self.file("data.gz", gzip.compress(wordy(300_000)))
        for command, data in (("gzip", path), ("gunzip", stream), (f"aes encrypt --key {KEY}", path)):
            for out, reason in ((self.path("no/such/folder"), "No such file"), (self.home, "Is a directory"),
                                ("/dev/full", "No space left"), (path + "/below", "Not a directory")):
                self.refuses(1, (f"{command} {data} -o {out}", f"{out}: {reason}"))
            self.refuses(1, (f"{command} /nonexistent -o {self.path('out')}", "No such file"))
        self.assert_home_holds("data", "data.gz")
