#include "ostrel/UID.h"

#include <set>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/Thrown.h"

using ostrel::String;
using ostrel::UID;

TEST(UID, ReadsTheFullFormAndNothingElse)
{
    const struct
    {
        const char *text;
        bool isGood;
    } cases[] = {
        {"f81d4fae-7dec-11d0-a765-00a0c91e6bf6", true},
        {"F81D4FAE-7DEC-11D0-A765-00A0C91E6BF6", true},
        {"ffffffff-ffff-ffff-ffff-ffffffffffff", true},
        {"", false},
        {"abc", false},
        {"f81d4fae7dec11d0a76500a0c91e6bf6", false},
        {"{f81d4fae-7dec-11d0-a765-00a0c91e6bf6}", false},
        {"f81d4fae-7dec-11d0-a765-00a0c91e6bf", false},
        {"f81d4fae-7dec-11d0-a765-00a0c91e6bf60", false},
        {" f81d4fae-7dec-11d0-a765-00a0c91e6bf6", false},
        {"f81d4fae-7dec-11d0-a765-00a0c91e6bf6\n", false},
        {"f81d4fae-7dec-11d0-a765-00a0c91e6bfg", false},
        {"f81d4fae+7dec-11d0-a765-00a0c91e6bf6", false},
        {"f81d4fa-e7dec-11d0-a765-00a0c91e6bf6", false},
        {"00000000-0000-0000-0000-000000000000", false},
    };

    for (const auto &[text, isGood] : cases)
    {
        UID uid;
        EXPECT_EQ(uid.FromString(text), isGood) << text;
        EXPECT_EQ(uid.IsNil(), !isGood) << text;
    }
}

TEST(UID, PrintsInLowerCaseWhatItRead)
{
    UID uid;
    ASSERT_TRUE(uid.FromString("F81D4FAE-7DEC-11D0-A765-00A0C91E6BF6"));
    EXPECT_EQ(uid.ToString(), "f81d4fae-7dec-11d0-a765-00a0c91e6bf6");
    EXPECT_EQ(UID().ToString(), "00000000-0000-0000-0000-000000000000");
}

TEST(UID, IsNotChangedByTextItRefuses)
{
    UID uid(true);
    const UID before = uid;
    EXPECT_FALSE(uid.FromString("nonsense"));
    EXPECT_EQ(uid, before);
}

TEST(UID, OfTextThatIsNoneIsNilOrThrows)
{
    EXPECT_TRUE(UID("nonsense", false).IsNil());
    EXPECT_EQ(Thrown([] { UID("nonsense", true); }), "\"nonsense\" is no identifier");
    EXPECT_EQ(UID("f81d4fae-7dec-11d0-a765-00a0c91e6bf6", true).ToString(),
              "f81d4fae-7dec-11d0-a765-00a0c91e6bf6");
}

TEST(UID, MadeNewIsEachTimeAnother)
{
    std::set<UID> made;
    for (int i = 0; i < 1000; ++i)
    {
        const UID uid(true);
        EXPECT_EQ(UID(uid.ToString(), true), uid);
        made.insert(uid);
    }
    EXPECT_EQ(made.size(), 1000u);
    EXPECT_FALSE(made.contains(UID(false)));
}
