// The analysis settings: what the dialog shows, what it stores, and what becomes of nonsense.

#include "dialogs/ConfigDlg.h"

#include <algorithm>
#include <filesystem>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "app/Ordwick.h"
#include "tests/support/Printing.h"
#include "tests/window/CommandFixture.h"
#include "ui/CommandIds.h"

using namespace corvan;
using namespace ostrel;

namespace
{

enum FieldIndex : int
{
    k_min_size = 0,
    k_frame_offset = 1,
    k_size_variation = 2,
    k_refresh = 3,
};
const char *const k_keys[] = {"MinSize", "FrameOffset", "SizeVariation", "Refresh"};

wxTextCtrl &Field(const wxWindow &dialog, int index)
{
    for (wxWindow *child : dialog.GetChildren())
        if (auto *field = dynamic_cast<wxTextCtrl *>(child); field && index-- == 0)
            return *field;
    throw std::logic_error("the dialog has no such field");
}

wxCheckBox &Box(const wxWindow &dialog)
{
    for (wxWindow *child : dialog.GetChildren())
        if (auto *box = dynamic_cast<wxCheckBox *>(child))
            return *box;
    throw std::logic_error("the dialog has no check box");
}

/// "[500]" for a field, "(x) label" and "( ) label" for a check box, else the label.
std::string TextOf(const wxWindow &control)
{
    if (const auto *field = dynamic_cast<const wxTextCtrl *>(&control))
        return '[' + field->GetValue().utf8_string() + ']';
    const std::string label = wxControl::RemoveMnemonics(control.GetLabel()).utf8_string();
    if (const auto *box = dynamic_cast<const wxCheckBox *>(&control))
        return (box->GetValue() ? "(x) " : "( ) ") + label;
    return label;
}

int MiddleOf(const wxWindow &control)
{
    return control.GetPosition().y + control.GetSize().y / 2;
}

/// What a reader sees, row by row from top to bottom; cells of a row are joined by "|".
std::vector<std::string> RowsOf(const wxWindow &dialog)
{
    const auto &children = dialog.GetChildren();
    std::vector<const wxWindow *> controls(children.begin(), children.end());
    std::sort(controls.begin(), controls.end(),
              [](const wxWindow *a, const wxWindow *b) { return MiddleOf(*a) < MiddleOf(*b); });
    std::vector<std::vector<const wxWindow *>> rows;
    for (const wxWindow *control : controls)
    {
        if (rows.empty() || MiddleOf(*control) - MiddleOf(*rows.back().front()) > 8)
            rows.emplace_back();
        rows.back().push_back(control);
    }

    std::vector<std::string> texts;
    for (auto &row : rows)
    {
        std::sort(row.begin(), row.end(),
                  [](const wxWindow *a, const wxWindow *b)
                  { return a->GetPosition().x < b->GetPosition().x; });
        std::string &text = texts.emplace_back();
        for (const wxWindow *control : row)
            text += (text.empty() ? "" : "|") + TextOf(*control);
    }
    return texts;
}

std::vector<std::string> Values(const wxWindow &dialog)
{
    std::vector<std::string> values;
    for (int field = k_min_size; field <= k_refresh; ++field)
        values.push_back(Field(dialog, field).GetValue().utf8_string());
    values.emplace_back(Box(dialog).GetValue() ? "checked" : "unchecked");
    return values;
}

} // namespace

class ConfigDlgTest : public CommandFixture
{
protected:
    using Texts = std::vector<std::string>;

    void InDialog(const std::function<void(wxTopLevelWindow &)> &steps)
    {
        WhileModal([this] { ChooseFromMenu(k_IdConfig); }, steps);
    }
    /// The dialog's values when it is opened and cancelled.
    Texts Shown()
    {
        Texts values;
        InDialog(
            [&](wxTopLevelWindow &dialog)
            {
                values = Values(dialog);
                PressKeys("Escape");
            });
        return values;
    }
    static OptionsFile &Options()
    {
        return wxGetApp().Options();
    }
    static std::string Stored(const char *key)
    {
        return Options().FindText("Analysis", key).value_or("(none)");
    }
    static Texts AllStored()
    {
        return {Stored("MinSize"), Stored("FrameOffset"), Stored("SizeVariation"),
                Stored("Refresh"), Stored("ShowProgress")};
    }
};

