"""Runs a suite of unittest tests and reports its counts as test programs do."""

import json
import sys
import unittest


class Result(unittest.TextTestResult):
    """Counts what passed: a class that is skipped has not run, a test with subtests may fail several times."""

    passed = 0

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1


def run(suite, report):
    """Runs the suite, writes the counts to the file `report` (None: nowhere) and returns the exit status."""
    result = unittest.TextTestRunner(verbosity=2, stream=sys.stdout, resultclass=Result).run(suite)
    bad = len(result.failures) + len(result.errors)
    if report:
        with open(report, "w", encoding="utf-8") as file:
            json.dump({"passed": result.passed, "failed": bad,
                       "skipped": len(result.skipped),
                       "reasons": [[test.id(), reason] for test, reason in result.skipped]}, file)
    return 0 if result.wasSuccessful() and result.testsRun else 1
