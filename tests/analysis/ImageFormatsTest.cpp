#include "analysis/ImageFormats.h"

#include <gtest/gtest.h>

using namespace analysis;
using ostrel::Path;

TEST(ImageFormats, AreListedInTheOrderOfTheValue)
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
    };
    for (const auto &[value, formats] : cases)
        EXPECT_EQ(ListFormats(value), formats) << value;
}
