"""time; compared with Python's datetime, zoneinfo and calendar."""

import calendar
import datetime
import json
import time
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

    def test_moments_move_along_the_time_line(self):
        self.environment["TZ"] = "Europe/Berlin"
        local = zoneinfo.ZoneInfo("Europe/Berlin")
        for start in ("20231231235959", "20240301000000", "20240331010000", "20241027000000"):
            for seconds in ("1", "-86400", "0.75", "7200", "10800"):
                moment = datetime.datetime.strptime(start, PATTERN).replace(tzinfo=local).timestamp()
                expected = datetime.datetime.fromtimestamp(moment + float(seconds), local).strftime(PATTERN)
                self.gives((f"time add {seconds} {start}", expected))
        self.gives(
            ("time diff 20240101000100 20240101000000", "60"), ("time diff 20240101000000 20240101000100", "-60"),
            ("time diff 20240331030000 20240331015900", "60"),
            ("time duration 0", "00:00"), ("time duration 3661", "01:01:01"), ("time duration 360000", "100:00:00"),
        )

    def test_month_is_the_calendar_s_grid(self):
        for year, month in [(2024, 2), (2023, 2), (2024, 3), (2024, 9), (2026, 2), (1999, 12), (2000, 1)]:
            lines = calendar.TextCalendar(calendar.SUNDAY).formatmonth(year, month).splitlines()
            printed = self.text("time", "month", f"{year}{month:02}05140709").splitlines()
            self.assertEqual(printed[0].strip(), lines[0].strip())
            self.assertEqual([line.rstrip() for line in printed[1:]], [line.rstrip() for line in lines[1:]])
        self.assertIn("Su Mo Tu", self.text("time", "month"))
        fields = json.loads(self.text("time", "month", "20240305140709", "--json"))
        self.assertEqual(fields, {"year": 2024, "month": 3, "day": 5, "weekday": 3, "firstWeekday": 5, "days": 31})

    def test_bad_input(self):
        for bad in ("2024", "20241301000000", "2024030514070x", "20240230000000"):
            for command in ("add 1 BAD", "diff BAD 20240101000000", "diff 20240101000000 BAD", "month BAD"):
                self.refuses(1, ("time " + command.replace("BAD", bad), bad))
        self.refuses(1, ("time add 1e300 20240101000000", "SECONDS"))
        for command in ("add soon 20240101000000", "add nan 20240101000000", "duration -1", "duration 4294967296"):
            self.refuses(2, ("time " + command, ""))
