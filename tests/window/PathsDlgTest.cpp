// The list of image formats and the editor of one, with real clicks and keys.

#include <filesystem>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/listbox.h>
#include <wx/textctrl.h>

#include "app/Ordwick.h"
#include "dialogs/EditPathDlg.h"
#include "dialogs/PathsDlg.h"
#include "tests/support/NativeDialog.h"
#include "tests/support/Printing.h"
#include "tests/window/CommandFixture.h"

using namespace corvan;
using namespace ostrel;

namespace
{

enum Button : int
{
    k_add = 101,
    k_edit = 102,
    k_remove = 103,
    k_browse = 104,
    k_guess = 105,
};

} // namespace

class PathsDlgTest : public CommandFixture
{
protected:
    using Dialog = wxTopLevelWindow;
    using Steps = std::function<void(Dialog &)>;
    using Paths = std::vector<std::string>;

    /// What the list dialog ended with, and what it holds.
    struct Outcome
    {
        int result = -1;
        Paths paths;
    };

    Outcome InList(const Paths &paths, const Steps &steps)
    {
        wxArrayString texts;
        for (const std::string &path : paths)
            texts.Add(wxString::FromUTF8(path));
        PathsDlg dialog(&Window(), texts);
        Outcome outcome;
        WhileModal([&] { outcome.result = dialog.ShowModal(); }, steps);
        for (const wxString &path : dialog.GetPaths())
            outcome.paths.push_back(path.utf8_string());
        return outcome;
    }
    /// What the editor ended with and holds.
    std::pair<int, std::string> InEditor(const std::string &path, const Steps &steps)
    {
        EditPathDlg dialog(&Window(), path);
        int result = -1;
        WhileModal([&] { result = dialog.ShowModal(); }, steps);
        return {result, dialog.GetPath().utf8_string()};
    }
    static void ByButton(Dialog &dialog, int button, const Steps &steps)
    {
        WhileModal([&] { ClickButton(dialog, button); }, steps);
    }
    /// Adds a path, or edits the selected one, and accepts it with Enter.
    static void Enter(Dialog &dialog, int button, const std::string &path)
    {
        ByButton(dialog, button,
                 [&](Dialog &editor)
                 {
                     TypeInto(Field(editor), path);
                     PressKeys("Return");
                 });
    }
    /// Does the steps in the chooser that Browse opens, and comes back to the editor.
    static void Browse(Dialog &editor, const std::function<void()> &steps)
    {
        WhileFileChooser([&] { ClickButton(editor, k_browse); }, steps);
        EXPECT_TRUE(PumpUntil([&editor] { return editor.IsActive(); }));
    }
    static void Pick(Dialog &editor, const std::string &file)
    {
        Browse(editor,
               [&file]
               {
                   // The location has a text of its own at first.
                   PressKeys("ctrl+l");
                   PressKeys("ctrl+a");
                   TypeText(file);
                   PressKeys("Return");
               });
    }

