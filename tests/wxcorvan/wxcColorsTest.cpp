#include "wxcorvan/wxcColors.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtk/gtk.h>
#include <memory>

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/sizer.h>

#include "ostrel/IniFile.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/WindowTest.h"
#include "wxcorvan/wxcButton.h"
#include "wxcorvan/wxcCheckBox.h"
#include "wxcorvan/wxcChoice.h"
#include "wxcorvan/wxcListBox.h"
#include "wxcorvan/wxcStaticText.h"
#include "wxcorvan/wxcTextCtrl.h"

using namespace wxcorvan;
using ostrel::String;

namespace
{

/// Dark again at the end, as the other tests expect it.
class wxcColorsTest : public testing::Test
{
protected:
    ~wxcColorsTest() override
    {
        wxcSetTheme(ColorTheme::Dark);
    }
};

double Linear(unsigned char channel)
{
    const double value = channel / 255.0;
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

/// Relative luminance, as the Web Content Accessibility Guidelines define it.
double Luminance(const wxColour &color)
{
    return 0.2126 * Linear(color.Red()) + 0.7152 * Linear(color.Green()) +
           0.0722 * Linear(color.Blue());
}

double Contrast(const wxColour &a, const wxColour &b)
{
    const double lighter = std::max(Luminance(a), Luminance(b));
    const double darker = std::min(Luminance(a), Luminance(b));
    return (lighter + 0.05) / (darker + 0.05);
}

/// Perceived distance: the CIE 1976 difference in L*a*b*; 2 is just noticeable side by side.
double Difference(const wxColour &a, const wxColour &b)
{
    const auto curve = [](double t)
    { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116.0; };
    const auto lab = [&curve](const wxColour &color)
    {
        const double red = Linear(color.Red());
        const double green = Linear(color.Green());
        const double blue = Linear(color.Blue());
        const double x = curve((0.4124 * red + 0.3576 * green + 0.1805 * blue) / 0.9505);
        const double y = curve(0.2126 * red + 0.7152 * green + 0.0722 * blue);
        const double z = curve((0.0193 * red + 0.1192 * green + 0.9505 * blue) / 1.0890);
        return std::array{116 * y - 16, 500 * (x - y), 200 * (y - z)};
    };
    const auto one = lab(a);
    const auto other = lab(b);
    return std::hypot(one[0] - other[0], one[1] - other[1], one[2] - other[2]);
}

/// A share folder whose dark theme is this text.
class ShareWith
{
public:
    explicit ShareWith(const char *dark)
        : m_guard("ORDWICK_SHARE", m_folder.Folder().Text().c_str())
    {
        m_folder.MakeFile("colours/Dark.ini", dark);
    }

private:
    TempFolder m_folder;
    EnvironmentGuard m_guard;
};

constexpr ColorTheme k_themes[] = {ColorTheme::Dark, ColorTheme::Light};

} // namespace

TEST_F(wxcColorsTest, GivesEveryTextEnoughContrastWhereItIsShown)
{
    const struct
    {
        const String &ground;
        std::vector<String> texts;
    } places[] = {
        {color_ListBG, {color_Text, color_TextGrey, color_TextRed, color_TextOrange}},
        {color_ListHighlight, {color_Text, color_TextGrey, color_TextRed, color_TextOrange}},
        {color_ListSelection, {color_Text, color_TextGrey, color_TextRed, color_TextOrange}},
        {color_WindowBG, {color_Text, color_TextGrey}},
        {color_WindowBGLighter, {color_Text}},
        {color_FieldBG, {color_Text}},
    };

    for (const ColorTheme theme : k_themes)
    {
        wxcSetTheme(theme);
        for (const auto &[ground, texts] : places)
            for (const String &text : texts)
                EXPECT_GE(Contrast(wxcGetColor(text), wxcGetColor(ground)), 4.5)
                    << text << " on " << ground << " in theme " << int(theme);
    }
}

TEST_F(wxcColorsTest, MakesTheTextColorsWellDistinguishable)
{
    const String *texts[] = {&color_Text, &color_TextGrey, &color_TextRed, &color_TextOrange};
    for (const ColorTheme theme : k_themes)
    {
        wxcSetTheme(theme);
        for (const String *one : texts)
            for (const String *other : texts)
                if (one != other)
                {
                    EXPECT_GE(Difference(wxcGetColor(*one), wxcGetColor(*other)), 20)
                        << *one << " and " << *other << " in theme " << int(theme);
                }
    }
}

TEST_F(wxcColorsTest, MakesSelectionAndHighlightVisible)
{
    for (const ColorTheme theme : k_themes)
    {
        wxcSetTheme(theme);
        const wxColour list = wxcGetColor(color_ListBG);
        EXPECT_GE(Difference(list, wxcGetColor(color_ListSelection)), 10);
        EXPECT_GE(Difference(list, wxcGetColor(color_ListHighlight)), 3);
        EXPECT_GE(Contrast(wxcGetColor(color_ListFocus), wxcGetColor(color_ListSelection)), 3);
        EXPECT_GE(Contrast(wxcGetColor(color_ListFocus), list), 3);
    }
}

TEST_F(wxcColorsTest, TakesEveryColorFromTheThemesFile)
{
    LogCapture log;
    for (const ColorTheme theme : k_themes)
        wxcSetTheme(theme);
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, ""), 0);
}

