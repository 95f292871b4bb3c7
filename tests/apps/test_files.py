"""files and url; compared with Python's os and urllib."""

import json
import os
import urllib.parse

from support import ProgramTest


class Files(ProgramTest):
    def test_tree_lists_every_path_in_name_order(self):
        for name in ("t/b/2.txt", "t/b/1.txt", "t/b c/3.txt", "t/a.txt", "t/.hidden", "\udcff/\udcff"):
            self.file(name)
        os.symlink("..", os.path.join(self.home, "t", "loop"))
        below = [b".hidden", b"a.txt", b"b", b"b/1.txt", b"b/2.txt", b"b c", b"b c/3.txt", b"loop"]
        for folder, names in (("t", below), ("\udcff", [b"\xff"])):
            folder = os.path.join(self.home, folder)
            self.assertEqual(self.output("files", "tree", folder).split(b"\n")[:-1], names)
            told = json.loads(self.text("files", "tree", folder, "--json"))
            self.assertEqual(told, [{"hex": "ff"} if name == b"\xff" else name.decode() for name in names])

    def test_sizes(self):
        path = self.file("three", b"abc")
        self.gives((f"files sizeof {path}", "3"), (f"files sizeof {self.file('empty')}", "0"))
        self.assertEqual(json.loads(self.text("files", "sizeof", path, "--json")), {"bytes": 3, "text": "0.00Kb"})
        for count, text in [("1572864", "1.50Mb"), ("500", "0.49Kb"), ("-2048", "-2.00Kb"), (str(2**50), "-1")]:
            self.gives((f"files size {count}", text))

    def test_bad_input(self):
        missing = os.path.join(self.home, "missing")
        for command in (f"tree {self.file('f')}", f"tree {missing}", f"sizeof {missing}"):
            self.refuses(1, ("files " + command, ""))
        for count in ("''", "1.5", "many", str(2**63)):
            self.refuses(2, ("files size " + count, ""))


class Urls(ProgramTest):
    def test_encoding_is_that_of_a_query(self):
        for text in ("a b?x=1&y=é", "50%", "http://host:80/a/b.mp3", "#[]{}|\\^`\"<>", "你好", "!$&'()*+,-./:;=?@_~"):
            encoded = urllib.parse.quote(text, safe="!$&'()*+,-./:;=?@_~")
            self.assertEqual(self.text("url", "encode", text), encoded)
            self.assertEqual(self.text("url", "decode", encoded), text)
        self.refuses(1, *[(f"url decode {text}", "") for text in ("%", "a%2", "%zz", "%ff")])
