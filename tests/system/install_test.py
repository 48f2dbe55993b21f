"""What `cmake --install` puts into a folder works from there, with nothing else of the build."""

import os
import pathlib
import subprocess
import tempfile
import unittest

PREFIX = tempfile.TemporaryDirectory(prefix="ordwick-installed.", dir="/tmp")
ROOT = pathlib.Path(PREFIX.name)
unittest.addModuleCleanup(PREFIX.cleanup)
subprocess.run(
    ["cmake", "--install", os.environ["ORDWICK_BUILD"], "--prefix", ROOT],
    check=True,
    stdout=subprocess.DEVNULL,
)
# All that follows runs the installed programs.
os.environ["ORDWICK_BIN"] = str(ROOT / "bin")

from window import FILE_MENU, WindowTest, press, wait_until

NEW_TYPE = """[Type]
Id = 5e1e2a57-6a8e-4b59-8d2c-7b1f7d0a9c35
Name = Installed
RendersFrames = yes
[Render]
1 = true
[Run]
WritesFiles = no
"""


class Installed(WindowTest):
    def test_programs_find_their_own_folder(self):
        (ROOT / "share" / "ordwick" / "jobtypes" / "Installed.ini").write_text(NEW_TYPE)
        self.stop_master()
        self.start_master()
        job = self.corvan("submit", "Installed", "--range", "1-3", "--format", f"{self.folder}/no/%d.x").strip()
        self.assertEqual(self.corvan("wait", job), "Done\n")

        self.env.update(LANG="de_DE.UTF-8")
        window = self.open_window(job)
        window.wait_for_status("3 Files | 3 Missing | 0 Too Small")
        self.assertEqual(
            os.path.realpath(f"/proc/{window.process.pid}/exe"), str(ROOT / "bin" / "ordwick")
        )
        wait_until(lambda: window.rows_with("TextGrey"))
        window.choose("Analysis settings...", *FILE_MENU)
        window.wait_for_dialog("Prüfung einstellen")
        press("Escape")
        self.assertEqual(window.close(), 0)

    def test_desktop_entry_is_valid_and_its_icon_is_there(self):
        entry = ROOT / "share" / "applications" / "ordwick.desktop"
        subprocess.run(["desktop-file-validate", entry], check=True)
        lines = entry.read_text().splitlines()
        self.assertIn("Icon=ordwick", lines)
        self.assertIn("Exec=ordwick", lines)
        icons = ROOT / "share" / "icons" / "hicolor"
        for size in (16, 24, 32, 48, 64, 128, 256):
            file = icons / f"{size}x{size}" / "apps" / "ordwick.png"
            told = subprocess.run(["identify", "-format", "%w %h", file], capture_output=True)
            self.assertEqual(told.stdout.decode(), f"{size} {size}")
        self.assertTrue((icons / "scalable" / "apps" / "ordwick.svg").exists())


if __name__ == "__main__":
    unittest.main()
