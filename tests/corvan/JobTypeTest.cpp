#include "corvan/JobType.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using namespace corvan;

namespace
{

const char *const k_id = "Id = 0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01\n";
const char *const k_render = "[Render]\n1 = true\n";

String Type(const char *rest)
{
    return String("[Type]\n") + k_id + "Name = Sample\n" + rest;
}

class JobTypeTest : public testing::Test
{
protected:
    JobType Load(const String &text)
    {
        return JobType::Load(m_folder.MakeFile("type.ini", text));
    }

    std::string RefusalOf(const String &text)
    {
        return Thrown([&] { Load(text); });
    }

    TempFolder m_folder;
};

} // namespace

TEST_F(JobTypeTest, ReadsEverything)
{
    const JobType type =
        Load("; A comment\n[Type]\n" + String(k_id) +
             "Name = Sample type\nRendersFrames = yes\nCustomRange = no\n"
             "[Defaults]\nPacketSize = 5\nWidth = 640\n"
             "[Paths]\nScene = /shots;\"/as;sets\"\nLut =\nImageFormat = /renders\n"
             "[Render]\n10 = last\n2 = +I{Scene}\n1 = povray\n"
             "[Command.2]\nLabel = Second\n1 = b\n"
             "[Command.1]\nLabel = First\n1 = a\n2 = {Note}\n");
    EXPECT_EQ(type.id.ToString(), "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01");
    EXPECT_EQ(type.name, "Sample type");
    EXPECT_TRUE(type.rendersFrames);
    EXPECT_FALSE(type.hasCustomRange);
    EXPECT_EQ(type.FindDefault("PacketSize"), "5");
    EXPECT_EQ(type.FindDefault("Width"), "640");
    EXPECT_EQ(type.FindDefault("Height"), std::nullopt);
    EXPECT_EQ(type.renderCommand, (std::vector<String>{"povray", "+I{Scene}", "last"}));
    ASSERT_EQ(type.commands.size(), 2u);
    EXPECT_EQ(type.commands[0].label, "First");
    EXPECT_EQ(type.commands[0].arguments, (std::vector<String>{"a", "{Note}"}));
    EXPECT_EQ(type.commands[1].label, "Second");
    ASSERT_EQ(type.paths.size(), 3u);
    EXPECT_EQ(type.paths[0].parameter, "Scene");
    EXPECT_EQ(type.paths[0].roots, (std::vector<ostrel::Path>{"/shots", "/as;sets"}));
    EXPECT_TRUE(type.paths[1].roots.empty());
    EXPECT_EQ(type.paths[2].parameter, "ImageFormat");
    EXPECT_EQ(type.paths[2].roots, std::vector<ostrel::Path>{"/renders"});
    EXPECT_TRUE(type.IsPath("Lut"));
    EXPECT_FALSE(type.IsPath("Width"));
}

TEST_F(JobTypeTest, RendersFramesAndHasACustomRangeUnlessItSaysOtherwise)
{
    const JobType usual = Load(Type(k_render));
    EXPECT_TRUE(usual.rendersFrames);
    EXPECT_TRUE(usual.hasCustomRange);
    const JobType plain = Load(Type("RendersFrames = no\n") + k_render);
    EXPECT_FALSE(plain.rendersFrames);
    EXPECT_FALSE(plain.hasCustomRange);
}

TEST_F(JobTypeTest, SaysHowItsCommandIsRun)
{
    const JobType usual = Load(Type(k_render));
    EXPECT_TRUE(usual.writesFiles);
    EXPECT_TRUE(usual.keepsOld);
    EXPECT_EQ(usual.limits, corvan::RunLimits());
    EXPECT_FALSE(Load(Type("RendersFrames = no\n") + k_render).writesFiles);

    const JobType other =
        Load(Type(k_render) + "[Run]\nWritesFiles = no\nKeepOld = no\nPassEnvironment = OCIO X_*\n"
                              "MaxSeconds = 60\nMaxMemoryMB = 8000\nMaxProcesses = 9\n"
                              "MaxLogMB = 2\nNice = 5\nMaxProcessors = 3\n");
    EXPECT_FALSE(other.writesFiles);
    EXPECT_FALSE(other.keepsOld);
    EXPECT_EQ(other.passEnvironment, (std::vector<String>{"OCIO", "X_*"}));
    EXPECT_EQ(other.limits, (corvan::RunLimits{60, 8000, 9, 2, 5, 3}));
}