TEST_F(ConfigDlgTest, HasEveryTextInItsPlace)
{
    Start();
    InDialog(
        [](wxTopLevelWindow &dialog)
        {
            EXPECT_EQ(dialog.GetTitle(), "Analysis Settngs");
            EXPECT_EQ(dialog.GetName(), "ConfigDlg");
            EXPECT_EQ(Box(dialog).GetName(), "checkBox");
            EXPECT_EQ(RowsOf(dialog), (Texts{
                                          "Minimum Image Size: |[500]|Bytes",
                                          "Frame Offset: |Compare with|[5]|frames before and after",
                                          "Size Variation: |Allow|[15]|% variation from neighbors",
                                          "Refresh: |Scan files every|[5000]|milliseconds",
                                          "Display: |(x) Show file scan progress",
                                          "Cancel|OK",
                                      }));
            Screenshot(dialog, "analysis-settings");
            PressKeys("Escape");
        });
}

TEST_F(ConfigDlgTest, ShowsTheDefaultsWhereTheOptionsSayNothing)
{
    Start();
    EXPECT_EQ(Shown(), (Texts{"500", "5", "15", "5000", "checked"}));
    EXPECT_FALSE(Options().HasSection("Analysis")) << "looking stores nothing";
}

TEST_F(ConfigDlgTest, ShowsWhatTheOptionsSay)
{
    const struct
    {
        const char *options;
        Texts shown;
    } cases[] = {
        {"MinSize = 0\nFrameOffset = -3\nSizeVariation = 12.5\nRefresh = 60000\nShowProgress = No",
         {"0", "-3", "12.5", "60000", "unchecked"}},
        {"MinSize = 4294967295\nSizeVariation = 20\nShowProgress = yes",
         {"4294967295", "-3", "20", "60000", "checked"}},
        {"SizeVariation = 20.000\nShowProgress = 0",
         {"4294967295", "-3", "20", "60000", "unchecked"}},
        {"SizeVariation = 0.1\nShowProgress = 1", {"4294967295", "-3", "0.1", "60000", "checked"}},
    };
    Start();
    Options().InsertSection("Analysis");
    for (const auto &[options, shown] : cases)
    {
        IniFile stored;
        stored.Parse(std::string("[Analysis]\n") + options, nullptr);
        Options().CopySection(stored, "Analysis");
        EXPECT_EQ(Shown(), shown) << options;
    }
}

TEST_F(ConfigDlgTest, StoresAnythingExactlyAsItWasTyped)
{
    Start();
    InDialog(
        [](wxTopLevelWindow &dialog)
        {
            TypeInto(Field(dialog, k_min_size), "abc");
            TypeInto(Field(dialog, k_frame_offset), " 7 ");
            TypeInto(Field(dialog, k_size_variation), "");
            TypeInto(Field(dialog, k_refresh), "1e99");
            PressKeys("Return");
        });
    EXPECT_EQ(AllStored(), (Texts{"abc", " 7 ", "", "1e99", "Yes"}));
    const std::string file = ReadOptions();
    EXPECT_NE(file.find("MinSize = abc\n"), std::string::npos) << file;
    EXPECT_NE(file.find("FrameOffset = \" 7 \"\n"), std::string::npos) << file;
    EXPECT_EQ(Shown(), (Texts{"500", "7", "15", "5000", "checked"})) << "read back as defaults";
}

TEST_F(ConfigDlgTest, StoresNoForAnUncheckedBoxAndTheOthersAgain)
{
    Start();
    InDialog(
        [](wxTopLevelWindow &dialog)
        {
            ClickAt(Box(dialog), {10, Box(dialog).GetSize().y / 2});
            EXPECT_FALSE(Box(dialog).GetValue());
            ClickButton(dialog, wxID_OK);
        });
    EXPECT_EQ(AllStored(), (Texts{"500", "5", "15", "5000", "No"}));
    EXPECT_NE(ReadOptions().find("ShowProgress = No\n"), std::string::npos) << ReadOptions();
    EXPECT_EQ(Shown().back(), "unchecked");
}

