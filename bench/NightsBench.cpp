// Does a Master that nobody ends grow slower, or larger? Jobs come, fail here and there, come out
// bad, are rendered again, are told of by a command that often fails, and are removed: one a
// quarter of an hour on a clock of its own, on machines of which some come and go. Printed are the
// heap in use, the pages of the store and the processor time a job, at first, at times and at last.
// The status is 1 where one of them has grown.
//
//     nights_bench [JOBS]     4,000 where none are given: forty days
#include <SQLiteCpp/Database.h>
#include <boost/asio/post.hpp>
#include <boost/make_shared.hpp>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <malloc.h>

#include "bench/Measure.h"
#include "corvan/Messages.h"
#include "corvan/Parameters.h"
#include "master/Master.h"
#include "master/store/StoreFiles.h"
#include "ostrel/Log.h"
#include "tests/master/FakeDoor.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestJobs.h"
#include "tests/support/FakeAlarmClock.h"
#include "tests/support/FakeBatchRunner.h"
#include "tests/support/FakeLogLooks.h"
#include "tests/support/TempFolder.h"

using namespace std::chrono_literals;

namespace bench
{

namespace
{

using corvan::UID;
using ostrel::String;

constexpr int k_frames = 12;
constexpr int k_machines = 60;
constexpr std::size_t k_kept = 20; // Jobs, before the oldest of them is removed.
constexpr int k_minutes_a_job = 14;
constexpr int k_jobs_a_day = 24 * 60 / k_minutes_a_job;

/// What was done in all, so that nobody measures a Master that does nothing.
struct Work
{
    long commands = 0;
    long looks = 0;
    long requeues = 0;
    long told = 0;
    long refused = 0; // Of those who are told.
};

/// Commands end at once, each on another machine. One of seven of them fails, one of fifty could
/// not be begun, and one of ninety is lost with its machine.
class Farm : public FakeBatchRunner
{
public:
    explicit Farm(Work &work) : m_work(work) {}

    // True where there was something to end.
    bool EndAll()
    {
        const std::vector<master::Command> commands = std::exchange(started, {});
        TellStarts();
        for (const master::Command &command : commands)
        {
            master::RunEnd end;
            end.took = std::chrono::milliseconds(1000 + 7 * (m_count % 300));
            end.place.node = Machine();
            end.place.number = std::to_string(m_count) + "_1";
            if (m_count % 7 == 0)
                end.exitCode = 1;
            if (m_count % 50 == 0)
                end = {.isStarted = false, .reason = "no licence", .place = end.place};
            if (m_count % 90 == 0)
                end = {.reason = "it went down",
                       .isLost = true,
                       .machineFailed = true,
                       .place = end.place};
            ++m_count;
            ++m_work.commands;
            Finish(command.run, end);
        }
        recorded.clear();
        jobs.clear();
        ended.clear();
        withdrawn.clear();
        return !commands.empty();
    }

private:
    // A third of them are rented, and have another name each day.
    String Machine() const
    {
        const int machine = m_count % k_machines;
        return machine % 3 != 0
                   ? "node" + std::to_string(machine)
                   : "rented" + std::to_string(m_count / 1000) + "-" + std::to_string(machine);
    }

    Work &m_work;
    int m_count = 1;
};

/// Of each second job a frame is bad the first time, of each fifth one whoever renders it. One look
/// of thirty cannot be made.
class Eye : public master::FrameLooker
{
public:
    Eye(boost::asio::io_context &loop, Work &work) : m_loop(loop), m_work(work) {}

