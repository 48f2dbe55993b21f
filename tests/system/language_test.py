"""The window in the user's language."""

import unittest

from window import DONE_MENU, FILE_MENU, WindowTest, press, wait_until


class Language(WindowTest):
    def titles(self, name, **language):
        """Opens a window in a language and closes it. Gives the titles of two of its dialogs."""
        for variable in ("LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"):
            self.env.pop(variable, None)
        self.env.update(language)
        window = self.open_window(self.job, name=name)
        window.wait_for_status("12 Files | 0 Missing | 0 Too Small")
        titles = []
        for item, menu in (("Analysis settings...", FILE_MENU), ("Edit Image Formats", DONE_MENU)):
            window.choose(item, *menu)
            titles.append(wait_until(window.dialog))
            press("Escape")
        self.assertEqual(window.close(), 0)
        return titles

    def test_is_german_where_the_user_asks_for_it(self):
        german = ["Prüfung einstellen", "Bildformate ändern"]
        self.assertEqual(self.titles("lang", LANG="de_DE.UTF-8"), german)
        self.assertEqual(self.titles("language", LANG="C.UTF-8", LANGUAGE="de"), german)

    def test_is_english_where_there_is_no_catalogue(self):
        english = ["Analysis Settngs", "Edit Image Formats"]
        self.assertEqual(self.titles("none"), english)
        self.assertEqual(self.titles("english", LANG="en_GB.UTF-8"), english)
        self.assertEqual(self.titles("swedish", LANG="sv_SE.UTF-8"), english)


if __name__ == "__main__":
    unittest.main()
