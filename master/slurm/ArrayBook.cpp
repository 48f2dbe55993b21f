#include "master/slurm/ArrayBook.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "corvan/Utf8.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

// One answer may be of a controller that has just been started and knows little yet.
constexpr int k_enough_answers = 2;
constexpr int k_highest_priority = 100;

RunEnd TakenAway()
{
    RunEnd end;
    end.isLost = true;
    end.exitCode = -1;
    return end;
}

// Whether a line tells why an element was ended from outside.
bool TellsWhy(const QueueLine &line)
{
    return line.state != "COMPLETED" && line.state != "FAILED";
}

// Whether nothing of the element is left where a line says that it is over. A machine that is not
// heard of may go on.
bool IsGone(const QueueLine &line)
{
    return line.state != "NODE_FAIL" && line.state != "BOOT_FAIL";
}

} // namespace

ArrayBook::Array *ArrayBook::FindArray(const UID &batch)
{
    const auto found = m_arrays.find(batch);
    return found == m_arrays.end() ? nullptr : &found->second;
}

ArrayBook::Run *ArrayBook::FindRun(int run, Found &found)
{
    const auto place = m_runs.find(run);
    if (place == m_runs.end())
        return nullptr;
    found = place->second;
    return &m_arrays.at(found.batch).runs.at(found.element);
}

ArrayName ArrayBook::NameOf(const UID &batch) const
{
    const auto found = m_arrays.find(batch);
    return {found == m_arrays.end() ? 0 : found->second.number,
            m_settings.prefix + batch.ToString()};
}

std::optional<UID> ArrayBook::BatchOf(const std::string &name) const
{
    UID batch;
    if (!name.starts_with(m_settings.prefix) ||
        !batch.FromString(name.substr(m_settings.prefix.size())))
        return std::nullopt;
    return batch;
}

int ArrayBook::NiceOf(int priority) const
{
    return (k_highest_priority - std::clamp(priority, 0, k_highest_priority)) * m_settings.niceStep;
}

void ArrayBook::Add(const EarlierRun &run, bool isThere)
{
    _CallEntry call("ArrayBook::Add", __FILE__, __LINE__);

    const auto [found, isNew] = m_arrays.try_emplace(run.place.batch);
    Array &array = found->second;
    if (isNew)
    {
        array.job = run.job;
        array.stage = isThere ? Stage::There : Stage::Leaving;
        array.isHeldWanted = run.isHeld;
        array.isHeld = isThere;
        array.nice = array.niceWanted = NiceOf(run.priority);
    }
    Run &added = array.runs[run.place.element];
    added.run = run.run;
    added.output = run.output;
    m_runs[run.run] = {run.place.batch, run.place.element};
}

void ArrayBook::TakeAnswer(const UID &batch, const ArrayAnswer &answer)
{
    _CallEntry call("ArrayBook::TakeAnswer", __FILE__, __LINE__);

    Array *const array = FindArray(batch);
    if (!array || array->stage != Stage::Leaving)
        return;
    switch (answer.kind)
    {
    case ArrayAnswer::Kind::Taken:
        array->stage = Stage::There;
        array->number = answer.array;
        array->isSettled = false;
        m_toldWhy.erase(array->job);
        m_orders.queued[array->job] = String();
        // What was wished for meanwhile.
        ApplyWishes(batch, *array);
        break;
    case ArrayAnswer::Kind::Refused:
    case ArrayAnswer::Kind::NotMade:
        array->stage = Stage::There;
        array->isSettled = true;
        FinishAll(batch, *array,
                  Trouble(answer.kind == ArrayAnswer::Kind::Refused
                              ? String("Slurm refuses it: " + answer.words)
                              : answer.words));
        break;
    case ArrayAnswer::Kind::Unknown:
    case ArrayAnswer::Kind::Busy:
        array->stage = Stage::Uncertain;
        array->words = (answer.kind == ArrayAnswer::Kind::Busy ? "Slurm takes no more: "
                                                               : "Slurm does not answer: ") +
                       answer.words;
        m_orders.queued[array->job] = array->words;
        break;
    }
}

void ArrayBook::TakeResults(const UID &batch, const std::vector<ElementResult> &results)
{
    _CallEntry call("ArrayBook::TakeResults", __FILE__, __LINE__);

    if (Array *const array = FindArray(batch))
        for (const ElementResult &result : results)
            TakeResult(batch, *array, result);
}

