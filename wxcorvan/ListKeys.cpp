#include "wxcorvan/ListKeys.h"

#include <algorithm>

#include <wx/defs.h>

namespace wxcorvan
{

SelectHow HowOfClick(bool isCtrl, bool isShift)
{
    if (isShift)
        return isCtrl ? SelectHow::AddRange : SelectHow::Range;
    return isCtrl ? SelectHow::Toggle : SelectHow::Only;
}

SelectHow HowOfKey(bool isCtrl, bool isShift)
{
    if (isShift)
        return isCtrl ? SelectHow::AddRange : SelectHow::Range;
    return isCtrl ? SelectHow::Keep : SelectHow::Only;
}

bool IsRowKey(int key)
{
    return RowOfKey(key, 0, 1, 1).has_value();
}

bool IsEnterKey(int key)
{
    return key == WXK_RETURN || key == WXK_NUMPAD_ENTER;
}

std::optional<int> RowOfKey(int key, int focusRow, int rowCount, int rowsPerPage)
{
    if (rowCount == 0)
        return std::nullopt;

    const int last = rowCount - 1;
    const int page = std::max(1, rowsPerPage - 1); // One row of the old page stays in view.
    const auto moved = [focusRow, last](int rows)
    { return focusRow < 0 ? 0 : std::clamp(focusRow + rows, 0, last); };
    switch (key)
    {
    case WXK_UP:
    case WXK_NUMPAD_UP:
        return moved(-1);
    case WXK_DOWN:
    case WXK_NUMPAD_DOWN:
        return moved(1);
    case WXK_PAGEUP:
    case WXK_NUMPAD_PAGEUP:
        return moved(-page);
    case WXK_PAGEDOWN:
    case WXK_NUMPAD_PAGEDOWN:
        return moved(page);
    case WXK_HOME:
    case WXK_NUMPAD_HOME:
        return 0;
    case WXK_END:
    case WXK_NUMPAD_END:
        return last;
    default:
        return std::nullopt;
    }
}

} // namespace wxcorvan
