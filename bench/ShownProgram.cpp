#include "bench/ShownProgram.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtk/gtk.h>
#include <unistd.h>

#include <wx/evtloop.h>

#include "corvan/Messenger.h"
#include "ostrel/Log.h"
#include "tests/support/WindowTest.h"
#include "wxcorvan/wxcAssert.h"

using namespace ostrel;

namespace bench
{

ShownProgram::ShownProgram() : m_program(m_folder)
{
    wxcorvan::wxcSetAssertHandler([](const String &text) { Require(false, text.c_str()); });
    m_program.WriteOptions("[Analysis]\nRefresh = 1000000000\n");
    Require(m_program.Start(), "the program does not start");
    Require(PumpUntil([this] { return Window().IsShownOnScreen(); }), "there is no window");
    RunUntilScanned(
        [this]
        {
            m_program.Connect();
            corvan::Messenger::Dispatch();
        });

    Window().SetSize(0, 0, 1200, 900);
    Require(PumpUntil([this] { return List().GetClientSize().y > 600; }), "the window is small");
    PumpIdle();

    List().GetTargetWindow()->Bind(wxEVT_PAINT,
                                   [this](wxPaintEvent &event)
                                   {
                                       ++m_paints;
                                       event.Skip();
                                   });
}

ShownProgram::~ShownProgram()
{
    LogListen(k_LogNone, {});
}

void ShownProgram::ShowFrames(const std::string &pattern, std::size_t frames)
{
    RunUntilScanned(
        [&]
        {
            m_program.ReceiveJob(
                m_program.MakeJob({{corvan::p_Range, "1-" + std::to_string(frames)},
                                   {corvan::p_ImageFormat, pattern}}));
            corvan::Messenger::Dispatch();
            Require(std::size_t(List().RowCount()) == frames, "the list is not filled");
        });
    PumpIdle();
}

void ShownProgram::RunPass()
{
    RunUntilScanned([this] { Window().CheckFiles(false); });
}

void ShownProgram::FinishPass()
{
    RunUntilScanned([] {});
}

void ShownProgram::UseFrameOffset(int offset)
{
    OptionsFile &options = wxGetApp().Options();
    options.InsertSection("Analysis");
    options.SetValue("FrameOffset", std::to_string(offset));
    RunPass();
}

void ShownProgram::ShowProgress(bool isShown)
{
    OptionsFile &options = wxGetApp().Options();
    options.InsertSection("Analysis");
    options.SetValue("ShowProgress", isShown ? k_Yes : k_No);
    Window().ShowProgress();
    PumpIdle();
}

void ShownProgram::RunUntilScanned(const std::function<void()> &start)
{
    wxGUIEventLoop loop;
    bool isDone = false;
    LogListen(k_LogStatus,
              [&](LogLevel /*level*/, std::string_view text)
              {
                  if (!text.starts_with("Finished scanning"))
                      return;
                  isDone = true;
                  if (loop.IsRunning())
                      loop.ScheduleExit();
              });
    start();
    if (!isDone)
        loop.Run();
    LogListen(k_LogNone, {});
}

void ShownProgram::PaintRows()
{
    const int before = m_paints;
    PaintNow(*List().GetTargetWindow());
    Require(m_paints > before, "the rows were not painted");
}

int ShownProgram::RowHeight()
{
    wxRect place;
    List().GetItemRect(0, place);
    return place.height;
}

int ShownProgram::RowsInView()
{
    return List().GetTargetWindow()->GetClientSize().y / RowHeight();
}

void ShownProgram::PressKey(int key)
{
    wxKeyEvent event(wxEVT_KEY_DOWN);
    event.m_keyCode = key;
    List().GetTargetWindow()->HandleWindowEvent(event);
}

void PaintNow(wxWindow &window)
{
    window.Refresh();
    window.Update();
    gdk_display_sync(gdk_display_get_default());
}

std::string FramePath(const std::string &pattern, std::size_t frame)
{
    char path[4096];
    std::snprintf(path, sizeof path, pattern.c_str(), int(frame));
    return path;
}

void MakeFrames(const std::string &pattern, std::size_t frames, std::size_t missingEvery)
{
    for (std::size_t frame = 1; frame <= frames; ++frame)
    {
        if (missingEvery && frame % missingEvery == 0)
            continue;
        const std::string path = FramePath(pattern, frame);
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        Require(file >= 0 && ftruncate(file, 1000) == 0, path.c_str());
        close(file);
    }
}

void Require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

} // namespace bench
