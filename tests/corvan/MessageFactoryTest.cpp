#include "corvan/MessageFactory.h"

#include <google/protobuf/text_format.h>

#include <gtest/gtest.h>

#include "corvan/Limits.h"
#include "corvan/Messages.h"
#include "corvan/messages.pb.h"
#include "tests/corvan/SampleType.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Printing.h"

using namespace corvan;

namespace
{

const char *const k_job = "11111111-2222-4333-8444-555555555555";
const char *const k_other = "99999999-2222-4333-8444-555555555555";
const char *const k_type = "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01";

wire::Envelope Envelope(const String &text)
{
    wire::Envelope envelope;
    EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &envelope)) << text;
    return envelope;
}

/// A job in text form with these parameters: "name: value".
String JobText(std::initializer_list<std::pair<const char *, const char *>> parameters,
               const String &type = k_type)
{
    String text = String("id: '") + k_job + "' type: '" + type + "'";
    for (const auto &[name, value] : parameters)
        text += String(" parameters { name: '") + name + "' value: '" + value + "' }";
    return text;
}

class MessageFactoryTest : public testing::Test
{
protected:
    static boost::shared_ptr<Message> Read(const String &text)
    {
        String reason;
        auto message = MessageFactory::FromEnvelope(Envelope(text), &reason);
        EXPECT_TRUE(message) << reason;
        return message;
    }

    template <typename Concrete> static boost::shared_ptr<Concrete> ReadAs(const String &text)
    {
        return boost::dynamic_pointer_cast<Concrete>(Read(text));
    }

    static String RefusalOf(const wire::Envelope &envelope)
    {
        String reason;
        EXPECT_FALSE(MessageFactory::FromEnvelope(envelope, &reason));
        return reason;
    }

    /// What the message becomes when it is read and written again.
    static String WrittenAgain(const String &text)
    {
        const auto message = Read(text);
        if (!message)
            return {};
        wire::Envelope again;
        MessageFactory::ToEnvelope(*message, again);
        String written;
        google::protobuf::TextFormat::Printer printer;
        printer.SetSingleLineMode(true);
        printer.PrintToString(again, &written);
        return written;
    }

    static String Normal(const String &text)
    {
        String normal;
        google::protobuf::TextFormat::Printer printer;
        printer.SetSingleLineMode(true);
        printer.PrintToString(Envelope(text), &normal);
        return normal;
    }

    SampleTypeInFactory m_type;
};

} // namespace

TEST_F(MessageFactoryTest, WritesEveryMessageAsItWasRead)
{
    const String job = k_job;
    const String cases[] = {
        "follow_job { jobs: '" + job + "' jobs: '" + k_other + "' }",
        "get_job_info { jobs: '" + job + "' }",
        "job { " + JobText({{"Name", "Shot ü"}, {"Range", "1-10"}, {"Note", "two\\nlines"}}) + " }",
        "job { " + JobText({}) + " }",
        "job_parameter { job: '" + job + "' name: 'CustomRange' value: '' }",
        "job_parameters { job: '" + job +
            "' parameters { name: 'Range' value: '1-5' } parameters { name: 'Note' } }",
        "remove_job { job: '" + job + "' }",
        "remove_job { job: '" + job + "' cancel: true }",
        "job_removed { job: '" + job + "' }",
        "list_jobs { limit: 4000000000 }",
        "list_jobs { }",
        "list_jobs { limit: 7 before: '" + job + "' }",
        "job_list { jobs { " + JobText({{"Status", "0"}}) + " } jobs { " + JobText({}) + " } }",
        "job_list { }",
        "job_list { jobs { " + JobText({}) + " } rest_before: '" + job + "' }",
        "get_tasks { job: '" + job + "' }",
        "task_list { job: '" + job +
            "' tasks { index: 3 first_frame: -5 last_frame: 7 status: 3 tries: 2 exit_code: -1 }"
            " tasks { index: 4 } }",
        "get_task_log { job: '" + job + "' task: 4000000000 }",
        "task_log { job: '" + job + "' task: 2 text: 'line 1\\nline 2' }",
        "list_nodes { }",
        "node_list { }",
        "node_list { nodes { name: 'node1' state: 'idle' done: 4 failed: 2 bad: 1 failed_job: '" +
            job +
            "' failed_task: 7 failed_reason: 'no' failed_at: '2026-11-20T14:03:09Z'"
            " suspicion: 'two' } nodes { name: 'node2' } }",
        "set_node { node: 'node-1.farm_a' drain: true reason: 'bad memory' }",
        "set_node { node: 'n' }",
        "accepted { job: '" + job + "' }",
        "accepted { }",
        "refused { what: 'Job' reason: 'no' job: '" + job + "' }",
        "refused { what: 'Hello' reason: 'no' }",
    };
    for (const String &body : cases)
    {
        const String text = "serial: 5 answers: 18446744073709551615 " + body;
        EXPECT_EQ(WrittenAgain(text), Normal(text));
    }
}