    static wxListBox &List(const Dialog &dialog)
    {
        return dynamic_cast<wxListBox &>(*wxWindow::FindWindowByName("listBox", &dialog));
    }
    static wxTextCtrl &Field(const Dialog &dialog)
    {
        return dynamic_cast<wxTextCtrl &>(*wxWindow::FindWindowByName(wxTextCtrlNameStr, &dialog));
    }
    static wxCheckBox &Guess(const Dialog &dialog)
    {
        return dynamic_cast<wxCheckBox &>(*dialog.FindWindow(k_guess));
    }
    static void ClickGuess(const Dialog &dialog)
    {
        const bool before = Guess(dialog).GetValue();
        ClickAt(Guess(dialog), {10, Guess(dialog).GetSize().y / 2});
        EXPECT_TRUE(PumpUntil([&] { return Guess(dialog).GetValue() != before; }));
    }
    /// Clicks at an item of the list.
    static void ClickItem(const Dialog &dialog, int index)
    {
        const wxListBox &list = List(dialog);
        wxPoint point(20, 0);
        while (list.HitTest(point) != index && point.y < list.GetClientSize().y)
            ++point.y;
        ClickAt(list, point + wxPoint(0, 4));
        EXPECT_TRUE(PumpUntil([&] { return list.GetSelection() == index; })) << "item " << index;
    }
    static Paths Items(const Dialog &dialog)
    {
        Paths items;
        for (const wxString &item : List(dialog).GetStrings())
            items.push_back(item.utf8_string());
        return items;
    }
    /// "Add Edit Remove": the buttons that can be pressed.
    static std::string Enabled(const Dialog &dialog)
    {
        std::string enabled;
        for (const int id : {k_add, k_edit, k_remove})
            if (dialog.FindWindow(id)->IsEnabled())
                enabled += (enabled.empty() ? "" : " ") + LabelOf(*dialog.FindWindow(id));
        return enabled;
    }
    /// Without its mnemonic.
    static std::string LabelOf(const wxWindow &control)
    {
        return wxControl::RemoveMnemonics(control.GetLabel()).utf8_string();
    }
    static std::string StoredGuess()
    {
        return wxGetApp().Options().FindText("Options", "GuessFrames").value_or("(none)");
    }
};

TEST_F(PathsDlgTest, TheListHasEveryTextInItsPlace)
{
    Start();
    InList({"/a/%d", "/b/%d"},
           [](Dialog &dialog)
           {
               EXPECT_EQ(dialog.GetTitle(), "Edit Image Formats");
               EXPECT_EQ(dialog.GetName(), "EditImageFormats");
               EXPECT_EQ(List(dialog).GetWindowStyle() & (wxLB_SINGLE | wxLB_HSCROLL),
                         wxLB_SINGLE | wxLB_HSCROLL);
               int above = -1;
               const char *labels[] = {"Add", "Edit", "Remove"};
               for (int i = 0; i < 3; ++i)
               {
                   const wxWindow *button = dialog.FindWindow(k_add + i);
                   ASSERT_NE(button, nullptr);
                   EXPECT_EQ(LabelOf(*button), labels[i]);
                   EXPECT_GT(button->GetPosition().y, above);
                   EXPECT_GT(button->GetPosition().x, List(dialog).GetRect().GetRight());
                   above = button->GetRect().GetBottom();
               }
               EXPECT_EQ(LabelOf(*dialog.FindWindow(wxID_OK)), "OK");
               EXPECT_EQ(LabelOf(*dialog.FindWindow(wxID_CANCEL)), "Cancel");
               EXPECT_EQ(dialog.GetDefaultItem(), dialog.FindWindow(wxID_OK));
               Screenshot(dialog, "image-formats");
               PressKeys("Escape");
           });
}

TEST_F(PathsDlgTest, TheEditorHasEveryTextInItsPlace)
{
    Start();
    InEditor("/a/%d",
             [](Dialog &dialog)
             {
                 EXPECT_EQ(dialog.GetTitle(), "Edit Image Format");
                 EXPECT_EQ(dialog.GetName(), "EditImageFormat");
                 EXPECT_EQ(Field(dialog).GetValue(), "/a/%d");
                 EXPECT_TRUE(GetsKeyboard(Field(dialog)));
                 EXPECT_EQ(LabelOf(*dialog.FindWindow(k_browse)), "Browse...");
                 EXPECT_EQ(LabelOf(Guess(dialog)), "Guess Frames");
                 EXPECT_EQ(Guess(dialog).GetName(), "checkBox");
                 EXPECT_TRUE(Guess(dialog).GetValue()) << "by default";
                 EXPECT_GT(Guess(dialog).GetPosition().x,
                           dialog.FindWindow(k_browse)->GetRect().GetRight());
                 EXPECT_EQ(dialog.GetDefaultItem(), dialog.FindWindow(wxID_OK));
                 Screenshot(dialog, "image-format");
                 PressKeys("Escape");
             });
}

