// What keyboard and mouse do to the list.

#include <algorithm>
#include <cstdlib>

#include <wx/dcclient.h>
#include <wx/settings.h>

#include "wxcorvan/wxDBListCtrl.h"
#include "wxcorvan/wxcText.h"

namespace wxcorvan
{

namespace
{

/// How near to the edge of a column's title the toolkit takes a click for one at the edge, pixels.
constexpr int k_edge_reach = 3;

} // namespace

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
    rows->Bind(wxEVT_RIGHT_DCLICK, &wxDBListCtrl::OnRightDown, this);
    for (const auto type : {wxEVT_MIDDLE_DCLICK, wxEVT_AUX1_DCLICK, wxEVT_AUX2_DCLICK})
        rows->Bind(type, [](wxMouseEvent &) {});
    rows->Bind(wxEVT_MOTION, &wxDBListCtrl::OnMotion, this);
    for (wxWindow *header : GetChildren())
        if (header != rows)
            header->Bind(wxEVT_LEFT_DCLICK, &wxDBListCtrl::OnHeaderDoubleClick, this);
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
    else if (const auto row = RowOfKey(key, m_focusRow, LastRow() + 1, RowsPerPage());
             isPlain && row)
        ActByKey(*row, HowOfKey(event.ControlDown(), event.ShiftDown()));
    else if (isPlain && key == WXK_SPACE && IsFilled(m_focusRow))
        ActByKey(m_focusRow, HowOfClick(event.ControlDown(), event.ShiftDown()));
    else if (isPlain && IsEnterKey(key) && IsFilled(m_focusRow))
        SendRowEvent(wxEVT_LIST_ITEM_ACTIVATED, m_focusRow);
    else if (const int column = key - '1';
             isPlain && event.ControlDown() && column >= 0 && column < GetColumnCount())
        SendColumnClick(column);
    else
        event.Skip();
}

void wxDBListCtrl::ActByKey(int row, SelectHow how)
{
    // Who works with keys sees where the keyboard stands, and begins a range there.
    if (!IsFilled(m_anchorRow) && how != SelectHow::Keep)
        m_anchorRow = m_focusRow;
    Act(row, how);
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
    // The toolkit would look for a row that begins with the letter, which reads every row's text,
    // and with Alt it moves its own row and selects it.
    const int key = event.GetKeyCode();
    const bool isSign = event.GetUnicodeKey() >= WXK_SPACE;
    event.Skip(!isSign && !IsRowKey(key) && !IsEnterKey(key));
}

void wxDBListCtrl::OnLeftDown(wxMouseEvent &event)
{
    RowsWindow()->SetFocus();
    const int row = RowAt(event.GetY());
    if (row >= 0)
        Act(row, HowOfClick(event.ControlDown(), event.ShiftDown()));
    else if (!event.ControlDown() && !event.ShiftDown())
        DeselectAll();
    if (row >= 0 && !event.ControlDown() && !m_isSingle)
        BeginDrag(event.GetPosition());
    else
        m_isDragging = false;
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
    DragTo(event.GetPosition());
    m_isDragging = false;
}

void wxDBListCtrl::OnMotion(wxMouseEvent &event)
{
    if (!event.LeftIsDown())
        m_isDragging = false;
    if (m_isDragging)
        DragTo(event.GetPosition());
    else
        ShowTipAt(event.GetPosition());
}

void wxDBListCtrl::BeginDrag(const wxPoint &point)
{
    m_isDragging = true;
    m_hasDragged = false;
    m_dragStart = point;
}

void wxDBListCtrl::DragTo(const wxPoint &point)
{
    if (!m_isDragging || LastRow() < 0)
        return;

    // The click itself scrolls a row that is cut at the edge into view, which leaves the mouse over
    // its neighbour.
    const int trembling = wxSystemSettings::GetMetric(wxSYS_DRAG_Y, RowsWindow());
    m_hasDragged |= std::abs(point.y - m_dragStart.y) >= trembling;
    if (!m_hasDragged)
        return;

    // Above and below the rows the list scrolls by one at each move.
    int row = RowAt(point.y);
    if (point.y < 0)
        row = std::max(0, m_focusRow - 1);
    else if (row < 0 || point.y >= RowsWindow()->GetClientSize().y)
        row = std::min(LastRow(), m_focusRow + 1);
    if (row != m_focusRow)
        Act(row, SelectHow::Range);
}

void wxDBListCtrl::OnHeaderDoubleClick(wxMouseEvent &event)
{
    // The toolkit takes the second of two quick clicks for none. At the edge between two columns it
    // has its own use for it.
    const int column = ColumnAt(event.GetX());
    const bool isAtEdge = column != ColumnAt(event.GetX() - k_edge_reach) ||
                          column != ColumnAt(event.GetX() + k_edge_reach);
    if (column < 0 || isAtEdge)
        event.Skip();
    else
        SendColumnClick(column);
}

void wxDBListCtrl::OnKeyboardCame(wxFocusEvent &event)
{
    if (m_focusRow < 0)
        SetFocusRow(std::min(GetViewStart().y, LastRow()));
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