TEST_F(ConfigDlgTest, LeavesTheWritingToABatchThatIsOpen)
{
    Start();
    Options().BeginUpdate();
    ConfigDlg dialog(&Window());
    Field(dialog, k_min_size).SetValue("77");
    dialog.SetOptions();
    EXPECT_EQ(Stored("MinSize"), "77");
    EXPECT_FALSE(std::filesystem::exists(Options().Filename().Text().c_str()));
    Options().EndUpdate();
    EXPECT_NE(ReadOptions().find("MinSize = 77"), std::string::npos);
}

TEST_F(ConfigDlgTest, WritesOnceAndAtOnceWithoutABatch)
{
    Start();
    ConfigDlg dialog(&Window());
    dialog.SetOptions();
    EXPECT_NE(ReadOptions().find("Refresh = 5000"), std::string::npos);
}

TEST_F(ConfigDlgTest, NonsenseInAnyFieldIsStoredAndThePassesGoOn)
{
    const std::string longText(60'000, '9');
    const struct
    {
        std::string typed;
        Texts readBack; ///< What the dialog shows the next time.
    } cases[] = {
        {"abc", {"500", "5", "15", "5000"}},    {"", {"500", "5", "15", "5000"}},
        {"-5", {"500", "-5", "-5", "-5"}},      {"1e99", {"500", "5", "15", "5000"}},
        {longText, {"500", "5", "15", "5000"}},
    };
    MakeFrames(1, 4, 9000);
    Watch("1-5");
    for (const auto &[typed, readBack] : cases)
    {
        m_log.Clear();
        InDialog(
            [&text = typed](wxTopLevelWindow &dialog)
            {
                for (int field = k_min_size; field <= k_refresh; ++field)
                    PasteInto(Field(dialog, field), text);
                ClickButton(dialog, wxID_OK);
            });
        for (const char *key : k_keys)
            EXPECT_TRUE(Stored(key) == typed) << key << " = " << Stored(key).substr(0, 20);
        // The pass that the settings started comes to its end, and the window still answers.
        WaitFor([this] { return m_log.Count(k_LogStatus, "Finished scanning 5 files") > 0; });
        EXPECT_EQ(StatusTexts(), "5 Files | 1 Missing | 0 Too Small");
        Texts shown = Shown();
        shown.pop_back();
        EXPECT_EQ(shown, readBack) << typed.substr(0, 20);
    }
}

TEST_F(ConfigDlgTest, TheKeyboardAloneIsEnough)
{
    Start();
    InDialog(
        [](wxTopLevelWindow &dialog)
        {
            const wxWindow *const order[] = {&Field(dialog, k_min_size),
                                             &Field(dialog, k_frame_offset),
                                             &Field(dialog, k_size_variation),
                                             &Field(dialog, k_refresh),
                                             &Box(dialog),
                                             dialog.FindWindow(wxID_CANCEL),
                                             dialog.FindWindow(wxID_OK)};
            for (const wxWindow *window : order)
            {
                EXPECT_TRUE(GetsKeyboard(*window)) << TextOf(*window);
                PressKeys("Tab");
            }
            EXPECT_TRUE(GetsKeyboard(*order[0])) << "round and round";
            PressKeys("ctrl+a");
            TypeText("77");
            PressKeys("Tab Tab Tab Tab space");
            PressKeys("shift+Tab Return"); // In a field Enter presses OK.
        });
    EXPECT_EQ(AllStored(), (Texts{"77", "5", "15", "5000", "No"}));
}

TEST_F(ConfigDlgTest, OkIsTheDefaultButton)
{
    Start();
    InDialog(
        [](wxTopLevelWindow &dialog)
        {
            EXPECT_EQ(dialog.GetDefaultItem(), dialog.FindWindow(wxID_OK));
            PressKeys("Escape");
        });
}

TEST_F(ConfigDlgTest, ComesUpWhereItWas)
{
    Start();
    const wxRect place(300, 250, 560, 420);
    InDialog(
        [&](wxTopLevelWindow &dialog)
        {
            PutOnDisplay(dialog, place);
            PressKeys("Return");
        });
    EXPECT_TRUE(Options().HasSection("Dialog ConfigDlg"));
    InDialog(
        [&](wxTopLevelWindow &dialog)
        {
            EXPECT_TRUE(PumpUntil([&] { return PlaceOnDisplay(dialog) == place; }));
            PressKeys("Escape");
        });
}
