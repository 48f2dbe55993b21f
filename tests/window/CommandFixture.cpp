#include "tests/window/CommandFixture.h"

#include <stdexcept>

#include <wx/clipbrd.h>
#include <wx/textctrl.h>

#include "corvan/Messages.h"

using namespace corvan;
using namespace ostrel;

namespace
{

/// Which item of the menus has the keyboard, for as long as this lives.
class HighlightWatch
{
public:
    explicit HighlightWatch(wxWindow &window) : m_window(window)
    {
        m_window.Bind(wxEVT_MENU_HIGHLIGHT, &HighlightWatch::OnHighlight, this);
    }
    ~HighlightWatch()
    {
        m_window.Unbind(wxEVT_MENU_HIGHLIGHT, &HighlightWatch::OnHighlight, this);
    }
    HighlightWatch(const HighlightWatch &) = delete;
    HighlightWatch &operator=(const HighlightWatch &) = delete;

    int Id() const
    {
        return m_id;
    }

private:
    void OnHighlight(wxMenuEvent &event)
    {
        m_id = event.GetMenuId();
        event.Skip();
    }

    wxWindow &m_window;
    int m_id = wxID_NONE;
};

void SelectAll(wxTextCtrl &field)
{
    // A field's frame takes no clicks.
    ClickAt(field, {field.GetSize().x / 2, field.GetSize().y / 2});
    EXPECT_TRUE(PumpUntil([&field] { return field.HasFocus(); }));
    PressKeys("ctrl+a");
}

void WaitForValue(const wxTextCtrl &field, const std::string &text)
{
    EXPECT_TRUE(PumpUntil([&] { return field.GetValue().utf8_string() == text; }))
        << "the field holds \"" << field.GetValue().utf8_string() << "\", not \"" << text << '"';
}

constexpr int k_menu_attempts = 4;

bool IsTrace(const std::string &line)
{
    for (const char *part :
         {" bad: ", "  Checked ", "Displaying:", "Finished scanning", "sending job "})
        if (line.find(part) != std::string::npos)
            return true;
    return false;
}

} // namespace

void CommandFixture::Watch(const std::string &range,
                           const OrdwickProgram::ParameterTexts &parameters,
                           const std::string &options)
{
    WriteOptions("[Analysis]\nRefresh = 3600000\n" + options);
    Start();
    OrdwickProgram::ParameterTexts all = {{p_Range, range}};
    all.insert(all.end(), parameters.begin(), parameters.end());
    Connect();
    m_log.Clear(); // Of the pass over no files at all.
    ReceiveJob(MakeJob(all));
    WaitFor([this] { return m_log.Count(k_LogStatus, "Finished scanning") > 0; }, 30);
    PumpIdle();
    m_sentBefore = Link().sent.size();
    m_log.Clear();
}

void CommandFixture::FocusList()
{
    List().GetTargetWindow()->SetFocus();
    WaitFor([this] { return List().GetTargetWindow()->HasFocus(); });
}

void CommandFixture::SelectRows(const std::vector<int> &rows)
{
    std::string modifiers;
    for (const int row : rows)
    {
        ClickRow(row, modifiers);
        modifiers = "ctrl";
    }
}

void CommandFixture::ChooseFromMenu(int id)
{
    const wxMenuBar &bar = *Window().GetMenuBar();
    wxMenu *menu = nullptr;
    const wxMenuItem *item = bar.FindItem(id, &menu);
    ASSERT_TRUE(item) << "no item " << id;
    ASSERT_TRUE(item->IsEnabled());

    // On a busy machine a key may come before the menu is open, and go elsewhere.
    bool isReached = false;
    for (int attempt = 0; attempt < k_menu_attempts && !isReached; ++attempt)
    {
        PressKeys("F10");
        for (std::size_t i = 0; bar.GetMenu(i) != menu; ++i)
            PressKeys("Right");
        isReached = WalkDownTo(id, menu->GetMenuItemCount());
        if (!isReached)
            PressKeys("Escape Escape");
    }
    ASSERT_TRUE(isReached) << "the arrow keys do not reach item " << id;
    PressKeys("Return");
}

bool CommandFixture::WalkDownTo(int id, std::size_t itemCount)
{
    // It ends before the command does, which may end the window.
    const HighlightWatch highlight(Window());
    for (std::size_t i = 0; i <= itemCount && highlight.Id() != id; ++i)
        PressKeys("Down");
    return highlight.Id() == id;
}

void CommandFixture::ChooseFromMenu(const wxString &label)
{
    for (const char *title : {"File", "Job"})
        for (const wxMenuItem *item : Menu(title).GetMenuItems())
            if (item->GetItemLabelText() == label)
                return ChooseFromMenu(item->GetId());
    FAIL() << "no item " << label;
}

wxMenu &CommandFixture::Menu(const wxString &title) const
{
    const int index = Window().GetMenuBar()->FindMenu(title);
    if (index == wxNOT_FOUND)
        throw std::logic_error("no menu " + title.utf8_string());
    return *Window().GetMenuBar()->GetMenu(index);
}

std::string CommandFixture::LabelsOf(const wxString &title) const
{
    std::string labels;
    for (const wxMenuItem *item : Menu(title).GetMenuItems())
        labels += (labels.empty() ? "" : ", ") +
                  (item->IsSeparator() ? "-" : item->GetItemLabelText().utf8_string());
    return labels;
}

void CommandFixture::ClickButton(const wxWindow &dialog, int id)
{
    const wxWindow *button = dialog.FindWindow(id);
    ASSERT_NE(button, nullptr) << "no button " << id;
    ASSERT_TRUE(button->IsEnabled());
    ClickAt(*button, {button->GetSize().x / 2, button->GetSize().y / 2});
}

void CommandFixture::TypeInto(wxTextCtrl &field, const std::string &text)
{
    SelectAll(field);
    if (text.empty())
        PressKeys("Delete");
    else
        TypeText(text);
    WaitForValue(field, text);
}

void CommandFixture::PasteInto(wxTextCtrl &field, const std::string &text)
{
    SelectAll(field);
    SetClipboard(text);
    PressKeys(text.empty() ? "Delete" : "ctrl+v");
    WaitForValue(field, text);
}

void CommandFixture::SetClipboard(const std::string &text)
{
    const wxClipboardLocker lock;
    ASSERT_FALSE(!lock);
    wxTheClipboard->SetData(new wxTextDataObject(wxString::FromUTF8(text)));
}

std::vector<std::string> CommandFixture::SentParameters() const
{
    std::vector<std::string> texts;
    for (const auto &message : Sent<JobParameterMsg>())
    {
        EXPECT_EQ(message->job, UID(s_jobId, true));
        texts.push_back(message->name + " = " + message->value);
    }
    return texts;
}

std::string CommandFixture::LastSentParameter() const
{
    const std::vector<std::string> texts = SentParameters();
    return texts.empty() ? "(nothing was sent)" : texts.back();
}

std::size_t CommandFixture::SentSinceJob() const
{
    return Link().sent.size() - m_sentBefore;
}

std::vector<std::string> CommandFixture::CommandLines() const
{
    std::vector<std::string> lines;
    for (const LogCapture::Line &line : m_log.Lines())
        if (!IsTrace(line.text))
            lines.push_back(std::to_string(line.level) + ' ' + line.text);
    return lines;
}

std::string CommandFixture::CommandLog() const
{
    std::string log;
    for (const std::string &line : CommandLines())
        log += line + '\n';
    return log;
}