TEST_F(PathsDlgTest, AcceptedAtOnceItGivesBackWhatItWasGiven)
{
    Start();
    const Outcome two = InList({"a", "b"}, [](Dialog &) { PressKeys("Return"); });
    EXPECT_NE(two.result, 0);
    EXPECT_EQ(two.paths, (Paths{"a", "b"}));

    const Outcome none = InList({},
                                [](Dialog &dialog)
                                {
                                    EXPECT_EQ(Enabled(dialog), "Add");
                                    ClickButton(dialog, wxID_OK);
                                });
    EXPECT_NE(none.result, 0);
    EXPECT_EQ(none.paths, Paths{});
}

TEST_F(PathsDlgTest, CancelEscapeAndClosingGiveZero)
{
    Start();
    EXPECT_EQ(InList({"a"}, [](Dialog &dialog) { ClickButton(dialog, wxID_CANCEL); }).result, 0);
    EXPECT_EQ(InList({"a"}, [](Dialog &) { PressKeys("Escape"); }).result, 0);
    EXPECT_EQ(InList({"a"}, [](Dialog &dialog) { dialog.Close(); }).result, 0);
    EXPECT_EQ(InEditor("a", [](Dialog &dialog) { ClickButton(dialog, wxID_CANCEL); }).first, 0);
    EXPECT_EQ(InEditor("a", [](Dialog &) { PressKeys("Escape"); }).first, 0);
    EXPECT_EQ(InEditor("a", [](Dialog &dialog) { dialog.Close(); }).first, 0);
}

TEST_F(PathsDlgTest, OpensWithNothingSelectedAndASelectionEnablesEditAndRemove)
{
    Start();
    InList({"a", "b"},
           [](Dialog &dialog)
           {
               EXPECT_EQ(List(dialog).GetSelection(), wxNOT_FOUND);
               EXPECT_EQ(Enabled(dialog), "Add");
               ClickItem(dialog, 1);
               EXPECT_EQ(Enabled(dialog), "Add Edit Remove");
               PressKeys("Escape");
           });
}

TEST_F(PathsDlgTest, AddAppendsAndLeavesSelectionAndButtons)
{
    Start();
    const Outcome outcome = InList({"a", "b"},
                                   [](Dialog &dialog)
                                   {
                                       Enter(dialog, k_add, "/c/%d");
                                       EXPECT_EQ(List(dialog).GetSelection(), wxNOT_FOUND);
                                       EXPECT_EQ(Enabled(dialog), "Add");
                                       ClickItem(dialog, 0);
                                       Enter(dialog, k_add, "a");
                                       EXPECT_EQ(List(dialog).GetSelection(), 0);
                                       EXPECT_EQ(Enabled(dialog), "Add Edit Remove");
                                       ClickButton(dialog, wxID_OK);
                                   });
    EXPECT_EQ(outcome.paths, (Paths{"a", "b", "/c/%d", "a"}));
}

TEST_F(PathsDlgTest, AnAcceptedEmptyEditorAddsAnEmptyItem)
{
    Start();
    const Outcome outcome = InList({"a"},
                                   [](Dialog &dialog)
                                   {
                                       ByButton(dialog, k_add,
                                                [](Dialog &editor)
                                                {
                                                    EXPECT_EQ(Field(editor).GetValue(), "");
                                                    PressKeys("Return");
                                                });
                                       ClickButton(dialog, wxID_OK);
                                   });
    EXPECT_EQ(outcome.paths, (Paths{"a", ""}));
}

TEST_F(PathsDlgTest, ACancelledEditorChangesNothing)
{
    Start();
    const auto typeAndCancel = [](Dialog &editor)
    {
        TypeInto(Field(editor), "other");
        PressKeys("Escape");
    };
    const Outcome outcome = InList({"a", "b"},
                                   [&](Dialog &dialog)
                                   {
                                       ByButton(dialog, k_add, typeAndCancel);
                                       ClickItem(dialog, 1);
                                       ByButton(dialog, k_edit, typeAndCancel);
                                       ClickButton(dialog, wxID_OK);
                                   });
    EXPECT_EQ(outcome.paths, (Paths{"a", "b"}));
}

