"""hex, unhex, int, toint, text; compared with Python's own conversions and xxd."""

import os
import subprocess

from support import ProgramTest


class Bytes(ProgramTest):
    def test_hex_and_unhex_are_what_xxd_says(self):
        for size in (0, 1, 65536, 65537, 3_000_000):
            data = os.urandom(size)
            path = self.file("data", data)
            lines = subprocess.run(["xxd", "-p", path], capture_output=True, check=True).stdout
            for arguments in ([path], [], ["-"]):
                self.assertEqual(self.output("hex", *arguments, input=data), lines.replace(b"\n", b"") + b"\n")
            self.assertEqual(self.output("unhex", "-", input=lines), data)
            self.assertEqual(self.output("unhex", input=data.hex().encode() + b"\n"), data)
        self.refuses(1, ("hex /nonexistent", "No such file"), (f"hex {self.home}", "Is a directory"))

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
        self.assertIn(b"character 140001", self.run_program("unhex", input=b"41" * 70_000 + b"x").stderr)

    def test_numbers_are_written_and_read_as_bytes(self):
        for bits, value in [(8, 0), (8, 255), (16, 0x1234), (16, 65535), (32, 0x12345678), (32, 0xFFFFFFFF)]:
            for flag, order in (("", "little"), ("--big", "big")):
                written = value.to_bytes(bits // 8, order).hex()
                self.gives(*[(f"int {text} --bits {bits} {flag}", written) for text in (value, hex(value))])
        for text in ("00", "0100", "ffffffff", "80 00 00", "0123456789ab"):
            self.gives((f"toint '{text}'", str(int(text.replace(" ", ""), 16))))
        self.gives(("toint " + "ff" * 8, str(2**63 - 1)), ("toint ''", "0"))
        for value, bits in [("256", "8"), ("65536", "16"), ("4294967296", "32"), ("-1", "8"), ("1.5", "8"),
                            ("", "8"), ("0x", "8"), ("99999999999999999999", "32"), ("1", "12"), ("1", "64")]:
            self.assert_fails(2, "int", value, "--bits", bits)

    def test_text_decodes(self):
        for name, codec in [("utf8", "utf-8"), ("utf16le", "utf-16-le"), ("gb18030", "gb18030")]:
            for text in ("Hello", "你好", "é€𝄞"):
                self.gives((f"text {text.encode(codec).hex()} --encoding {name}", text))
        self.gives(("text e4bda0", "你"), ("text 41 --encoding 4", "A"), ("text 4100 --encoding 0x94000100", "A"))
        self.refuses(1, ("text ff", ""), ("text 00 --encoding utf16le", ""), ("text 41 --encoding 12345678", ""))
        self.refuses(2, ("text 41 --encoding latin", ""))
