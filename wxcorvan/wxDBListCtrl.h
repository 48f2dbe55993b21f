#pragma once

#include <vector>

#include <wx/listctrl.h>

#include "ostrel/String.h"
#include "wxcorvan/ListKeys.h"
#include "wxcorvan/wxcColorManaged.h"

namespace wxcorvan
{

/// A list of any number of rows that asks its owner, the derived class, for what it shows.
///
/// The control holds columns, scroll position and the row with the keyboard; texts, colours and
/// the selection are the owner's, and asked for as rows are painted. So a sort or a refill needs
/// one `Redraw`, and costs the visible rows.
///
/// Each gesture that changes the selection (click, with Ctrl or Shift, drag, Ctrl+A, arrows, page
/// and end keys with Shift or Ctrl, the space bar) is sent as one wxEVT_LIST_ITEM_DESELECTED or
/// wxEVT_LIST_ITEM_SELECTED for each row that changes, deselections first; the owner's handlers
/// keep the selection and the control shows what `IsRowSelected` then says. What the owner changes
/// itself is shown after `Redraw` and sends nothing. The selection that the toolkit's base class
/// keeps (`GetItemState`, `GetNextItem` with a selected state) is always empty: ask `GetSelection`.
///
/// Rows behind those that the owner has something to show for (`FilledRowCount`) are painted as
/// empty ground. For gestures they are no rows: none selects them or gives them the keyboard, and a
/// click there is one below the last row.
///
/// A drag selects from the row that was pressed to the row under the mouse. It begins when the
/// mouse has gone further than a hand trembles, and ends where the rows change their places.
///
/// Also sent: wxEVT_LIST_ITEM_FOCUSED, wxEVT_LIST_ITEM_ACTIVATED (double click, Enter),
/// wxEVT_LIST_ITEM_RIGHT_CLICK, and the column events of the toolkit, for the second of two quick
/// clicks as well; Ctrl+1 to Ctrl+9 are clicks at the header of that column, so that a list can be
/// sorted without a mouse. A path too wide for
/// its cell loses its middle and so keeps the frame number, another text loses its end; the tool
/// tip shows the whole. The cells of the last column reach to the right edge.
///
/// Main thread.
class wxDBListCtrl : public wxListCtrl, public wxcColorManaged
{
public:
    /// `singleSelection`: at most one row is selected at a time.
    wxDBListCtrl(wxWindow *parent, wxWindowID id, bool singleSelection);
    ~wxDBListCtrl() override;

    /// Adds a column behind the others; `width` in pixels. Returns its index.
    int AddColumn(const wxString &title, int width);

    /// Puts an image of the small image list into a column's header; -1 takes it away.
    void SetColumnImage(int column, int image);

    /// The column with the highlighted background; -1 for none.
    void SetHighlightColumn(int column);

    /// One row more, in front of which `row` rows stand. Constant cost: rows behind it are shown
    /// at their new places with the next repaint. `redrawNow`: repaints the rows at once, not with
    /// the next idle event; leave it off while filling.
    void Insert(int row, bool redrawNow);

    /// Repaints one row; nothing where it is not visible. Cheap.
    void RedrawItem(int row);

    /// Repaints all that is visible. Scroll position and keyboard row stay.
    void Redraw();

    /// Takes all rows away and calls `DoClear`. Scroll position and keyboard row are kept as far
    /// as there are rows again at the next idle event, so a refill does not jump.
    void Clear();

    int RowCount() const
    {
        return m_rowCount;
    }

    /// The row with the keyboard; -1 for none.
    int FocusRow() const
    {
        return m_focusRow;
    }
    /// Gives the keyboard to a row and scrolls it into view. The selection stays. A row that is
    /// none, or empty, does nothing.
    void SetFocusRow(int row);
    /// The row where a range that Shift makes begins; -1 for none, as after `Clear`.
    int AnchorRow() const
    {
        return m_anchorRow;
    }
    /// To be called when the owner has put its rows into another order: what had the keyboard now
    /// stands at `focusRow`, where a range begins at `anchorRow`, and both go along. What was in
    /// view with the keyboard stays in view; else nothing scrolls. A `focusRow` that is none leaves
    /// the keyboard where it is; an `anchorRow` that is none takes the anchor away. Ends a drag.
    /// All is painted anew.
    void Reordered(int focusRow, int anchorRow);