TEST_F(PathsDlgTest, EditReplacesTheSecondOfThreeInPlace)
{
    Start();
    const Outcome outcome = InList({"a", "b", "c"},
                                   [](Dialog &dialog)
                                   {
                                       ClickItem(dialog, 1);
                                       ByButton(dialog, k_edit,
                                                [](Dialog &editor)
                                                {
                                                    EXPECT_EQ(Field(editor).GetValue(), "b");
                                                    TypeInto(Field(editor), " new ");
                                                    PressKeys("Return");
                                                });
                                       EXPECT_EQ(List(dialog).GetSelection(), 1);
                                       ClickButton(dialog, wxID_OK);
                                   });
    EXPECT_EQ(outcome.paths, (Paths{"a", " new ", "c"}));
}

TEST_F(PathsDlgTest, RemoveTakesTheSelectedOneAndTheButtonsFollowTheSelection)
{
    Start();
    const Outcome outcome =
        InList({"a", "b", "c"},
               [](Dialog &dialog)
               {
                   ClickItem(dialog, 1);
                   ClickButton(dialog, k_remove);
                   EXPECT_EQ(Items(dialog), (Paths{"a", "c"}));
                   const bool isSelected = List(dialog).GetSelection() != wxNOT_FOUND;
                   EXPECT_EQ(Enabled(dialog), isSelected ? "Add Edit Remove" : "Add");
                   ClickItem(dialog, 0);
                   ClickButton(dialog, k_remove);
                   ClickItem(dialog, 0);
                   ClickButton(dialog, k_remove);
                   EXPECT_EQ(Items(dialog), Paths{});
                   EXPECT_EQ(Enabled(dialog), "Add");
                   ClickButton(dialog, wxID_OK);
               });
    EXPECT_EQ(outcome.paths, Paths{});
}

TEST_F(PathsDlgTest, ADoubleClickInTheListEditsNothing)
{
    Start();
    InList({"a", "b"},
           [](Dialog &dialog)
           {
               ClickItem(dialog, 1);
               DoubleClickAt(List(dialog), {20, 8});
               PumpIdle();
               EXPECT_TRUE(dialog.IsActive()) << "no other dialog came up";
               PressKeys("Escape");
           });
}

TEST_F(PathsDlgTest, TheKeyboardAloneIsEnough)
{
    Start();
    const Outcome outcome =
        InList({"a", "b"},
               [](Dialog &dialog)
               {
                   EXPECT_TRUE(GetsKeyboard(List(dialog)));
                   PressKeys("Down Home");
                   EXPECT_EQ(List(dialog).GetSelection(), 0);
                   PressKeys("Tab Tab");
                   EXPECT_TRUE(GetsKeyboard(*dialog.FindWindow(k_edit)));
                   WhileModal([] { PressKeys("space"); },
                              [](Dialog &editor)
                              {
                                  PressKeys("ctrl+a");
                                  TypeText("new");
                                  PressKeys("Tab");
                                  EXPECT_TRUE(GetsKeyboard(*editor.FindWindow(k_browse)));
                                  PressKeys("Tab");
                                  EXPECT_TRUE(GetsKeyboard(Guess(editor)));
                                  PressKeys("Tab");
                                  EXPECT_TRUE(GetsKeyboard(*editor.FindWindow(wxID_CANCEL)));
                                  PressKeys("Tab space");
                              });
                   PressKeys("Tab");
                   EXPECT_TRUE(GetsKeyboard(*dialog.FindWindow(k_remove)));
                   PressKeys("Tab Tab");
                   EXPECT_TRUE(GetsKeyboard(*dialog.FindWindow(wxID_OK)));
                   PressKeys("space");
               });
    EXPECT_NE(outcome.result, 0);
    EXPECT_EQ(outcome.paths, (Paths{"new", "b"}));
}