    void Start(int look, const check::LookRequest &request, master::LookListener &listener) override
    {
        boost::asio::post(m_loop, [this, look, request, &listener]
                          { listener.OnLooked(look, AnswerTo(request)); });
    }
    void End(int /*look*/) override {}
    std::chrono::seconds LimitOf(const check::LookRequest & /*request*/) const override
    {
        return 10min;
    }

private:
    check::LookAnswer AnswerTo(const check::LookRequest &request)
    {
        ++m_work.looks;
        check::LookAnswer answer;
        if (++m_count % 30 == 0)
            answer.trouble = "the share is away";
        else
            answer.print = "00000000000000cc";
        if (request.depth == check::LookRequest::Depth::Prints || !answer.trouble.empty())
            return answer;
        answer.isJudged = true;
        answer.counts = "ok 11, missing 1";
        if (m_count % 2 == 0)
            answer.bad["00000000000000a" + std::to_string(m_count % 5 == 0 ? 0 : m_count % 10)] = {
                1 + m_count % k_frames};
        return answer;
    }

    boost::asio::io_context &m_loop;
    Work &m_work;
    int m_count = 0;
};

/// Whoever is to be told is away for two of three times.
class Messenger : public master::ToolRunner
{
public:
    Messenger(boost::asio::io_context &loop, Work &work) : m_loop(loop), m_work(work) {}

    void Run(master::Tool /*tool*/, std::chrono::milliseconds /*limit*/, Done done) override
    {
        const int status = ++m_count % 3 == 0 ? 0 : 75;
        ++(status == 0 ? m_work.told : m_work.refused);
        boost::asio::post(m_loop, [done = std::move(done), status] { done({.status = status}); });
    }

private:
    boost::asio::io_context &m_loop;
    Work &m_work;
    int m_count = 0;
};

struct Sample
{
    std::size_t jobs = 0;
    double heapKb = 0;
    long pages = 0;
    double msAJob = 0;
};

/// A Master in the midst of all that.
class Nights
{
public:
    Nights()
    {
        m_settings.notices.command = {"/bin/tell", "{Text}"};
        m_settings.notices.events = {master::NoticeEvents().begin(), master::NoticeEvents().end()};
        m_settings.notices.mostWaiting = 50;
        m_farm.slots = 1000;
        auto clock = std::make_unique<FakeAlarmClock>();
        m_clock = clock.get();
        const auto open = [this](const UID &, const master::Health &, master::Door::User &user)
        {
            auto door = std::make_unique<FakeDoor>(user);
            m_door = door.get();
            return door;
        };
        m_master = std::make_unique<master::Master>(
            m_loop, m_settings,
            master::Surroundings{.clock = std::move(clock),
                                 .runner = m_farm,
                                 .openDoor = open,
                                 .audit = &m_audit,
                                 .logLooks = std::make_unique<FakeLogLooks>(),
                                 .tools = std::make_unique<Messenger>(m_loop, m_work),
                                 .looker = std::make_unique<Eye>(m_loop, m_work)});
        m_loop.poll();
    }

    void TakeJob()
    {
        const auto message = boost::make_shared<corvan::JobMsg>();
        message->job = MakeTestJob({{"Range", "1-" + std::to_string(k_frames)},
                                    {"ImageFormat", "/r/f.%d"},
                                    {"CheckFrames", "sizes"},
                                    {"AutoRequeue", "3"},
                                    {"QuietSeconds", "5"},
                                    {"Name", "shot" + std::to_string(m_jobs.size())}});
        m_jobs.push_back(message->job->ID());
        m_door->Ask(message);
        for (int minute = 0; minute < k_minutes_a_job; ++minute)
        {
            m_clock->Pass(1min);
            do
                m_loop.poll();
            while (m_farm.EndAll());
        }
        TakeNews();
        while (m_jobs.size() > k_kept)
            Remove();
    }

    const Work &Done() const
    {
        return m_work;
    }

