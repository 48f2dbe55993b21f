#include "corvan/ParameterCheck.h"

#include <gtest/gtest.h>

#include "corvan/Limits.h"
#include "tests/support/Printing.h"

using namespace corvan;

TEST(ParameterCheck, TakesWhatCanBe)
{
    const struct
    {
        String name;
        String value;
    } cases[] = {
        {"Range", "1-10x2,20"},
        {"Range", ""},
        {"CustomRange", ""},
        {"UserRange", "5"},
        {"PacketSize", "1"},
        {"PacketSize", "2147483647"},
        {"PacketSize", ""},
        {"Priority", "0"},
        {"Priority", "100"},
        {"Status", "0"},
        {"Status", "5"},
        {"RenumberBy", "no number"},
        {"SequenceBy", "0.5"},
        {"ImageFormat", "/a b/ü.%04d.exr;\"c;d\""},
        {"Name", "Übung \"1\""},
        {"Note", "two\nlines"},
        {"RequeueOf", "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01"},
        {"After", ""},
        {"AfterGood", "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01"},
        {"FrameOrder", "ends:5"},
        {"Anything", ""},
        {String(k_MaxNameBytes, 'n'), "value"},
        {"Scene", String(k_MaxValueBytes, 'v')},
        {"ImageFormat", String(k_MaxFormatBytes, 'f')},
    };
    for (const auto &[name, value] : cases)
        EXPECT_EQ(CheckParameterText(name, value), "") << name << " = " << value.substr(0, 80);
}

TEST(ParameterCheck, RefusesWhatCannotBeAndNamesTheParameter)
{
    const struct
    {
        String name;
        String value;
        const char *reason;
    } cases[] = {
        {"", "x", "a parameter needs a name"},
        {String(k_MaxNameBytes + 1, 'n'), "x", "is longer than 256 bytes"},
        {"a\nb", "x", "holds control characters"},
        {String("a\0b", 3), "x", "holds control characters"},
        {"a\xff", "x", "is not UTF-8"},
        {"Type", "x", "Type cannot be set"},
        {"Scene", String(k_MaxValueBytes + 1, 'v'), "Scene: the value is longer than 4 MiB"},
        {"Scene", String("a\0b", 3), "Scene: the value holds a NUL character"},
        {"Scene", "a\xff", "Scene: the value is not UTF-8"},
        {"Range", "1-", "Range: cannot use the range \"1-\""},
        {"CustomRange", "a", "CustomRange: cannot use the range \"a\""},
        {"UserRange", "1-10:5", "UserRange: cannot use the range \"1-10:5\""},
        {"PacketSize", "0", "PacketSize: \"0\" is not a whole number from 1 to 2147483647"},
        {"PacketSize", "-3", "PacketSize: \"-3\" is not a whole number"},
        {"PacketSize", "1.5", "PacketSize: \"1.5\" is not a whole number"},
        {"PacketSize", "5x", "PacketSize: \"5x\" is not a whole number"},
        {"PacketSize", " 5", "PacketSize: \" 5\" is not a whole number"},
        {"PacketSize", "2147483648", "PacketSize: \"2147483648\" is not a whole number"},
        {"RequeueOf", "tower", "RequeueOf: \"tower\" is no identifier of a job"},
        {"RequeueOf", "", "RequeueOf: \"\" is no identifier of a job"},
        {"After", "tower", "After: \"tower\" is no identifier of a job"},
        {"AfterGood", "x,", "AfterGood: \"x\" is no identifier of a job"},
        {"FrameOrder", "backwards", "FrameOrder: \"backwards\" is no order"},
        {"Priority", "-1", "Priority: \"-1\" is not a whole number from 0 to 100"},
        {"Priority", "101", "Priority: \"101\" is not a whole number from 0 to 100"},
        {"Priority", "", "Priority: \"\" is not a whole number"},
        {"Status", "6",
         "Status: \"6\" is no status; 0 to 5 are Queued, Running, Done, Failed, Paused, Cancelled"},
        {"Status", "", "Status: \"\" is no status"},
        {"Status", "00", "Status: \"00\" is no status"},
        {"Status", "Done", "Status: \"Done\" is no status"},
        {"ImageFormat", String(k_MaxFormatBytes + 1, 'f'), "ImageFormat: the patterns are longer"},
        {"Name", "two\nlines", "Name: the name holds control characters"},
    };
    for (const auto &[name, value, reason] : cases)
    {
        const String refusal = CheckParameterText(name, value);
        EXPECT_NE(refusal.find(reason), String::npos)
            << name.substr(0, 80) << " = " << value.substr(0, 80) << " gave: " << refusal;
        EXPECT_LT(refusal.size(), 400u);
    }
}

TEST(Parameters, KnowsThoseThatTheMasterAloneSets)
{
    for (const char *name :
         {"Owner", "Created", "TasksTotal", "TasksDone", "TasksFailed", "Waiting", "FrameSeconds",
          "FrameSecondsSlowest", "FramesPerHour", "ExpectedEnd", "StuckTasks", "FramesChecked",
          "FramesBad", "FramesBadRange", "FrameCounts"})
        EXPECT_TRUE(IsMasterParameter(name)) << name;
    for (const char *name : {"Status", "Name", "created", "", "Range", "CheckFrames"})
        EXPECT_FALSE(IsMasterParameter(name)) << name;
}
