"""What is told of a run counts every case, and names each that failed with what it said."""

import contextlib
import io
import pathlib
import tempfile
import unittest
import xml.sax.saxutils

import report

SUITE = """Running main()
[ RUN      ] Plot.IsDrawn
[       OK ] Plot.IsDrawn (1 ms)
[ RUN      ] Plot.IsMoved
Plot.cpp:12: Failure
Which is: 4
[  FAILED  ] Plot.IsMoved (2 ms)
[ RUN      ] Plot.IsKept
[       OK ] Plot.IsKept (1 ms)
[==========] 3 tests from 1 test suite ran. (4 ms total)
[  PASSED  ] 2 tests.
[  FAILED  ] 1 test, listed below:
[  FAILED  ] Plot.IsMoved
"""
PYTHON = """test_is_there (Page) ... ok
test_is_read (Page) ... FAIL

======================================================================
FAIL: test_is_read (Page)
----------------------------------------------------------------------
AssertionError: 1 != 2

FAILED (failures=1)
"""


def case(name, words="", status="run", inner=""):
    said = xml.sax.saxutils.escape(words)
    return f'<testcase name="{name}" status="{status}">{inner}<system-out>{said}</system-out></testcase>'


def skipped(name, why):
    return case(name, status="notrun", inner=f'<skipped message="{why}"/>')


class Report(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = pathlib.Path(folder.name) / "run.xml"

    def write(self, *cases):
        self.file.write_text(f"<testsuite>{''.join(cases)}</testsuite>")

    def told(self):
        with contextlib.redirect_stdout(io.StringIO()) as out:
            report.main(["failures", str(self.file)])
        return out.getvalue().splitlines()

    def test_a_test_counts_as_one_and_a_suite_as_its_cases(self):
        passing = "[  PASSED  ] 5 tests.\n"
        for cases, counts in [
            ([case("a")], (1, 0)),
            ([case("a"), case("b", "no words of a suite", "fail")], (1, 1)),
            ([case("a", passing)], (5, 0)),
            ([case("a", SUITE, "fail")], (2, 1)),
            ([case("a", passing, "fail")], (5, 1)),
            ([skipped("a", "SKIP_REGULAR_EXPRESSION_MATCHED")], (0, 0)),
            ([skipped("a", "Unable to find executable")], (0, 1)),
        ]:
            with self.subTest(cases=cases):
                self.write(*cases)
                self.assertEqual(report.counts(self.file), counts)

    def test_who_passed_is_not_named(self):
        self.write(case("a", "[  PASSED  ] 5 tests.\n"), skipped("b", "SKIP_REGULAR_EXPRESSION_MATCHED"))
        self.assertEqual(self.told(), [])

    def test_a_suite_tells_its_failures_and_nothing_else(self):
        self.write(case("Plot", SUITE, "fail"))
        self.assertEqual(
            self.told(), ["FAILED: Plot", "    Plot.IsMoved", "    Plot.cpp:12: Failure", "    Which is: 4"]
        )

    def test_a_suite_tells_which_case_it_has_ended_in(self):
        begun = SUITE[: SUITE.index("[       OK ] Plot.IsKept")]
        self.write(case("Plot", begun + "Segmentation fault\n", "fail"))
        self.assertEqual(self.told()[-2:], ["    Plot.IsKept", "    Segmentation fault"])

    def test_a_case_is_not_taken_for_another_whose_name_goes_on(self):
        self.write(case("Plot", SUITE.replace("IsKept", "Is"), "fail"))
        self.assertEqual(self.told()[1:], ["    Plot.IsMoved", "    Plot.cpp:12: Failure", "    Which is: 4"])

    def test_a_python_test_tells_from_its_first_failure_on(self):
        self.write(case("page", PYTHON, "fail"))
        told = self.told()
        self.assertEqual(told[:2], ["FAILED: page", "    FAIL: test_is_read (Page)"])
        self.assertIn("    AssertionError: 1 != 2", told)

    def test_any_other_tells_its_last_words(self):
        self.write(case("walk", "".join(f"line {n}\n" for n in range(100)), "fail"))
        told = self.told()
        self.assertEqual((len(told), told[-1]), (report.LAST_LINES + 1, "    line 99"))

    def test_one_that_says_much_does_not_hide_the_next(self):
        much = PYTHON + "more\n" * 1000
        self.write(case("a", much, "fail"), case("b", PYTHON, "fail"))
        told = self.told()
        self.assertLess(len(told), 100)
        self.assertIn("    (945 more lines)", told)
        self.assertIn("FAILED: b", told)

    def test_of_many_the_names_are_told(self):
        self.write(*(case(f"t{n}", "why", "fail") for n in range(report.MOST_TOLD + 3)))
        told = self.told()
        self.assertEqual(told.count("    why"), report.MOST_TOLD)
        self.assertEqual(told[-3:], [f"FAILED: t{report.MOST_TOLD + n}" for n in range(3)])


if __name__ == "__main__":
    unittest.main()
