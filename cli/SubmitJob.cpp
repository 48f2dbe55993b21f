#include "cli/SubmitJob.h"

#include <boost/algorithm/string/join.hpp>

#include "analysis/FramePattern.h"
#include "analysis/SettingCheck.h"
#include "cli/Patterns.h"
#include "cli/StandardStreams.h"
#include "corvan/ImageFormats.h"
#include "corvan/JobFactory.h"
#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"
#include "corvan/Utf8.h"

namespace cli
{

using corvan::Job;
using corvan::JobFactory;

namespace
{

// A Master that is started anew is there again by then.
constexpr std::chrono::seconds k_resend_time{30};
constexpr int k_most_attempts = 5;

String KnownTypes()
{
    std::vector<std::string> names;
    for (const UID &id : JobFactory::s_JobFactory.ListTypes())
        names.push_back(JobFactory::s_JobFactory.FindType(id)->name);
    return names.empty() ? "there are none" : "there are " + boost::algorithm::join(names, ", ");
}

boost::shared_ptr<const corvan::JobType> NeedType(const String &text)
{
    auto type = JobFactory::s_JobFactory.FindTypeByName(text);
    UID id;
    if (!type && id.FromString(text))
        type = JobFactory::s_JobFactory.FindType(id);
    if (!type)
        throw new Failure(k_WrongUsage,
                          "no job type '" + corvan::Excerpt(text) + "'; " + KnownTypes());
    return type;
}

void SetOrRefuse(Job &job, const String &name, const String &value)
{
    const String reason = analysis::CheckSetting(job, name, value);
    if (!reason.empty())
        throw new Failure(k_Refused, "cannot make the job: " + reason);
    job.SetParameter(name, value);
}

UID NeedIdentifier(const String &text)
{
    if (text.empty())
        return UID(true);
    UID id;
    if (!id.FromString(text))
        throw new Failure(k_WrongUsage,
                          "--id: '" + corvan::Excerpt(text) + "' is no identifier of a job");
    return id;
}

String DefaultName(const NewJob &newJob, const corvan::JobType &type)
{
    const String name =
        newJob.patterns.empty() ? String() : NameAfterPattern(newJob.patterns.front());
    return name.empty() ? type.name : name;
}

String LeafOf(const String &path)
{
    return String(path.substr(path.rfind('/') + 1)); // All of it where there is none.
}

// The marks that join a name and a number.
String WithoutJoint(String name)
{
    name.resize(name.find_last_not_of("._-#+ ") + 1);
    return name;
}

// For one whose submit was not answered.
String WhereItMayBe(const UID &job)
{
    const String id = job.ToString();
    return "; the job is " + id + " if it was kept, which 'corvan show " + id +
           "' tells. The same submit with --id " + id + " makes no second one";
}

String WithoutControls(const String &text)
{
    String kept;
    for (const char c : text)
        if (!corvan::HasControlCharacters({&c, 1}))
            kept += c;
    return kept;
}

} // namespace

String NameAfterPattern(const String &pattern)
{
    const auto read = analysis::FramePattern::Parse(pattern, nullptr);
    if (!read)
        return {};
    const String leaf = WithoutJoint(LeafOf(read->Before()));
    const String folder = ostrel::Path(read->Before() + "0").Parent().Text();
    return WithoutControls(corvan::MakeUtf8(leaf.empty() ? LeafOf(folder) : leaf));
}

boost::shared_ptr<Job> MakeJob(const NewJob &newJob)
{
    const auto type = NeedType(newJob.type);
    const boost::shared_ptr<Job> job = JobFactory::s_JobFactory.CreateJob(type->id);
    job->SetID(NeedIdentifier(newJob.id));

    SetOrRefuse(*job, corvan::p_Name,
                newJob.name.empty() ? DefaultName(newJob, *type) : newJob.name);
    if (!newJob.range.empty())
    {
        if (const String reason = job->CheckParameter(corvan::p_Range, newJob.range);
            !reason.empty())
            throw new Failure(k_WrongUsage, reason);
        SetOrRefuse(*job, corvan::p_Range, newJob.range);
    }
    if (!newJob.patterns.empty())
        SetOrRefuse(*job, corvan::p_ImageFormat,
                    corvan::ShareFormats(JoinPatterns(newJob.patterns)));
    if (newJob.isPaused)
        SetOrRefuse(*job, corvan::p_Status, std::to_string(int(corvan::JobStatus::Paused)));
    for (const auto &[name, value] : newJob.settings)
        SetOrRefuse(*job, name, corvan::SharedValue(name, value));
    job->TakeDefaults();
    return job;
}

UID SubmitJob(Client &client, const boost::shared_ptr<Job> &job)
{
    for (int attempt = 1;; ++attempt)
    {
        try
        {
            if (attempt > 1)
                client.NeedMaster(k_resend_time);
            const auto message = NewMessage<corvan::JobMsg>();
            message->job = job;
            return client.Ask<corvan::AcceptedMsg>(message)->job;
        }
        catch (Failure *raw)
        {
            std::unique_ptr<Failure> failure(raw);
            const auto *unanswered = dynamic_cast<const Unanswered *>(failure.get());
            if (unanswered && unanswered->IsConnectionLost() && attempt < k_most_attempts)
                continue;
            if (failure->Status() == k_NoMaster && (unanswered || attempt > 1))
                throw new Failure(k_NoMaster, failure->Text() + WhereItMayBe(job->ID()));
            throw failure.release();
        }
    }
}

void PrintNewJob(const UID &job)
{
    const String reason = PrintWhatMatters(job.ToString() + "\n");
    if (!reason.empty())
        throw new Failure(k_Refused, reason + "; the new job is " + job.ToString());
}

} // namespace cli
