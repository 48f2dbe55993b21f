// Deleting files, however many and however slow their server is.

#include <chrono>
#include <set>

#include <wx/app.h>

#include "dialogs/ProgressDlg.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"
#include "ui/MainWindow.h"

using namespace ostrel;

namespace
{

using Clock = std::chrono::steady_clock;

/// So long the window may stand still, before it is told how far the deletion is.
constexpr auto k_in_silence = std::chrono::seconds(1);
/// So long between two looks at what the user does.
constexpr auto k_piece = std::chrono::milliseconds(50);

/// The files of a set, one after the other.
class Deletion
{
public:
    explicit Deletion(const std::set<Path> &paths) : m_next(paths.begin()), m_end(paths.end()) {}

    /// Goes on for a while, at least by one file. How many were gone over in all.
    std::size_t DeleteFor(Clock::duration time)
    {
        for (const auto end = Clock::now() + time; !IsDone();)
        {
            LogInfo("  Delete: " + m_next->Text());
            File::Delete(*m_next, false);
            ++m_next;
            ++m_count;
            if (Clock::now() >= end)
                break;
        }
        return m_count;
    }
    bool IsDone() const
    {
        return m_next == m_end;
    }

private:
    std::set<Path>::const_iterator m_next;
    const std::set<Path>::const_iterator m_end;
    std::size_t m_count = 0;
};

} // namespace

void DeleteFiles(std::set<Path> paths)
{
    Deletion deletion(paths);
    const std::size_t count = deletion.DeleteFor(k_in_silence);
    if (deletion.IsDone())
        return;

    ProgressDlg dialog(wxTheApp->GetTopWindow(), _("Deleting files"), _("{done} of {all} files"),
                       paths.size());
    if (!dialog.Run(count, [&deletion] { return deletion.DeleteFor(k_piece); }))
        LogStatus("Delete cancelled: " + std::to_string(dialog.Done()) + " of " +
                  std::to_string(paths.size()) + " files were gone over");
}
