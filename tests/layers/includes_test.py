"""The check of includes finds what breaks the table, and lets pass what does not."""

import pathlib
import tempfile
import unittest

import includes


class Includes(unittest.TestCase):
    def test_each_line_is_allowed_or_not(self):
        cases = [
            ("ui", '"analysis/FileInfo.h"', True),
            ("ui", '"app/Ordwick.h"', True),
            ("ui", '"app/Session.h"', False),
            ("ui", '"master/Store.h"', False),
            ("ui", "<wx/frame.h>", True),
            ("ui", '"MainWindow.h"', False),
            ("analysis", '"ui/FileList.h"', False),
            ("analysis", "<wx/string.h>", False),
            ("analysis", "<vector>", True),
            ("ostrel", '"corvan/Job.h"', False),
            ("cli", "<CLI/CLI.hpp>", True),
            ("corvan", "<CLI/CLI.hpp>", False),
            ("app", '"dialogs/ConfigDlg.h"', False),
            ("master", "<SQLiteCpp/Database.h>", True),
        ]
        for folder, header, is_allowed in cases:
            with self.subTest(folder=folder, header=header):
                reason = includes.reason_against(folder, header[0], header[1:-1])
                self.assertEqual(reason is None, is_allowed)

    def test_a_wrong_line_is_told_with_its_place(self):
        with tempfile.TemporaryDirectory() as name:
            file = pathlib.Path(name) / "analysis" / "Scan.cpp"
            file.parent.mkdir()
            file.write_text('#include <vector>\n#  include "ui/FileList.h"\n')
            wrong = includes.check(pathlib.Path(name))
        self.assertEqual(len(wrong), 1)
        self.assertIn("analysis/Scan.cpp:2:", wrong[0])


if __name__ == "__main__":
    unittest.main()
