// What the farm tells of frames.
#include <limits>
#include <nlohmann/json.hpp>

#include "check/CheckJson.h"
#include "corvan/Utf8.h"
#include "web/door/HttpError.h"
#include "web/jobs/Asked.h"
#include "web/jobs/Farm.h"
#include "web/jobs/JobJson.h"
#include "web/jobs/Statuses.h"

namespace web
{

using nlohmann::ordered_json;

namespace
{

constexpr std::int64_t k_usual_columns = 2000;
constexpr std::int64_t k_most_columns = 100'000;

String NoSuchFrame(const FrameSnapshot &snapshot, int frame)
{
    return "there is no frame " + std::to_string(frame) + "; there are " +
           corvan::Excerpt(snapshot.range);
}

ordered_json FrameJson(const FrameSnapshot &snapshot, const analysis::ScanRules &rules,
                       std::size_t row, const corvan::TaskInfo *task)
{
    const auto &frames = snapshot.table.frames;
    const analysis::FrameRecord &frame = frames[row];
    const bool isKnown = snapshot.IsSeen() && frame.exists;
    const auto numberAt = [&](bool isThere, std::size_t other)
    { return isThere ? ordered_json(frames[other].frame) : ordered_json(nullptr); };
    return {{"frame", frame.frame},
            {"path", std::string(snapshot.table.PathOf(row).Text())},
            {"state", snapshot.IsSeen() ? std::string(check::StateText(snapshot.table.states[row]))
                                        : std::string("unknown")},
            {"size", isKnown ? ordered_json(frame.size) : ordered_json(nullptr)},
            {"modified", isKnown ? ordered_json(TimeText(frame.modified)) : ordered_json(nullptr)},
            {"why", std::string(WhyBad(snapshot, rules, row))},
            {"task", task ? ordered_json(task->index) : ordered_json(nullptr)},
            {"neighbours",
             {{"before", numberAt(row > 0, row - 1)},
              {"after", numberAt(row + 1 < frames.size(), row + 1)}}}};
}

} // namespace

FrameWatches::Key Farm::NeedFrames(const Request &request) const
{
    return {NeedJob(request)->ID(), std::size_t(NumberAsked(request, "format", 0, k_MostInt, 0))};
}

void Farm::SendFrames(const RequestPointer &request, const Reply &reply)
{
    const JobPointer job = NeedJob(*request);
    m_watches.Ask(
        NeedFrames(*request), FrameWatches::Wish::Looked,
        [this, job, reply](const FrameWatches::Seen &seen)
        {
            if (!seen.snapshot)
                return reply(ErrorResponse(seen.status, seen.trouble));
            using Body = std::shared_ptr<const std::string>;
            m_workers.Do<Body>(
                [job, snapshot = seen.snapshot]() -> Body
                {
                    auto json = std::make_shared<std::string>();
                    {
                        check::TextWriter out([&](std::string_view piece) { json->append(piece); });
                        check::WriteJson(out, job.get(), {&snapshot->table, 1},
                                         check::CheckDepth::Sizes);
                    } // Flushed here.
                    return json;
                },
                [this, reply, isAlive = m_isAlive](const Body &body)
                {
                    if (*isAlive)
                        reply(Dated({200, "application/json", body}));
                },
                [reply](const String &trouble) { reply(ErrorResponse(k_OwnFault, trouble)); });
        });
}

void Farm::SendFrame(const RequestPointer &request, const Reply &reply)
{
    const JobPointer job = NeedJob(*request);
    const auto number = int(NumberOfPlace(*request, "frame", k_LeastInt, k_MostInt));
    const bool isInSession = request->caller && !request->caller->session.empty();
    const FrameWish wish{IsAsked(*request, "decode"), IsAsked(*request, "pictures"),
                         isInSession ? request->caller->session : request->peer};
    m_watches.Ask(NeedFrames(*request), FrameWatches::Wish::Looked,
                  [this, job, number, wish, reply](const FrameWatches::Seen &seen)
                  {
                      if (!seen.snapshot)
                          return reply(ErrorResponse(seen.status, seen.trouble));
                      const auto row = seen.snapshot->FindRow(number);
                      if (!row)
                          return reply(
                              ErrorResponse(k_NotFound, NoSuchFrame(*seen.snapshot, number)));
                      FindTask(job, number,
                               [this, snapshot = seen.snapshot, row = *row, wish, reply,
                                isAlive = m_isAlive](const corvan::TaskInfo *task)
                               {
                                   if (*isAlive)
                                       SendFrameOf(wish, snapshot, row, task, reply);
                               });
                  });
}

void Farm::SendFrameOf(const FrameWish &wish, const SnapshotPointer &snapshot, std::size_t row,
                       const corvan::TaskInfo *task, const Reply &reply)
{
    const auto json =
        std::make_shared<ordered_json>(FrameJson(*snapshot, m_watches.Rules(), row, task));
    const bool isThere = snapshot->table.frames[row].exists;
    const auto send = [this, json, reply] { reply(Dated(JsonResponse(JsonText(*json) + "\n"))); };
    const auto compare = [=, this]
    {
        if (!isThere || !wish.isCompared)
            return send();
        m_pictures.Ask({wish.visitor, snapshot, row},
                       [=](const PictureLooks::Answer &answer)
                       {
                           if (answer.status != 200)
                           {
                               Response refusal = ErrorResponse(answer.status, answer.trouble);
                               if (answer.status == k_TooMany || answer.goesOn)
                                   refusal.headers.emplace_back("Retry-After", "1");
                               return reply(refusal);
                           }
                           (*json)["pictures"] = ordered_json::parse(answer.json);
                           send();
                       });
    };
    if (!isThere || !wish.isDecoded)
        return compare();
    m_settings.decode(snapshot->table.PathOf(row),
                      [=, isAlive = m_isAlive](const std::string &decoded, const String &trouble)
                      {
                          if (!*isAlive)
                              return;
                          if (decoded.empty())
                              return reply(ErrorResponse(k_Unavailable, trouble));
                          (*json)["decoded"] = ordered_json::parse(decoded);
                          compare();
                      });
}

void Farm::SendSheet(const RequestPointer &request, const Reply &reply)
{
    m_watches.Ask(NeedFrames(*request), FrameWatches::Wish::Listed,
                  [this, reply](const FrameWatches::Seen &seen)
                  {
                      if (!seen.snapshot)
                          return reply(ErrorResponse(seen.status, seen.trouble));
                      reply(Dated({200, "application/octet-stream", seen.sheet}));
                  });
}

void Farm::SendSizes(const RequestPointer &request, const Reply &reply)
{
    const auto first = int(NumberAsked(*request, "first", k_LeastInt, k_MostInt, k_LeastInt));
    const auto last = int(NumberAsked(*request, "last", k_LeastInt, k_MostInt, k_MostInt));
    const auto columns = NumberAsked(*request, "columns", 1, k_most_columns);
    m_watches.Ask(NeedFrames(*request), FrameWatches::Wish::Looked,
                  [this, first, last, columns, reply](const FrameWatches::Seen &seen)
                  {
                      if (!seen.snapshot)
                          return reply(ErrorResponse(seen.status, seen.trouble));
                      // Without columns as many frames as may be are told one by one.
                      const std::size_t frames = seen.snapshot->table.frames.size();
                      const auto wanted = std::size_t(columns.value_or(
                          frames <= k_MostExactSizes ? k_most_columns : k_usual_columns));
                      m_workers.Do<std::string>(
                          [snapshot = seen.snapshot, rules = m_watches.Rules(), first, last, wanted]
                          { return SizesJson(*snapshot, rules, first, last, wanted); },
                          [this, reply, isAlive = m_isAlive](std::string json)
                          {
                              if (*isAlive)
                                  reply(Dated(JsonResponse(std::move(json))));
                          },
                          [reply](const String &trouble)
                          { reply(ErrorResponse(k_OwnFault, trouble)); });
                  });
}

FindFrame Farm::Finder()
{
    return [this](const std::string &text, std::size_t format, int frame,
                  std::function<void(FoundFrame)> found)
    {
        UID id;
        if (!id.FromString(text))
            return found({{}, k_NotFound, "there is no job " + String(text)});
        m_watches.Ask({id, format}, FrameWatches::Wish::Listed,
                      [frame, found](const FrameWatches::Seen &seen)
                      {
                          if (!seen.snapshot)
                              return found({{}, seen.status, seen.trouble});
                          const auto row = seen.snapshot->FindRow(frame);
                          if (!row)
                              return found({{}, k_NotFound, NoSuchFrame(*seen.snapshot, frame)});
                          found({seen.snapshot->table.PathOf(*row), 200, {}, seen.toldAt});
                      });
    };
}

} // namespace web
