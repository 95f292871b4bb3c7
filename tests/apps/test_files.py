"""files and url; compared with Python's os and urllib."""

import json
import os
import unittest
import urllib.parse

from support import ProgramTest


class Files(ProgramTest):
    def test_tree_lists_every_path_in_name_order(self):
        for name in ("t/b/2.txt", "t/b/1.txt", "t/b c/3.txt", "t/a.txt", "t/.hidden"):
            self.file(name)
        os.symlink("..", os.path.join(self.home, "t", "loop"))
        expected = [".hidden", "a.txt", "b", "b/1.txt", "b/2.txt", "b c", "b c/3.txt", "loop"]
        folder = os.path.join(self.home, "t")
        self.assertEqual(self.text("files", "tree", folder).splitlines(), expected)
        self.assertEqual(json.loads(self.text("files", "tree", folder, "--json")), expected)

    def test_names_that_are_not_utf8_are_given_as_their_bytes(self):
        self.file("t/ok")
        self.file(b"t/\xff".decode(errors="surrogateescape"))
        folder = os.path.join(self.home, "t")
        self.assertEqual(json.loads(self.text("files", "tree", folder, "--json")), ["ok", {"hex": "ff"}])
        self.assertEqual(self.output("files", "tree", folder), b"ok\n\xff\n")

    def test_tree_of_what_is_no_folder_fails(self):
        self.assert_fails(1, "files", "tree", self.file("f"))
        self.assert_fails(1, "files", "tree", os.path.join(self.home, "missing"))

    def test_sizes(self):
        path = self.file("three", b"abc")
        self.assertEqual(self.text("files", "sizeof", path), "3")
        self.assertEqual(json.loads(self.text("files", "sizeof", path, "--json")), {"bytes": 3, "text": "0.00Kb"})
        self.assertEqual(self.text("files", "sizeof", self.file("empty")), "0")
        for count, text in [("1572864", "1.50Mb"), ("500", "0.49Kb"), ("-2048", "-2.00Kb"), (str(2**50), "-1")]:
            self.assertEqual(self.text("files", "size", count), text)

    def test_bad_input(self):
        self.assert_fails(1, "files", "sizeof", os.path.join(self.home, "missing"))
        for count in ("", "1.5", "many", str(2**63)):
            self.assert_fails(2, "files", "size", count)


class Urls(ProgramTest):
    def test_encoding_is_that_of_a_query(self):
        for text in ("a b?x=1&y=é", "50%", "http://host:80/a/b.mp3", "#[]{}|\\^`\"<>", "你好", "!$&'()*+,-./:;=?@_~"):
            encoded = urllib.parse.quote(text, safe="!$&'()*+,-./:;=?@_~")
            self.assertEqual(self.text("url", "encode", text), encoded)
            self.assertEqual(self.text("url", "decode", encoded), text)

    def test_an_invalid_sequence_fails(self):
        for text in ("%", "a%2", "%zz", "%ff"):
            self.assert_fails(1, "url", "decode", text)


if __name__ == "__main__":
    unittest.main()
