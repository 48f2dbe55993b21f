#include "corvan/ImageFormats.h"

#include <gtest/gtest.h>

#include "corvan/Parameters.h"
#include "ostrel/PathMap.h"

using namespace corvan;

namespace
{

class ImageFormats : public testing::Test
{
protected:
    void SetUp() override
    {
        ostrel::PathMap map;
        map.Add("//server/shots", "/mnt/shots");
        map.Add("\\\\server\\done", "/50%done");
        Path::SetMap(map);
    }
    void TearDown() override
    {
        Path::SetMap({});
    }
};

} // namespace

TEST_F(ImageFormats, AreListedInTheOrderOfTheValue)
{
    const struct
    {
        const char *value;
        std::vector<Path> formats;
    } cases[] = {
        {"", {}},
        {"/r/a.%04d.exr", {"/r/a.%04d.exr"}},
        {"/r/a.%d;/r/b.%d", {"/r/a.%d", "/r/b.%d"}},
        {"\"/r/a;1.%d\";/r/b.%d", {"/r/a;1.%d", "/r/b.%d"}},
        {"/r/a\\;1.%d", {"/r/a;1.%d"}},
        {"/r/a\\\\1.%d", {"/r/a\\1.%d"}},
        {"//server/shots/a.%d;//server/done/b.%d", {"/mnt/shots/a.%d", "/50%%done/b.%d"}},
    };
    for (const auto &[value, formats] : cases)
        EXPECT_EQ(ListFormats(value), formats) << value;
}

TEST_F(ImageFormats, AreSharedFromTheirBeginningOnAndElseStayAsTheyAre)
{
    const struct
    {
        const char *value;
        const char *shared;
    } cases[] = {
        {"", ""},
        {"/mnt/shots/a.%d", "//server/shots/a.%d"},
        {"/r/a.%d;/mnt/shots/b.%d", "/r/a.%d;//server/shots/b.%d"},
        {";/mnt/shots/b.%d;;/r/c;", ";//server/shots/b.%d;;/r/c;"},
        {"\"/mnt/shots/a;/mnt/shots/1.%d\"", "\"//server/shots/a;/mnt/shots/1.%d\""},
        {"/mnt/shots/a\\;/mnt/shots/1.%d", "//server/shots/a\\;/mnt/shots/1.%d"},
        {"/mnt/shots/a\\\\1.%d", "//server/shots/a\\\\1.%d"},
        {" /mnt/shots/a.%d", " /mnt/shots/a.%d"},
        {"/50%%done/a.%d", "//server/done/a.%d"},
        {"//server/shots/a.%d", "//server/shots/a.%d"},
    };
    for (const auto &[value, shared] : cases)
        EXPECT_EQ(ShareFormats(value), shared) << value;
}

TEST_F(ImageFormats, AreTheOneParameterThatIsShared)
{
    EXPECT_EQ(SharedValue(p_ImageFormat, "/mnt/shots/a.%d"), "//server/shots/a.%d");
    EXPECT_EQ(SharedValue(p_Note, "/mnt/shots/a.%d"), "/mnt/shots/a.%d");
}