TEST_F(PathsDlgTest, BrowseCancelledLeavesTheField)
{
    Start();
    const auto [result, path] = InEditor("/a/%d",
                                         [](Dialog &editor)
                                         {
                                             Browse(editor, [] { PressKeys("Escape"); });
                                             EXPECT_EQ(Field(editor).GetValue(), "/a/%d");
                                             ClickButton(editor, wxID_OK);
                                         });
    EXPECT_EQ(path, "/a/%d");
}

TEST_F(PathsDlgTest, BrowseWithoutGuessingTakesThePathAsItIs)
{
    const Path file = m_folder.MakeFile("shot.0007.exr", "x");
    Start();
    InEditor("/a/%d",
             [&](Dialog &editor)
             {
                 ClickGuess(editor);
                 Pick(editor, file.Text());
                 EXPECT_EQ(Field(editor).GetValue(), file.Text());
                 ClickButton(editor, wxID_OK);
             });
}

TEST_F(PathsDlgTest, BrowseWithGuessingTakesThePatternOfThePath)
{
    m_folder.MakeFile("shot.0007.exr", "x");
    m_folder.MakeFile("none.exr", "x");
    Start();
    const std::string folder = m_folder.Folder().Text() + '/';
    InEditor("/a/%d",
             [&](Dialog &editor)
             {
                 Pick(editor, folder + "shot.0007.exr");
                 EXPECT_EQ(Field(editor).GetValue(), folder + "shot.%04d.exr");
                 Pick(editor, folder + "none.exr");
                 EXPECT_EQ(Field(editor).GetValue(), folder + "none.exr");
                 ClickButton(editor, wxID_OK);
             });
}

TEST_F(PathsDlgTest, GuessingIsRememberedAtOnceAlsoOfACancelledEditor)
{
    Start();
    EXPECT_EQ(StoredGuess(), "(none)");
    InEditor("a",
             [](Dialog &editor)
             {
                 ClickGuess(editor);
                 EXPECT_EQ(StoredGuess(), "0");
                 PressKeys("Escape");
             });
    EXPECT_FALSE(std::filesystem::exists(wxGetApp().Options().Filename().Text().c_str()))
        << "the next writing takes it along";
    InEditor("a",
             [](Dialog &editor)
             {
                 EXPECT_FALSE(Guess(editor).GetValue());
                 ClickGuess(editor);
                 EXPECT_EQ(StoredGuess(), "1");
                 PressKeys("Escape");
             });
    PressKeys("ctrl+w");
    WaitFor([] { return wxTheApp->GetTopWindow() == nullptr; });
    EXPECT_NE(ReadOptions().find("GuessFrames = 1"), std::string::npos) << ReadOptions();
}

TEST_F(PathsDlgTest, BothDialogsComeUpWhereTheyWere)
{
    Start();
    const wxRect listPlace(250, 200, 620, 420);
    const wxRect editorPlace(300, 260, 640, 220);
    const auto put = [](Dialog &dialog, const wxRect &place)
    {
        PutOnDisplay(dialog, place);
        PressKeys("Return");
    };
    const auto look = [](Dialog &dialog, const wxRect &place)
    {
        EXPECT_TRUE(PumpUntil([&] { return PlaceOnDisplay(dialog) == place; }));
        PressKeys("Escape");
    };
    InList({"a"}, [&](Dialog &dialog) { put(dialog, listPlace); });
    InEditor("a", [&](Dialog &dialog) { put(dialog, editorPlace); });
    InList({"a"}, [&](Dialog &dialog) { look(dialog, listPlace); });
    InEditor("a", [&](Dialog &dialog) { look(dialog, editorPlace); });
    EXPECT_TRUE(wxGetApp().Options().HasSection("Dialog EditImageFormats"));
    EXPECT_TRUE(wxGetApp().Options().HasSection("Dialog EditImageFormat"));
}
