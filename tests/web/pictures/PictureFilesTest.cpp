#include "web/pictures/PictureFiles.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"

using namespace web;

namespace
{

namespace fs = std::filesystem;

std::uint64_t RoomOf(const Path &folder)
{
    std::uint64_t sum = 0;
    for (const auto &entry : fs::directory_iterator(std::string(folder.Text())))
    {
        struct stat about = {};
        if (lstat(entry.path().c_str(), &about) == 0)
            sum += std::uint64_t(about.st_blocks) * 512;
    }
    return sum;
}

// The only file in a folder.
std::string OnlyFile(const Path &folder)
{
    std::string found;
    for (const auto &entry : fs::directory_iterator(std::string(folder.Text())))
    {
        EXPECT_EQ(found, "") << "more than one";
        found = entry.path();
    }
    return found;
}

void MakeOld(const std::string &file, std::time_t seconds)
{
    const timespec times[2] = {{std::time(nullptr) - seconds, 0},
                               {std::time(nullptr) - seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

class PictureFilesTest : public testing::Test
{
protected:
    TempFolder m_temp;
    const Path m_folder = m_temp / "pictures";
};

constexpr std::uint64_t k_much = 64u << 20;

} // namespace

TEST_F(PictureFilesTest, KeepsWhatItIsGivenAcrossProcesses)
{
    const std::string bytes("\xff\xd8\0\n\xd9", 5);
    {
        PictureFiles files(m_folder, k_much);
        EXPECT_EQ(files.Find("a"), std::nullopt);
        files.Keep("a", bytes);
        files.Keep("b\nc", "");
        files.Keep("a", bytes);
        EXPECT_EQ(files.Find("a"), bytes);
    }
    PictureFiles files(m_folder, k_much);
    EXPECT_EQ(files.Find("a"), bytes);
    EXPECT_EQ(files.Find("b\nc"), "");
    EXPECT_EQ(files.Find("b"), std::nullopt);
    struct stat about = {};
    ASSERT_EQ(stat(m_folder.Text().c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0777u, 0700u) << "frames are nobody else's";
}

TEST_F(PictureFilesTest, IsBoundedAndKeepsWhatIsUsed)
{
    constexpr std::uint64_t k_most = 2u << 20;
    PictureFiles files(m_folder, k_most);
    const std::string bytes(20'000, 'x');
    files.Keep("used", bytes);
    const std::string used = OnlyFile(m_folder);
    for (int i = 0; i < 400; ++i)
    {
        files.Keep("key " + std::to_string(i), bytes);
        MakeOld(used, 1000);
        ASSERT_EQ(files.Find("used"), bytes) << "after " << i;
        ASSERT_LE(RoomOf(m_folder), k_most) << "after " << i;
    }
    EXPECT_GT(RoomOf(m_folder), k_most / 2) << "it is used";
    EXPECT_EQ(files.Find("key 0"), std::nullopt);
    EXPECT_EQ(files.Find("key 399"), bytes);
}

TEST_F(PictureFilesTest, IsBoundedWhereTwoShareAFolder)
{
    constexpr std::uint64_t k_most = 2u << 20;
    PictureFiles one(m_folder, k_most);
    PictureFiles other(m_folder, k_most);
    const std::string bytes(20'000, 'x');
    {
        const auto fill = [&](PictureFiles &files, const std::string &name)
        {
            for (int i = 0; i < 300; ++i)
            {
                files.Keep(name + std::to_string(i), bytes);
                const auto found = files.Find("shared" + std::to_string(i % 3));
                EXPECT_TRUE(!found || *found == bytes);
                files.Keep("shared" + std::to_string(i % 3), bytes);
            }
        };
        const std::jthread first([&] { fill(one, "a"); });
        const std::jthread second([&] { fill(other, "b"); });
    }
    EXPECT_LE(RoomOf(m_folder), k_most + k_most / 16);
    EXPECT_EQ(one.Find("b299"), bytes) << "what one has kept the other finds";
    for (const auto &entry : fs::directory_iterator(std::string(m_folder.Text())))
        EXPECT_EQ(entry.path().extension(), ".picture") << "nothing half written is left";
}

TEST_F(PictureFilesTest, RemovesADamagedFileAndGoesOn)
{
    const std::string bytes(3000, 'x');
    const auto change = [](std::size_t at, const char *to)
    {
        return [at, to](const std::string &file)
        {
            std::string content = ContentOf(file.c_str());
            content.replace(at, 1, to);
            std::ofstream(file, std::ios::binary) << content;
        };
    };
    const struct
    {
        const char *what;
        std::function<void(const std::string &)> damage;
    } cases[] = {
        {"a byte of the picture", change(2000, "y")},
        {"a byte of the head", change(3, "X")},
        {"a byte of the checksum", change(18, "z")},
        {"a byte of the key", change(33, "Q")},
        {"a byte more", [](const std::string &file) { std::ofstream(file, std::ios::app) << "x"; }},
        {"cut", [](const std::string &file) { fs::resize_file(file, 1500); }},
        {"cut in its head", [](const std::string &file) { fs::resize_file(file, 20); }},
        {"empty", [](const std::string &file) { fs::resize_file(file, 0); }},
        {"huge", [](const std::string &file) { fs::resize_file(file, 1ull << 40); }},
        {"a link", [](const std::string &file)
         { fs::remove(file), fs::create_symlink("/etc/passwd", file); }},
        {"a pipe",
         [](const std::string &file)
         {
             fs::remove(file);
             ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
         }},
    };
    for (const auto &[what, damage] : cases)
    {
        PictureFiles files(m_folder, k_much);
        files.Keep("some key", bytes);
        ASSERT_EQ(files.Find("some key"), bytes) << what;
        damage(OnlyFile(m_folder));
        EXPECT_EQ(files.Find("some key"), std::nullopt) << what;
        files.Keep("some key", bytes);
        EXPECT_EQ(files.Find("some key"), bytes) << what;
    }
}

TEST_F(PictureFilesTest, GivesNobodyThePictureOfAnotherKey)
{
    PictureFiles files(m_folder, k_much);
    files.Keep("a", "picture of a");
    const std::string a = OnlyFile(m_folder);
    const std::string content = ContentOf(a.c_str());
    fs::remove(a);
    files.Keep("b", "picture of b");
    std::ofstream(OnlyFile(m_folder), std::ios::binary) << content; // As if their names were one.
    EXPECT_EQ(files.Find("b"), std::nullopt);
}

TEST_F(PictureFilesTest, CostsNothingButWhatItKeepsWhereTheDiskIsFull)
{
    LogCapture log(ostrel::k_LogWarning);
    PictureFiles files(m_folder, k_much);
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{1000, before.rlim_max}; // Writing fails as on a disk that is full.
    setrlimit(RLIMIT_FSIZE, &none);
    for (int i = 0; i < 20; ++i)
        files.Keep("key " + std::to_string(i), std::string(5000, 'x'));
    const auto found = files.Find("key 3");
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, ignored);

    EXPECT_EQ(found, std::nullopt);
    EXPECT_TRUE(fs::is_empty(std::string(m_folder.Text()))) << "half a file is left";
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "cannot keep pictures"), 1);
    files.Keep("key 3", "x");
    EXPECT_EQ(files.Find("key 3"), "x") << "there is room again";
}

TEST_F(PictureFilesTest, GoesOnWithoutAFolder)
{
    LogCapture log(ostrel::k_LogWarning);
    for (const Path &folder : {m_temp.MakeFile("file"), m_temp.MakeFile("other") / "below"})
    {
        PictureFiles files(folder, k_much);
        files.Keep("a", "x");
        EXPECT_EQ(files.Find("a"), std::nullopt);
    }
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "cannot keep pictures"), 2);
    PictureFiles nothing(m_folder, 0);
    nothing.Keep("a", "x");
    EXPECT_EQ(nothing.Find("a"), std::nullopt);
    EXPECT_FALSE(fs::exists(std::string(m_folder.Text())));
}

TEST_F(PictureFilesTest, MakesItsFolderAnewWhereItIsGone)
{
    LogCapture log(ostrel::k_LogWarning);
    PictureFiles files(m_folder, k_much);
    files.Keep("a", "x");
    fs::remove_all(std::string(m_folder.Text()));
    EXPECT_EQ(files.Find("a"), std::nullopt);
    files.Keep("a", "y");
    EXPECT_EQ(files.Find("a"), "y");
    struct stat about = {};
    ASSERT_EQ(stat(m_folder.Text().c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0777, 0700u) << "of this user alone";
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "cannot keep pictures"), 0);
}

TEST_F(PictureFilesTest, KeepsNothingThatWouldDriveOutAllElse)
{
    PictureFiles files(m_folder, 1u << 20);
    files.Keep("a", std::string(100'000, 'x'));
    EXPECT_EQ(files.Find("a"), std::nullopt);
}

TEST_F(PictureFilesTest, RemovesWhatAnotherHasLeftHalfWrittenAndNothingElse)
{
    PictureFiles(m_folder, k_much).Keep("a", "x");
    const std::string old = m_temp.MakeFile("pictures/.new-1-1").Text();
    const std::string fresh = m_temp.MakeFile("pictures/.new-1-2").Text();
    const std::string foreign = m_temp.MakeFile("pictures/notes.txt").Text();
    for (const std::string &file : {old, foreign})
        MakeOld(file, 10'000);
    PictureFiles files(m_folder, k_much);
    EXPECT_FALSE(fs::exists(old));
    EXPECT_TRUE(fs::exists(fresh)) << "somebody may be writing it";
    EXPECT_TRUE(fs::exists(foreign));
    EXPECT_EQ(files.Find("a"), "x");
}