TEST_F(MessageFactoryTest, MakesTheMessageOfEveryTypeAndOfNoOther)
{
    const struct
    {
        const UID &type;
        const char *name;
        Direction goes;
    } cases[] = {
        {FollowJobMsg::s_Type, "FollowJob", Direction::ToMaster},
        {GetJobInfoMsg::s_Type, "GetJobInfo", Direction::ToMaster},
        {JobMsg::s_Type, "Job", Direction::Both},
        {JobParameterMsg::s_Type, "JobParameter", Direction::Both},
        {JobParametersMsg::s_Type, "JobParameters", Direction::ToMaster},
        {RemoveJobMsg::s_Type, "RemoveJob", Direction::ToMaster},
        {JobRemovedMsg::s_Type, "JobRemoved", Direction::FromMaster},
        {ListJobsMsg::s_Type, "ListJobs", Direction::ToMaster},
        {JobListMsg::s_Type, "JobList", Direction::FromMaster},
        {GetTasksMsg::s_Type, "GetTasks", Direction::ToMaster},
        {TaskListMsg::s_Type, "TaskList", Direction::FromMaster},
        {GetTaskLogMsg::s_Type, "GetTaskLog", Direction::ToMaster},
        {TaskLogMsg::s_Type, "TaskLog", Direction::FromMaster},
        {ListNodesMsg::s_Type, "ListNodes", Direction::ToMaster},
        {NodeListMsg::s_Type, "NodeList", Direction::FromMaster},
        {SetNodeMsg::s_Type, "SetNode", Direction::ToMaster},
        {AcceptedMsg::s_Type, "Accepted", Direction::FromMaster},
        {RefusedMsg::s_Type, "Refused", Direction::FromMaster},
    };
    for (const auto &[type, name, goes] : cases)
    {
        const auto message = MessageFactory::CreateMessage(type);
        ASSERT_TRUE(message);
        EXPECT_EQ(message->TypeID(), type);
        EXPECT_STREQ(message->TypeName(), name);
        EXPECT_EQ(message->Goes(), goes) << name;
    }
    EXPECT_FALSE(MessageFactory::CreateMessage(UID(true)));
    EXPECT_FALSE(MessageFactory::CreateMessage(UID()));
}

TEST_F(MessageFactoryTest, ReadsAJobThatIsWholeAndOfItsType)
{
    const auto message =
        ReadAs<JobMsg>("serial: 3 answers: 2 job { " +
                       JobText({{"Name", "Shot"}, {"Range", "1-10"}, {"UserRange", "3"}}) + " }");
    EXPECT_EQ(message->serial, 3u);
    EXPECT_EQ(message->answers, 2u);
    EXPECT_GT(message->wireBytes, 100u);
    EXPECT_EQ(message->job->ID().ToString(), k_job);
    EXPECT_EQ(message->job->TypeString(), "Sample");
    EXPECT_EQ(message->job->Name(), "Shot");
    EXPECT_EQ(message->job->ParameterText(p_UserRange, false), "3");
    EXPECT_NE(boost::dynamic_pointer_cast<RenderJob>(message->job), nullptr);
}