    /// Selects every row, with its events.
    void SelectAll();

    void ApplyColors() override;
    int GetItemCount() const override
    {
        return m_rowCount;
    }

    // What the owner answers. A row may lie outside the owner's table.

    /// How many rows, from the first on, have something to show; the rows behind are empty. More
    /// than there are rows counts as all of them.
    virtual int FilledRowCount() const
    {
        return m_rowCount;
    }
    virtual bool IsRowSelected(int row) = 0;
    /// The selected rows in any order; entries below 0 are passed over.
    virtual std::vector<int> GetSelection() = 0;
    virtual ostrel::String GetDisplayText(int row, int column) = 0;
    virtual wxColour GetRowColor(int row) = 0;
    /// Empties the owner's table and selection. Called by `Clear`.
    virtual void DoClear() = 0;

protected:
    wxString OnGetItemText(long row, long column) const override;
    int OnGetItemImage(long) const override
    {
        return -1;
    }
    void OnInternalIdle() override;

private:
    // Painting.
    void RedrawSoon();
    void OnPaint(wxPaintEvent &event);
    void PaintRow(wxDC &dc, int row, const wxRect &place, bool hasKeyboard);
    void PaintCell(wxDC &dc, const wxString &text, const wxRect &place) const;
    void PaintGround(wxDC &dc, const wxRect &place, bool isSelected) const;
    wxRect CellPlace(int column, const wxRect &rowPlace) const;

    // Where things are. The rows stand in a window of their own below the header.
    wxWindow *RowsWindow() const
    {
        return GetTargetWindow();
    }
    int RowHeight() const;
    int RowsPerPage() const;
    wxRect RowPlace(int row) const;
    int RowAt(int y) const; // -1 where there is none, or an empty one.
    int LastRow() const;    // The last one that is not empty; -1 for none.
    bool IsFilled(int row) const;
    int ColumnAt(int x) const;
    bool IsInView(int row) const;
    void ScrollTo(int row);

    // Gestures.
    void BindGestures();
    void OnKey(wxKeyEvent &event);
    void OnChar(wxKeyEvent &event);
    void ActByKey(int row, SelectHow how);
    void OnLeftDown(wxMouseEvent &event);
    void OnLeftDoubleClick(wxMouseEvent &event);
    void OnRightDown(wxMouseEvent &event);
    void OnLeftUp(wxMouseEvent &event);
    void OnMotion(wxMouseEvent &event);
    void BeginDrag(const wxPoint &point);
    void DragTo(const wxPoint &point);
    void OnHeaderDoubleClick(wxMouseEvent &event);
    void OnKeyboardCame(wxFocusEvent &event);
    void ShowTipAt(const wxPoint &point);

    // The selection.
    void TakeFocus(int row);
    void Act(int row, SelectHow how);
    void SelectOnly(int first, int last);
    void AddRange(int first, int last);
    void RemoveRange(int first, int last);
    void ExtendTo(int row);
    void DeselectAll();
    void Change(int row, bool select);
    bool SendRowEvent(wxEventType type, int row);
    void SendColumnClick(int column);

    int m_rowCount = 0;
    int m_focusRow = -1;
    int m_anchorRow = -1; // Where a range that Shift makes begins.
    int m_rangeEnd = -1;  // Where the last one ends; -1 when something else was selected since.
    int m_highlightColumn = -1;
    bool m_isSingle;
    bool m_isDragging = false; // The button went down on a row, and the rows still stand there.
    bool m_hasDragged = false; // The mouse has gone far enough since to mean it.
    wxPoint m_dragStart;
    bool m_mustRedraw = false; // With the next idle event.
    wxPoint m_tipCell = {-1, -1};
};

} // namespace wxcorvan
