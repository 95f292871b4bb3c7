#!/usr/bin/env python3
"""Writes start corpora for the fuzz targets plist, xmlplist and archive, below the folder that is named."""
import datetime
import pathlib
import plistlib
import sys

UID = plistlib.UID


def instance(name, **fields):
    return {"$class": name, **{key.replace("_", "."): value for key, value in fields.items()}}


def archive(*objects):
    """An archive of these objects; classes are given by name and added behind."""
    names = sorted({o["$class"] for o in objects if isinstance(o, dict)})
    place = {name: UID(1 + len(objects) + i) for i, name in enumerate(names)}
    kept = [{**o, "$class": place[o["$class"]]} if isinstance(o, dict) else o for o in objects]
    classes = [{"$classname": name, "$classes": [name, "NSObject"]} for name in names]
    return {
        "$version": 100000,
        "$archiver": "NSKeyedArchiver",
        "$top": {"Some Key Value": UID(1)},
        "$objects": ["$null", *kept, *classes],
    }


PLISTS = [
    True, 0, -1, 2**31, 2**64 - 1, 0.5, "text", "ü€𝄞", b"data", [], {}, UID(1),
    datetime.datetime(2024, 2, 29),
    [1, "a", [2.5, ["a", True]], {"a": b""}],
    {"a": {"b": {"c": [False, "ü"]}}, "long": "x" * 20, "many": list(range(20))},
]
ARCHIVES = [
    archive("text"),
    archive(instance("NSDictionary", NS_keys=[UID(2)], NS_objects=[UID(3)]), "key", 7),
    archive(instance("NSMutableArray", NS_objects=[UID(2), UID(2), UID(3), UID(0)]), "a", instance("NSNull")),
    archive(instance("NSSet", NS_objects=[UID(2), UID(3)]), instance("NSString", NS_string="s"), 0.5),
    archive(instance("NSArray", NS_objects=[UID(2), UID(3)]), instance("NSData", NS_data=b"d"),
            instance("NSDate", NS_time=1.5)),
]



def binary(value):
    return plistlib.dumps(value, fmt=plistlib.FMT_BINARY)


def inside_xml(value):
    """The XML form without what the target puts around it."""
    text = plistlib.dumps(value, fmt=plistlib.FMT_XML)
    return text[text.index(b">", text.index(b"<plist")) + 1:text.rindex(b"</plist>")]


XML = [value for value in PLISTS if not isinstance(value, UID)]

CORPORA = (("plist", PLISTS, binary), ("xmlplist", XML, inside_xml), ("archive", ARCHIVES, binary))
for kind, seeds, dump in CORPORA:
    folder = pathlib.Path(sys.argv[1]) / kind
    folder.mkdir(parents=True, exist_ok=True)
    for number, seed in enumerate(seeds):
        (folder / str(number)).write_bytes(dump(seed))
