#include "ui/JobMenu.h"

#include "ostrel/CallEntry.h"
#include "ui/MainWindow.h"

using namespace ostrel;

JobMenu::JobMenu(MainWindow *owner) : LibStatic("JobMenu"), m_owner(owner)
{
    _CallEntry call("JobMenu::JobMenu", __FILE__, __LINE__);
}

bool JobMenu::PreProcessCommand(const String & /*command*/, const String & /*argument*/)
{
    _CallEntry call("JobMenu::PreProcessCommand", __FILE__, __LINE__);

    if (m_job)
        m_job->SetNote(m_owner->CurrentSelection());
    return true;
}

void JobMenu::OnLibCleanup()
{
    _CallEntry call("JobMenu::OnLibCleanup", __FILE__, __LINE__);

    m_job.reset();
}