TEST_F(MessageFactoryTest, RefusesWhatCannotBeAndSaysWhy)
{
    const String job = String("job: '") + k_job + "'";
    const struct
    {
        String text;
        const char *reason;
    } cases[] = {
        {"", "the envelope is empty, or holds a message that is not known"},
        {"gathered: ''", "it holds others"},
        {"accepted { } gathered: ''", "it holds others"},
        {"hello { }", "a greeting belongs to the opening of a connection"},
        {"welcome { }", "a greeting belongs to the opening of a connection"},
        {"follow_job { }", "FollowJob: it names no job"},
        {"follow_job { jobs: 'x' }", "FollowJob: job \"x\" is no identifier"},
        {"list_jobs { before: 'x' }", "ListJobs: job \"x\" is no identifier"},
        {"job_list { rest_before: 'x' }", "JobList: job \"x\" is no identifier"},
        {"follow_job { jobs: '' }", "FollowJob: job \"\" is no identifier"},
        {"get_job_info { jobs: '00000000-0000-0000-0000-000000000000' }", "is no identifier"},
        {"get_job_info { }", "GetJobInfo: it names no job"},
        {"job { }", "Job: id \"\" is no identifier"},
        {String("job { id: '") + k_job + "' type: 'POV-Ray' }",
         "Job: type \"POV-Ray\" is no identifier"},
        {"job { " + JobText({}, k_other) + " }",
         "Job: job type 99999999-2222-4333-8444-555555555555 is not known here"},
        {"job { " + JobText({{"PacketSize", "0"}}) + " }",
         "Job: job 11111111-2222-4333-8444-555555555555: PacketSize: \"0\" is not a whole number"},
        {"job { " + JobText({{"Range", "1-"}}) + " }", "Range: cannot use the range \"1-\""},
        {"job { " + JobText({{"Status", "7"}}) + " }", "Status: \"7\" is no status"},
        {"job { " + JobText({{"Type", "x"}}) + " }", "Type cannot be set"},
        {"job { " + JobText({{"", "x"}}) + " }", "a parameter needs a name"},
        {"job { " + JobText({{"a\\001", "x"}}) + " }", "control characters"},
        {"job { " + JobText({{"A", "x"}, {"B", "x"}, {"A", "x"}}) + " }",
         "parameter A is there twice"},
        {"job_parameter { name: 'A' }", "JobParameter: job \"\" is no identifier"},
        {"job_parameter { " + job + " }", "JobParameter: a parameter needs a name"},
        {"job_parameter { " + job + " name: 'PacketSize' value: '-1' }",
         "JobParameter: PacketSize: \"-1\" is not a whole number"},
        {"job_parameter { " + job + " name: 'Note' value: 'a\\000b' }",
         "JobParameter: Note: the value holds a NUL"},
        {"job_parameters { }", "JobParameters: job \"\" is no identifier"},
        {"job_parameters { " + job + " }", "JobParameters: it names no parameter"},
        {"job_parameters { " + job + " parameters { name: 'A' } parameters { name: 'A' } }",
         "JobParameters: parameter A is there twice"},
        {"job_parameters { " + job + " parameters { name: 'A' } parameters { value: 'x' } }",
         "JobParameters: a parameter needs a name"},
        {"job_parameters { " + job + " parameters { name: 'PacketSize' value: '0' } }",
         "JobParameters: PacketSize: \"0\" is not a whole number"},
        {"get_tasks { }", "GetTasks: job \"\" is no identifier"},
        {"get_task_log { task: 1 }", "GetTaskLog: job \"\" is no identifier"},
        {"task_list { tasks { } }", "TaskList: job \"\" is no identifier"},
        {"task_list { " + job + " tasks { index: 7 status: 4 } }",
         "TaskList: task 7: 4 is no status of a task"},
        {"task_list { " + job + " tasks { status: -1 } }", "task 0: -1 is no status of a task"},
        {"task_list { " + job + " tasks { first_frame: 2 last_frame: 1 } }",
         "task 0: its last frame is before its first"},
        {"task_log { }", "TaskLog: job \"\" is no identifier"},
        {"accepted { job: 'x' }", "Accepted: job \"x\" is no identifier"},
        {"refused { job: 'x' }", "Refused: job \"x\" is no identifier"},
    };
    for (const auto &[text, reason] : cases)
    {
        const String refusal = RefusalOf(Envelope(text));
        EXPECT_NE(refusal.find(reason), String::npos) << text << "\ngave: " << refusal;
    }
}

