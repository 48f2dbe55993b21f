#pragma once

#include <functional>
#include <string>

/// What a message box of the desktop's own says.
struct MessageBoxTexts
{
    std::string title;
    std::string text;
    std::string buttons; ///< Labels without mnemonics, joined by "|".

    bool operator==(const MessageBoxTexts &) const = default;
};

/// Runs `show`, which opens a message box of the desktop's own (wxMessageBox), and presses `keys`
/// once the box is up and has the keyboard. Returns what the box said when `show` returns; fails
/// the test, and says nothing, when none came or the keys did not end it.
///
/// Such a box is no window of the toolkit's, so `WhileModal` does not find it.
MessageBoxTexts WhileMessageBox(const std::function<void()> &show,
                                const std::string &keys = "Return");