TEST_F(JobTypeTest, SaysWhenATaskIsStuckAndWhatThen)
{
    const JobType usual = Load(Type(k_render));
    EXPECT_EQ(usual.stuck, (corvan::StuckLimits{3, 300, 1800, false}));
    const JobType other = Load(Type(k_render) + "[Run]\nStuckTimes = 10\nStuckSeconds = 0\n"
                                                "SilentSeconds = 60\nEndStuck = yes\n");
    EXPECT_EQ(other.stuck, (corvan::StuckLimits{10, 0, 60, true}));
}

TEST_F(JobTypeTest, RefusesWhatIsNoTypeAndNamesFileAndReason)
{
    const String render = k_render;
    const struct
    {
        String text;
        const char *reason;
    } cases[] = {
        {"", "key \"Id\" of section \"Type\" is no identifier"},
        {"[Type]\nId = 5\n", "key \"Id\" of section \"Type\" is no identifier"},
        {String("[Type]\n") + k_id + render, "key \"Name\" of section \"Type\" is no name"},
        {Type("Colour = red\n") + render, "key \"Colour\" of section \"Type\" is not known"},
        {Type("RendersFrames = perhaps\n") + render, "\"RendersFrames\" of section \"Type\" is"},
        {Type("CustomRange = 2\n") + render, "\"CustomRange\" of section \"Type\" is neither"},
        {Type("RendersFrames = no\nCustomRange = yes\n") + render, "renders no frames has no"},
        {Type(""), "section \"Render\" names no command"},
        {Type("[Render]\n"), "section \"Render\" names no command"},
        {Type("[Render]\nfirst = a\n"), "key \"first\" of section \"Render\" is no number"},
        {Type("[Render]\n0 = a\n"), "key \"0\" of section \"Render\" is no number"},
        {Type("[Render]\n1 = a\n01 = b\n"), "section \"Render\" has two arguments of number"},
        {Type("[Render]\n1 = a{Frame\n"), "a brace is not closed"},
        {Type("[Render]\n1 = a{}\n"), "a placeholder has no name"},
        {Type("[Extra]\na = b\n") + render, "section \"Extra\" is not known"},
        {Type("[Paths]\nScene = /a;b\n") + render, "the root \"b\" of Scene is no full path"},
        {Type("[Command.x]\na = b\n") + render, "section \"Command.x\" is not known"},
        {Type("[Command.1]\n1 = a\n") + render, "section \"Command.1\" has no label"},
        {Type("[Command.1]\nLabel = a\n") + render, "section \"Command.1\" names no command"},
        {Type("[Command.1]\nLabel = a\n1 = b\n[Command.3]\nLabel = a\n1 = c\n") + render,
         "sections \"Command.1\" and \"Command.3\" have the same label"},
        {Type("[Command.1]\nLabel = a\n1 = b\n[Command.01]\nLabel = c\n1 = d\n") + render,
         "section \"Command.01\" has the number of another"},
        {Type("[Defaults]\nPacketSize = 0\n") + render, "PacketSize: \"0\" is not a whole"},
        {Type("[Defaults]\nType = x\n") + render, "Type cannot be set"},
        {Type("[Defaults]\nStatus = 0\n") + render, "Status has no default"},
        {Type("[Defaults]\nRequeueOf = 0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01\n") + render,
         "RequeueOf has no default"},
        {Type("[Defaults]\nCreated = 0\n") + render, "Created has no default"},
        {Type("[Run]\nColour = red\n") + render, "key \"Colour\" of section \"Run\" is not known"},
        {Type("[Run]\nKeepOld = 2\n") + render, "\"KeepOld\" of section \"Run\" is neither"},
        {Type("[Run]\nNice = 20\n") + render, "Nice: \"20\" is not a whole number from 0 to 19"},
        {Type("[Run]\nStuckTimes = 1001\n") + render,
         "StuckTimes: \"1001\" is not a whole number from 0 to 1000"},
        {Type("[Run]\nSilentSeconds = -1\n") + render, "SilentSeconds: \"-1\" is not a whole"},
        {Type("[Run]\nEndStuck = 2\n") + render, "\"EndStuck\" of section \"Run\" is neither"},
        {Type("nonsense\n") + render, ""},
        {String("\xff\xfe"), ""},
    };
    for (const auto &[text, reason] : cases)
    {
        const std::string refusal = RefusalOf(text);
        EXPECT_NE(refusal.find(reason), std::string::npos) << text << "\ngave: " << refusal;
        EXPECT_EQ(refusal.find("cannot use job type " + (m_folder / "type.ini").Text() + ": "), 0u)
            << refusal;
    }
}

TEST_F(JobTypeTest, RefusesAFileThatIsNotThere)
{
    EXPECT_NE(Thrown([&] { JobType::Load(m_folder / "none.ini"); }).find("none.ini"),
              std::string::npos);
}
