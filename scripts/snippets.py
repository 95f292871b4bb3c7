#!/usr/bin/env python3
"""The code in the guide, the README and the comments of the public headers.

  snippets.py generate OUT    sources for the build: one of each document's fragments, one of each whole program
  snippets.py run OUT BIN     runs what prints and compares with the comments beside; also what asserts

Code in a header's comment is a paragraph that is indented and has a semicolon. A fragment becomes a function
that sees all public headers, <iostream> and tests/docs/helpers.inc (helpers_c.inc in C), where what it does not
say itself is."""
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
COMMENT = re.compile(r"\s*(?:///|/\*+| \*)(?!/)(?: (.*))?$")
PRINTS = re.compile(r"(?:<<|printf|puts).*\s// (.+)$")


def documents():
    headers = [path for path in sorted((ROOT / "vantrel").rglob("*.h"))
               if "detail" not in path.parts and path.name != "HighwayTargets.h"]
    return [ROOT / "README.md", *sorted((ROOT / "docs/guide").glob("*.md")), *headers]


def is_c(header):
    return "#pragma once" not in header


def blocks_of_header(lines):
    """First and last line (from 0) of each indented paragraph in a comment."""
    found, start, before = [], None, ""
    for number, line in enumerate([*lines, ""]):
        comment = COMMENT.match(line)
        text = (comment.group(1) or "") if comment else "none"
        if start is None and text.startswith("  ") and before == "":
            start = number
        elif start is not None and text and not text.startswith("  "):
            last = max(at for at in range(start, number) if COMMENT.match(lines[at]).group(1))
            found.append((start, last))
            start = None
        before = text if comment else ""
    return found


def blocks(path):
    """Language, number of the first line and code of each piece of code in a document."""
    text = path.read_text(encoding="utf-8")
    lines = text.splitlines()
    if path.suffix == ".h":
        language = "c" if is_c(text) else "cpp"
        for first, last in blocks_of_header(lines):
            code = [COMMENT.match(line).group(1) or "" for line in lines[first:last + 1]]
            if any(";" in line for line in code):
                yield language, first + 1, "\n".join(code)
        return
    for fence in re.finditer(r"^```(cpp|c)\n(.*?)^```", text, re.M | re.S):
        yield fence.group(1), text[:fence.start()].count("\n") + 2, fence.group(2)


def source_of_fragments(path, language, pieces):
    text = '#include "all.h"\n' if language == "cpp" else '#include "all_c.h"\n'
    for number, code in pieces:
        includes = re.findall(r"^#include .*$", code, re.M)
        code = re.sub(r"^#include .*$", "", code, flags=re.M)
        body = f'#line {number} "{path}"\n{code}\n'
        name = f"{re.sub(r'[^A-Za-z0-9]', '_', path.stem)}_{number}"
        text += "\n".join(includes) + "\n"
        if language == "c":
            text += f"bool {name}(void);\nbool {name}(void) {{\n{body}return true;\n}}\n"
        else:
            text += f'namespace {name} {{\n#include "helpers.inc"\nauto run() {{\n{body}}}\n}}\n'
            text += f'const Fragment fragment_{name}("{name}", [] {{ {name}::run(); }});\n'
        yield name, code
    yield None, text


def generate(out):
    out.mkdir(parents=True, exist_ok=True)
    for old in out.glob("*.c*"):
        old.unlink()
    manifest = {}

    def note(program, code):
        told = "".join(text + "\n" for line in code.splitlines() for text in PRINTS.findall(line))
        if told or "assert(" in code:
            manifest[program] = told

    for path in documents():
        fragments = {"cpp": [], "c": []}
        for language, number, code in blocks(path):
            if "int main(" in code:
                name = f"program_{path.stem.replace('-', '_')}_{number}"
                (out / f"{name}.{language}").write_text(f'#line {number} "{path}"\n{code}')
                note(name, code)
            else:
                fragments[language].append((number, code))
        for language, pieces in fragments.items():
            *named, (_, text) = source_of_fragments(path, language, pieces)
            if named:
                stem = "_".join(path.relative_to(ROOT).with_suffix("").parts)
                (out / f"fragments_{stem}.{language}").write_text(text)
            if language == "cpp":
                for name, code in named:
                    note(name, code)
    headers = {True: "", False: ""}
    for path in documents():
        if path.suffix == ".h":
            headers[is_c(path.read_text(encoding="utf-8"))] += f'#include "{path.relative_to(ROOT)}"\n'
    (out / "public_c.inc").write_text(headers[True])
    (out / "public.inc").write_text(headers[True] + headers[False])
    (out / "manifest.json").write_text(json.dumps(manifest))


def run(out, programs):
    failures = 0
    manifest = json.loads((out / "manifest.json").read_text())
    for name, told in manifest.items():
        command = [programs / name] if name.startswith("program_") else [programs / "fragments", name]
        done = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
        if done.returncode != 0 or done.stdout != told:
            failures += 1
            print(f"{name} ends with {done.returncode} and prints\n{done.stdout}{done.stderr}")
            print(f"in place of\n{told}")
    print(f"{len(manifest)} pieces of code run, {failures} not as their comments say")
    return 1 if failures or not manifest else 0


if __name__ == "__main__":
    if sys.argv[1] == "generate":
        generate(pathlib.Path(sys.argv[2]))
    else:
        sys.exit(run(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])))
