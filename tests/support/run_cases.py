"""run_cases.py FILE...: runs the cases of test files, some at a time, since for the most part they wait."""

import multiprocessing
import pathlib
import sys
import unittest

LOADER = unittest.defaultTestLoader


def failures_of(name):
    result = unittest.TestResult()
    LOADER.loadTestsFromName(name).run(result)
    return "\n".join(text for _, text in result.failures + result.errors)


def main():
    files = [pathlib.Path(name) for name in sys.argv[1:]]
    sys.path += {str(file.parent) for file in files}
    names = [case.id() for file in files for group in LOADER.loadTestsFromName(file.stem) for case in group]
    with multiprocessing.get_context("fork").Pool(8) as pool:
        failures = list(filter(None, pool.map(failures_of, names, chunksize=1)))
    print(*failures, f"{len(names)} cases, {len(failures)} failed", sep="\n")
    sys.exit(1 if failures or not names else 0)


main()