void ArrayBook::TakeResult(const UID &batch, Array &array, const ElementResult &result)
{
    const auto found = array.runs.find(result.element);
    if (found == array.runs.end() || found->second.unsaid || found->second.unseen)
        return;
    Run &run = found->second;
    RunEnd end = EndOfResult(result);
    if (!result.node.empty())
        run.place.node = result.node;
    if (end.isStarted)
        Begin(run);
    if (run.isEnding)
        return Finish(batch, array, result.element, end);
    if (end.isStarted && !end.IsSuccess() && result.wasAsked)
    {
        run.unsaid = end;
        return;
    }
    if (!end.IsSuccess() || run.output.Text().empty() || m_seenJobs.contains(array.job))
        return Finish(batch, array, result.element, end);
    run.unseen = end;
    m_orders.toLookAt.push_back({run.run, run.output});
}

void ArrayBook::TakeQueue(const QueueAnswer &answer, Moment now)
{
    _CallEntry call("ArrayBook::TakeQueue", __FILE__, __LINE__);

    std::map<UID, Seen> seen;
    if (answer.isGood)
    {
        ++m_answers;
        for (const QueueLine &line : answer.lines)
            TakeLine(line, now, seen);
        for (auto &[batch, array] : m_arrays)
            FollowArray(batch, array, seen[batch], now);
        TellQueued(seen);
        m_lastAnswer = now;
    }
    for (auto &[batch, array] : m_arrays)
        EndBarred(batch, array, now);
    RemoveOver();
}

void ArrayBook::TakeLine(const QueueLine &line, Moment now, std::map<UID, Seen> &seen)
{
    const std::optional<UID> batch = BatchOf(line.name);
    if (!batch)
        return;
    const ElementPhase phase = PhaseOf(line.state);
    Array *const array = FindArray(*batch);
    if (!array)
    {
        // Nobody waits for it any more.
        if (phase != ElementPhase::Over && !seen[*batch].isAlive)
            m_orders.toCancel.push_back({{line.array, line.name}, {}});
        seen[*batch].isAlive = seen[*batch].isAlive || phase != ElementPhase::Over;
        return;
    }

    Seen &ofArray = seen[*batch];
    array->number = line.array;
    ofArray.isAny = true;
    ofArray.isAlive = ofArray.isAlive || phase != ElementPhase::Over;
    if (phase == ElementPhase::Waiting)
    {
        ofArray.isWaiting = true;
        ofArray.isHeld = ofArray.isHeld || line.reason == "JobHeldUser";
        if (!IsUsualReason(line.reason))
            ofArray.why = line.reason;
    }
    for (const auto &[first, last] : line.elements)
        for (std::uint64_t element = first; element <= last; ++element)
            TakeElement(*array, unsigned(element), line, now, ofArray);
}

void ArrayBook::TakeElement(Array &array, unsigned element, const QueueLine &line, Moment now,
                            Seen &seen) const
{
    const ElementPhase phase = PhaseOf(line.state);
    const auto found = array.runs.find(element);
    if (found == array.runs.end())
    {
        // The controller has forgotten that it is over. One that runs sees that for itself.
        if (phase == ElementPhase::Waiting)
            seen.toCancel.push_back(element);
        return;
    }
    Run &run = found->second;
    run.place.state = corvan::MakeUtf8(line.state);
    if (phase == ElementPhase::Waiting && !line.reason.empty())
        run.place.state += " (" + corvan::MakeUtf8(line.reason) + ")";
    if (!line.node.empty())
        run.place.node = corvan::MakeUtf8(line.node);
    if (phase == ElementPhase::Over)
        run.last = line;
    else
        run.aliveIn = m_answers;
    if (phase == ElementPhase::Running && line.ran)
        run.place.since = BeginOf(run, now - *line.ran);
    if (phase == ElementPhase::Running && !run.place.isStarted)
        seen.started.push_back(element);
}

// What the queue says of it is by the clocks of two machines, of which one may be ahead. It cannot
// have run before the last answer that did not say so.
ArrayBook::Moment ArrayBook::BeginOf(Run &run, Moment told) const
{
    if (!run.place.isStarted && !run.notBefore)
        run.notBefore = m_lastAnswer;
    return run.notBefore ? std::max(told, *run.notBefore) : told;
}

