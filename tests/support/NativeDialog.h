#pragma once

#include <functional>
#include <string>

// Dialogs of the desktop's own. They are no windows of the toolkit's, so `WhileModal` does not find
// them.

/// What a message box says.
struct MessageBoxTexts
{
    std::string title;
    std::string text;
    std::string buttons; ///< Labels without mnemonics, joined by "|".

    bool operator==(const MessageBoxTexts &) const = default;
};

/// Runs `show`, which opens a message box (wxMessageBox), and presses `keys` once the box is up and
/// has the keyboard. Returns what the box said when `show` returns; fails the test, and says
/// nothing, when none came or the keys did not end it.
MessageBoxTexts WhileMessageBox(const std::function<void()> &show,
                                const std::string &keys = "Return");

/// Runs `show`, which opens a file chooser (wxFileSelector), and `steps`, which must end it, once
/// it is up and has the keyboard. Returns when `show` does.
void WhileFileChooser(const std::function<void()> &show, const std::function<void()> &steps);
