#include "wxcorvan/JobCommandMenu.h"

#include <algorithm>

#include <wx/control.h>

#include "corvan/CorvanApp.h"
#include "corvan/MessageFactory.h"
#include "corvan/Messages.h"
#include "corvan/Messenger.h"
#include "corvan/Placeholders.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "wxcorvan/StartProgram.h"
#include "wxcorvan/wxcText.h"

namespace wxcorvan
{

using namespace corvan;
using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

/// Identifiers of the commands: behind the toolkit's own, far from the programs'.
constexpr int k_first_id = 7001;

/// What the menu shows: no letter of it is a shortcut.
wxString ShownLabel(const JobCommand &command)
{
    wxString label = command.group == "Master" ? wxGetTranslation(wxcFromText(command.label))
                                               : wxcFromText(command.label);
    label.Replace("\t", " ");
    return wxControl::EscapeMnemonics(label);
}

void SendWish(const Job &job, const JobCommand &command)
{
    const auto message = boost::static_pointer_cast<JobParameterMsg>(
        MessageFactory::CreateMessage(JobParameterMsg::s_Type));
    message->job = job.ID();
    message->name = command.parameter;
    message->value = command.value;
    Messenger::Send(message);
}

void StartCommand(const Job &job, const JobCommand &command)
{
    String reason;
    const auto arguments = ExpandArguments(command.arguments, JobPlaceholders(job, {}), &reason);
    if (!arguments)
        throw new Exception("the command \"" + command.label + "\" cannot be filled: " + reason);
    StartProgram(*arguments);
}

} // namespace

JobCommandMenu::JobCommandMenu()
    : m_parameterChanged(
          JobParameterMsg::s_Signal.Connect(this, &JobCommandMenu::OnParameterChanged))
{
}

JobCommandMenu::~JobCommandMenu() = default;

void JobCommandMenu::Fill(const boost::shared_ptr<Job> &job, int mode)
{
    _CallEntry call("JobCommandMenu::Fill", __FILE__, __LINE__);

    m_job = job;
    if (mode == k_FillBuild)
        m_items.clear();
    Show(job ? ListJobCommands(*job, CorvanApp::Get()->Options()) : std::vector<JobCommand>());
}

void JobCommandMenu::Show(std::vector<JobCommand> commands)
{
    for (wxMenuItem *item : m_items)
        Destroy(item);
    m_items.clear();

    m_commands = std::move(commands);
    String group;
    for (std::size_t i = 0; i < m_commands.size(); ++i)
    {
        const JobCommand &command = m_commands[i];
        const bool isNewPart =
            i == 0 ? GetMenuItemCount() > 0 : group == "Master" && command.group != group;
        if (isNewPart)
            m_items.push_back(AppendSeparator());
        m_items.push_back(Append(k_first_id + int(i), ShownLabel(command)));
        group = command.group;
    }
}

void JobCommandMenu::OnParameterChanged(boost::shared_ptr<JobParameterMsg> message)
{
    if (!m_job || message->job != m_job->ID())
        return;
    if (message->name == p_Status || message->name == p_Priority)
        Fill(m_job, k_FillReplace);
}

bool JobCommandMenu::TryCommand(long id)
{
    _CallEntry call("JobCommandMenu::TryCommand", __FILE__, __LINE__);

    const long index = id - k_first_id;
    if (!m_job || index < 0 || index >= long(m_commands.size()))
        return false;

    // A command may refill the menu.
    const JobCommand command = m_commands[index];
    if (PreProcessCommand(command.group, command.label) &&
        DoProcessCommand(command.group, command.label))
        PostProcessCommand(command.group, command.label);
    return true;
}

bool JobCommandMenu::PreProcessCommand(const String & /*group*/, const String & /*label*/)
{
    return true;
}

bool JobCommandMenu::DoProcessCommand(const String &group, const String &label)
{
    const auto command = std::find_if(m_commands.begin(), m_commands.end(),
                                      [&group, &label](const JobCommand &one)
                                      { return one.group == group && one.label == label; });
    if (!m_job || command == m_commands.end())
        return false;

    if (command->arguments.empty())
        SendWish(*m_job, *command);
    else
        StartCommand(*m_job, *command);
    return true;
}

bool JobCommandMenu::PostProcessCommand(const String & /*group*/, const String & /*label*/)
{
    return true;
}

} // namespace wxcorvan
