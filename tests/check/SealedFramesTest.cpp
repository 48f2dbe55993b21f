#include "check/SealedFrames.h"

#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "check/CheckException.h"
#include "check/CheckSubject.h"
#include "tests/support/TempFolder.h"

namespace check
{
namespace
{

using Items = corvan::SequenceDistributor::Items;

class SealedFramesTest : public testing::Test
{
protected:
    SealedFramesTest()
    {
        for (int frame = 1; frame <= 5; ++frame)
            Write(frame, std::string(std::size_t(1000 + frame), char('a' + frame)));
        m_wish.to = m_folder / "list.mhl";
    }

    void Write(int frame, const std::string &content) const
    {
        m_folder.MakeFile("r/f." + std::to_string(frame), content);
    }
    // Other bytes of the same number, and the date of before.
    void Flip(int frame) const
    {
        const ostrel::Path file = m_folder / ("r/f." + std::to_string(frame));
        struct stat before = {};
        ASSERT_EQ(::stat(file.Text().c_str(), &before), 0);
        std::string content = ContentOf(file);
        content[500] ^= 1;
        Write(frame, content);
        const timespec times[2] = {before.st_atim, before.st_mtim};
        ASSERT_EQ(::utimensat(AT_FDCWD, file.Text().c_str(), times, 0), 0);
    }

    CheckTable Looked(const String &pattern = "r/f.%d") const
    {
        CheckTable table = *MakeTable((m_folder / pattern).Text(), nullptr);
        analysis::ExpansionInput input;
        input.userRange = "1-5";
        corvan::SequenceDistributor::ParseRange("1-5", input.frames, nullptr);
        ListFrames(input, table);
        SystemClock clock;
        LookAtTable(table, {}, clock, k_nothing);
        return table;
    }
    Sealed SealAll(CheckTable &table) const
    {
        return SealFrames(table, std::vector<bool>(table.frames.size(), true), m_wish, k_nothing);
    }
    CheckTable Checked(const ostrel::Path &list) const
    {
        CheckTable table = Looked();
        SealedFrames({list}).Check(table, k_nothing);
        return table;
    }

