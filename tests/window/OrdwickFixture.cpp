#include "tests/window/OrdwickFixture.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "tests/support/TestWatch.h"
#include "tests/support/WindowTest.h"
#include "wxcorvan/wxcAssert.h"
#include "wxcorvan/wxcChoice.h"
#include "wxcorvan/wxcColors.h"

using namespace corvan;
using namespace ostrel;

OrdwickFixture::OrdwickFixture() : m_log(k_LogInfo), m_program(m_folder)
{
    wxcorvan::wxcSetAssertHandler([](const String &text)
                                  { ADD_FAILURE() << "toolkit assertion: " << text; });
    WatchTest(); // A box may come up while the program starts.
}

void OrdwickFixture::WriteOptions(const std::string &text)
{
    m_program.WriteOptions(text);
}

std::string OrdwickFixture::ReadOptions() const
{
    return m_program.ReadOptions();
}

void OrdwickFixture::Start(std::vector<std::string> arguments)
{
    if (!TryStart(std::move(arguments)))
        throw std::runtime_error("the program does not start");
    ShowActive(Window());
}

bool OrdwickFixture::TryStart(std::vector<std::string> arguments)
{
    const bool isUp = m_program.Start(std::move(arguments));
    SetUpWindowTests();
    return isUp;
}

void OrdwickFixture::WaitFor(const std::function<bool()> &condition, int seconds)
{
    ASSERT_TRUE(PumpUntil(condition, seconds * 1000)) << "waited " << seconds << " s in vain";
}

void OrdwickFixture::PumpPass()
{
    // Asked after every event, and a pass is an event a file.
    std::size_t seen = m_log.LineCount();
    WaitFor(
        [&]
        {
            const std::size_t first = std::exchange(seen, m_log.LineCount());
            return m_log.CountFrom(first, k_LogStatus, "Finished scanning") > 0;
        },
        30);
}

void OrdwickFixture::Connect()
{
    m_program.Connect();
    WaitFor([] { return Messenger::IsConnected(); });
    PumpIdle();
}

void OrdwickFixture::Disconnect()
{
    m_program.Disconnect();
    WaitFor([] { return !Messenger::IsConnected(); });
    PumpIdle();
}

boost::shared_ptr<Job>
OrdwickFixture::MakeJob(const OrdwickProgram::ParameterTexts &parameters) const
{
    OrdwickProgram::ParameterTexts all = {{p_Range, "1-5"}, {p_ImageFormat, Pattern()}};
    all.insert(all.end(), parameters.begin(), parameters.end());
    return m_program.MakeJob(all);
}

void OrdwickFixture::ReceiveJob(const boost::shared_ptr<Job> &job)
{
    m_program.ReceiveJob(job);
    PumpIdle();
}

void OrdwickFixture::ReceiveParameter(const std::string &name, const std::string &value)
{
    m_program.ReceiveParameter(name, value);
    PumpIdle();
}

void OrdwickFixture::ConnectWithJob(const OrdwickProgram::ParameterTexts &parameters)
{
    Connect();
    m_program.ReceiveJob(MakeJob(parameters));
    WaitFor([] { return wxGetApp().CurrentJob() != nullptr; });
}

void OrdwickFixture::ClickRow(int row, const std::string &modifiers)
{
    wxRect place;
    ASSERT_TRUE(List().GetItemRect(row, place)) << "row " << row;
    ClickAt(List(), wxPoint(place.x + 30, place.y + place.height / 2), modifiers);
}

MainWindow &OrdwickFixture::Window() const
{
    return m_program.Window();
}

FileList &OrdwickFixture::List() const
{
    return m_program.List();
}

FakeLink::Record &OrdwickFixture::Link() const
{
    return m_program.Link();
}

wxcorvan::wxcChoice &OrdwickFixture::FormatChoice() const
{
    return dynamic_cast<wxcorvan::wxcChoice &>(*Window().FindWindow("choice"));
}

std::string OrdwickFixture::StatusTexts() const
{
    std::string texts;
    for (int field = 0; field < 3; ++field)
        texts += (field ? " | " : "") + Window().GetStatusBar()->GetStatusText(field).utf8_string();
    return texts;
}

std::string OrdwickFixture::RowColor(int row) const
{
    using namespace wxcorvan;
    const wxColour colour = List().GetRowColor(row);
    if (colour == wxcGetColor(color_Text))
        return "normal";
    if (colour == wxcGetColor(color_TextGrey))
        return "grey";
    if (colour == wxcGetColor(color_TextRed))
        return "red";
    return colour == wxcGetColor(color_TextOrange) ? "orange" : "unknown";
}

std::string OrdwickFixture::Pattern() const
{
    return m_folder.Folder().Text() + "/frames/f.%04d.exr";
}

std::string OrdwickFixture::FramePath(int frame) const
{
    char name[32];
    std::snprintf(name, sizeof name, "/frames/f.%04d.exr", frame);
    return m_folder.Folder().Text() + name;
}

void OrdwickFixture::MakeFrame(int frame, std::size_t bytes) const
{
    std::filesystem::create_directories(m_folder.Folder().Text() + "/frames");
    std::ofstream(FramePath(frame)) << std::string(bytes, 'x');
}

void OrdwickFixture::MakeFrames(int first, int last, std::size_t bytes) const
{
    for (int frame = first; frame <= last; ++frame)
    {
        MakeFrame(frame, bytes);
        TestIsAlive(); // A disk that others use takes minutes over thousands.
    }
}
