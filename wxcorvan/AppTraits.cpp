#include "wxcorvan/AppTraits.h"

#include <wx/log.h>

#include "ostrel/Log.h"
#include "wxcorvan/wxcAssert.h"

namespace wxcorvan
{

namespace
{

ostrel::LogLevel LevelOf(wxLogLevel level)
{
    switch (level)
    {
    case wxLOG_FatalError:
        return ostrel::k_LogFatal;
    case wxLOG_Error:
        return ostrel::k_LogError;
    case wxLOG_Warning:
        return ostrel::k_LogWarning;
    case wxLOG_Message:
    case wxLOG_Status:
        return ostrel::k_LogStatus;
    default:
        return ostrel::k_LogInfo;
    }
}

class LogTarget : public wxLog
{
protected:
    void DoLogTextAtLevel(wxLogLevel level, const wxString &text) override
    {
        ostrel::Log(LevelOf(level), text.utf8_string());
    }
    void DoLogRecord(wxLogLevel level, const wxString &text, const wxLogRecordInfo &) override
    {
        DoLogTextAtLevel(level, text);
    }
};

} // namespace

wxLog *AppTraits::CreateLogTarget()
{
    return new LogTarget;
}

bool AppTraits::ShowAssertDialog(const wxString &text)
{
    wxcReportAssert(text.utf8_string());
    return false; // Later ones are reported too.
}

bool AppTraits::SafeMessageBox(const wxString &text, const wxString &title)
{
    ostrel::LogError((title + ": " + text).utf8_string());
    return true;
}

} // namespace wxcorvan
