#pragma once

#include <string>
#include <vector>

#include <wx/menu.h>

#include "tests/window/OrdwickFixture.h"

class wxTextCtrl;

/// The window with a job, and what a user does there by menu, key and click.
class CommandFixture : public OrdwickFixture
{
protected:
    /// Starts with a job of this range and waits for the first pass; the next one is an hour away.
    /// `options`: more of the options file.
    void Watch(const std::string &range, const OrdwickProgram::ParameterTexts &parameters = {},
               const std::string &options = {});

    /// Gives the keyboard to the list; what is selected stays.
    void FocusList();
    /// Selects the rows by clicks, and no others.
    void SelectRows(const std::vector<int> &rows);

    /// Opens the menu that holds the command by F10, goes to the item with the arrow keys and
    /// presses Enter.
    void ChooseFromMenu(int id);
    void ChooseFromMenu(const wxString &label);
    wxMenu &Menu(const wxString &title) const;
    /// "Edit Custom Range, Edit Image Formats, -, Pause": the labels of a menu.
    std::string LabelsOf(const wxString &title) const;

    static void ClickButton(const wxWindow &dialog, int id);
    /// Clicks into a field and types over all that is there; the keyboard's own signs only.
    static void TypeInto(wxTextCtrl &field, const std::string &text);
    /// The same by the clipboard, for any text.
    static void PasteInto(wxTextCtrl &field, const std::string &text);
    static void SetClipboard(const std::string &text);

    /// What was sent of one type, in order.
    template <typename M> std::vector<boost::shared_ptr<M>> Sent() const
    {
        std::vector<boost::shared_ptr<M>> messages;
        for (const auto &message : Link().sent)
            if (const auto one = boost::dynamic_pointer_cast<M>(message))
                messages.push_back(one);
        return messages;
    }
    /// "Name = value" of each parameter change that was sent.
    std::vector<std::string> SentParameters() const;
    /// The last of them; a word for it where there is none.
    std::string LastSentParameter() const;
    /// How many messages were sent since the job came.
    std::size_t SentSinceJob() const;

    /// What was logged as the user sees it ("3 text", the level first), without what passes,
    /// paintings and the library trace.
    std::vector<std::string> CommandLines() const;
    /// `CommandLines` one below the other.
    std::string CommandLog() const;

private:
    /// Presses the arrow key in the open menu until the item is highlighted.
    bool WalkDownTo(int id, std::size_t itemCount);

    std::size_t m_sentBefore = 0;
};