    Sample Measure(std::size_t jobs)
    {
        const auto begin = ThreadTime::now();
        for (std::size_t i = 0; i < jobs; ++i)
            TakeJob();
        const std::chrono::duration<double, std::milli> took = ThreadTime::now() - begin;
        Sample sample;
        sample.jobs = m_taken += jobs;
        sample.msAJob = took.count() / double(jobs);
        sample.heapKb = double(mallinfo2().uordblks) / 1024;
        SQLite::Database store(master::StoreFileIn(m_settings.data).Text(), SQLite::OPEN_READONLY,
                               5000);
        sample.pages = store.execAndGet("PRAGMA page_count").getInt();
        return sample;
    }

private:
    // Requeues are jobs, too.
    void TakeNews()
    {
        for (const master::Outgoing &message : std::exchange(m_door->sent, {}))
            if (const auto *news = dynamic_cast<const corvan::JobMsg *>(message.message.get()))
                if (news->job && std::ranges::find(m_jobs, news->job->ID()) == m_jobs.end())
                {
                    m_jobs.push_back(news->job->ID());
                    ++m_work.requeues;
                }
    }

    void Remove()
    {
        const auto message = boost::make_shared<corvan::RemoveJobMsg>();
        message->job = m_jobs.front();
        message->cancel = true;
        m_jobs.pop_front();
        m_door->Ask(message);
        m_loop.poll();
    }

    struct NoSync : master::AuditDisk
    {
        int Sync(int /*file*/) override
        {
            return 0;
        }
    };

    const TempFolder m_folder;
    const TestJobTypes m_types;
    NoSync m_audit;
    master::MasterSettings m_settings = SettingsIn(m_folder.Folder());
    boost::asio::io_context m_loop;
    Work m_work;
    Farm m_farm{m_work};
    FakeAlarmClock *m_clock = nullptr;
    FakeDoor *m_door = nullptr;
    std::unique_ptr<master::Master> m_master;
    std::deque<UID> m_jobs;
    std::size_t m_taken = 0;
};

bool HasGrown(const char *what, double first, double last, double part)
{
    if (last <= first * (1 + part))
        return false;
    std::printf("\n%s has grown from %.1f to %.1f\n", what, first, last);
    return true;
}

} // namespace

} // namespace bench

int main(int argc, char **argv)
{
    using namespace bench;

    // What fails is logged.
    ostrel::LogSettings settings;
    settings.consoleLevel = ostrel::k_LogFatal;
    ostrel::LogStart(settings);
    // Syncs are not what is measured.
    if (std::filesystem::exists("/dev/shm"))
        ::setenv("TMPDIR", "/dev/shm", 0);
    const std::size_t jobs = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 4000;
    Nights nights;
    // What is known of a day is there, and what is kept of notices.
    nights.Measure(3 * k_jobs_a_day);

    std::printf("\n### Nights, one after the other\n\n"
                "| jobs | days | heap kB | pages of the store | ms a job |\n"
                "| ---: | ---: | ---: | ---: | ---: |\n");
    std::vector<Sample> samples;
    for (int part = 0; part < 10; ++part)
    {
        const Sample sample = nights.Measure(std::max<std::size_t>(1, jobs / 10));
        std::printf("| %zu | %.1f | %.0f | %ld | %.2f |\n", sample.jobs,
                    double(sample.jobs) / k_jobs_a_day, sample.heapKb, sample.pages, sample.msAJob);
        std::fflush(stdout);
        samples.push_back(sample);
    }
    const Work &work = nights.Done();
    std::printf("\n%ld commands, %ld looks, %ld requeues, %ld notices told, %ld tries refused\n",
                work.commands, work.looks, work.requeues, work.told, work.refused);
    if (work.looks == 0 || work.requeues == 0 || work.told == 0 || work.refused == 0)
        return 1;
    const Sample &first = samples.front();
    const Sample &last = samples.back();
    bool isWrong = HasGrown("the heap", first.heapKb, last.heapKb, 0.1);
    isWrong = HasGrown("the store", double(first.pages), double(last.pages), 0.5) || isWrong;
    isWrong = HasGrown("the time a job", first.msAJob, last.msAJob, 0.25) || isWrong;
    return isWrong ? 1 : 0;
}
