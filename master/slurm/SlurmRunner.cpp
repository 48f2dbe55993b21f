#include "master/slurm/SlurmRunner.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <cassert>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "master/slurm/SlurmText.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using boost::system::error_code;
using ostrel::_CallEntry;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace
{

// Of what is planned in one turn: so the loop takes turns with its clients.
constexpr int k_at_once = 1000;
constexpr unsigned k_most_tasks = 100'000;
constexpr milliseconds k_results_each{1'000};
// To look takes a hundredth of the time at most.
constexpr int k_pause_for_work = 100;
constexpr milliseconds k_longest_pause{30'000};
constexpr std::chrono::seconds k_doubled_each{60};
constexpr int k_most_doublings = 17; // Then all there may be.
// A share may tell late of a file that is there.
constexpr int k_file_looks = 50;
constexpr int k_file_look_each_ms = 200;

// The folder is opened, so that the share is asked anew.
bool IsThere(const Path &file)
{
    const int folder = ::open(file.Parent().Text().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0)
        ::close(folder);
    struct stat status
    {
    };
    return ::stat(file.Text().c_str(), &status) == 0;
}

milliseconds PauseAfter(milliseconds took, milliseconds least)
{
    return std::clamp(k_pause_for_work * took, least, std::max(least, k_longest_pause));
}

milliseconds Since(steady_clock::time_point begin)
{
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
}

// The names of the options, by those of the parameters.
std::string OptionOf(const String &wish)
{
    const std::pair<const char *, const char *> options[] = {
        {"Partition", "partition"},
        {"Account", "account"},
        {"Qos", "qos"},
        {"Time", "time"},
        {"Memory", "mem"},
        {"Processors", "cpus-per-task"},
        {"Constraint", "constraint"},
    };
    for (const auto &[name, option] : options)
        if (wish == name)
            return option;
    return {};
}

} // namespace

Path SlurmFolderOf(const Path &folder, const UID &master)
{
    return folder / master.ToString();
}

SlurmRunner::SlurmRunner(boost::asio::io_context &loop, std::unique_ptr<Cluster> cluster,
                         const ClusterLimits &limits, SlurmSettings settings, std::stop_source stop)
    : m_loop(loop), m_cluster(std::move(cluster)), m_limits(limits),
      m_settings(std::move(settings)), m_stop(std::move(stop)), m_queueTimer(loop),
      m_resultTimer(loop)
{
    _CallEntry call("SlurmRunner::SlurmRunner", __FILE__, __LINE__);
}

SlurmRunner::~SlurmRunner()
{
    _CallEntry call("SlurmRunner::~SlurmRunner", __FILE__, __LINE__);

    m_looks.Stop();
    m_share.Stop();
    m_commands.Stop();
    m_stop.request_stop();
}

void SlurmRunner::Begin(const UID &master, std::function<void()> isAlone)
{
    _CallEntry call("SlurmRunner::Begin", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const Path folder = SlurmFolderOf(m_settings.folder, master) / "arrays";
    m_master = master;
    m_folders.emplace(folder, m_settings.lease);
    m_book.emplace(ArrayBook::Settings{.prefix = "corvan-" + master.ToString() + "-",
                                       .lease = m_settings.lease,
                                       .niceStep = m_settings.niceStep,
                                       .needs = {folder, m_settings.program}});
    boost::asio::post(m_loop,
                      [this, isAlone = std::move(isAlone)]
                      {
                          m_hasBegun = true;
                          LookAtQueue();
                          LookAtResults();
                          isAlone();
                      });
}

int SlurmRunner::FreeSlots() const
{
    _CallEntry call("SlurmRunner::FreeSlots", __FILE__, __LINE__);

    if (!m_hasBegun)
        return 0;
    // The others of the cluster have jobs, too.
    unsigned most = m_settings.mostTasks > 0 ? m_settings.mostTasks
                                             : std::clamp(m_limits.jobs / 2, 1u, k_most_tasks);
    if (m_limits.submit > 0)
        most = std::min(most, m_limits.submit);
    const auto there = std::int64_t(m_book->CountRuns());
    return int(std::clamp<std::int64_t>(std::int64_t(most) - there, 0, k_at_once));
}

// The cluster may take more by now: others' tasks have ended, or the limit is another one.
int SlurmRunner::RoomFor(const UID &job) const
{
    _CallEntry call("SlurmRunner::RoomFor", __FILE__, __LINE__);

    const auto found = m_refused.find(job);
    if (found == m_refused.end())
        return CommandRunner::RoomFor(job);
    const auto doublings = (steady_clock::now() - found->second.at) / k_doubled_each;
    const std::size_t most = found->second.above
                             << std::min<std::int64_t>(doublings, k_most_doublings);
    const std::size_t there = m_book->CountRunsOf(job);
    return int(std::min<std::size_t>(most - std::min(most, there), k_at_once));
}

unsigned SlurmRunner::BatchSize() const
{
    _CallEntry call("SlurmRunner::BatchSize", __FILE__, __LINE__);

    return std::max(1u, m_limits.arraySize);
}

bool SlurmRunner::Start(const Command &command, RunListener &listener, String *)
{
    _CallEntry call("SlurmRunner::Start", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_listener = &listener;
    const BatchPlace &place = *command.batch;
    m_book->Add({.run = command.run,
                 .job = command.job,
                 .place = place,
                 .priority = command.priority,
                 .output = command.outputs.empty() ? Path() : command.outputs.front()},
                false);

    Fresh &fresh = m_fresh[place.batch];
    if (fresh.order.elements.empty())
    {
        m_freshOrder.push_back(place.batch);
        fresh.order.name = m_book->NameOf(place.batch).name;
        fresh.order.script = ArrayScript(m_settings.program, m_folders->FolderOf(place.batch));
        fresh.order.nice = m_book->NiceOf(command.priority);
        for (const auto &[name, value] : command.wishes)
            if (const std::string option = OptionOf(name); !option.empty())
                fresh.order.options.emplace_back(option, value);
        fresh.contents.folders = {command.folder, command.log.Parent()};
    }
    fresh.order.elements.push_back(place.element);
    fresh.contents.requests.emplace_back(place.element,
                                         KeeperRequest(command, m_master, m_settings.keeper));
    Change();
    return true;
}

void SlurmRunner::Adopt(const EarlierRun &run, RunListener &listener)
{
    _CallEntry call("SlurmRunner::Adopt", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_listener = &listener;
    m_book->Add(run, true);
}

void SlurmRunner::End(int run)
{
    _CallEntry call("SlurmRunner::End", __FILE__, __LINE__);

    m_book->End(run);
    Change();
}

void SlurmRunner::Recorded(int run)
{
    _CallEntry call("SlurmRunner::Recorded", __FILE__, __LINE__);

    m_book->Recorded(run);
}

void SlurmRunner::Withdraw(int run)
{
    _CallEntry call("SlurmRunner::Withdraw", __FILE__, __LINE__);

    m_book->Withdraw(run);
    Change();
}

void SlurmRunner::SetJob(const UID &job, bool isHeld, int priority)
{
    _CallEntry call("SlurmRunner::SetJob", __FILE__, __LINE__);

    m_book->SetJob(job, isHeld, priority);
    Change();
}

std::optional<RunPlace> SlurmRunner::PlaceOf(int run) const
{
    _CallEntry call("SlurmRunner::PlaceOf", __FILE__, __LINE__);

    return m_book->PlaceOf(run);
}

bool SlurmRunner::SetNode(const String &node, bool drains, const String &reason, NodeSet done)
{
    _CallEntry call("SlurmRunner::SetNode", __FILE__, __LINE__);

    m_commands.Add(
        [this, node, drains, reason, done = std::move(done)]
        {
            const String words = m_cluster->SetNode(node, drains, reason);
            boost::asio::post(m_loop, [done, words] { done(words); });
        });
    return true;
}

bool SlurmRunner::AskNodes(NodeStates done)
{
    _CallEntry call("SlurmRunner::AskNodes", __FILE__, __LINE__);

    m_commands.Add(
        [this, done = std::move(done)]
        { boost::asio::post(m_loop, [done, states = m_cluster->ReadNodes()] { done(states); }); });
    return true;
}

// The listener is not called from within the Master's calls.
void SlurmRunner::Change()
{
    _CallEntry call("SlurmRunner::Change", __FILE__, __LINE__);

    if (std::exchange(m_isChanged, true))
        return;
    boost::asio::post(m_loop,
                      [this]
                      {
                          m_isChanged = false;
                          CarryOut();
                      });
}

void SlurmRunner::CarryOut()
{
    _CallEntry call("SlurmRunner::CarryOut", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    // What is barred or cancelled at once has its folder before.
    HandOver();
    ArrayOrders orders = m_book->TakeOrders();
    Bar(orders.toBar);
    for (const ArrayOrders::Look &look : orders.toLookAt)
        LookAtFile(look);
    for (const UID &batch : orders.toDrop)
        m_share.Add(
            [this, batch]
            {
                m_folders->Remove(batch);
                boost::asio::post(m_loop,
                                  [this, batch]
                                  {
                                      m_book->TakeDrop(batch);
                                      CarryOut();
                                  });
            });
    for (const UID &batch : orders.toRemove)
        m_share.Add(
            [this, batch]
            {
                m_known.erase(batch);
                m_folders->Remove(batch);
            });
    Tell(orders);
    Order(std::move(orders));
}

void SlurmRunner::Tell(const ArrayOrders &orders)
{
    _CallEntry call("SlurmRunner::Tell", __FILE__, __LINE__);

    for (const auto &[job, why] : orders.queued)
        m_listener->OnQueued(job, why);
    for (const ArrayOrders::Event &event : orders.events)
        switch (event.kind)
        {
        case ArrayOrders::Event::Kind::Started:
            m_listener->OnStarted(event.run);
            break;
        case ArrayOrders::Event::Kind::Ended:
            m_listener->OnEnded(event.run, event.end);
            break;
        }
}

// What has no effect is ordered again after one of the next looks at the queue.
void SlurmRunner::Order(ArrayOrders orders)
{
    _CallEntry call("SlurmRunner::Order", __FILE__, __LINE__);

    const auto note = [](const char *what, const String &words)
    {
        if (!words.empty())
            ostrel::LogInfo(String("Slurm does not ") + what + ": " + words);
    };
    if (orders.toCancel.empty() && orders.toHold.empty() && orders.toRelease.empty() &&
        orders.toRate.empty())
        return;
    m_commands.Add(
        [this, note, orders = std::move(orders)]
        {
            for (const auto &[array, elements] : orders.toCancel)
                note("cancel", m_cluster->Cancel(array, elements));
            for (const ArrayName &array : orders.toHold)
                note("hold", m_cluster->Hold(array));
            for (const ArrayName &array : orders.toRelease)
                note("release", m_cluster->Release(array));
            for (const auto &[array, nice] : orders.toRate)
                note("change a priority", m_cluster->SetNice(array, nice));
        });
}

void SlurmRunner::HandOver()
{
    _CallEntry call("SlurmRunner::HandOver", __FILE__, __LINE__);

    for (const UID &batch : std::exchange(m_freshOrder, {}))
        HandOver(batch, std::move(m_fresh.at(batch)));
    m_fresh.clear();
}

void SlurmRunner::HandOver(const UID &batch, Fresh fresh)
{
    _CallEntry call("SlurmRunner::HandOver", __FILE__, __LINE__);

    std::ranges::sort(fresh.order.elements);
    m_share.Add(
        [this, batch, fresh = std::move(fresh)]
        {
            const std::size_t count = fresh.order.elements.size();
            const auto answer = [this, batch, count](const ArrayAnswer &told) {
                boost::asio::post(m_loop,
                                  [this, batch, count, told] { TakeAnswer(batch, count, told); });
            };
            String reason;
            if (!m_folders->Write(batch, fresh.contents, &reason))
                return answer({.kind = ArrayAnswer::Kind::NotMade, .words = reason});
            m_commands.Add([this, answer, order = fresh.order]
                           { answer(m_cluster->Submit(order)); });
        });
}

void SlurmRunner::TakeAnswer(const UID &batch, std::size_t count, const ArrayAnswer &answer)
{
    _CallEntry call("SlurmRunner::TakeAnswer", __FILE__, __LINE__);

    if (answer.kind == ArrayAnswer::Kind::Busy ||
        (answer.kind == ArrayAnswer::Kind::Refused && IsSubmitLimit(answer.words)))
        NoteTooMany(batch, count);
    m_book->TakeAnswer(batch, answer);
    CarryOut();
}

// Half of them may be taken. The limits of jobs differ: by account, by quality of service.
void SlurmRunner::NoteTooMany(const UID &batch, std::size_t count)
{
    _CallEntry call("SlurmRunner::NoteTooMany", __FILE__, __LINE__);

    const auto now = steady_clock::now();
    std::erase_if(m_refused, [&](const auto &one)
                  { return now - one.second.at > k_doubled_each * k_most_doublings; });
    // One that is refused alone tells nothing of how many there may be.
    if (count < 2)
        return;
    const UID job = m_book->JobOf(batch);
    const std::size_t others = m_book->CountRunsOf(job) - count;
    m_refused[job] = {others + count / 2, now};
}

void SlurmRunner::LookLater(boost::asio::steady_timer &timer, milliseconds pause,
                            void (SlurmRunner::*look)())
{
    _CallEntry call("SlurmRunner::LookLater", __FILE__, __LINE__);

    timer.expires_after(pause);
    timer.async_wait(
        [this, look](const error_code &error)
        {
            if (!error)
                (this->*look)();
        });
}

void SlurmRunner::LookAtQueue()
{
    _CallEntry call("SlurmRunner::LookAtQueue", __FILE__, __LINE__);

    // With nothing there, and nothing of an earlier run to be found, there is nothing to ask.
    if (m_isSwept && m_book->IsEmpty())
    {
        m_book->TakeQueue({.isGood = true}, steady_clock::now());
        return LookLater(m_queueTimer, m_settings.lookEach, &SlurmRunner::LookAtQueue);
    }
    m_commands.Add(
        [this]
        {
            const auto begin = steady_clock::now();
            QueueAnswer answer = m_cluster->ReadQueue();
            boost::asio::post(m_loop, [this, answer = std::move(answer), took = Since(begin)]
                              { TakeQueue(answer, took); });
        });
}

void SlurmRunner::TakeQueue(const QueueAnswer &answer, milliseconds took)
{
    _CallEntry call("SlurmRunner::TakeQueue", __FILE__, __LINE__);

    if (answer.isGood != m_isQueueGood)
    {
        if (answer.isGood)
            ostrel::LogStatus("Slurm answers again");
        else
            ostrel::LogWarning("Slurm does not tell its queue: " + answer.error);
    }
    m_isQueueGood = answer.isGood;
    m_book->TakeQueue(answer, steady_clock::now());
    if (answer.isGood && !std::exchange(m_isSwept, true))
        RemoveUnknown();
    CarryOut();
    LookLater(m_queueTimer, PauseAfter(answer.isGood ? took : milliseconds(0), m_settings.lookEach),
              &SlurmRunner::LookAtQueue);
}

void SlurmRunner::LookAtResults()
{
    _CallEntry call("SlurmRunner::LookAtResults", __FILE__, __LINE__);

    m_share.Add(
        [this, batches = m_book->Batches()]
        {
            const auto begin = steady_clock::now();
            std::map<UID, std::vector<ElementResult>> results;
            for (const UID &batch : batches)
            {
                std::set<unsigned> &known = m_known[batch];
                std::vector<ElementResult> found = m_folders->ReadResults(batch, known);
                for (const ElementResult &result : found)
                    known.insert(result.element);
                if (!found.empty())
                    results[batch] = std::move(found);
            }
            boost::asio::post(m_loop,
                              [this, results = std::move(results), took = Since(begin)]
                              {
                                  for (const auto &[batch, found] : results)
                                      m_book->TakeResults(batch, found);
                                  CarryOut();
                                  LookLater(m_resultTimer, PauseAfter(took, k_results_each),
                                            &SlurmRunner::LookAtResults);
                              });
        });
}

// Folders of arrays of which nothing is known any more.
void SlurmRunner::RemoveUnknown()
{
    _CallEntry call("SlurmRunner::RemoveUnknown", __FILE__, __LINE__);

    m_share.Add(
        [this, known = m_book->AllBatches()]
        {
            for (const UID &batch : m_folders->List())
                if (!known.contains(batch))
                    m_folders->Remove(batch);
        });
}

void SlurmRunner::Bar(const std::vector<ArrayOrders::Element> &elements)
{
    _CallEntry call("SlurmRunner::Bar", __FILE__, __LINE__);

    if (elements.empty())
        return;
    struct Told
    {
        ArrayOrders::Element element;
        ArrayFolders::Barring barring;
        std::optional<ElementResult> result;
    };
    m_share.Add(
        [this, elements]
        {
            std::vector<Told> all;
            for (const ArrayOrders::Element &one : elements)
            {
                const auto barring = one.onlyIfFree ? m_folders->BarIfFree(one.batch, one.element)
                                                    : m_folders->Bar(one.batch, one.element);
                Told told{one, barring, std::nullopt};
                if (barring != ArrayFolders::Barring::Free)
                    told.result = m_folders->ReadResult(one.batch, one.element);
                all.push_back(std::move(told));
            }
            boost::asio::post(m_loop,
                              [this, all = std::move(all)]
                              {
                                  const auto now = steady_clock::now();
                                  for (const Told &told : all)
                                      m_book->TakeBarring(told.element, told.barring, told.result,
                                                          now);
                                  CarryOut();
                              });
        });
}

void SlurmRunner::LookAtFile(const ArrayOrders::Look &look)
{
    _CallEntry call("SlurmRunner::LookAtFile", __FILE__, __LINE__);

    m_looks.Add(
        [this, look]
        {
            bool isThere = IsThere(look.file);
            for (int tries = 1; !isThere && tries < k_file_looks; ++tries)
            {
                if (m_stop.stop_requested())
                    return;
                ::poll(nullptr, 0, k_file_look_each_ms);
                isThere = IsThere(look.file);
            }
            boost::asio::post(m_loop,
                              [this, run = look.run, isThere]
                              {
                                  m_book->TakeLook(run, isThere);
                                  CarryOut();
                              });
        });
}

} // namespace master
