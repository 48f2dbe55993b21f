#include "master/run/PathRoots.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

namespace master
{
namespace
{

namespace fs = std::filesystem;

// Folders with links out and in.
class PathRoots : public testing::Test
{
protected:
    PathRoots()
    {
        m_folder.MakeFile("in/scene.blend");
        m_folder.MakeFile("in/deep/lut.cube");
        m_folder.MakeFile("out/secret");
        Link("out/secret", "in/to-secret");
        Link("out", "in/to-out");
        Link("../out", "in/up");
        Link("in", "to-in");
        Link("none", "in/to-nothing");
        Link("round-b", "in/round-a");
        Link("round-a", "in/round-b");
    }

    // Relative targets are those of the folder, but for such as begin with "..".
    void Link(const std::string &target, const String &name)
    {
        const bool isPlain = target.starts_with("..") || target.starts_with("round");
        fs::create_symlink(isPlain ? target : (m_folder / target).Text(),
                           (m_folder / name).Text().c_str());
    }

    String Check(const String &path)
    {
        return CheckRoots({"Scene", m_folder / path, {"/none", m_folder / "in"}});
    }

    TempFolder m_folder;
};

TEST_F(PathRoots, AreKeptByWhatLiesInOneOfThem)
{
    for (const char *path :
         {"in/scene.blend", "in/deep/lut.cube", "to-in/scene.blend", "in/new/frame.1.exr", "in",
          "out/../in/scene.blend", "in/./deep//lut.cube"})
        EXPECT_EQ(Check(path), "") << path;
}

TEST_F(PathRoots, AreLeftByLinksAndByWordsAlike)
{
    for (const char *path :
         {"out/secret", "in/to-secret", "in/to-out/secret", "in/up/secret", "in/../out/secret",
          "in/to-nothing", "in/to-out/new/frame.1.exr", "into/scene.blend", "in.old",
          "in/missing/../../out/secret", "in/missing/../to-out/secret"})
        EXPECT_TRUE(Check(path).starts_with("Scene " + (m_folder / path).Text() + " leads to "))
            << path << ": " << Check(path);
    EXPECT_TRUE(Check("in/to-secret").ends_with("use only /none, " + (m_folder / "in").Text()));
}

TEST_F(PathRoots, AreNotKeptByWhatNobodyKnowsTheEndOf)
{
    EXPECT_NE(Check("in/round-a").find("its links go round"), String::npos) << Check("in/round-a");
    EXPECT_NE(Check("in/scene.blend/x").find("Not a directory"), String::npos);
}

TEST_F(PathRoots, MayBeLinksThemselves)
{
    EXPECT_EQ(CheckRoots({"Scene", m_folder / "in/scene.blend", {m_folder / "to-in"}}), "");
    EXPECT_EQ(CheckRoots({"Scene", m_folder / "out/secret", {"/"}}), "");
}

TEST_F(PathRoots, OfARelativePathCountFromTheCurrentFolder)
{
    String reason;
    EXPECT_EQ(FollowLinks("x/y", &reason), Path((fs::current_path() / "x/y").string()));
}

} // namespace
} // namespace master
