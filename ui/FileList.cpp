#include "ui/FileList.h"

#include <limits>

#include <wx/listctrl.h>

#include "ostrel/CallEntry.h"
#include "ostrel/SFormat.h"
#include "ui/MainWindow.h"
#include "wxcorvan/wxcColors.h"

using namespace analysis;
using namespace ostrel;
using namespace wxcorvan;

namespace
{

enum ColumnIndex : int
{
    k_column_name = 0,
    k_column_size = 1,
    k_column_date = 2,
};

const String &ColorOf(FrameState state)
{
    switch (state)
    {
    case FrameState::Missing:
        return color_TextGrey;
    case FrameState::TooSmall:
        return color_TextRed;
    case FrameState::Outlier:
        return color_TextOrange;
    case FrameState::Ok:
        break;
    }
    return color_Text;
}

String CellText(const _FileInfo &file, int column)
{
    switch (column)
    {
    case k_column_size:
        return file.exists ? SFormat("%llu KB", file.size / 1024) : String();
    case k_column_date:
        return file.exists ? file.modified.Format(k_DateTimeNoMS, true, true) : String();
    default:
        return file.name.Text();
    }
}

} // namespace

BEGIN_EVENT_TABLE(FileList, wxDBListCtrl)
    EVT_LIST_ITEM_SELECTED(wxID_ANY, FileList::ItemSelected)
    EVT_LIST_ITEM_DESELECTED(wxID_ANY, FileList::ItemDeselect)
END_EVENT_TABLE()

FileList::FileList(MainWindow *parent)
    : wxDBListCtrl(parent, -1, false), m_table(m_files), m_order(parent)
{
    _CallEntry call("FileList::FileList", __FILE__, __LINE__);
}

String FileList::GetDisplayText(int row, int column)
{
    _CallEntry call("FileList::GetDisplayText", __FILE__, __LINE__);

    if (row < 0 || static_cast<std::size_t>(row) >= m_files.size())
        return {};
    return CellText(m_files.get<_FileInfoList::list>()[row], column);
}

wxColour FileList::GetRowColor(int row)
{
    _CallEntry call("FileList::GetRowColor", __FILE__, __LINE__);

    return wxcGetColor(ColorOf(m_table.Classify(row)));
}

bool FileList::IsRowSelected(int row)
{
    _CallEntry call("FileList::IsRowSelected", __FILE__, __LINE__);

    return m_selection.contains(PathOfRow(row));
}

int FileList::FilledRowCount() const
{
    _CallEntry call("FileList::FilledRowCount", __FILE__, __LINE__);

    return static_cast<int>(m_files.size());
}

std::vector<int> FileList::GetSelection()
{
    _CallEntry call("FileList::GetSelection", __FILE__, __LINE__);

    std::vector<int> rows;
    rows.reserve(m_selection.size());
    for (const Path &path : m_selection)
        rows.push_back(m_files.PathToIndex(path));
    return rows;
}

corvan::SequenceDistributor::Items FileList::GetSDISelection() const
{
    _CallEntry call("FileList::GetSDISelection", __FILE__, __LINE__);

    const auto &byPath = m_files.get<_FileInfoList::path>();
    corvan::SequenceDistributor::Items frames;
    for (const Path &path : m_selection)
    {
        const auto file = byPath.find(path);
        frames.insert(file != byPath.end() ? file->frame : std::numeric_limits<int>::min());
    }
    return frames;
}

std::set<Path> FileList::FindBadPaths()
{
    _CallEntry call("FileList::FindBadPaths", __FILE__, __LINE__);

    return m_table.FindBadPaths();
}

corvan::SequenceDistributor::Items FileList::FindBadFrames()
{
    _CallEntry call("FileList::FindBadFrames", __FILE__, __LINE__);

    return m_table.FindBadFrames();
}

void FileList::SelectBad()
{
    _CallEntry call("FileList::SelectBad", __FILE__, __LINE__);

    m_selection = FindBadPaths();
    Redraw();
}

void FileList::Sort()
{
    _CallEntry call("FileList::Sort", __FILE__, __LINE__);

    const Path withKeyboard = PathWithKeyboard();
    const Path anchor = PathOfAnchor();
    m_beforeRefill = {};
    m_table.Sort(*m_order);
    Reordered(m_files.PathToIndex(withKeyboard), m_files.PathToIndex(anchor));
}

void FileList::DoClear()
{
    _CallEntry call("FileList::DoClear", __FILE__, __LINE__);

    if (const Path withKeyboard = PathWithKeyboard(); !withKeyboard.IsEmpty())
        m_beforeRefill = {FocusRow(), withKeyboard, PathOfAnchor()};
    m_table.Clear();
    m_selection.clear();
}

Path FileList::PathOfRow(int row)
{
    _CallEntry call("FileList::PathOfRow", __FILE__, __LINE__);

    return Path(GetDisplayText(row, k_column_name));
}

Path FileList::PathWithKeyboard()
{
    _CallEntry call("FileList::PathWithKeyboard", __FILE__, __LINE__);

    // Another row has got the keyboard from the user since.
    if (m_beforeRefill.row >= 0 && m_beforeRefill.row == FocusRow())
        return m_beforeRefill.path;
    return PathOfRow(FocusRow());
}

Path FileList::PathOfAnchor()
{
    _CallEntry call("FileList::PathOfAnchor", __FILE__, __LINE__);

    return AnchorRow() >= 0 ? PathOfRow(AnchorRow()) : m_beforeRefill.anchor;
}

void FileList::ItemSelected(wxListEvent &event)
{
    _CallEntry call("FileList::ItemSelected", __FILE__, __LINE__);

    const int row = static_cast<int>(event.GetIndex());
    m_beforeRefill = {}; // Whoever selects a frame goes on from there.
    if (row >= 0 && row < FilledRowCount())
        m_selection.insert(PathOfRow(row));
    RedrawItem(row);
}

void FileList::ItemDeselect(wxListEvent &event)
{
    _CallEntry call("FileList::ItemDeselect", __FILE__, __LINE__);

    const int row = static_cast<int>(event.GetIndex());
    m_selection.erase(PathOfRow(row));
    RedrawItem(row);
}
