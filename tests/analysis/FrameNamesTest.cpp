#include "analysis/FrameNames.h"

#include <gtest/gtest.h>

using namespace analysis;

TEST(FrameNames, TakePathsApartAtTheFolderThatAllHave)
{
    const struct
    {
        const char *pattern;
        int number;
        const char *folder;
        const char *name;
    } cases[] = {
        {"/renders/beauty.%04d.exr", 7, "/renders/", "beauty.0007.exr"},
        {"/renders/%04d/beauty.exr", 7, "/renders/", "0007/beauty.exr"},
        {"/renders/shot%d/b.exr", -7, "/renders/", "shot-7/b.exr"},
        {"/%d", 7, "/", "7"},
        {"f%d", 7, ".", "f7"},
        {"sub/f%d", 7, "sub/", "f7"},
        {"/50%%/f%x", 255, "/50%/", "fff"},
        {"/r/%.0d/b", 0, "/r/", "0/b"},
        {"/r//%d", 7, "/r//", "7"},
    };
    for (const auto &[text, number, folder, name] : cases)
    {
        const auto pattern = FramePattern::Parse(text, nullptr);
        const FrameNames names(*pattern);
        std::string written = "before";
        names.Write(number, written);
        EXPECT_EQ(names.Folder(), ostrel::Path(folder)) << text;
        EXPECT_EQ(written, name) << text;
    }
}
