// What the farm does for who asks, with that user's rights.
#include <boost/make_shared.hpp>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "analysis/RequeueRange.h"
#include "analysis/SettingCheck.h"
#include "check/CheckException.h"
#include "check/CheckSubject.h"
#include "check/LookAtTable.h"
#include "corvan/ImageFormats.h"
#include "corvan/Utf8.h"
#include "web/door/HttpError.h"
#include "web/jobs/Asked.h"
#include "web/jobs/Farm.h"
#include "web/jobs/JobJson.h"
#include "web/jobs/Statuses.h"

namespace web
{

using corvan::SequenceDistributor;
using nlohmann::ordered_json;

namespace
{

constexpr std::size_t k_most_late_requeues = 32;

ordered_json ReadObject(const Request &request)
{
    ordered_json json = ordered_json::parse(request.body, nullptr, false);
    if (!json.is_object())
        throw new HttpError(k_BadRequest, "the body has to be an object of JSON");
    return json;
}

std::vector<std::pair<String, String>> ReadSettings(const Job &job, const ordered_json &json)
{
    std::vector<std::pair<String, String>> settings;
    for (const auto &[name, value] : json.items())
    {
        if (!value.is_string())
            throw new HttpError(k_BadRequest, name + ": the value has to be a text");
        String text = value.get<std::string>();
        if (name == corvan::p_Status)
        {
            const auto status = corvan::ParseStatusName(text);
            if (!status)
                throw new HttpError(k_BadRequest,
                                    "\"" + corvan::Excerpt(text) + "\" is no status of a job");
            text = std::to_string(int(*status));
        }
        if (const String reason = analysis::CheckSetting(job, name, text); !reason.empty())
            throw new HttpError(k_BadRequest, reason);
        settings.emplace_back(name, corvan::SharedValue(name, text));
    }
    if (settings.empty())
        throw new HttpError(k_BadRequest, "no parameter is named");
    return settings;
}

/// What is to be rendered again.
struct RequeueWish
{
    bool allBad = false;
    SequenceDistributor::Items numbers;
    std::optional<std::size_t> format;
    analysis::RequeuePackets packets = analysis::RequeuePackets::AsTheJob;
};

RequeueWish ReadWish(const ordered_json &json)
{
    RequeueWish wish;
    for (const auto &[name, value] : json.items())
    {
        if (name == "frames" && value.is_string())
        {
            String reason;
            if (!SequenceDistributor::ParseRange(value.get<std::string>(), wish.numbers, &reason))
                throw new HttpError(k_BadRequest, "frames: " + reason);
        }
        else if (name == "bad" && value.is_boolean())
            wish.allBad = value.get<bool>();
        else if (name == "exact" && value.is_boolean())
            wish.packets = value.get<bool>() ? analysis::RequeuePackets::OfOneFrame
                                             : analysis::RequeuePackets::AsTheJob;
        else if (name == "format" && value.is_number_unsigned())
            wish.format = value.get<std::size_t>();
        else
            throw new HttpError(k_BadRequest,
                                "\"" + corvan::Excerpt(name) +
                                    "\" makes no sense here: there are frames (a range), bad and "
                                    "exact (true or false) and format (a number)");
    }
    if (wish.allBad == !wish.numbers.empty())
        throw new HttpError(k_BadRequest, "which frames? Give either frames or bad");
    return wish;
}

/// A new job that renders them, or why there is none.
struct NewRequeue
{
    boost::shared_ptr<Job> job{};
    std::string frames{};
    std::size_t again = 0;
    unsigned status = 200;
    String trouble{};
};

NewRequeue Refused(unsigned status, const String &trouble)
{
    NewRequeue refused;
    refused.status = status;
    refused.trouble = trouble;
    return refused;
}

// The frames that were wished for, of tables that were looked at.
SequenceDistributor::Items ChosenFrames(const std::vector<check::CheckTable> &tables,
                                        const RequeueWish &wish)
{
    SequenceDistributor::Items chosen;
    for (const check::CheckTable &table : tables)
        for (std::size_t row = 0; row < table.frames.size(); ++row)
            if (wish.allBad ? table.states[row] != check::CheckState::Ok
                            : wish.numbers.contains(table.frames[row].frame))
                chosen.insert(table.frames[row].frame);
    return chosen;
}

// Looks at the frames anew: what was seen some seconds ago may have been rendered meanwhile.
NewRequeue MakeRequeueJob(const Job &job, const RequeueWish &wish, const analysis::ScanRules &rules,
                          const std::function<void()> &getsOn)
{
    check::CheckSubject subject = check::FindJobFrames(CopyOf(job));
    if (wish.format)
    {
        if (*wish.format >= subject.tables.size())
            return Refused(k_NotFound, NoSuchFormat(job, subject.tables.size()));
        subject.tables = {std::move(subject.tables[*wish.format])};
    }
    check::SystemClock clock;
    std::size_t last = 0;
    for (check::CheckTable &table : subject.tables)
    {
        check::ListFrames(subject.input, table);
        check::LookAtTable(table, {rules, {}, {}}, clock,
                           [&](std::size_t done, std::size_t)
                           {
                               if (std::exchange(last, done) != done)
                                   getsOn();
                           });
        getsOn();
    }
    const SequenceDistributor::Items files = ChosenFrames(subject.tables, wish);
    if (files.empty())
        return wish.allBad ? Refused(k_Conflict, "there is no bad frame")
                           : Refused(k_NotFound, "the job has none of these frames");

    String reason;
    const analysis::RequeueRange range =
        analysis::FindRequeueRange(subject.input, files, wish.packets, &reason);
    if (range.frames.empty())
        return Refused(k_Conflict, "no frame of the job renders these files" +
                                       (reason.empty() ? String() : ": " + reason));
    NewRequeue made;
    made.job = analysis::MakeRequeue(job, range, &reason);
    if (!made.job)
        return Refused(k_Conflict, reason);
    made.frames = SequenceDistributor::CalculateRange(files);
    made.again = check::CountGoodFrames(subject.tables, range.besides);
    return made;
}

} // namespace

void Farm::SetParameters(const RequestPointer &request, const Reply &reply)
{
    const JobPointer job = NeedJob(*request);
    MasterLink &link = LinkOf(*request);
    const auto wish = boost::make_shared<corvan::JobParametersMsg>();
    wish->job = job->ID();
    wish->parameters = ReadSettings(*job, ReadObject(*request));
    link.Ask(wish,
             [this, id = job->ID(), reply](const MasterAnswer &answer)
             {
                 if (answer.kind != MasterAnswer::Kind::Answered)
                     return reply(NotDone(answer));
                 // The news may come later by another connection than the answer.
                 const auto question = boost::make_shared<corvan::GetJobInfoMsg>();
                 question->jobs.push_back(id);
                 m_link.Ask(question,
                            [this, reply](const MasterAnswer &told)
                            {
                                const auto now =
                                    boost::dynamic_pointer_cast<corvan::JobMsg>(told.message);
                                if (!now)
                                    return reply(NotDone(told));
                                m_book.Take(now->job);
                                m_events.NoteJobs();
                                reply(JsonResponse(JsonText(JobWhole(*now->job)) + "\n"));
                            });
             });
}

void Farm::Requeue(const RequestPointer &request, const Reply &reply)
{
    const JobPointer job = NeedJob(*request);
    const RequeueWish wish = ReadWish(ReadObject(*request));
    if (!LinkOf(*request).IsUp())
        throw new HttpError(k_Unavailable, "the Master is not there");
    if (m_disk.Waiting() >= k_most_late_requeues)
        throw new HttpError(k_Unavailable, "too many looks at frames are not answered; until some "
                                           "are, no frames are rendered again from here");
    const auto isLate = std::make_shared<bool>(false); // What comes of it then is not wanted.
    m_disk.Do<NewRequeue>(
        [job, wish, rules = m_watches.Rules()](ostrel::DiskThreads::Course &course) -> NewRequeue
        {
            try
            {
                return MakeRequeueJob(*job, wish, rules, [&course] { course.Note(); });
            }
            catch (check::CheckException *raw)
            {
                const std::unique_ptr<ostrel::Exception> error(raw);
                return Refused(k_Unavailable, error->Text());
            }
        },
        [this, request, reply, isLate](const NewRequeue &made)
        {
            if (*isLate)
                return;
            if (!made.job)
                return reply(ErrorResponse(made.status, made.trouble));
            try
            {
                Submit(LinkOf(*request), made.job,
                       JsonText(ordered_json{{"job", std::string(made.job->ID().ToString())},
                                             {"frames", made.frames},
                                             {"again", made.again}}) +
                           "\n",
                       reply);
            }
            catch (HttpError *raw)
            {
                const std::unique_ptr<HttpError> error(raw);
                reply(ErrorResponse(error->Status(), error->Text()));
            }
        },
        [reply](const String &trouble) { reply(ErrorResponse(k_OwnFault, trouble)); },
        [job, reply, isLate](std::chrono::seconds since)
        {
            if (std::exchange(*isLate, true))
                return;
            reply(ErrorResponse(
                k_Unavailable, "looking at the frames of the job '" + job->Name() +
                                   "' has not answered for " + std::to_string(since.count()) +
                                   " s: the disk or the network hangs; nothing is rendered again"));
        });
}

void Farm::Submit(MasterLink &link, const boost::shared_ptr<Job> &job, std::string done,
                  const Reply &reply)
{
    const auto message = boost::make_shared<corvan::JobMsg>();
    message->job = job;
    link.Ask(message,
             [id = job->ID(), done = std::move(done), reply](const MasterAnswer &answer)
             {
                 if (answer.kind == MasterAnswer::Kind::Answered)
                     return reply(JsonResponse(done, k_Created));
                 if (answer.IsRefused())
                     return reply(NotDone(answer));
                 // It may have been kept all the same.
                 MasterAnswer unsure = answer;
                 unsure.reason += "; the new job is " + id.ToString() + " if it was kept";
                 reply(NotDone(unsure));
             });
}

} // namespace web