TEST_F(wxcColorsTest, KeepsABuiltInColorWhereTheFileHasNone)
{
    const wxColour builtIn = wxcGetColor(color_TextGrey);
    const ShareWith share("[Colours]\nText = #102030\nTextGrey = no colour\n");
    LogCapture log;
    wxcSetTheme(ColorTheme::Dark);
    EXPECT_EQ(wxcGetColor(color_Text), wxColour(0x10, 0x20, 0x30));
    EXPECT_EQ(wxcGetColor(color_TextGrey), builtIn);
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "TextGrey"), 1);
}

TEST_F(wxcColorsTest, KeepsTheBuiltInThemeWithoutAFile)
{
    const wxColour builtIn = wxcGetColor(color_Text);
    const TempFolder nothing;
    const EnvironmentGuard share("ORDWICK_SHARE", nothing.Folder().Text().c_str());
    LogCapture log;
    wxcSetTheme(ColorTheme::Dark);
    EXPECT_EQ(wxcGetColor(color_Text), builtIn);
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, ""), 1);
}

TEST_F(wxcColorsTest, GivesTheTextColorForAnUnknownName)
{
    LogCapture log;
    EXPECT_EQ(wxcGetColor("NoSuchColor"), wxcGetColor(color_Text));
    EXPECT_EQ(wxcGetColor("NoSuchColor"), wxcGetColor(color_Text));
    EXPECT_EQ(log.Count(ostrel::k_LogError, "NoSuchColor"), 1);
}

TEST_F(wxcColorsTest, ReadsAThemeByItsName)
{
    const struct
    {
        const char *text;
        ColorTheme theme;
        int warnings;
    } cases[] = {
        {"Dark", ColorTheme::Dark, 0},   {"dark", ColorTheme::Dark, 0},
        {"Light", ColorTheme::Light, 0}, {"LIGHT", ColorTheme::Light, 0},
        {"Pink", ColorTheme::Dark, 1},   {"", ColorTheme::Dark, 1},
    };

    for (const auto &[text, theme, warnings] : cases)
    {
        LogCapture log;
        EXPECT_EQ(wxcParseTheme(text), theme) << text;
        EXPECT_EQ(log.Count(ostrel::k_LogWarning, "theme"), warnings) << text;
    }
}

TEST_F(wxcColorsTest, RecolorsLiveControls)
{
    auto *frame = new wxFrame(nullptr, wxID_ANY, "Controls", {40, 40}, {420, 320});
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    frame->SetBackgroundColour(wxcGetColor(color_WindowBG));
    wxArrayString texts;
    texts.Add("/server/shot/beauty.%04d.exr");
    texts.Add("/server/shot/depth.%04d.exr");
    auto *choice = new wxcChoice(frame, -1, wxDefaultPosition, wxDefaultSize, texts);
    choice->Select(0);
    auto *list = new wxcListBox(frame, -1, wxDefaultPosition, wxDefaultSize, texts);
    list->SetSelection(1);
    wxWindow *controls[] = {new wxcStaticText(frame, -1, "Select a format: "),
                            choice,
                            list,
                            new wxcTextCtrl(frame, -1, "500"),
                            new wxcCheckBox(frame, -1, "Show file scan progress"),
                            new wxcButton(frame, -1, "Browse...")};
    for (wxWindow *control : controls)
        sizer->Add(control, 0, wxEXPAND | wxALL, 6);
    frame->SetSizer(sizer);
    ShowActive(*frame);

    for (const ColorTheme theme : k_themes)
    {
        wxcSetTheme(theme);
        frame->SetBackgroundColour(wxcGetColor(color_WindowBG));
        frame->Refresh();
        for (wxWindow *control : controls)
        {
            EXPECT_EQ(control->GetForegroundColour(), wxcGetColor(color_Text));
            EXPECT_GE(Contrast(control->GetForegroundColour(), control->GetBackgroundColour()),
                      4.5);
        }
        Screenshot(*frame, theme == ColorTheme::Dark ? "controls-dark" : "controls-light");
    }
}

TEST_F(wxcColorsTest, HasGtkFollowTheTheme)
{
    auto *frame = new wxFrame(nullptr, wxID_ANY, "GTK's own");
    const auto *button = new wxButton(frame, wxID_ANY, "Text");
    const auto textLuminance = [button]
    {
        GdkRGBA text;
        gtk_style_context_get_color(gtk_widget_get_style_context(button->GetHandle()),
                                    GTK_STATE_FLAG_NORMAL, &text);
        return text.green;
    };

    wxcSetTheme(ColorTheme::Light);
    EXPECT_LT(textLuminance(), 0.4);
    wxcSetTheme(ColorTheme::Dark);
    EXPECT_GT(textLuminance(), 0.6);
}
