#include "wxcorvan/ListKeys.h"

#include <gtest/gtest.h>
#include <wx/defs.h>

using namespace wxcorvan;

TEST(ListKeys, GoToTheRowThatAKeyMeans)
{
    constexpr int k_rows = 100;
    constexpr int k_page = 10;
    const struct
    {
        int key;
        int focus;
        int rowCount;
        std::optional<int> row;
    } cases[] = {
        {WXK_UP, 5, k_rows, 4},
        {WXK_UP, 0, k_rows, 0},
        {WXK_DOWN, 5, k_rows, 6},
        {WXK_DOWN, 99, k_rows, 99},
        {WXK_DOWN, -1, k_rows, 0},
        {WXK_UP, -1, k_rows, 0},
        {WXK_PAGEDOWN, 5, k_rows, 14},
        {WXK_PAGEDOWN, 95, k_rows, 99},
        {WXK_PAGEUP, 15, k_rows, 6},
        {WXK_PAGEUP, 3, k_rows, 0},
        {WXK_HOME, 50, k_rows, 0},
        {WXK_END, 50, k_rows, 99},
        {WXK_NUMPAD_DOWN, 5, k_rows, 6},
        {WXK_NUMPAD_END, 5, k_rows, 99},
        {WXK_END, -1, 1, 0},
        {WXK_END, -1, 0, std::nullopt},
        {WXK_DOWN, -1, 0, std::nullopt},
        {WXK_TAB, 5, k_rows, std::nullopt},
        {'A', 5, k_rows, std::nullopt},
    };

    for (const auto &[key, focus, rowCount, row] : cases)
        EXPECT_EQ(RowOfKey(key, focus, rowCount, k_page), row)
            << "key " << key << " at row " << focus << " of " << rowCount;
    EXPECT_EQ(RowOfKey(WXK_PAGEDOWN, 5, k_rows, 0), 6) << "a page of no row moves all the same";
}

TEST(ListKeys, SelectAsModifiersSay)
{
    const struct
    {
        bool isCtrl;
        bool isShift;
        SelectHow click;
        SelectHow key;
    } cases[] = {
        {false, false, SelectHow::Only, SelectHow::Only},
        {true, false, SelectHow::Toggle, SelectHow::Keep},
        {false, true, SelectHow::Range, SelectHow::Range},
        {true, true, SelectHow::AddRange, SelectHow::AddRange},
    };

    for (const auto &[isCtrl, isShift, click, key] : cases)
    {
        EXPECT_EQ(HowOfClick(isCtrl, isShift), click);
        EXPECT_EQ(HowOfKey(isCtrl, isShift), key);
    }
}