void ArrayBook::FollowArray(const UID &batch, Array &array, Seen &seen, Moment now)
{
    if (array.stage == Stage::Leaving)
        return;
    if (array.stage == Stage::Uncertain)
    {
        array.missing = seen.isAny ? 0 : array.missing + 1;
        if (array.missing >= k_enough_answers)
        {
            // It may be on its way yet; without its folder it does nothing.
            array.stage = Stage::Leaving;
            m_orders.toDrop.push_back(batch);
        }
        if (!seen.isAny)
            return;
        array.stage = Stage::There;
        m_toldWhy.erase(array.job);
        m_orders.queued[array.job] = String();
    }

    for (const unsigned element : seen.started)
        Begin(array.runs.at(element));
    for (auto next = array.runs.begin(); next != array.runs.end();)
        FollowRun(batch, array, (next++)->first, seen, now);
    for (const unsigned element : seen.toCancel)
        Cancel(batch, element);
    FollowHolding(batch, array, seen);
    array.isAlive = seen.isAlive;
    array.isSettled = true;
}

void ArrayBook::FollowRun(const UID &batch, Array &array, unsigned element, Seen &seen, Moment now)
{
    Run &run = array.runs.at(element);
    const bool isAlive = run.aliveIn == m_answers;
    run.sightings = isAlive ? 0 : run.sightings + 1;
    if (run.unsaid)
    {
        ++run.answersSince;
        if (run.last && TellsWhy(*run.last))
            return Finish(batch, array, element, EndOfLine(&*run.last, m_settings.needs));
        if (run.answersSince >= k_enough_answers)
            return Finish(batch, array, element, *run.unsaid);
        return;
    }
    if (run.unseen)
    {
        if (!run.lookedAt)
            run.lookedAt = now;
        else if (now - *run.lookedAt >= m_settings.lookPatience)
            Finish(batch, array, element, *run.unseen);
        return;
    }
    if (run.isEnding && isAlive)
        seen.toCancel.push_back(element);
    if ((run.sightings >= k_enough_answers || run.isEnding) && !run.barred && !run.isBarAsked)
        Bar(batch, element, run);
}

// Who had it has ended by then, or the queue says so.
void ArrayBook::EndBarred(const UID &batch, Array &array, Moment now)
{
    for (auto next = array.runs.begin(); next != array.runs.end();)
    {
        const auto &[element, run] = *next++;
        const bool isGone = run.sightings > 0 && run.last && IsGone(*run.last);
        if (!run.barred || (!isGone && now < *run.barred + m_settings.lease))
            continue;
        Finish(batch, array, element,
               run.isEnding ? TakenAway()
                            : EndOfLine(run.last ? &*run.last : nullptr, m_settings.needs));
    }
}

void ArrayBook::FollowHolding(const UID &batch, Array &array, const Seen &seen)
{
    if (!seen.isWaiting)
        return;
    if (array.isHeldWanted && !seen.isHeld)
    {
        array.isHeld = true;
        m_orders.toHold.push_back(NameOf(batch));
    }
    if (array.isHeldWanted || !array.isHeld)
        return;
    // What somebody else holds is not ours to release.
    if (seen.isHeld)
        m_orders.toRelease.push_back(NameOf(batch));
    else
        array.isHeld = false;
}

void ArrayBook::TellQueued(const std::map<UID, Seen> &seen)
{
    std::map<UID, String> whys;
    for (const auto &[batch, one] : seen)
        if (const Array *const array = FindArray(batch); array && one.isWaiting)
        {
            String &why = whys[array->job];
            if (why.empty() && !one.why.empty())
                why = "Slurm: " + corvan::MakeUtf8(one.why);
        }
    for (const auto &[job, why] : whys)
        if (const auto told = m_toldWhy.find(job);
            told == m_toldWhy.end() ? !why.empty() : told->second != why)
        {
            m_toldWhy[job] = why;
            m_orders.queued[job] = why;
        }
    std::erase_if(m_toldWhy, [&](const auto &told) { return !whys.contains(told.first); });
}

