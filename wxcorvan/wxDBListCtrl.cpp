#include "wxcorvan/wxDBListCtrl.h"

#include <algorithm>

#include <wx/app.h>

#include "ostrel/CallEntry.h"
#include "wxcorvan/GtkTheme.h"
#include "wxcorvan/wxcColors.h"
#include "wxcorvan/wxcText.h"

namespace wxcorvan
{

using namespace ostrel;

wxDBListCtrl::wxDBListCtrl(wxWindow *parent, wxWindowID id, bool singleSelection)
    : wxListCtrl(parent, id, wxDefaultPosition, wxDefaultSize, wxLC_REPORT | wxLC_VIRTUAL),
      m_isSingle(singleSelection)
{
    _CallEntry call("wxDBListCtrl::wxDBListCtrl", __FILE__, __LINE__);

    RowsWindow()->SetBackgroundStyle(wxBG_STYLE_PAINT);
    RowsWindow()->Bind(wxEVT_PAINT, &wxDBListCtrl::OnPaint, this);
    BindGestures();
    wxDBListCtrl::ApplyColors();
}

wxDBListCtrl::~wxDBListCtrl() = default;

int wxDBListCtrl::AddColumn(const wxString &title, int width)
{
    return int(AppendColumn(title, wxLIST_FORMAT_LEFT, width));
}

void wxDBListCtrl::SetColumnImage(int column, int image)
{
    if (column < 0 || column >= GetColumnCount())
        return;

    wxListItem header;
    header.SetMask(wxLIST_MASK_IMAGE);
    header.SetImage(image);
    SetColumn(column, header);
}

void wxDBListCtrl::SetHighlightColumn(int column)
{
    m_highlightColumn = column;
    RowsWindow()->Refresh();
}

void wxDBListCtrl::Insert(int row, bool redrawNow)
{
    for (int *const kept : {&m_focusRow, &m_anchorRow})
        *kept += row >= 0 && row <= *kept && *kept < m_rowCount ? 1 : 0;
    m_isDragging = m_isDragging && row >= m_rowCount;
    ++m_rowCount;
    SetItemCount(m_rowCount);
    m_rangeEnd = -1;

    RedrawSoon();
    if (redrawNow)
    {
        Redraw();
        RowsWindow()->Update();
    }
}

void wxDBListCtrl::RedrawSoon()
{
    if (!m_mustRedraw)
        wxWakeUpIdle();
    m_mustRedraw = true;
}

void wxDBListCtrl::RedrawItem(int row)
{
    const int top = GetViewStart().y;
    if (row >= top && row <= top + RowsPerPage())
        RowsWindow()->RefreshRect(RowPlace(row));
}

void wxDBListCtrl::Redraw()
{
    m_mustRedraw = false;
    m_rangeEnd = -1;
    m_tipCell = {-1, -1};
    RowsWindow()->Refresh();
}

void wxDBListCtrl::Clear()
{
    _CallEntry call("wxDBListCtrl::Clear", __FILE__, __LINE__);

    DoClear(); // First: what stood where may be of use to the owner.
    m_rowCount = 0;
    m_anchorRow = -1;
    m_rangeEnd = -1;
    m_isDragging = false;
    SetItemCount(0);
    RedrawSoon();
}

void wxDBListCtrl::OnInternalIdle()
{
    wxListCtrl::OnInternalIdle();
    if (!m_mustRedraw)
        return;

    m_focusRow = std::min(m_focusRow, LastRow());
    Redraw();
}

void wxDBListCtrl::ApplyColors()
{
    for (wxWindow *window : {static_cast<wxWindow *>(this), RowsWindow()})
    {
        window->SetForegroundColour(wxcGetColor(color_Text));
        window->SetBackgroundColour(wxcGetColor(color_ListBG));
    }
    for (wxWindow *header : GetChildren())
        if (header != RowsWindow())
            header->SetForegroundColour(GtkTextColor());
    Refresh();
}

wxString wxDBListCtrl::OnGetItemText(long row, long column) const
{
    // The toolkit asks a constant list; the owner may need to work its answer out.
    return wxcFromText(const_cast<wxDBListCtrl *>(this)->GetDisplayText(int(row), int(column)));
}

} // namespace wxcorvan
