"""hex, unhex, int, toint, text; compared with Python's own conversions and xxd."""

import os
import subprocess
import unittest

from support import ProgramTest


class Bytes(ProgramTest):
    def test_hex_is_what_xxd_prints(self):
        for size in (0, 1, 1000, 65536, 65537, 3_000_000):
            data = os.urandom(size)
            path = self.file("data", data)
            xxd = subprocess.run(["xxd", "-p", path], capture_output=True, check=True).stdout
            expected = xxd.replace(b"\n", b"") + b"\n"
            self.assertEqual(self.output("hex", path), expected)
            self.assertEqual(self.output("hex", input=data), expected)
            self.assertEqual(self.output("hex", "-", input=data), expected)

    def test_hex_of_what_cannot_be_read_fails(self):
        self.assertIn("No such file", self.assert_fails(1, "hex", "/nonexistent"))
        self.assertIn("Is a directory", self.assert_fails(1, "hex", self.home))

    def test_unhex_undoes_hex(self):
        self.assertEqual(self.output("unhex", "48 65 6C 6c6f"), b"Hello")
        self.assertEqual(self.output("unhex", ""), b"")
        for size in (1, 40_000, 200_001):
            data = os.urandom(size)
            self.assertEqual(self.output("unhex", input=data.hex().encode() + b"\n"), data)
            lines = subprocess.run(["xxd", "-p"], input=data, capture_output=True, check=True).stdout
            self.assertEqual(self.output("unhex", "-", input=lines), data)

    def test_white_space_may_stand_anywhere_in_hexadecimal_text(self):
        for run in (lambda text: self.output("unhex", text), lambda text: self.output("unhex", input=text.encode())):
            self.assertEqual(run("4\t1 42\r\n\v4\f3"), b"ABC")

    def test_what_is_no_hexadecimal_text_is_told_with_its_place(self):
        for text, place in [("xyz", 1), ("41 4z", 5), ("é1", 1), ("0x1F", 2), ("-1", 1), ("4\t11", 4), ("41\n\0", 4)]:
            for command in ("unhex", "toint", "text"):
                done = self.run_program(command, "-", input=text.encode())
                self.assertEqual((done.returncode, f" character {place}\n" in done.stderr.decode()), (1, True))
                if "\0" not in text:
                    self.assertIn(f" character {place}\n", self.assert_fails(1, command, "--", text))
        told = self.run_program("unhex", input=b"41" * 70_000 + b"x").stderr
        self.assertIn(b"character 140001", told)

    def test_int_writes_the_bytes_of_a_number(self):
        for bits, value in [(8, 0), (8, 255), (16, 0x1234), (16, 65535), (32, 0x12345678), (32, 0xFFFFFFFF)]:
            for flags, order in [([], "little"), (["--big"], "big")]:
                expected = value.to_bytes(bits // 8, order).hex()
                self.assertEqual(self.text("int", str(value), "--bits", str(bits), *flags), expected)
                self.assertEqual(self.text("int", hex(value), "--bits", str(bits), *flags), expected)

    def test_int_refuses_what_does_not_fit(self):
        for value, bits in [("256", "8"), ("65536", "16"), ("4294967296", "32"), ("-1", "8"), ("1.5", "8"),
                            ("", "8"), ("0x", "8"), ("99999999999999999999", "32"), ("1", "12"), ("1", "64")]:
            self.assert_fails(2, "int", value, "--bits", bits)

    def test_toint_reads_most_significant_byte_first(self):
        for text in ("00", "0100", "ffffffff", "80 00 00", "0123456789ab"):
            self.assertEqual(self.text("toint", text), str(int(text.replace(" ", ""), 16)))
        self.assertEqual(self.text("toint", "ff" * 8), str(2**63 - 1))
        self.assertEqual(self.text("toint", ""), "0")

    def test_text_decodes(self):
        for name, codec in [("utf8", "utf-8"), ("utf16le", "utf-16-le"), ("gb18030", "gb18030")]:
            for text in ("Hello", "你好", "é€𝄞"):
                self.assertEqual(self.text("text", text.encode(codec).hex(), "--encoding", name), text)
        self.assertEqual(self.text("text", "你".encode().hex()), "你")
        self.assertEqual(self.text("text", "41", "--encoding", "4"), "A")
        self.assertEqual(self.text("text", "4100", "--encoding", "0x94000100"), "A")

    def test_text_that_is_not_valid_fails(self):
        self.assert_fails(1, "text", "ff")
        self.assert_fails(1, "text", "00", "--encoding", "utf16le")
        self.assert_fails(1, "text", "41", "--encoding", "12345678")
        self.assert_fails(2, "text", "41", "--encoding", "latin")


if __name__ == "__main__":
    unittest.main()