void ArrayBook::RemoveOver()
{
    std::erase_if(m_arrays,
                  [&](const auto &one)
                  {
                      const auto &[batch, array] = one;
                      const bool isOver = array.stage == Stage::There && array.runs.empty() &&
                                          array.unrecorded == 0 && array.isSettled &&
                                          !array.isAlive;
                      if (isOver)
                          m_orders.toRemove.push_back(batch);
                      return isOver;
                  });
}

void ArrayBook::Begin(Run &run)
{
    if (std::exchange(run.place.isStarted, true))
        return;
    m_orders.events.push_back({ArrayOrders::Event::Kind::Started, run.run});
}

void ArrayBook::Finish(const UID &batch, Array &array, unsigned element, RunEnd end)
{
    const auto found = array.runs.find(element);
    Run &run = found->second;
    if (end.isLost)
        end.isStarted = run.place.isStarted;
    else if (end.isStarted)
        Begin(run);
    const RunPlace place = PlaceIn(array, element, run);
    if (end.place.node.empty())
        end.place.node = place.node;
    end.place.number = place.number;
    end.place.isStarted = place.isStarted;
    ++array.unrecorded;
    m_unrecorded.emplace(run.run, batch);
    array.isSettled = array.isSettled && array.number == 0;
    m_orders.events.push_back({ArrayOrders::Event::Kind::Ended, run.run, std::move(end)});
    m_runs.erase(run.run);
    array.runs.erase(found);
}

void ArrayBook::FinishAll(const UID &batch, Array &array, const RunEnd &end)
{
    while (!array.runs.empty())
        Finish(batch, array, array.runs.begin()->first, end);
}

void ArrayBook::Bar(const UID &batch, unsigned element, Run &run)
{
    run.isBarAsked = true;
    m_orders.toBar.push_back({batch, element, run.run, false});
}

void ArrayBook::Cancel(const UID &batch, unsigned element)
{
    const ArrayName name = NameOf(batch);
    if (name.array == 0)
        return;
    if (m_orders.toCancel.empty() || m_orders.toCancel.back().array.name != name.name ||
        m_orders.toCancel.back().elements.empty())
        m_orders.toCancel.push_back({name, {}});
    m_orders.toCancel.back().elements.push_back(element);
}

void ArrayBook::TakeBarring(const ArrayOrders::Element &element, ArrayFolders::Barring barring,
                            const std::optional<ElementResult> &result, Moment now)
{
    _CallEntry call("ArrayBook::TakeBarring", __FILE__, __LINE__);

    Found found;
    Run *const run = FindRun(element.run, found);
    if (!run)
        return;
    Array &array = m_arrays.at(found.batch);
    if (!element.onlyIfFree)
        run->isBarAsked = false;
    if (result)
        return TakeResult(found.batch, array, *result);
    switch (barring)
    {
    case ArrayFolders::Barring::Free:
    {
        RunEnd end = TakenAway();
        if (!element.onlyIfFree && !run->isEnding)
            end = EndOfLine(run->last ? &*run->last : nullptr, m_settings.needs);
        Cancel(found.batch, found.element);
        return Finish(found.batch, array, found.element, end);
    }
    case ArrayFolders::Barring::Taken:
        if (!element.onlyIfFree)
            run->barred = now;
        return;
    case ArrayFolders::Barring::Failed:
        return;
    }
}

void ArrayBook::TakeLook(int number, bool isThere)
{
    _CallEntry call("ArrayBook::TakeLook", __FILE__, __LINE__);

    Found found;
    Run *const run = FindRun(number, found);
    if (!run || !run->unseen)
        return;
    Array &array = m_arrays.at(found.batch);
    RunEnd end = *run->unseen;
    if (isThere)
        m_seenJobs.insert(array.job);
    else
        end = {.isStarted = false,
               .reason = "the output folder " + run->output.Parent().Text() +
                         " is not shared by the nodes: " + end.place.node + " has written " +
                         run->output.Text() + ", which is not there on this machine",
               .leadsOut = true,
               .place = end.place};
    Finish(found.batch, array, found.element, end);
}

void ArrayBook::TakeDrop(const UID &batch)
{
    _CallEntry call("ArrayBook::TakeDrop", __FILE__, __LINE__);

    Array *const array = FindArray(batch);
    if (!array)
        return;
    array->stage = Stage::There;
    array->isSettled = true;
    array->isAlive = false;
    FinishAll(batch, *array, Trouble(array->words));
}

