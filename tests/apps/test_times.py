"""time; compared with Python's datetime, zoneinfo and calendar."""

import calendar
import datetime
import json
import time
import unittest
import zoneinfo

from support import ProgramTest

PATTERN = "%Y%m%d%H%M%S"


class Times(ProgramTest):
    def test_now_is_the_time_in_the_local_zone(self):
        for zone in ("UTC", "Asia/Shanghai", "America/New_York"):
            self.environment["TZ"] = zone
            before = time.time()
            text = self.text("time", "now")
            told = datetime.datetime.strptime(text, PATTERN).replace(tzinfo=zoneinfo.ZoneInfo(zone))
            self.assertTrue(int(before) <= told.timestamp() <= time.time(), text)
        both = json.loads(self.text("time", "now", "--json"))
        self.assertTrue(int(before) <= both["unix"] <= time.time())
        self.assertEqual(len(both["text"]), 14)

    def test_add_moves_along_the_time_line(self):
        for zone in ("UTC", "Europe/Berlin"):
            self.environment["TZ"] = zone
            local = zoneinfo.ZoneInfo(zone)
            for start in ("20231231235959", "20240301000000", "20240331010000", "20241027000000"):
                for seconds in ("1", "-86400", "0.75", "7200", "10800"):
                    moment = datetime.datetime.strptime(start, PATTERN).replace(tzinfo=local).timestamp()
                    expected = datetime.datetime.fromtimestamp(moment + float(seconds), local).strftime(PATTERN)
                    self.assertEqual(self.text("time", "add", seconds, start), expected)

    def test_diff_is_a_minus_b(self):
        self.assertEqual(self.text("time", "diff", "20240101000100", "20240101000000"), "60")
        self.assertEqual(self.text("time", "diff", "20240101000000", "20240101000100"), "-60")
        self.environment["TZ"] = "Europe/Berlin"
        self.assertEqual(self.text("time", "diff", "20240331030000", "20240331015900"), "60")

    def test_month_is_the_calendar_s_grid(self):
        for year, month in [(2024, 2), (2023, 2), (2024, 3), (2024, 9), (2026, 2), (1999, 12), (2000, 1)]:
            lines = calendar.TextCalendar(calendar.SUNDAY).formatmonth(year, month).splitlines()
            printed = self.text("time", "month", f"{year}{month:02}05140709").splitlines()
            self.assertEqual([line.strip() for line in printed[:1]], [lines[0].strip()])
            self.assertEqual([line.rstrip() for line in printed[1:]], [line.rstrip() for line in lines[1:]])
        self.assertIn("Su Mo Tu", self.text("time", "month"))

    def test_month_as_json_holds_the_fields(self):
        fields = json.loads(self.text("time", "month", "20240305140709", "--json"))
        self.assertEqual(
            fields, {"year": 2024, "month": 3, "day": 5, "weekday": 3, "firstWeekday": 5, "days": 31}
        )

    def test_duration(self):
        for seconds, text in [("0", "00:00"), ("65", "01:05"), ("3661", "01:01:01"), ("360000", "100:00:00")]:
            self.assertEqual(self.text("time", "duration", seconds), text)

    def test_bad_input(self):
        for bad in ("2024", "20241301000000", "2024030514070x", "20240230000000"):
            self.assertIn(bad, self.assert_fails(1, "time", "add", "1", bad))
            self.assertIn(bad, self.assert_fails(1, "time", "diff", bad, "20240101000000"))
            self.assertIn(bad, self.assert_fails(1, "time", "diff", "20240101000000", bad))
            self.assertIn(bad, self.assert_fails(1, "time", "month", bad))
        self.assertIn("SECONDS", self.assert_fails(1, "time", "add", "1e300", "20240101000000"))
        self.assert_fails(2, "time", "add", "soon", "20240101000000")
        self.assert_fails(2, "time", "add", "nan", "20240101000000")
        self.assert_fails(2, "time", "duration", "-1")
        self.assert_fails(2, "time", "duration", "4294967296")


if __name__ == "__main__":
    unittest.main()
