#!/usr/bin/env python3
"""docs_filter.py HEADER: the header as Doxygen is to read it. Indented paragraphs are marked as code, and the
plain comments of C headers as documentation."""
import pathlib
import re
import sys

from snippets import blocks_of_header, is_c

lines = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8").splitlines()
for first, last in blocks_of_header(lines):
    kind = ".cpp" if any(";" in line for line in lines[first:last + 1]) else ".unparsed"
    mark = re.match(r"\s*(///| \*)", lines[first]).group(0)
    lines[first - 1] += f"\n{mark} @code{{{kind}}}"
    lines[last] += f"\n{mark} @endcode"
text = "\n".join(lines) + "\n"
# What the language wants to be told about a class is no class of ours.
text = re.sub(r"^template <>\nstruct std::[^{]*\{[^}]*\};\n", "", text, flags=re.M)
if is_c(text):
    text = re.sub(r"^/\* ", "/** ", text, flags=re.M).replace("/** ", "/** @file\n * ", 1)
    text = re.sub(r"(?<=[;,\d]) +/\* (?=[^\n]*\*/)", " /**< ", text)
sys.stdout.write(text)
