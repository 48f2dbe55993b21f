// What keyboard and mouse do to the list.

#include <algorithm>

#include <wx/dcclient.h>

#include "wxcorvan/wxDBListCtrl.h"
#include "wxcorvan/wxcText.h"

namespace wxcorvan
{

void wxDBListCtrl::BindGestures()
{
    // These stand before the toolkit's own handlers, which select rows without an event for each.
    wxWindow *rows = RowsWindow();
    rows->Bind(wxEVT_KEY_DOWN, &wxDBListCtrl::OnKey, this);
    rows->Bind(wxEVT_CHAR, &wxDBListCtrl::OnChar, this);
    rows->Bind(wxEVT_LEFT_DOWN, &wxDBListCtrl::OnLeftDown, this);
    rows->Bind(wxEVT_LEFT_DCLICK, &wxDBListCtrl::OnLeftDoubleClick, this);
    rows->Bind(wxEVT_LEFT_UP, &wxDBListCtrl::OnLeftUp, this);
    rows->Bind(wxEVT_RIGHT_DOWN, &wxDBListCtrl::OnRightDown, this);
    rows->Bind(wxEVT_MOTION, &wxDBListCtrl::OnMotion, this);
    rows->Bind(wxEVT_SET_FOCUS, &wxDBListCtrl::OnKeyboardCame, this);
    rows->Bind(wxEVT_KILL_FOCUS,
               [this](wxFocusEvent &event)
               {
                   m_isDragging = false;
                   RedrawItem(m_focusRow);
                   event.Skip();
               });
}

void wxDBListCtrl::OnKey(wxKeyEvent &event)
{
    const int key = event.GetKeyCode();
    const bool isPlain = !event.AltDown() && !event.MetaDown();
    if (isPlain && event.ControlDown() && !event.ShiftDown() && key == 'A')
        SelectAll();
    else if (const auto row = RowOfKey(key, m_focusRow, m_rowCount, RowsPerPage()); isPlain && row)
        Act(*row, HowOfKey(event.ControlDown(), event.ShiftDown()));
    else if (isPlain && key == WXK_SPACE && m_focusRow >= 0)
        Act(m_focusRow, HowOfClick(event.ControlDown(), event.ShiftDown()));
    else if (isPlain && (key == WXK_RETURN || key == WXK_NUMPAD_ENTER) && m_focusRow >= 0)
        SendRowEvent(wxEVT_LIST_ITEM_ACTIVATED, m_focusRow);
    else if (const int column = key - '1';
             isPlain && event.ControlDown() && column >= 0 && column < GetColumnCount())
        SendColumnClick(column);
    else
        event.Skip();
}

void wxDBListCtrl::SendColumnClick(int column)
{
    wxListEvent event(wxEVT_LIST_COL_CLICK, GetId());
    event.SetEventObject(this);
    event.m_col = column;
    HandleWindowEvent(event);
}

void wxDBListCtrl::OnChar(wxKeyEvent &event)
{
    // The toolkit would look for a row that begins with the letter, which reads every row's text.
    const bool isLetter = event.GetUnicodeKey() >= WXK_SPACE && !event.HasAnyModifiers();
    event.Skip(!isLetter);
}

void wxDBListCtrl::OnLeftDown(wxMouseEvent &event)
{
    RowsWindow()->SetFocus();
    const int row = RowAt(event.GetY());
    if (row >= 0)
        Act(row, HowOfClick(event.ControlDown(), event.ShiftDown()));
    else if (!event.ControlDown() && !event.ShiftDown())
        DeselectAll();
    m_isDragging = row >= 0 && !event.ControlDown() && !m_isSingle;
}

void wxDBListCtrl::OnLeftDoubleClick(wxMouseEvent &event)
{
    // With a modifier, and beside the rows, it is a second click like the first.
    const int row = RowAt(event.GetY());
    if (row < 0 || event.HasAnyModifiers())
        OnLeftDown(event);
    else
        SendRowEvent(wxEVT_LIST_ITEM_ACTIVATED, row);
}

void wxDBListCtrl::OnRightDown(wxMouseEvent &event)
{
    RowsWindow()->SetFocus();
    const int row = RowAt(event.GetY());
    if (row < 0)
        return;

    Act(row, IsRowSelected(row) ? SelectHow::Keep : SelectHow::Only);
    SendRowEvent(wxEVT_LIST_ITEM_RIGHT_CLICK, row);
}

void wxDBListCtrl::OnLeftUp(wxMouseEvent &event)
{
    // The last way to here may have come without a motion of its own.
    DragTo(event.GetY());
    m_isDragging = false;
}

void wxDBListCtrl::OnMotion(wxMouseEvent &event)
{
    if (!event.LeftIsDown())
        m_isDragging = false;
    if (m_isDragging)
        DragTo(event.GetY());
    else
        ShowTipAt(event.GetPosition());
}

void wxDBListCtrl::DragTo(int y)
{
    if (!m_isDragging || m_rowCount == 0)
        return;

    // Above and below the rows the list scrolls by one at each move.
    int row = RowAt(y);
    if (y < 0)
        row = std::max(0, m_focusRow - 1);
    else if (row < 0 || y >= RowsWindow()->GetClientSize().y)
        row = std::min(m_rowCount - 1, m_focusRow + 1);
    if (row != m_focusRow)
        Act(row, SelectHow::Range);
}

void wxDBListCtrl::OnKeyboardCame(wxFocusEvent &event)
{
    if (m_focusRow < 0 && m_rowCount > 0)
        SetFocusRow(std::min(GetViewStart().y, m_rowCount - 1));
    RedrawItem(m_focusRow);
    event.Skip();
}

void wxDBListCtrl::ShowTipAt(const wxPoint &point)
{
    const wxPoint cell(ColumnAt(point.x), RowAt(point.y));
    if (cell == m_tipCell)
        return;

    m_tipCell = cell;
    wxString text;
    if (cell.x >= 0 && cell.y >= 0)
        text = wxcFromText(GetDisplayText(cell.y, cell.x));
    if (text.empty() || RowsWindow()->GetTextExtent(text).x <= GetColumnWidth(cell.x))
        RowsWindow()->UnsetToolTip();
    else
        RowsWindow()->SetToolTip(text);
}

} // namespace wxcorvan
