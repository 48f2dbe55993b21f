#pragma once

#include "ostrel/LibStatic.h"
#include "wxcorvan/JobCommandMenu.h"

class MainWindow;

/// The "Job" menu: two edits of the job, then the job's own commands.
class JobMenu : public wxcorvan::JobCommandMenu, public ostrel::LibStatic
{
public:
    /// `owner` outlives the menu.
    explicit JobMenu(MainWindow *owner);

    /// Gives the menu's job the first selected frame file as its note, so that a command's
    /// "{Note}" is that file. Always true: every command proceeds.
    bool PreProcessCommand(const ostrel::String &command, const ostrel::String &argument) override;

    /// Lets the job go, so that it does not outlive the libraries.
    void OnLibCleanup() override;

private:
    MainWindow *m_owner;
};
