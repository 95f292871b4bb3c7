#!/usr/bin/env python3
"""Checks that no room includes a header of a room that scripts/layering.txt does not name for it, that what
stands below a room's `detail` is included there alone (tests look inside), that headers of back-end
technology stay inside backends/, and that every other header of a family is a user's: it declares something
public and includes no dependency."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BACKEND_ONLY = re.compile(r"^(gst/|glib|gio/|dbus|sdbus|pulse/|SDL|taglib|curl/|AL/)")
DEPENDENCY = re.compile(r"^(gst/|glib|rapidjson/|unicode/|hwy/|openssl/|zlib\.h|CLI/)")
SIMD_ROOM = "vantrel/base/simd/"
LOOKS_INSIDE = ("tests", "bench", "fuzz")
# A namespace that is not `detail`, a function in C, or a macro beside the guard of the header.
DECLARES = re.compile(
    r"^namespace vantrel(::(?!detail)\w+)*( \{|$)|^VANTREL_EXPORT |^#define VANTREL_\w+[ (]", re.M)


def table():
    allowed = {}
    for line in (ROOT / "scripts/layering.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            room, _, others = line.partition(":")
            allowed[room] = set(others.split()) | {room}
    return allowed


def room_of(path):
    parts = path.parts
    return parts[1] if parts[0] == "vantrel" else parts[0]


def main():
    allowed, faults = table(), []
    sources = [path for top in ("vantrel", "apps", "examples", "tests", "bench", "fuzz")
               for path in sorted((ROOT / top).rglob("*")) if path.suffix in (".h", ".cc", ".c")]
    for path in sources:
        name = path.relative_to(ROOT)
        room = room_of(name)
        if room not in allowed:
            faults.append(f"{name}: room {room} is not in scripts/layering.txt")
            continue
        public = path.suffix == ".h" and name.parts[0] == "vantrel" and "detail" not in name.parts
        text = path.read_text(encoding="utf-8")
        if public and not DECLARES.search(text):
            faults.append(f"{name}: declares nothing public")
        for number, line in enumerate(text.splitlines(), 1):
            include = re.match(r'\s*#\s*include\s+[<"]([^>"]+)[>"]', line)
            if not include:
                continue
            target = include.group(1)
            where = f"{name}:{number}: includes {target}"
            ours = re.match(r"vantrel/(\w+)/", target)
            if ours and "*" not in allowed[room] and ours.group(1) not in allowed[room]:
                faults.append(f"{where}: {room} may not")
            if ours and ours.group(1) != room and "/detail/" in target and room not in LOOKS_INSIDE:
                faults.append(f"{where}: the insides of another room")
            if BACKEND_ONLY.match(target) and room not in ("backends", "tests", "bench"):
                faults.append(f"{where}: only back ends may")
            if DEPENDENCY.match(target) and public and not str(name).startswith(SIMD_ROOM) \
                    and room != "backends" and not name.name.endswith("-inl.h"):
                faults.append(f"{where}: a public header shows a dependency")
    print("\n".join(faults) or f"layering: {len(sources)} files in order")
    sys.exit(bool(faults))


main()
