#include "keeper/PathRoots.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace keeper
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
    void Link(const std::string &target, const std::string &name)
    {
        const bool isPlain = target.starts_with("..") || target.starts_with("round");
        fs::create_symlink(isPlain ? target : Name(target), Name(name));
    }

    std::string Name(const std::string &leaf) const
    {
        return (m_folder / ostrel::String(leaf)).Text();
    }

    Place Find(const std::string &path)
    {
        m_reason.clear();
        return FindPlace({"Scene", Name(path), {"/none", Name("in")}}, &m_reason);
    }

    Place FindAll(std::vector<std::string> files)
    {
        for (std::string &file : files)
            file = Name(file);
        m_reason.clear();
        return FindPlaceOfAll(
            "ImageFormat", files, {Name("in")}, [this] { return m_isOver; }, &m_reason);
    }

    TempFolder m_folder;
    std::string m_reason;
    bool m_isOver = false;
};

TEST_F(PathRoots, AreKeptByWhatLiesInOneOfThem)
{
    for (const char *path :
         {"in/scene.blend", "in/deep/lut.cube", "to-in/scene.blend", "in/new/frame.1.exr", "in",
          "out/../in/scene.blend", "in/./deep//lut.cube"})
        EXPECT_EQ(Find(path), Place::Within) << path << ": " << m_reason;
}

TEST_F(PathRoots, AreLeftByLinksAndByWordsAlike)
{
    for (const char *path :
         {"out/secret", "in/to-secret", "in/to-out/secret", "in/up/secret", "in/../out/secret",
          "in/to-nothing", "in/to-out/new/frame.1.exr", "into/scene.blend", "in.old",
          "in/missing/../../out/secret", "in/missing/../to-out/secret"})
    {
        EXPECT_EQ(Find(path), Place::Outside) << path;
        EXPECT_TRUE(m_reason.starts_with("Scene " + Name(path) + " leads to ")) << m_reason;
        EXPECT_TRUE(m_reason.ends_with("use only /none, " + Name("in"))) << m_reason;
    }
}

TEST_F(PathRoots, AreNotKeptByWhatNobodyKnowsTheEndOf)
{
    EXPECT_EQ(Find("in/round-a"), Place::Unknown);
    EXPECT_NE(m_reason.find("its links go round"), std::string::npos) << m_reason;
    EXPECT_EQ(Find("in/scene.blend/x"), Place::Unknown);
    EXPECT_NE(m_reason.find("Not a directory"), std::string::npos) << m_reason;
}

TEST_F(PathRoots, MayBeLinksThemselves)
{
    for (const RootedPath &rooted : {RootedPath{"Scene", Name("in/scene.blend"), {Name("to-in")}},
                                     RootedPath{"Scene", Name("out/secret"), {"/"}}})
        EXPECT_EQ(FindPlace(rooted, &m_reason), Place::Within) << m_reason;
}

// As those of a share that does not answer.
TEST_F(PathRoots, ThatCannotBeFollowedThemselvesRefuseNothing)
{
    const std::string lost = Name("in/round-a");
    EXPECT_EQ(FindPlace({"Scene", Name("out/secret"), {lost}}, &m_reason), Place::Unknown);
    EXPECT_EQ(m_reason, "cannot tell where Scene " + Name("out/secret") + " may lie: " + lost +
                            ": its links go round");
    EXPECT_EQ(FindPlace({"Scene", Name("in/scene.blend"), {lost, Name("in")}}, &m_reason),
              Place::Within);
}

TEST_F(PathRoots, AreLeftByOneFileOfMany)
{
    fs::create_directory(Name("in/new"));
    Link("out/secret", "in/new/frame.2.exr");
    Link("in/scene.blend", "out/back");
    const struct
    {
        std::vector<std::string> files;
        Place place;
    } cases[] = {
        {{}, Place::Within},
        {{"in/new/frame.1.exr", "in/new/frame.3.exr", "in/deep/x/frame.1.exr"}, Place::Within},
        {{"in/new/frame.1.exr", "in/new/frame.2.exr"}, Place::Outside},
        {{"in/new/frame.1.exr", "in/to-out/frame.1.exr"}, Place::Outside},
        {{"out/back"}, Place::Within},
        {{"out/back", "out/frame.1.exr"}, Place::Outside},
    };
    for (const auto &[files, place] : cases)
        EXPECT_EQ(FindAll(files), place) << (files.empty() ? "none" : files.back()) << m_reason;

    m_isOver = true;
    EXPECT_EQ(FindAll({"in/new/frame.2.exr"}), Place::Unknown);
    EXPECT_EQ(m_reason, "it was ended before it began");
}

TEST(WrittenPath, LiesInARootOrIsRefused)
{
    const struct
    {
        const char *path;
        std::vector<std::string> roots;
        bool isWithin;
    } cases[] = {
        {"/shots/a/%04d.exr", {"/shots"}, true},
        {"/shots", {"/shots"}, true},
        {"/shots/a", {"/assets", "/shots/"}, true},
        {"/a/../shots//./x", {"/shots"}, true},
        {"/anything", {"/"}, true},
        {"/anything", {}, true},
        {"/shots.old/a", {"/shots"}, false},
        {"/shots/../etc/x", {"/shots"}, false},
        {"/etc/shots", {"/shots", "/assets"}, false},
        {"/../../etc", {"/shots"}, false},
    };
    for (const auto &[path, roots, isWithin] : cases)
        EXPECT_EQ(CheckWritten({"Scene", path, roots}).empty(), isWithin) << path;
    EXPECT_EQ(CheckWritten({"Scene", "/etc/x", {"/shots", "/assets"}}),
              "Scene /etc/x lies elsewhere, and jobs of this type may use only /shots, /assets");
}

} // namespace
} // namespace keeper
