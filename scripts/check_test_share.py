#!/usr/bin/env python3
"""Counts lines of code, without blank lines and comments, and fails when tests are too great a part of them.

    check_test_share.py [--most 0.34]

Prints for each family its own lines and those of its tests, then the share of tests/ in all code: more
tests than a third are more to read and change than they catch.
"""
import argparse
import collections
import pathlib
import re
import subprocess
import sys

FOLDERS = ("vantrel", "apps", "bench", "fuzz", "examples", "scripts", "tests")
C_FAMILY = {".h", ".cc", ".c"}
SCRIPTS = {".py", ".sh"}
# A comment, or a literal, in which what looks like a comment is none.
C_TOKENS = re.compile(r'R"(?P<end>[^(\s]*)\(.*?\)(?P=end)"|"(?:\\.|[^"\\\n])*"|/\*.*?\*/|//[^\n]*', re.DOTALL)
DOCSTRING = re.compile(r'^\s*"""(?:.*?)"""', re.DOTALL | re.MULTILINE)


def kind_of(path):
    """What a file is written in; none when it is no code."""
    if path.suffix in C_FAMILY:
        return "c"
    if path.suffix in SCRIPTS or path.parts[0] == "scripts" and not path.suffix:
        return "script"
    return None


def lines_of(path):
    text = path.read_text(encoding="utf-8")
    if kind_of(path) == "c":
        text = C_TOKENS.sub(lambda token: "" if token[0].startswith("/") else token[0], text)
        return sum(1 for line in text.splitlines() if line.strip())
    if path.suffix == ".py":
        text = DOCSTRING.sub("", text)
    return sum(1 for line in text.splitlines() if line.strip() and not line.lstrip().startswith("#"))


def main():
    arguments = argparse.ArgumentParser(description="Counts tests and code")
    arguments.add_argument("--most", type=float, default=0.34, help="the greatest share of tests")
    most = arguments.parse_args().most

    code, tests = collections.Counter(), collections.Counter()
    listing = subprocess.run(["git", "ls-files", *FOLDERS], check=True, capture_output=True, text=True)
    names = listing.stdout.splitlines()
    for path in map(pathlib.Path, names):
        if not kind_of(path):
            continue
        # vantrel/<family>/..., tests/<family>/...; every other folder is a family of its own.
        if path.parts[0] == "tests":
            tests[path.parts[1]] += lines_of(path)
        else:
            code[path.parts[1] if path.parts[0] == "vantrel" else path.parts[0]] += lines_of(path)

    print(f"{'family':<12}{'tests':>8}{'code':>8}{'tests a line':>14}")
    for family in sorted(code.keys() | tests.keys()):
        ratio = f"{tests[family] / code[family]:.2f}" if code[family] else "-"
        print(f"{family:<12}{tests[family]:>8}{code[family]:>8}{ratio:>14}")
    share = tests.total() / (tests.total() + code.total())
    print(f"{'all':<12}{tests.total():>8}{code.total():>8}\n"
          f"tests are {share:.3f} of all code, at most {most} wanted")
    sys.exit(share > most)


if __name__ == "__main__":
    main()
