"""json, archive, settings; compared with Python's json and plistlib."""

import datetime
import json
import plistlib

from support import ProgramTest

VALUE = {"title": "Entrée", "tracks": [1, 2.5, True, "x"], "tags": {"year": 1811}, "big": 2**63 - 1}


class Json(ProgramTest):
    def test_it_prints_the_same_value_one_member_a_line(self):
        for value in (VALUE, [1, [2]], {}, [], "text", 5, None, True):
            printed = self.text("json", input=json.dumps(value).encode())
            self.assertEqual(json.loads(printed), value)
        self.assertEqual(len(self.text("json", self.file("v.json", b'{"a":[1,2],"b":{}}')).splitlines()), 7)

    def test_what_is_not_json_fails(self):
        for text in (b"abc", b"", b"{", b'{"a":1}x', b'"\xff"', b"[1,]"):
            self.refuses(1, ("json", "standard input: line 1, column ", text))
        bad = self.file("notes.json", b'{"a": 1,\n "bcdefghi": }')
        self.refuses(1, (f"json {bad}", f"vantrel: {bad}: line 2, column 14: expected a value\n"), ("json /missing", ""))


class Archive(ProgramTest):
    def test_packing_and_unpacking_give_the_value_back(self):
        target = self.path("value.archive")
        for value in (VALUE, None):
            given = json.dumps(value).encode()
            packed = self.output("archive", "pack", "-o", "-", input=given)
            self.output("archive", "pack", self.file("value.json", given), "-o", target)
            for unpacked in (self.text("archive", "unpack", input=packed), self.text("archive", "unpack", target)):
                self.assertEqual(json.loads(unpacked), value)
            archive = plistlib.loads(packed)
            self.assertEqual((archive["$archiver"], archive["$version"]), ("NSKeyedArchiver", 100000))
            self.assertEqual(list(archive["$top"]), ["Some Key Value"])

    def test_dates_and_bytes_are_shown_as_text(self):
        uid = plistlib.UID
        dates = {0.5: "2001-01-01T00:00:00.500000Z", 802828800.123457: "2026-06-11T00:00:00.123457Z",
                 59.9999999: "2001-01-01T00:01:00Z", -0.25: "2000-12-31T23:59:59.750000Z",
                 0.1: "2001-01-01T00:00:00.100000Z", 0.0: "2001-01-01T00:00:00Z"}
        objects = ["$null", {"$class": uid(2), "NS.objects": [uid(4)]}]
        objects += [{"$classname": name, "$classes": [name, "NSObject"]} for name in ("NSArray", "NSDate")]
        objects += [b"\x01\xab"]
        for seconds in dates:
            objects[1]["NS.objects"].append(uid(len(objects)))
            objects.append({"$class": uid(3), "NS.time": seconds})
        archive = {"$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"Some Key Value": uid(1)},
                   "$objects": objects}
        path = self.file("dates.archive", plistlib.dumps(archive, fmt=plistlib.FMT_BINARY))
        self.assertEqual(json.loads(self.text("archive", "unpack", path)), ["01ab", *dates.values()])

    def test_failures_are_told(self):
        good, bad = self.file("good.json", b"{}"), self.file("bad.json", b"{")
        for rest in (f"unpack {good}", "unpack /missing", f"pack {bad} -o -", f"pack {good} -o /no/folder"):
            self.refuses(1, ("archive " + rest, ""))


class Settings(ProgramTest):
    def stored(self, application="vantrel"):
        return plistlib.loads(self.contents(self.path(f"config/{application}/settings.plist")))

    def test_values_are_json_and_any_other_text_is_itself(self):
        for text, value in [("0.5", 0.5), ("true", True), ('{"a":[1]}', {"a": [1]}), ("Ada", "Ada"), ('"5"', "5"),
                            ("-3", -3), ("[a]", "[a]"), ("", "")]:
            self.output("settings", "set", "key", "--", text)
            self.assertEqual(self.stored()["key"], value)
            self.assertEqual(json.loads(self.text("settings", "get", "key", "--json")), value)
            plain = self.text("settings", "get", "key")
            self.assertEqual(plain if isinstance(value, str) else json.loads(plain), value)

    def test_applications_have_settings_of_their_own(self):
        self.output("settings", "set", "key", "1")
        self.output("settings", "set", "key", "2", "--app", "other")
        self.assertEqual((self.stored(), self.stored("other")), ({"key": 1}, {"key": 2}))
        self.output("settings", "remove", "key", "--app", "other")
        self.assertEqual((self.stored(), self.stored("other")), ({"key": 1}, {}))
        for name in ("", ".", "..", "a/b"):
            self.assert_fails(2, "settings", "get", "key", "--app", name)

    def test_dates_are_shown_as_text(self):
        values = {"when": datetime.datetime(2024, 3, 5, 14, 7, 9), "raw": b"\xff"}
        self.file("config/vantrel/settings.plist", plistlib.dumps(values, fmt=plistlib.FMT_BINARY))
        self.gives(("settings get when --json", '"2024-03-05T14:07:09Z"'), ("settings get raw --json", '"ff"'))

    def test_what_is_absent_or_cannot_be_stored_fails(self):
        self.refuses(1, ("settings get key", "no setting"), ("settings set key [null]", ""))
        self.output("settings", "remove", "key")
        for value in ("1", "null"):
            self.output("settings", "set", "key", value)
        self.refuses(1, ("settings get key", ""))

    def test_a_folder_that_cannot_be_made_is_told(self):
        self.environment["XDG_CONFIG_HOME"] = self.file("config-file")
        done = self.run_program("settings", "set", "key", "1")
        self.assertEqual((done.returncode, b"cannot write the settings" in done.stderr), (1, True))
