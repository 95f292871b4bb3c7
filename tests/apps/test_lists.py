"""sort and shuffle; compared with Python's sorted."""

import collections
import random
import unittest

from support import ProgramTest


class Sort(ProgramTest):
    def test_integers_come_out_in_order(self):
        numbers = [random.randint(-(2**31), 2**31 - 1) for _ in range(20_000)]
        text = " ".join(map(str, numbers)).replace(" ", "\n\t ", 100).encode()
        self.assertEqual([int(line) for line in self.output("sort", input=text).split()], sorted(numbers))
        down = [int(line) for line in self.output("sort", "--descending", input=text).split()]
        self.assertEqual(down, sorted(numbers, reverse=True))

    def test_the_extremes_and_nothing(self):
        self.assertEqual(self.output("sort", input=b"2147483647 +1 -2147483648"), b"-2147483648\n1\n2147483647\n")
        self.assertEqual(self.output("sort", input=b" \n"), b"")

    def test_ordered_input_is_as_quick_as_any(self):
        text = "\n".join(map(str, range(300_000))).encode()
        self.assertEqual(self.output("sort", "--descending", input=text).split(), text.split()[::-1])

    def test_what_is_no_32_bit_integer_fails(self):
        for word in ("2147483648", "-2147483649", "x", "1.5", "1,2", "+-1", "0x10", "-"):
            self.assertIn(word, self.assert_fails(1, "sort", input=f"1 {word} 2".encode()))


class Shuffle(ProgramTest):
    def test_every_line_comes_out_once(self):
        lines = [b"a", b"a", b"", b"\xff\xfe", "é".encode(), *[str(n).encode() for n in range(500)]]
        shuffled = self.output("shuffle", input=b"\n".join(lines)).split(b"\n")
        self.assertEqual(shuffled.pop(), b"")
        self.assertEqual(collections.Counter(shuffled), collections.Counter(lines))
        self.assertNotEqual(shuffled, lines)

    def test_a_file_and_nothing(self):
        self.assertEqual(self.output("shuffle", self.file("one", b"only")), b"only\n")
        self.assertEqual(self.output("shuffle"), b"")
        self.assert_fails(1, "shuffle", "/nonexistent")


if __name__ == "__main__":
    unittest.main()
