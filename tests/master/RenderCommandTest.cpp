#include "master/run/RenderCommand.h"

#include <gtest/gtest.h>

#include "corvan/JobFactory.h"
#include "corvan/JobType.h"
#include "tests/master/TestJobs.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using master::BuildRenderCommand;
using ostrel::Path;
using ostrel::String;
using ostrel::UID;

using Arguments = std::vector<std::string>;

namespace
{

// A job of a type with this render command.
boost::shared_ptr<corvan::Job> MakeJobThatRuns(std::vector<String> command,
                                               const TestParameters &parameters)
{
    corvan::JobType type;
    type.id = UID(true);
    type.name = type.id.ToString();
    type.defaults = {{"Width", "640"}};
    type.paths = {{"Scene", {}}};
    type.renderCommand = std::move(command);
    corvan::JobFactory::s_JobFactory.AddType(type);
    return MakeTestJob(parameters, type.id);
}

} // namespace

TEST(RenderCommand, HasItsPlaceholdersFilled)
{
    const TestParameters parameters = {
        {"Range", "1-20"},
        {"Scene", "/a b/{c}.pov"},
        {"ImageFormat", "/out/x.%04d.png;\"/out/b;\".%d.png"},
        {"Program", "tool"},
        {"Arguments", "-f\n{Frame}\n\n{Scene} {{x}\r\n{OutputFrames}\r\nlast\r"},
    };
    const struct
    {
        std::vector<String> command;
        Arguments arguments;
    } cases[] = {
        {{"p", "{FirstFrame}-{LastFrame}"}, {"p", "5-8"}},
        {{"p", "{Frame}", "{Width}"}, {"p", "5", "640"}},
        {{"p", "+I{Scene}"}, {"p", "+I/a b/{c}.pov"}},
        {{"p", "{Output}"}, {"p", "/out/x.0005.png"}},
        {{"p", "{OutputPattern}"}, {"p", "/out/x.%04d.png"}},
        {{"p", "{Outputs}"},
         {"p", "/out/x.0005.png", "/out/x.0006.png", "/out/x.0007.png", "/out/x.0008.png"}},
        {{"p", "{OutputFrames}"}, {"p", "5", "6", "7", "8"}},
        {{"p", "at {OutputFrames}"}, {"p", "at 5\n6\n7\n8"}},
        {{"{Program}", "{Arguments}"},
         {"tool", "-f", "5", "", "/a b/{c}.pov {x}", "5", "6", "7", "8", "last"}},
    };

    const TestJobTypes types;
    for (const auto &[command, arguments] : cases)
    {
        String reason;
        const auto job = MakeJobThatRuns(command, parameters);
        const auto built = BuildRenderCommand(*job, {5, 8}, 1, &reason);
        ASSERT_TRUE(built) << reason;
        EXPECT_EQ(built->arguments, arguments);
        EXPECT_EQ(built->outputs, (std::vector<Path>{"/out/x.0005.png", "/out/b;.5.png"}));
    }
}

TEST(RenderCommand, NamesEachFileOfARenumberedPacket)
{
    const TestJobTypes types;
    const auto job =
        MakeJobThatRuns({"p", "{OutputFrames}", "{Outputs}"}, {{"Range", "1-4"},
                                                               {"ImageFormat", "/x.%d"},
                                                               {"SequenceBy", "0.5"},
                                                               {"RenumberStart", "10"}});
    String reason;
    EXPECT_EQ(BuildRenderCommand(*job, {3, 4}, 1, &reason)->arguments,
              (Arguments{"p", "3", "3.5", "4", "4.5", "/x.14", "/x.15", "/x.16", "/x.17"}));
}

