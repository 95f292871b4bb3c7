#!/usr/bin/env python3
"""Prints the ratios of peers to ours from Google Benchmark's JSON files.

Benchmarks are named BM_<task>/<who>/<case>; "vantrel" is ours. Each figure is the median of all repetitions.
"""
import json
import statistics
import sys
from collections import defaultdict

UNITS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
CLOCKS = ("real_time", "process_time", "manual_time")


def medians(files):
    times = defaultdict(list)
    for file in files:
        with open(file, encoding="utf-8") as source:
            for run in json.load(source)["benchmarks"]:
                if run.get("run_type") == "iteration":
                    times[run["run_name"]].append(run["real_time"] * UNITS[run["time_unit"]])
    return {name: statistics.median(values) for name, values in times.items()}


def time_text(nanoseconds):
    for unit, factor in (("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= factor:
            return f"{nanoseconds / factor:.2f} {unit}"
    return f"{nanoseconds:.1f} ns"


def main():
    tasks = defaultdict(dict)
    for name, time in medians(sys.argv[1:]).items():
        parts = name.removeprefix("BM_").split("/")
        parts = [part for part in parts if part not in CLOCKS and not part.startswith("min_time:")]
        if len(parts) < 2:
            sys.exit(f"{name}: not of the form BM_<task>/<who>/<case>")
        tasks[(parts[0], "/".join(parts[2:]))][parts[1]] = time
    print(f"{'task':34} {'case':>9} {'ours':>10}  peer and ratio (peer's time / ours)")
    for (task, case), times in sorted(tasks.items()):
        ours = times.pop("vantrel", None)
        if ours is None:
            continue
        peers = "  ".join(f"{who} {time_text(time)} = {time / ours:.2f}x"
                          for who, time in sorted(times.items()))
        print(f"{task:34} {case:>9} {time_text(ours):>10}  {peers}")


main()
