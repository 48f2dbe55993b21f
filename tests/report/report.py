"""What ctest has written down of a run in JUnit's format: `report.py counts FILE` prints how many tests passed
and how many failed, `report.py failures FILE` the names of those that failed and what they said of it."""

import re
import sys
import xml.etree.ElementTree as tree

# The last words of a test that failed without saying where.
LAST_LINES = 30
# Of one test no more than this is printed, or one that says much hides the others.
MOST_LINES = 60
# Of so many tests it is told what they said, of all others the names: where all fail, one reason is enough.
MOST_TOLD = 10


def is_skipped(case):
    """Where a test says itself that it cannot run here; one whose program is missing has failed."""
    skipped = case.find("skipped")
    message = "" if skipped is None else skipped.get("message", "")
    return case.get("status") == "disabled" or message == "SKIP_REGULAR_EXPRESSION_MATCHED"


def words_of(case):
    return case.findtext("system-out", "")


def of_suite(case):
    """How many cases of a suite passed and how many failed, by its last words; nothing for a test that is
    no suite, or that has not come to its end."""
    passed = re.search(r"^\[  PASSED  \] (\d+) tests?\.$", words_of(case), re.MULTILINE)
    failed = re.search(r"^\[  FAILED  \] (\d+) tests?, listed below:$", words_of(case), re.MULTILINE)
    return passed and (int(passed[1]), int(failed[1]) if failed else 0)


def cases_of(file):
    return [case for case in tree.parse(file).iter("testcase") if not is_skipped(case)]


def counts(file):
    """How many tests passed and how many failed. Of a whole suite each case counts."""
    passed = failed = 0
    for case in cases_of(file):
        has_passed = case.get("status") == "run"
        suite = of_suite(case) or (int(has_passed), 0)
        passed += suite[0]
        failed += suite[1] if has_passed else max(1, suite[1])
    return passed, failed


def said_by(words):
    """The lines that tell why a test failed: those of the cases of a suite that did not pass or did not come
    to their end, what unittest prints of its failures, or else the last ones."""
    lines = []
    # Before the first case there is nothing of interest.
    for name, said in re.findall(r"^\[ RUN      \] (\S+)\n((?:(?!\[ RUN      \]).*\n?)*)", words, re.MULTILINE):
        end = re.search(rf"^\[ +(OK|FAILED|SKIPPED) +\] {re.escape(name)}(?=[\s,])", said, re.MULTILINE)
        if end is None or end[1] == "FAILED":
            lines += [name, *said[: end and end.start()].splitlines()]
    if lines:
        return lines
    lines = words.rstrip().splitlines()
    firsts = [at for at, line in enumerate(lines) if re.match(r"(FAIL|ERROR): ", line)]
    return lines[firsts[0]:] if firsts else lines[-LAST_LINES:]


def failures(file):
    """The name of each test that failed and the lines it said of it."""
    for case in cases_of(file):
        if case.get("status") != "run":
            yield case.get("name"), said_by(words_of(case))


def main(arguments):
    if len(arguments) != 2 or arguments[0] not in ("counts", "failures"):
        sys.exit("Usage: report.py counts|failures FILE")
    if arguments[0] == "counts":
        print(*counts(arguments[1]))
        return
    for at, (name, said) in enumerate(failures(arguments[1])):
        print(f"FAILED: {name}")
        if at >= MOST_TOLD:
            continue
        for line in said[:MOST_LINES]:
            print(f"    {line}")
        if len(said) > MOST_LINES:
            print(f"    ({len(said) - MOST_LINES} more lines)")


if __name__ == "__main__":
    main(sys.argv[1:])