TEST(RenderCommand, NamesNoFilesOfAPacketThatHasTooMany)
{
    const TestJobTypes types;
    const TestParameters parameters = {{"Range", "1-20000"}, {"ImageFormat", "/x.%d"}};
    String reason;
    const auto named = MakeJobThatRuns({"p", "{Outputs}"}, parameters);
    EXPECT_TRUE(BuildRenderCommand(*named, {1, 10'000}, 1, &reason));
    EXPECT_FALSE(BuildRenderCommand(*named, {1, 10'001}, 1, &reason));
    EXPECT_NE(reason.find("Outputs"), String::npos) << reason;
    const auto unnamed = MakeJobThatRuns({"p", "{LastFrame}"}, parameters);
    EXPECT_TRUE(BuildRenderCommand(*unnamed, {1, 10'001}, 1, &reason));
}

TEST(RenderCommand, NamesTheJob)
{
    const TestJobTypes types;
    String reason;
    const auto job = MakeJobThatRuns({"p", "{ID}"}, {});
    EXPECT_EQ(BuildRenderCommand(*job, {1, 1}, 1, &reason)->arguments.back(), job->ID().ToString());
}

TEST(RenderCommand, IsRefusedWithTheReason)
{
    const struct
    {
        std::vector<String> command;
        TestParameters parameters;
        const char *reason;
    } cases[] = {
        {{"p", "{Nothing}"}, {}, "argument \"{Nothing}\": nothing is known of {Nothing}"},
        {{"{Program}"}, {{"Program", ""}}, "the command names no program"},
        {{"{Arguments}"}, {}, "the command names no program"},
        {{"p"}, {{"ImageFormat", "/a.png"}}, "image format \"/a.png\": "},
        {{"p"}, {{"ImageFormat", "/a.%s.png"}}, "image format \"/a.%s.png\": "},
        {{"p"}, {{"ImageFormat", "a.%d"}}, "image format \"a.%d\" is no full path"},
        {{"p"},
         {{"ImageFormat", "\\\\\\\\server\\\\a.%d"}},
         "image format \"\\\\server\\a.%d\" is no"},
        {{"p", "{Width}"}, {{"Width", "--evil"}}, "argument \"{Width}\": the value of {Width} be"},
        {{"p", "{Scene}"}, {{"Scene", "a\n--python\n/e.py"}}, "argument \"{Scene}\": the value of"},
        {{"p", "{Outputs}"},
         {{"ImageFormat", "/a\n-x.%d"}},
         "argument \"{Outputs}\": the value of"},
        {{"p", "{Output}"}, {{"ImageFormat", "/a\x1b.%d"}}, "argument \"{Output}\": the value of"},
        {{"{Program}"}, {{"Program", "sh\n-c\nevil"}}, "argument \"{Program}\": the value of"},
    };

    const TestJobTypes types;
    for (const auto &[command, parameters, expected] : cases)
    {
        String reason;
        const auto job = MakeJobThatRuns(command, parameters);
        EXPECT_FALSE(BuildRenderCommand(*job, {1, 1}, 1, &reason)) << expected;
        EXPECT_TRUE(reason.starts_with(expected)) << reason;
    }
}

TEST(RenderCommand, TakesValuesForValuesAndNeverForOptions)
{
    const struct
    {
        std::vector<String> command;
        TestParameters parameters;
        Arguments arguments;
    } cases[] = {
        {{"p", "{Scene}"}, {{"Scene", "--python-expr=evil"}}, {"p", "./--python-expr=evil"}},
        {{"p", "{Frame}", "{LastFrame}"}, {}, {"p", "-7", "-5"}},
        {{"p", "{OutputFrames}"}, {{"ImageFormat", "/a.%d"}}, {"p", "-7", "-6", "-5"}},
        {{"p", "{Width}", "x"}, {{"Width", ""}}, {"p", "", "x"}},
    };

    const TestJobTypes types;
    for (const auto &[command, parameters, arguments] : cases)
    {
        String reason;
        const auto built =
            BuildRenderCommand(*MakeJobThatRuns(command, parameters), {-7, -5}, -7, &reason);
        ASSERT_TRUE(built) << reason;
        EXPECT_EQ(built->arguments, arguments);
    }
}

TEST(RenderCommand, HasItsPathsLookedAtWhereTheTypeSaysWhereTheyMayLie)
{
    const TestJobTypes types;
    corvan::JobType type = *corvan::JobFactory::s_JobFactory.FindType(k_ShellType);
    type.id = UID(true);
    type.name = "Rooted";
    type.renderCommand = {"p", "{Scene}"};
    type.paths = {{"Scene", {"/shots", "/assets"}},
                  {"Lut", {"/luts"}},
                  {"Free", {}},
                  {"ImageFormat", {"/renders"}}};
    corvan::JobFactory::s_JobFactory.AddType(type);

    using Rooted = std::vector<keeper::RootedPath>;
    const struct
    {
        TestParameters parameters;
        Rooted rooted;
        Arguments command;
    } cases[] = {
        {{{"Scene", "/shots/s"}, {"Free", "/f"}},
         {{"Scene", "/shots/s", {"/shots", "/assets"}}},
         {"p", "/shots/s"}},
        {{{"Scene", "../s"}, {"ImageFormat", "/renders/%d;/renders/%d.png"}},
         {{"Scene", "../s", {"/shots", "/assets"}}},
         {"p", "../s"}},
        {{{"Scene", ""}, {"Lut", "l"}}, {{"Lut", "l", {"/luts"}}}, {"p", ""}},
    };
    for (const auto &[parameters, rooted, command] : cases)
    {
        String reason;
        const auto built =
            BuildRenderCommand(*MakeTestJob(parameters, type.id), {1, 1}, 1, &reason);
        ASSERT_TRUE(built) << reason;
        EXPECT_EQ(built->arguments, command);
        EXPECT_EQ(built->rooted, rooted);
        EXPECT_EQ(built->outputRoots, std::vector<std::string>{"/renders"});
    }

    const TestParameters outside[] = {
        {{"Scene", "/shots/../s"}},
        {{"Scene", "/shots/s"}, {"ImageFormat", "/renders/%d;/render/%d.png"}},
        {{"Scene", ""}, {"Lut", "/shots/l"}},
    };
    for (const TestParameters &parameters : outside)
    {
        String reason;
        EXPECT_FALSE(BuildRenderCommand(*MakeTestJob(parameters, type.id), {1, 1}, 1, &reason));
        EXPECT_NE(reason.find(" lies elsewhere, and jobs of this type may use only /"),
                  String::npos)
            << reason;
    }
}

TEST(RenderCommand, NumbersItsOutputAsTheJobDoes)
{
    const struct
    {
        TestParameters parameters;
        int frame;
        int firstFrame;
        int number;
    } cases[] = {
        {{}, 7, 1, 7},
        {{{"RenumberStart", "1"}, {"RenumberBy", "2"}}, 12, 10, 5},
        {{{"SequenceBy", "0.5"}}, 2, 1, 3},
        {{{"SequenceBy", "2"}, {"RenumberStart", "0"}}, 9, 1, 4},
        {{{"RenumberBy", "-3"}}, 9, 1, 9},
        {{}, -5, -10, -5},
    };

    const TestJobTypes types;
    for (const auto &[parameters, frame, firstFrame, number] : cases)
    {
        TestParameters all = parameters;
        all.emplace_back("ImageFormat", "/x.%d");
        String reason;
        const auto built =
            BuildRenderCommand(*MakeTestJob(all), {frame, frame}, firstFrame, &reason);
        ASSERT_TRUE(built) << reason;
        EXPECT_EQ(built->outputs.front().Text(), "/x." + std::to_string(number));
    }
}

TEST(RenderCommand, IsRefusedForAFileThatNobodyCouldLookFor)
{
    const TestJobTypes types;
    String reason;
    const auto job = MakeTestJob({{"RenumberBy", "2000000000"}, {"ImageFormat", "/x.%d"}});
    EXPECT_TRUE(BuildRenderCommand(*job, {1, 1}, 1, &reason)) << reason;
    EXPECT_FALSE(BuildRenderCommand(*job, {9, 9}, 1, &reason));
    EXPECT_EQ(reason, "the output number of frame 9 does not fit in 32 bits");
}

TEST(RenderCommand, IsToWriteEachFileOfItsPacketInEachFormat)
{
    const TestJobTypes types;
    const struct
    {
        TestParameters parameters;
        master::Packet packet;
        std::vector<ostrel::Path> outputs;
    } cases[] = {
        {{}, {1, 3}, {}},
        {{{"ImageFormat", "/b.%d.png;/a.%02d.exr"}},
         {4, 5},
         {"/a.04.exr", "/a.05.exr", "/b.4.png", "/b.5.png"}},
        {{{"ImageFormat", "/a.%d.exr"}, {"RenumberStart", "100"}},
         {2, 3},
         {"/a.101.exr", "/a.102.exr"}},
        {{{"ImageFormat", "/a.%d.exr"}, {"SequenceBy", "2"}}, {1, 4}, {"/a.1.exr", "/a.2.exr"}},
        // What nothing lists, nothing looks for.
        {{{"ImageFormat", "/a.%d.exr"}}, {1, 2'000'000}, {}},
    };
    for (const auto &[parameters, packet, outputs] : cases)
        EXPECT_EQ(master::ListOutputs(*MakeTestJob(parameters), packet, 1), outputs);
    EXPECT_EQ(
        master::ListOutputs(*MakeTestJob({{"ImageFormat", "/a.%d.exr"}}, k_OnceType), {0, 0}, 0),
        std::vector<ostrel::Path>{});
}
