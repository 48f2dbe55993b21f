// How a gesture becomes one event for each row that changes.

#include <algorithm>
#include <utility>

#include "ostrel/CallEntry.h"
#include "wxcorvan/wxDBListCtrl.h"

namespace wxcorvan
{

using ostrel::_CallEntry;

void wxDBListCtrl::SetFocusRow(int row)
{
    if (!IsFilled(row))
        return;

    TakeFocus(row);
    ScrollTo(row);
}

void wxDBListCtrl::TakeFocus(int row)
{
    RedrawItem(m_focusRow);
    m_focusRow = row;
    // The toolkit keeps its own; it repaints the row and sends wxEVT_LIST_ITEM_FOCUSED.
    SetItemState(row, wxLIST_STATE_FOCUSED, wxLIST_STATE_FOCUSED);
    RedrawItem(row);
}

void wxDBListCtrl::Reordered(int focusRow, int anchorRow)
{
    _CallEntry call("wxDBListCtrl::Reordered", __FILE__, __LINE__);

    // The mouse is over another row than the one that was pressed, without having been moved.
    m_isDragging = false;
    m_anchorRow = IsFilled(anchorRow) ? anchorRow : -1;
    if (IsFilled(focusRow) && focusRow != m_focusRow)
    {
        const bool wasInView = IsInView(m_focusRow);
        TakeFocus(focusRow);
        if (wasInView)
            ScrollTo(focusRow);
    }
    Redraw();
}

void wxDBListCtrl::SelectAll()
{
    _CallEntry call("wxDBListCtrl::SelectAll", __FILE__, __LINE__);

    if (m_isSingle)
        return;

    AddRange(0, LastRow());
    m_rangeEnd = -1;
}

void wxDBListCtrl::Act(int row, SelectHow how)
{
    SetFocusRow(row);
    if (m_isSingle && how != SelectHow::Keep)
        how = how == SelectHow::Toggle && IsRowSelected(row) ? how : SelectHow::Only;
    if (!IsFilled(m_anchorRow) && how != SelectHow::Keep)
        m_anchorRow = row;

    switch (how)
    {
    case SelectHow::Only:
        SelectOnly(row, row);
        m_anchorRow = row;
        m_rangeEnd = row;
        break;
    case SelectHow::Toggle:
        Change(row, !IsRowSelected(row));
        m_anchorRow = row;
        m_rangeEnd = -1;
        break;
    case SelectHow::Range:
        ExtendTo(row);
        break;
    case SelectHow::AddRange:
        AddRange(std::min(m_anchorRow, row), std::max(m_anchorRow, row));
        m_rangeEnd = -1;
        break;
    case SelectHow::Keep:
        break;
    }
}

void wxDBListCtrl::SelectOnly(int first, int last)
{
    for (const int row : GetSelection())
        if (row >= 0 && (row < first || row > last))
            Change(row, false);
    AddRange(first, last);
}

void wxDBListCtrl::AddRange(int first, int last)
{
    // An owner may take rows away while it is told.
    for (int row = first; row <= std::min(last, LastRow()); ++row)
        if (!IsRowSelected(row))
            Change(row, true);
}

void wxDBListCtrl::RemoveRange(int first, int last)
{
    for (int row = first; row <= last; ++row)
        Change(row, false);
}

void wxDBListCtrl::ExtendTo(int row)
{
    const int first = std::min(m_anchorRow, row);
    const int last = std::max(m_anchorRow, row);
    const int oldEnd = std::exchange(m_rangeEnd, -1);
    if (oldEnd < 0)
    {
        SelectOnly(first, last);
    }
    else
    {
        // The last range began at the same anchor: only rows between the two ends change.
        RemoveRange(std::min(m_anchorRow, oldEnd), first - 1);
        RemoveRange(last + 1, std::max(m_anchorRow, oldEnd));
        AddRange(first, std::min(m_anchorRow, oldEnd) - 1);
        AddRange(std::max(m_anchorRow, oldEnd) + 1, last);
    }
    m_rangeEnd = row;
}

void wxDBListCtrl::DeselectAll()
{
    for (const int row : GetSelection())
        if (row >= 0)
            Change(row, false);
    m_rangeEnd = -1;
}

void wxDBListCtrl::Change(int row, bool select)
{
    SendRowEvent(select ? wxEVT_LIST_ITEM_SELECTED : wxEVT_LIST_ITEM_DESELECTED, row);
}

bool wxDBListCtrl::SendRowEvent(wxEventType type, int row)
{
    wxListEvent event(type, GetId());
    event.SetEventObject(this);
    event.m_itemIndex = row;
    return HandleWindowEvent(event);
}

} // namespace wxcorvan
