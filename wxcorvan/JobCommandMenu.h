#pragma once

#include <boost/shared_ptr.hpp>
#include <vector>

#include <wx/menu.h>

#include "corvan/Job.h"
#include "corvan/Messages.h"
#include "ostrel/Signal.h"
#include "wxcorvan/JobCommands.h"

namespace wxcorvan
{

/// A menu with the commands of a job.
///
/// In this order: what the Master can do with the job in its status (pause, resume, cancel, run
/// again, raise and lower the priority), the commands of its type, and those that the options
/// hold in the section named by the type's identifier:
///
///     [6f1c...]
///     Command.1.Label = View frame
///     Command.1.1 = xdg-open          the argument list, one key an argument
///     Command.1.2 = {Note}
///
/// A command of the options takes the place of the type's command of the same label. Placeholders
/// are filled by `corvan::ExpandArguments`; no shell sees the values. The Master's commands follow
/// the job's status and priority as they change. Main thread.
class JobCommandMenu : public wxMenu
{
public:
    /// How `Fill` treats what is in the menu.
    enum FillMode : int
    {
        k_FillBuild = 1,  ///< First filling: all that is there stays, the commands go behind it.
        k_FillReplace = 4 ///< The commands of the last filling go, the others stay.
    };

    JobCommandMenu();
    ~JobCommandMenu() override;

    /// Keeps `job` (it may be empty: no commands) and shows its commands. `mode` is a `FillMode`;
    /// any other number counts as `k_FillReplace`.
    void Fill(const boost::shared_ptr<corvan::Job> &job, int mode);

    /// Runs the command with that menu identifier: `PreProcessCommand`, then, when that was true,
    /// `DoProcessCommand` and, when that was true, `PostProcessCommand`. False when the menu holds
    /// no such command. Throws `ostrel::ProcessException *` for a program that cannot be started,
    /// `ostrel::Exception *` for other failures.
    bool TryCommand(long id);

protected:
    /// Each is given the command's group ("Master", "Type" or "Options") and its label. Whether
    /// to go on.
    virtual bool PreProcessCommand(const ostrel::String &group, const ostrel::String &label);
    virtual bool DoProcessCommand(const ostrel::String &group, const ostrel::String &label);
    virtual bool PostProcessCommand(const ostrel::String &group, const ostrel::String &label);

    boost::shared_ptr<corvan::Job> m_job;

private:
    void Show(std::vector<JobCommand> commands);
    void OnParameterChanged(boost::shared_ptr<corvan::JobParameterMsg> message);

    std::vector<JobCommand> m_commands;
    std::vector<wxMenuItem *> m_items; // Of the last filling, separators too; the menu owns them.
    ostrel::SignalConnection m_parameterChanged;
};

} // namespace wxcorvan
