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
            ("cli", '"check/CheckTable.h"', True),
            ("check", '"cli/Client.h"', False),
            ("check", "<CLI/CLI.hpp>", False),
            ("ui", '"check/CheckTable.h"', False),
            ("corvan", "<CLI/CLI.hpp>", False),
            ("app", '"dialogs/ConfigDlg.h"', False),
            ("master", '"master/store/JobStore.h"', True),
            ("master", '"master/jobs/Followers.h"', True),
            ("master", "<SQLiteCpp/Database.h>", False),
            ("master/store", "<SQLiteCpp/Database.h>", True),
            ("master/store", '"master/store/StoreSchema.h"', True),
            ("master/store", '"master/run/TaskLogs.h"', False),
            ("master/store", '"master/jobs/Followers.h"', False),
            ("master/door", '"master/store/JobStore.h"', False),
            ("master/run", '"master/jobs/JobCache.h"', False),
            ("master/requests", '"master/schedule/Scheduler.h"', False),
            ("master/watch", '"master/schedule/Scheduler.h"', True),
            ("master/run", '"master/schedule/Scheduler.h"', False),
            ("cli", '"master/store/JobStore.h"', False),
            ("web/door", '"web/jobs/Farm.h"', False),
            ("web/jobs", '"web/door/Routes.h"', True),
            ("web/jobs", "<boost/beast/http.hpp>", False),
            ("web/pictures", '"web/jobs/Farm.h"', False),
            ("cli", '"web/door/Server.h"', False),
        ]
        for folder, header, is_allowed in cases:
            with self.subTest(folder=folder, header=header):
                reason = includes.reason_against(folder, header[0], header[1:-1])
                self.assertEqual(reason is None, is_allowed)

    def test_a_wrong_line_is_told_with_its_place(self):
        cases = [
            ("analysis/Scan.cpp", "ui/FileList.h"),
            ("master/store/Tasks.cpp", "master/run/TaskLogs.h"),
            ("master/store/deep/Tasks.cpp", "master/run/TaskLogs.h"),
        ]
        for place, header in cases:
            with self.subTest(place=place), tempfile.TemporaryDirectory() as name:
                file = pathlib.Path(name) / place
                file.parent.mkdir(parents=True)
                file.write_text(f'#include <vector>\n#  include "{header}"\n')
                wrong = includes.check(pathlib.Path(name))
                self.assertEqual(len(wrong), 1)
                self.assertIn(f"{place}:2:", wrong[0])


if __name__ == "__main__":
    unittest.main()
