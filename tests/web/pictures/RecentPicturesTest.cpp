#include "web/pictures/RecentPictures.h"

#include <gtest/gtest.h>

using namespace web;

namespace
{

RecentPictures::Entry EntryOf(const std::string &subject, std::size_t bytes)
{
    RecentPictures::Entry entry;
    entry.subject = subject;
    entry.what.bytes = std::make_shared<const std::string>(bytes, 'x');
    return entry;
}

} // namespace

TEST(RecentPictures, ForgetsWhatWasNotUsedForTheLongestTime)
{
    RecentPictures recent(10'000);
    for (const char *subject : {"a", "b", "c"})
        recent.Put(EntryOf(subject, 2'500));
    ASSERT_TRUE(recent.Find("a"));
    recent.Put(EntryOf("d", 2'500));
    EXPECT_TRUE(recent.Find("a"));
    EXPECT_FALSE(recent.Find("b"));
    EXPECT_TRUE(recent.Find("c"));
    EXPECT_TRUE(recent.Find("d"));
}

TEST(RecentPictures, TakesTheNewInPlaceOfTheOld)
{
    RecentPictures recent(10'000);
    for (int i = 0; i < 100; ++i)
        recent.Put(EntryOf("a", 4'000));
    recent.Put(EntryOf("b", 4'000));
    ASSERT_TRUE(recent.Find("a")) << "the old ones are counted";
    recent.Put(EntryOf("a", 100));
    EXPECT_EQ(recent.Find("a")->what.bytes->size(), 100u);
}

TEST(RecentPictures, HoldsNothingThatIsTooLarge)
{
    RecentPictures recent(1'000);
    recent.Put(EntryOf("a", 2'000));
    EXPECT_FALSE(recent.Find("a"));
}

TEST(RecentPictures, CountsWhatHasNoPicture)
{
    RecentPictures recent(10'000);
    for (int i = 0; i < 1'000; ++i)
    {
        RecentPictures::Entry entry;
        entry.subject = std::to_string(i);
        entry.what.reason = "damaged";
        recent.Put(entry);
    }
    EXPECT_FALSE(recent.Find("900"));
    EXPECT_TRUE(recent.Find("999"));
}
