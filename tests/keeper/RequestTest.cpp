#include "keeper/Request.h"

#include <fcntl.h>

#include <gtest/gtest.h>

#include "keeper/Protocol.h"
#include "ostrel/Descriptor.h"
#include "tests/support/TempFolder.h"

using keeper::Request;

namespace
{

bool Read(const std::string &text, Request &request, std::string *reason)
{
    const TempFolder folder;
    const ostrel::Path file = folder.MakeFile("request", text);
    const ostrel::Descriptor opened(::open(file.Text().c_str(), O_RDONLY));
    return keeper::ReadRequest(opened.Number(), request, reason);
}

std::string Field(const std::string &name, const std::string &value)
{
    return name + '\0' + value + '\0';
}

} // namespace

TEST(Request, HoldsWhatWasAskedFor)
{
    Request request;
    std::string reason;
    ASSERT_TRUE(
        Read(Field(keeper::k_Argument, "sh") + Field(keeper::k_Argument, "two\nlines") +
                 Field(keeper::k_Argument, "") + Field(keeper::k_Environment, "A=b") +
                 Field(keeper::k_Output, "/x.1.png") + Field(keeper::k_Place, "/y/1") +
                 Field(keeper::k_RootOfOutputs, "/x") + Field(keeper::k_RootOfOutputs, "/y") +
                 Field(keeper::k_RootedName, "Scene") + Field(keeper::k_RootedPath, "/a/s") +
                 Field(keeper::k_RootedRoot, "/a") + Field(keeper::k_RootedRoot, "/b") +
                 Field(keeper::k_RootedName, "Lut") + Field(keeper::k_Keep, "1") +
                 Field(keeper::k_Folder, "/tmp") + Field(keeper::k_Group, "/g") +
                 Field(keeper::k_Log, "/tmp/log") + Field(keeper::k_Seconds, "60") +
                 Field(keeper::k_Memory, "8000000000") + Field(keeper::k_Processes, "4") +
                 Field(keeper::k_LogBytes, "9000") + Field(keeper::k_Nice, "10") +
                 Field(keeper::k_Files, "1024") + Field(keeper::k_User, "1000") +
                 Field(keeper::k_UserGroup, "100") + Field(keeper::k_MoreGroup, "100") +
                 Field(keeper::k_MoreGroup, "44") + Field(keeper::k_Processors, "2") +
                 Field(keeper::k_FirstProcessor, "6") + Field(keeper::k_Patience, "300"),
             request, &reason))
        << reason;
    EXPECT_EQ(request.arguments, (std::vector<std::string>{"sh", "two\nlines", ""}));
    EXPECT_EQ(request.environment, std::vector<std::string>{"A=b"});
    EXPECT_EQ(request.outputs, std::vector<std::string>{"/x.1.png"});
    EXPECT_EQ(request.places, std::vector<std::string>{"/y/1"});
    EXPECT_EQ(request.outputRoots, (std::vector<std::string>{"/x", "/y"}));
    EXPECT_EQ(request.rooted,
              (std::vector<keeper::RootedPath>{{"Scene", "/a/s", {"/a", "/b"}}, {"Lut", "", {}}}));
    EXPECT_EQ(request.keepsOld, 1);
    EXPECT_EQ(request.folder, "/tmp");
    EXPECT_EQ(request.group, "/g");
    EXPECT_EQ(request.log, "/tmp/log");
    EXPECT_EQ(request.seconds, 60);
    EXPECT_EQ(request.memoryBytes, 8'000'000'000);
    EXPECT_EQ(request.processes, 4);
    EXPECT_EQ(request.logBytes, 9000);
    EXPECT_EQ(request.nice, 10);
    EXPECT_EQ(request.files, 1024);
    EXPECT_EQ(request.patienceMs, 300);
    EXPECT_EQ(request.userId, 1000);
    EXPECT_EQ(request.groupId, 100);
    EXPECT_EQ(request.groups, (std::vector<std::string>{"100", "44"}));
    EXPECT_EQ(request.processors, 2);
    EXPECT_EQ(request.firstProcessor, 6);
}

TEST(Request, OfAnotherVersionIsRefused)
{
    const std::string other = "corvan-task does not understand \"";
    const std::pair<std::string, std::string> cases[] = {
        {Field(keeper::k_Argument, "sh") + Field("colour", "red"), other + "colour\""},
        {Field(keeper::k_RootedPath, "/a"), other + "rooted-path\""},
        {Field(keeper::k_Seconds, "soon"), other + "seconds\""},
        {Field(keeper::k_Seconds, "-1"), other + "seconds\""},
        {Field(keeper::k_Seconds, ""), other + "seconds\""},
        {std::string("argument") + '\0' + "sh", other + "argument\""},
        {"argument", other + "argument\""},
        {Field(keeper::k_Folder, "/tmp"), "the request names no program"},
        {"", "the request names no program"},
    };
    for (const auto &[text, start] : cases)
    {
        Request request;
        std::string reason;
        EXPECT_FALSE(Read(text, request, &reason));
        EXPECT_TRUE(reason.starts_with(start)) << reason;
    }
}
