"""The table of docs/verdict.md that tells by which numbers pictures are judged, held against the numbers."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
CONSTANT = re.compile(r"^inline constexpr [\w:]+ (k_\w+) = ([\d.]+)f?;", re.MULTILINE)
ROW = re.compile(r"^\| `(k_\w+)` \| ([\d.]+) \| ([^|]+) \| ([^|]+) \|$", re.MULTILINE)


class Thresholds(unittest.TestCase):
    def test_stand_in_the_page_with_value_unit_and_reason(self):
        constants = CONSTANT.findall((ROOT / "check/pictures/PictureRules.h").read_text(encoding="utf-8"))
        rows = ROW.findall((ROOT / "docs/verdict.md").read_text(encoding="utf-8"))
        self.assertGreater(len(constants), 40)
        self.assertEqual([(name, float(value)) for name, value in constants],
                         [(name, float(value)) for name, value, _, _ in rows])
        for name, _, unit, reason in rows:
            self.assertTrue(unit.strip() and reason.strip(), name)

    def test_are_each_used(self):
        text = "".join(path.read_text(encoding="utf-8") for path in (ROOT / "check/pictures").glob("*.cpp"))
        for name, _ in CONSTANT.findall((ROOT / "check/pictures/PictureRules.h").read_text(encoding="utf-8")):
            self.assertIn(name, text)


if __name__ == "__main__":
    unittest.main()
