// What the list looks like, and where its rows are.

#include <algorithm>

#include <wx/dcclient.h>

#include "wxcorvan/wxDBListCtrl.h"
#include "wxcorvan/wxcColors.h"
#include "wxcorvan/wxcText.h"

namespace wxcorvan
{

namespace
{

/// Between a cell's edge and its text, in pixels at 100 %.
constexpr int k_cell_margin = 5;

} // namespace

int wxDBListCtrl::RowHeight() const
{
    // The toolkit scrolls by rows; before its first layout there is nothing to show.
    int unitX = 0;
    int unitY = 0;
    GetScrollPixelsPerUnit(&unitX, &unitY);
    return unitY;
}

int wxDBListCtrl::RowsPerPage() const
{
    const int height = RowHeight();
    return height > 0 ? RowsWindow()->GetClientSize().y / height : 1;
}

wxRect wxDBListCtrl::RowPlace(int row) const
{
    int unitX = 0;
    int unitY = 0;
    GetScrollPixelsPerUnit(&unitX, &unitY);
    const wxPoint start = GetViewStart();

    int width = 0;
    for (int column = 0; column < GetColumnCount(); ++column)
        width += GetColumnWidth(column);
    return {-start.x * unitX, (row - start.y) * unitY,
            std::max(width, RowsWindow()->GetClientSize().x), unitY};
}

int wxDBListCtrl::RowAt(int y) const
{
    const int height = RowHeight();
    if (height == 0 || y < 0)
        return -1;

    const int row = GetViewStart().y + y / height;
    return row <= LastRow() ? row : -1;
}

int wxDBListCtrl::LastRow() const
{
    return std::min(m_rowCount, FilledRowCount()) - 1;
}

bool wxDBListCtrl::IsFilled(int row) const
{
    return row >= 0 && row <= LastRow();
}

int wxDBListCtrl::ColumnAt(int x) const
{
    int right = RowPlace(0).x;
    for (int column = 0; column < GetColumnCount(); ++column)
    {
        right += GetColumnWidth(column);
        if (x < right)
            return column;
    }
    return -1;
}

wxRect wxDBListCtrl::CellPlace(int column, const wxRect &rowPlace) const
{
    wxRect place = rowPlace;
    for (int before = 0; before < column; ++before)
        place.x += GetColumnWidth(before);
    place.width = GetColumnWidth(column);
    return place;
}

bool wxDBListCtrl::IsInView(int row) const
{
    const int top = GetViewStart().y;
    return row >= top && row < top + std::max(1, RowsPerPage());
}

void wxDBListCtrl::ScrollTo(int row)
{
    if (!IsFilled(row))
        return;

    // Asking for a place has the toolkit lay out rows that it was just told of.
    wxRect ignored;
    GetItemRect(row, ignored);

    const int top = GetViewStart().y;
    const int page = std::max(1, RowsPerPage());
    if (row < top)
        Scroll(-1, row);
    else if (row >= top + page)
        Scroll(-1, row - page + 1);
}

void wxDBListCtrl::OnPaint(wxPaintEvent & /*event*/)
{
    wxPaintDC dc(RowsWindow());
    dc.SetFont(GetFont());
    const wxRect dirty = RowsWindow()->GetUpdateRegion().GetBox();
    PaintGround(dc, {0, dirty.y, RowsWindow()->GetClientSize().x, dirty.height}, false);

    const int height = RowHeight();
    if (height == 0)
        return;
    const int top = GetViewStart().y;
    const int first = std::max(0, top + dirty.y / height);
    const int last = std::min(LastRow(), top + (dirty.GetBottom() / height));
    const bool hasKeyboard = RowsWindow()->HasFocus();
    for (int row = first; row <= last; ++row)
        PaintRow(dc, row, RowPlace(row), hasKeyboard && row == m_focusRow);
}

void wxDBListCtrl::PaintGround(wxDC &dc, const wxRect &place, bool isSelected) const
{
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxcGetColor(isSelected ? color_ListSelection : color_ListBG));
    dc.DrawRectangle(place);
    if (isSelected || m_highlightColumn < 0 || m_highlightColumn >= GetColumnCount())
        return;

    dc.SetBrush(wxcGetColor(color_ListHighlight));
    dc.DrawRectangle(CellPlace(m_highlightColumn, {RowPlace(0).x, place.y, 0, place.height}));
}

void wxDBListCtrl::PaintRow(wxDC &dc, int row, const wxRect &place, bool hasKeyboard)
{
    if (IsRowSelected(row))
        PaintGround(dc, place, true);

    dc.SetTextForeground(GetRowColor(row));
    for (int column = 0; column < GetColumnCount(); ++column)
    {
        wxRect cell = CellPlace(column, place);
        if (column == GetColumnCount() - 1)
            cell.SetRight(place.GetRight()); // What is free behind the last column is of use.
        PaintCell(dc, wxcFromText(GetDisplayText(row, column)), cell);
    }

    if (hasKeyboard)
    {
        dc.SetPen(wxcGetColor(color_ListFocus));
        dc.SetBrush(*wxTRANSPARENT_BRUSH);
        dc.DrawRectangle(place);
    }
}

void wxDBListCtrl::PaintCell(wxDC &dc, const wxString &text, const wxRect &place) const
{
    const int margin = FromDIP(k_cell_margin);
    const int room = place.width - 2 * margin;
    if (text.empty() || room <= 0)
        return;

    // Of a path both ends tell most; the frame number is the last.
    const wxEllipsizeMode mode = text.Contains("/") ? wxELLIPSIZE_MIDDLE : wxELLIPSIZE_END;
    const wxString shown = wxControl::Ellipsize(text, dc, mode, room, wxELLIPSIZE_FLAGS_NONE);
    dc.DrawText(shown, place.x + margin, place.y + (place.height - dc.GetCharHeight()) / 2);
}

} // namespace wxcorvan
