"""sort and shuffle; compared with Python's sorted."""

import collections
import random

from support import ProgramTest


class Sort(ProgramTest):
    def test_integers_come_out_in_order(self):
        for numbers in ([random.randint(-(2**31), 2**31 - 1) for _ in range(20_000)], range(300_000)):
            text = " ".join(map(str, numbers)).replace(" ", "\n\t ", 100).encode()
            self.assertEqual([int(line) for line in self.output("sort", input=text).split()], sorted(numbers))
            down = [int(line) for line in self.output("sort", "--descending", input=text).split()]
            self.assertEqual(down, sorted(numbers, reverse=True))
        self.gives(("sort", "-2147483648\n1\n2147483647", b"2147483647 +1 -2147483648"))
        self.assertEqual(self.output("sort", input=b" \n"), b"")

    def test_what_is_no_32_bit_integer_fails(self):
        for word in ("2147483648", "-2147483649", "x", "1.5", "1,2", "+-1", "0x10", "-"):
            self.refuses(1, ("sort", word, f"1 {word} 2".encode()))


class Shuffle(ProgramTest):
    def test_every_line_comes_out_once(self):
        lines = [b"a", b"a", b"", b"\xff\xfe", "é".encode(), *[str(n).encode() for n in range(500)]]
        shuffled = self.output("shuffle", input=b"\n".join(lines)).split(b"\n")
        self.assertEqual(shuffled.pop(), b"")
        self.assertEqual(collections.Counter(shuffled), collections.Counter(lines))
        self.assertNotEqual(shuffled, lines)
        self.gives((f"shuffle {self.file('one', b'only')}", "only"))
        self.assertEqual(self.output("shuffle"), b"")
        self.refuses(1, ("shuffle /nonexistent", "No such file"))
