#include "wxcorvan/wxCorvanMessageBox.h"

#include "corvan/CorvanApp.h"
#include "ostrel/CallEntry.h"
#include "wxcorvan/wxCorvanDlg.h"
#include "wxcorvan/wxcCheckBox.h"
#include "wxcorvan/wxcStaticText.h"

namespace wxcorvan
{

using namespace ostrel;

namespace
{

const char *const k_messages_section = "Messages";

/// Longer lines are broken here, in pixels at 100 %.
constexpr int k_text_width = 420;
constexpr int k_box_border = 12;

/// A message, with a box to tick where it may be suppressed.
class MessageDlg : public wxCorvanDlg
{
public:
    MessageDlg(wxWindow *parent, const wxString &message, bool canSuppress)
        : wxCorvanDlg(parent, wxString::FromUTF8(corvan::CorvanApp::Get()->Name()), "Message",
                      false)
    {
        wxBoxSizer *controls = StartControls();
        controls->Add(NewStatic(message, false, false, k_text_width), 1, wxEXPAND | wxALL,
                      FromDIP(k_box_border));
        if (canSuppress)
        {
            m_suppress = new wxcCheckBox(this, wxID_ANY, wxGetTranslation("Do not show again"));
            controls->Add(m_suppress, 0, wxLEFT | wxRIGHT, FromDIP(k_box_border));
        }
        AddButtons(controls, false);
        FindWindow(wxID_OK)->SetFocus();
    }

    bool IsSuppressed() const
    {
        return m_suppress && m_suppress->GetValue();
    }

private:
    wxcCheckBox *m_suppress = nullptr;
};

} // namespace

void wxCorvanMessageBox(wxString message, String key, wxWindow *parent)
{
    _CallEntry call("wxCorvanMessageBox", __FILE__, __LINE__);

    OptionsFile &options = corvan::CorvanApp::Get()->Options();
    if (!key.empty() && !options.GetValue(k_messages_section, key, true))
        return;

    MessageDlg dialog(parent, message, !key.empty());
    dialog.ShowModal();
    if (dialog.IsSuppressed())
    {
        options.InsertSection(k_messages_section);
        options.SetValue(key, k_No);
    }
}

} // namespace wxcorvan
