#include "wxcorvan/JobCommands.h"

#include <gtest/gtest.h>

#include "corvan/Parameters.h"
#include "ostrel/OptionsFile.h"
#include "tests/support/LogCapture.h"
#include "tests/wxcorvan/SampleJob.h"

using namespace wxcorvan;
using namespace corvan;
using ostrel::IniFile;

namespace
{

/// "Label=value" of every command, joined by blanks.
std::string Wishes(const Job &job)
{
    std::string text;
    for (const JobCommand &command : ListMasterCommands(job))
        text += (text.empty() ? "" : ", ") + command.label + ": " + command.parameter + '=' +
                command.value;
    return text;
}

std::vector<JobCommand> FromOptions(const char *text)
{
    IniFile options;
    EXPECT_TRUE(options.Parse(text, nullptr));
    return ListOptionCommands(options, "type");
}

std::string Labels(const std::vector<JobCommand> &commands)
{
    std::string text;
    for (const JobCommand &command : commands)
        text += (text.empty() ? "" : ", ") + command.group + '/' + command.label;
    return text;
}

} // namespace

TEST(JobCommands, AskTheMasterForWhatMakesSense)
{
    const struct
    {
        const char *status;
        const char *priority;
        const char *wishes;
    } cases[] = {
        {"0", "50",
         "Pause: Status=4, Cancel: Status=5, Raise Priority: Priority=60, "
         "Lower Priority: Priority=40"},
        {"1", "95",
         "Pause: Status=4, Cancel: Status=5, Raise Priority: Priority=100, "
         "Lower Priority: Priority=85"},
        {"1", "100", "Pause: Status=4, Cancel: Status=5, Lower Priority: Priority=90"},
        {"4", "5",
         "Resume: Status=0, Cancel: Status=5, Raise Priority: Priority=15, "
         "Lower Priority: Priority=0"},
        {"4", "0", "Resume: Status=0, Cancel: Status=5, Raise Priority: Priority=10"},
        {"2", "50", "Run Again: Status=0"},
        {"3", "50", "Run Again: Status=0"},
        {"5", "50", "Run Again: Status=0"},
    };

    for (const auto &[status, priority, wishes] : cases)
    {
        const auto job = MakeSampleJob();
        ASSERT_TRUE(job->SetParameter(p_Status, status));
        ASSERT_TRUE(job->SetParameter(p_Priority, priority));
        EXPECT_EQ(Wishes(*job), wishes) << "status " << status << ", priority " << priority;
    }
    EXPECT_EQ(Wishes(*MakeSampleJob()),
              "Pause: Status=4, Cancel: Status=5, Raise Priority: Priority=60, "
              "Lower Priority: Priority=40")
        << "a job that says nothing is queued at 50";
}

TEST(JobCommands, ReadArgumentListsFromTheOptions)
{
    const auto commands = FromOptions("[type]\n"
                                      "Width = 640\n"
                                      "Command.10.Label = Last\n"
                                      "Command.10.1 = /bin/true\n"
                                      "Command.2.Label = View\n"
                                      "Command.2.1 = viewer\n"
                                      "Command.2.2 = {Note}; rm -rf /\n"
                                      "Command.2.4 = behind a gap\n"
                                      "command.3.label = In lower case\n"
                                      "command.3.1 = viewer\n"
                                      "Command.x.Label = no number\n");
    EXPECT_EQ(Labels(commands), "Options/View, Options/In lower case, Options/Last");
    ASSERT_EQ(commands.size(), 3u);
    EXPECT_EQ(commands[0].arguments, (std::vector<String>{"viewer", "{Note}; rm -rf /"}));
}

TEST(JobCommands, PassOverCommandsWithoutLabelOrArguments)
{
    LogCapture log;
    EXPECT_EQ(Labels(FromOptions("[type]\nCommand.1.1 = viewer\nCommand.2.Label = Nothing\n")), "");
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "Command."), 2);
    EXPECT_EQ(Labels(FromOptions("")), "");
}

TEST(JobCommands, PassOverCommandsWithTheLabelOfAnEarlierOne)
{
    LogCapture log;
    const auto commands = FromOptions("[type]\nCommand.1.Label = View\nCommand.1.1 = viewer\n"
                                      "Command.2.Label = View\nCommand.2.1 = other\n");
    ASSERT_EQ(Labels(commands), "Options/View");
    EXPECT_EQ(commands[0].arguments, std::vector<String>{"viewer"});
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "Command.2. has the label of an earlier command"), 1);
}

TEST(JobCommands, OfOneNumberInSharedAndOwnOptionsAreTwoWithTheirOwnArguments)
{
    IniFile shared;
    ASSERT_TRUE(shared.Parse("[type]\n"
                             "Command.1.Label = Compare\nCommand.1.1 = compare\nCommand.1.2 = x\n"
                             "Command.2.Label = View\nCommand.2.1 = viewer\n"
                             "Command.3.Label = Shared\nCommand.3.1 = true\n",
                             nullptr));
    ostrel::OptionsFile options(false);
    ASSERT_TRUE(options.Parse("[type]\n"
                              "Command.1.Label = Mine\nCommand.1.1 = mine\nCommand.1.2 = a\n"
                              "Command.1.3 = b\nCommand.1.4 = c\n"
                              "Command.2.Label = View\nCommand.2.1 = old-copy\nCommand.2.2 = y\n",
                              nullptr));
    options.CopySection(shared, "type");

    LogCapture log;
    const auto commands = ListOptionCommands(options, "type");
    ASSERT_EQ(Labels(commands), "Options/Compare, Options/Mine, Options/View, Options/Shared");
    EXPECT_EQ(commands[0].arguments, (std::vector<String>{"compare", "x"}));
    EXPECT_EQ(commands[1].arguments, (std::vector<String>{"mine", "a", "b", "c"}));
    EXPECT_EQ(commands[2].arguments, std::vector<String>{"viewer"});
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "Command.2. has the label of an earlier command"), 1);
}

TEST(JobCommands, LetTheOptionsReplaceATypesCommand)
{
    IniFile options;
    const auto job = MakeSampleJob({{"View frame", {"viewer"}}, {"Open folder", {"opener"}}});
    job->SetParameter(p_Status, "2");
    EXPECT_EQ(Labels(ListJobCommands(*job, options)),
              "Master/Run Again, Type/View frame, Type/Open folder");

    options.InsertSection(job->Type().id.ToString());
    options.SetValue("Command.1.Label", "View frame");
    options.SetValue("Command.1.1", "better-viewer");
    EXPECT_EQ(Labels(ListJobCommands(*job, options)),
              "Master/Run Again, Type/Open folder, Options/View frame");
}