void ArrayBook::End(int number)
{
    _CallEntry call("ArrayBook::End", __FILE__, __LINE__);

    Found found;
    Run *const run = FindRun(number, found);
    if (!run || run->isEnding)
        return;
    run->isEnding = true;
    Array &array = m_arrays.at(found.batch);
    if (run->unsaid || run->unseen)
        return Finish(found.batch, array, found.element, run->unsaid ? *run->unsaid : *run->unseen);
    if (!run->barred && !run->isBarAsked)
        Bar(found.batch, found.element, *run);
    if (array.stage == Stage::There)
        Cancel(found.batch, found.element);
}

void ArrayBook::Withdraw(int number)
{
    _CallEntry call("ArrayBook::Withdraw", __FILE__, __LINE__);

    Found found;
    const Run *const run = FindRun(number, found);
    if (run && !run->place.isStarted && !run->isEnding)
        m_orders.toBar.push_back({found.batch, found.element, number, true});
}

void ArrayBook::Recorded(int run)
{
    _CallEntry call("ArrayBook::Recorded", __FILE__, __LINE__);

    const auto found = m_unrecorded.find(run);
    if (found == m_unrecorded.end())
        return;
    if (Array *const array = FindArray(found->second))
        --array->unrecorded;
    m_unrecorded.erase(found);
}

void ArrayBook::SetJob(const UID &job, bool isHeld, int priority)
{
    _CallEntry call("ArrayBook::SetJob", __FILE__, __LINE__);

    for (auto &[batch, array] : m_arrays)
    {
        if (!(array.job == job))
            continue;
        array.isHeldWanted = isHeld;
        array.niceWanted = NiceOf(priority);
        if (array.stage == Stage::There && !array.runs.empty())
            ApplyWishes(batch, array);
    }
}

void ArrayBook::ApplyWishes(const UID &batch, Array &array)
{
    if (array.isHeldWanted)
    {
        array.isHeld = true;
        m_orders.toHold.push_back(NameOf(batch));
    }
    else if (array.isHeld)
    {
        m_orders.toRelease.push_back(NameOf(batch));
    }
    if (std::exchange(array.nice, array.niceWanted) != array.niceWanted && array.number > 0)
        m_orders.toRate.emplace_back(NameOf(batch), array.niceWanted);
}

ArrayOrders ArrayBook::TakeOrders()
{
    _CallEntry call("ArrayBook::TakeOrders", __FILE__, __LINE__);

    return std::exchange(m_orders, {});
}

std::vector<UID> ArrayBook::Batches() const
{
    _CallEntry call("ArrayBook::Batches", __FILE__, __LINE__);

    std::vector<UID> batches;
    for (const auto &[batch, array] : m_arrays)
        if (array.stage != Stage::Leaving && !array.runs.empty())
            batches.push_back(batch);
    return batches;
}

std::size_t ArrayBook::CountRunsOf(const UID &job) const
{
    _CallEntry call("ArrayBook::CountRunsOf", __FILE__, __LINE__);

    std::size_t count = 0;
    for (const auto &[batch, array] : m_arrays)
        count += array.job == job ? array.runs.size() : 0;
    return count;
}

UID ArrayBook::JobOf(const UID &batch) const
{
    _CallEntry call("ArrayBook::JobOf", __FILE__, __LINE__);

    const auto found = m_arrays.find(batch);
    return found == m_arrays.end() ? UID() : found->second.job;
}

std::set<UID> ArrayBook::AllBatches() const
{
    _CallEntry call("ArrayBook::AllBatches", __FILE__, __LINE__);

    std::set<UID> batches;
    for (const auto &[batch, array] : m_arrays)
        batches.insert(batch);
    return batches;
}

RunPlace ArrayBook::PlaceIn(const Array &array, unsigned element, const Run &run)
{
    RunPlace place = run.place;
    if (array.number > 0)
        place.number = std::to_string(array.number) + "_" + std::to_string(element);
    return place;
}

std::optional<RunPlace> ArrayBook::PlaceOf(int run) const
{
    _CallEntry call("ArrayBook::PlaceOf", __FILE__, __LINE__);

    const auto found = m_runs.find(run);
    if (found == m_runs.end())
        return std::nullopt;
    const Array &array = m_arrays.at(found->second.batch);
    return PlaceIn(array, found->second.element, array.runs.at(found->second.element));
}

} // namespace master
