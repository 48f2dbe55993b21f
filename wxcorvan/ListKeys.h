#pragma once

#include <optional>

namespace wxcorvan
{

/// What a gesture does to the selection of a list.
enum class SelectHow
{
    Only,     ///< This row alone.
    Toggle,   ///< This row the other way, the others as they are.
    Range,    ///< From the anchor to this row, and nothing else.
    AddRange, ///< From the anchor to this row as well.
    Keep,     ///< Nothing: the keyboard moves alone.
};

/// A click, with Ctrl and Shift held or not.
SelectHow HowOfClick(bool isCtrl, bool isShift);

/// A key that moves to another row.
SelectHow HowOfKey(bool isCtrl, bool isShift);

/// Whether a key is one of those that move to another row (see `RowOfKey`), or Enter.
bool IsRowKey(int key);
bool IsEnterKey(int key);

/// The row that a key (WXK_UP, WXK_DOWN, WXK_PAGEUP, WXK_PAGEDOWN, WXK_HOME, WXK_END, or the same
/// of the number pad) goes to from `focusRow` (-1 for none). Nothing for another key and for a
/// list with no row.
std::optional<int> RowOfKey(int key, int focusRow, int rowCount, int rowsPerPage);

} // namespace wxcorvan
