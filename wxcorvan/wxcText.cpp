#include "wxcorvan/wxcText.h"

#include <glib.h>
#include <memory>

namespace wxcorvan
{

wxString wxcFromText(const ostrel::String &text)
{
    const wxString whole = wxString::FromUTF8(text);
    if (!whole.empty() || text.empty())
        return whole;

    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(text.data(), gssize(text.size())), g_free);
    return wxString::FromUTF8(valid.get());
}

} // namespace wxcorvan