TEST_F(MessageFactoryTest, TakesAnIdentifierThatIsThereAgainOnce)
{
    const String job = k_job, other = k_other;
    const auto ask = ReadAs<GetJobInfoMsg>("get_job_info { jobs: '" + job + "' jobs: '" + other +
                                           "' jobs: '" + job + "' }");
    EXPECT_EQ(ask->jobs, (std::vector{UID(k_job, true), UID(k_other, true)}));
}

TEST_F(MessageFactoryTest, TakesNamesOfMachinesAlone)
{
    const std::pair<String, const char *> cases[] = {
        {"set_node { }", "\"\" is no name of a machine"},
        {"set_node { node: '-a' }", "is no name of a machine"},
        {"set_node { node: 'a[1-3]' }", "is no name of a machine"},
        {"set_node { node: 'a b' }", "is no name of a machine"},
        {"set_node { node: 'a' drain: true reason: 'two\\nlines' }", "the reason is no line"},
        {"set_node { node: 'a' reason: '" + String(std::string(501, 'x')) + "' }",
         "the reason is no line"},
    };
    for (const auto &[text, reason] : cases)
        EXPECT_NE(RefusalOf(Envelope(text)).find(reason), String::npos)
            << RefusalOf(Envelope(text));
}

TEST_F(MessageFactoryTest, RefusesMoreThanALimit)
{
    wire::Envelope jobs;
    for (std::size_t i = 0; i <= k_MaxJobIds; ++i)
        jobs.mutable_follow_job()->add_jobs(k_job);
    EXPECT_EQ(RefusalOf(jobs), "FollowJob: it names more than 10000 jobs");

    wire::Envelope tasks;
    tasks.mutable_task_list()->set_job(k_job);
    for (std::size_t i = 0; i <= k_MaxTasks; ++i)
        tasks.mutable_task_list()->add_tasks();
    EXPECT_EQ(RefusalOf(tasks), "TaskList: it lists more than 400000 tasks");

    wire::Envelope parameters = Envelope("job { " + JobText({}) + " }");
    for (std::size_t i = 0; i <= k_MaxParameters; ++i)
        parameters.mutable_job()->add_parameters()->set_name("P" + std::to_string(i));
    EXPECT_NE(RefusalOf(parameters).find("a job has at most 1000 parameters"), String::npos);

    wire::Envelope wishes = Envelope("job_parameters { job: '" + String(k_job) + "' }");
    for (std::size_t i = 0; i <= k_MaxParameters; ++i)
        wishes.mutable_job_parameters()->add_parameters()->set_name("P" + std::to_string(i));
    EXPECT_EQ(RefusalOf(wishes), "JobParameters: it names more than 1000 parameters");

    wire::Envelope value = Envelope("job { " + JobText({{"Scene", "x"}}) + " }");
    value.mutable_job()->mutable_parameters(0)->set_value(String(k_MaxValueBytes + 1, 'x'));
    EXPECT_NE(RefusalOf(value).find("Scene: the value is longer than 4 MiB"), String::npos);
}

TEST_F(MessageFactoryTest, PassesOverJobsOfAListThatCannotBe)
{
    LogCapture log;
    const auto list = ReadAs<JobListMsg>("job_list { jobs { " + JobText({{"PacketSize", "0"}}) +
                                         " } jobs { " + JobText({}, k_other) + " } jobs { " +
                                         JobText({{"Name", "Fine"}}) + " } }");
    ASSERT_EQ(list->jobs.size(), 1u);
    EXPECT_EQ(list->jobs[0]->Name(), "Fine");
    EXPECT_EQ(log.Count(ostrel::k_LogError, "a job of a list is passed over: "), 2);
}

TEST_F(MessageFactoryTest, WritesBytesThatAreNoUtf8AsReplacementCharacters)
{
    JobMsg message;
    message.job = JobFactory::s_JobFactory.CreateJob(SampleType().id);
    message.job->SetID(UID(k_job, true));
    message.job->SetNote("/a\xff"
                         "b");
    wire::Envelope envelope;
    MessageFactory::ToEnvelope(message, envelope);
    EXPECT_EQ(envelope.job().parameters(0).value(), "/a\xef\xbf\xbd"
                                                    "b");
}