    inline static const Progress k_nothing = [](std::size_t, std::size_t) {};
    TempFolder m_folder;
    SealWish m_wish;
};

TEST_F(SealedFramesTest, AreFoundToBeAsTheyWere)
{
    CheckTable table = Looked();
    const Sealed sealed = SealAll(table);
    EXPECT_TRUE(sealed.now == (Items{1, 2, 3, 4, 5}));
    EXPECT_EQ(sealed.lists, (std::vector<ostrel::Path>{*m_wish.to}));
    const CheckTable checked = Checked(*m_wish.to);
    EXPECT_TRUE(FindBadFrames(checked).empty());
    EXPECT_TRUE(checked.troubles.empty());
    // What `xxhsum -H1` says of this file.
    EXPECT_EQ(ReadHashList(*m_wish.to).files.at("r/f.1").digits, "fcda95b6917ddc1a");
}

TEST_F(SealedFramesTest, AreFoundWhereOneBitIsAnother)
{
    CheckTable table = Looked();
    SealAll(table);
    Flip(2);
    Write(4, "short");
    std::filesystem::remove((m_folder / "r/f.5").Text().c_str());
    const CheckTable checked = Checked(*m_wish.to);
    EXPECT_TRUE(FindFrames(checked, CheckState::Changed) == (Items{2, 4}));
    EXPECT_TRUE(FindFrames(checked, CheckState::Missing) == (Items{5}));
    EXPECT_NE(checked.details.at(1).find("its hash is "), String::npos);
    EXPECT_NE(checked.details.at(3).find("it has 5 bytes, and had 1004"), String::npos);
}

TEST_F(SealedFramesTest, ThatHaveChangedAreToldOfBesideWhatElseWasFound)
{
    CheckTable table = Looked();
    SealAll(table);
    Flip(2);
    CheckTable checked = Looked();
    checked.states[1] = CheckState::Undecodable;
    checked.details[1] = "cannot be decoded";
    SealedFrames({*m_wish.to}).Check(checked, [](std::size_t, std::size_t) {});
    EXPECT_EQ(checked.states[1], CheckState::Changed);
    EXPECT_TRUE(checked.details[1].starts_with("its hash is ")) << checked.details[1];
    EXPECT_TRUE(checked.details[1].ends_with("; cannot be decoded")) << checked.details[1];
}

TEST_F(SealedFramesTest, ThatCannotBeReadAreNotKnownToHaveChanged)
{
    CheckTable table = Looked();
    SealAll(table);
    // A folder cannot be read, whoever asks.
    CheckTable before = Looked();
    std::filesystem::remove((m_folder / "r/f.3").Text().c_str());
    m_folder.MakeFolder("r/f.3");
    SealedFrames({*m_wish.to}).Check(before, k_nothing);
    EXPECT_TRUE(FindBadFrames(before).empty());
    EXPECT_EQ(before.troubles.at(2), "it is no file");
}

TEST_F(SealedFramesTest, ThatNoListHasAreNotKnownToBeAsTheyWere)
{
    CheckTable table = Looked();
    SealFrames(table, {true, true, false, true, true}, m_wish, k_nothing);
    EXPECT_EQ(Checked(*m_wish.to).troubles.at(2), "no hash list has it");
    EXPECT_EQ(Checked(*m_wish.to).troubles.size(), 1u);
}

TEST_F(SealedFramesTest, StayAsTheyWereSealedUnlessTheyAreSealedAnew)
{
    CheckTable table = Looked();
    SealAll(table);
    Write(2, std::string(1002, 'x'));
    table = Looked();
    const Sealed again = SealAll(table);
    EXPECT_TRUE(again.now.empty());
    EXPECT_TRUE(again.already == (Items{1, 3, 4, 5}));
    EXPECT_TRUE(FindFrames(table, CheckState::Changed) == (Items{2}));
    EXPECT_TRUE(FindFrames(Checked(*m_wish.to), CheckState::Changed) == (Items{2}));

    m_wish.renews = true;
    table = Looked();
    EXPECT_TRUE(SealAll(table).now == (Items{2}));
    EXPECT_TRUE(FindBadFrames(Checked(*m_wish.to)).empty());
}

TEST_F(SealedFramesTest, AreGoodOnesAlone)
{
    Write(3, "short");
    CheckTable table = Looked();
    EXPECT_TRUE(SealAll(table).now == (Items{1, 2, 4, 5}));
}

TEST_F(SealedFramesTest, HaveAListInTheirFolderWhereNoneIsNamed)
{
    m_wish.to.reset();
    CheckTable table = Looked();
    const Sealed sealed = SealAll(table);
    EXPECT_EQ(sealed.lists, (std::vector<ostrel::Path>{m_folder / "r/r.mhl"}));
    EXPECT_EQ(ReadHashList(m_folder / "r/r.mhl").files.count("f.1"), 1u);
    EXPECT_TRUE(Checked(m_folder / "r/r.mhl").troubles.empty());
}

TEST_F(SealedFramesTest, AreToldOfWhereAListCannotHoldThem)
{
    m_wish.to = m_folder.MakeFolder("other") / "l.mhl";
    CheckTable table = Looked();
    EXPECT_TRUE(SealAll(table).now.empty());
    EXPECT_NE(table.troubles.at(0).find("not beneath the folder"), String::npos);
    EXPECT_FALSE(std::filesystem::exists(m_wish.to->Text().c_str()));

    m_wish.to = m_folder / "l.mhl";
    for (int frame = 1; frame <= 5; ++frame)
        m_folder.MakeFile("\xFF/f." + std::to_string(frame), std::string(1000, 'x'));
    table = Looked("\xFF/f.%d");
    EXPECT_TRUE(SealAll(table).now.empty());
    EXPECT_NE(table.troubles.at(0).find("cannot hold its name"), String::npos);
}

TEST_F(SealedFramesTest, AreReachedByLinksToo)
{
    CheckTable table = Looked();
    SealAll(table);
    std::filesystem::create_directory_symlink((m_folder / "r").Text().c_str(),
                                              (m_folder / "s").Text().c_str());
    table = Looked("s/f.%d");
    SealedFrames({*m_wish.to}).Check(table, k_nothing);
    EXPECT_TRUE(table.troubles.empty());
}

TEST(FileHashes, AreThoseThatOthersMake)
{
    const TempFolder folder;
    const Path empty = folder.MakeFile("empty");
    const Path large = folder.MakeFile("large", std::string(3'000'001, 'x'));
    const Path none = folder / "none";
    const auto hashes = HashFiles(std::vector<HashWish>{{empty, HashKind::Xxh64},
                                                        {empty, HashKind::Xxh3},
                                                        {empty, HashKind::Xxh128},
                                                        {large, HashKind::Xxh64},
                                                        {none, HashKind::Xxh64},
                                                        {folder.Folder(), HashKind::Xxh64}},
                                  [](std::size_t) {});
    // Of nothing, as xxHash's own document has them.
    EXPECT_EQ(hashes[0].digits, "ef46db3751d8e999");
    EXPECT_EQ(hashes[1].digits, "2d06800538d394c2");
    EXPECT_EQ(hashes[2].digits, "99aa06d3014798d86001c324468d497f");
    EXPECT_EQ(hashes[3].digits, "f86a97d942d91499");
    EXPECT_EQ(hashes[3].size, 3'000'001u);
    EXPECT_NE(hashes[4].trouble.find("No such file"), String::npos);
    EXPECT_EQ(hashes[5].trouble, "it is no file");
    EXPECT_TRUE(HashFiles({}, [](std::size_t) {}).empty());
}

} // namespace
} // namespace check
