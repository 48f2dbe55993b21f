// A day of a large farm: a real Master, real clients, and nodes that are drawn from a seed.
//
//     farm_day --help
#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include "bench/Measure.h"
#include "bench/ServerProcess.h"
#include "bench/day/DayBook.h"
#include "bench/day/DayEnd.h"
#include "bench/day/DayFigures.h"
#include "bench/day/DayMaster.h"
#include "bench/day/DayPlan.h"
#include "bench/day/Onlooker.h"
#include "corvan/JobStatus.h"
#include "tests/master/RawClient.h"

namespace bench
{

namespace
{

const char *const k_command_type = "6d396773-6d80-4f82-823f-fbc6c1cca52f";
constexpr int k_parts = 10;
constexpr double k_crash_at_s = DayPlan::k_DayS / 2;
constexpr std::chrono::hours k_patience{12};
// Of the day: when it has no end by then it never has.
constexpr double k_longest_s = 3 * DayPlan::k_DayS;
constexpr std::chrono::milliseconds k_look{200};

struct Options
{
    DaySize size;
    unsigned windows = 500;
    unsigned pages = 5;
    std::string folder; // Where this is the Master's process.
};

[[noreturn]] void Fail(const std::string &why)
{
    std::fprintf(stderr, "farm_day: %s\n", why.c_str());
    std::exit(1);
}

wire::Envelope EnvelopeOf(const DayPlan &plan, const DayJob &one)
{
    wire::Envelope envelope;
    wire::Job &job = *envelope.mutable_job();
    job.set_id(one.id.ToString());
    job.set_type(k_command_type);
    const auto add = [&job](const char *name, const std::string &value)
    {
        wire::Parameter &parameter = *job.add_parameters();
        parameter.set_name(name);
        parameter.set_value(value);
    };
    add("Name", "day_" + std::to_string(one.firstPacket));
    add("Range", "1-" + std::to_string(one.packets));
    add("PacketSize", "1");
    add("Priority", std::to_string(one.priority));
    add("ImageFormat", "/renders/day_" + std::to_string(one.firstPacket) + "/beauty.%06d.exr");
    add("Program", "render");
    add("Arguments", "--scene\n/scenes/day.scene\n{Outputs}");
    std::string after;
    for (const unsigned other : one.after)
        after += (after.empty() ? "" : ",") + std::string(plan.Jobs()[other].id.ToString());
    if (!after.empty())
        add("After", after);
    return envelope;
}

class FarmDay
{
public:
    FarmDay(const std::string &self, const Options &options)
        : m_self(self), m_options(options), m_files(m_folder / "."), m_plan(options.size),
          m_book(m_files.book, options.size.packets)
    {
    }

    /// How many things went wrong.
    std::size_t Run()
    {
        PrintHead();
        m_book.Common().beganNs = NowNs();
        StartMaster();
        std::thread arrivals([this] { SubmitAll(); });
        while (!IsOver())
        {
            if (!m_hasCrashed && NowS() > k_crash_at_s)
                Crash();
            if (NowS() > (m_part + 1) * DayPlan::k_DayS / k_parts)
                EndPart();
            if (NowS() > k_longest_s)
                Fail("the day has no end; see " + m_files.log);
            std::this_thread::sleep_for(k_look);
        }
        arrivals.join();
        EndPart();
        return PrintEnd();
    }

private:
    double NowS()
    {
        return double(NowNs() - m_book.Common().beganNs) / 1e9 * m_options.size.faster;
    }

    std::string Address() const
    {
        return "unix:" + m_files.socket;
    }

    void StartMaster()
    {
        std::filesystem::remove(m_files.port);
        const DaySize &size = m_options.size;
        m_master = std::make_unique<ServerProcess>(std::vector<std::string>{
            m_self, "--serve", m_folder / ".", "--seed", std::to_string(size.seed), "--jobs",
            std::to_string(size.jobs), "--packets", std::to_string(size.packets), "--nodes",
            std::to_string(size.nodes), "--faster", std::to_string(size.faster)});
        const auto start = std::chrono::steady_clock::now();
        RawClient first(Address(), grpc::InsecureChannelCredentials(), {}, k_patience);
        if (!first.SayHello())
            Fail("no Welcome");
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        m_startS = took.count();
        Look();
        m_before = {};
        m_secondsBefore = 0;
    }

    // Each window looks at one job, each page at all of them.
    void Look()
    {
        m_onlookers.clear();
        const std::vector<DayJob> &jobs = m_plan.Jobs();
        std::vector<std::string> all;
        for (const DayJob &job : jobs)
            all.push_back(job.id.ToString());
        for (unsigned page = 0; page < m_options.pages; ++page)
            m_onlookers.push_back(std::make_unique<Onlooker>(Address(), all, m_sight));
        for (unsigned window = 0; window < m_options.windows; ++window)
        {
            const std::string job = all[window * jobs.size() / m_options.windows];
            m_onlookers.push_back(
                std::make_unique<Onlooker>(Address(), std::vector<std::string>{job}, m_sight));
        }
    }

    void SubmitAll()
    {
        std::unique_ptr<RawClient> client;
        for (const DayJob &job : m_plan.Jobs())
        {
            while (NowS() < job.arrivesAtS)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            const wire::Envelope envelope = EnvelopeOf(m_plan, job);
            // A Master that went away in the midst of it takes the same job once.
            for (std::optional<wire::Envelope> answer; !answer;)
            {
                if (client)
                    answer = client->Ask(envelope);
                if (answer && !answer->has_accepted())
                    Fail("a job was not accepted: " + answer->refused().reason());
                if (answer)
                    break;
                client = std::make_unique<RawClient>(Address(), grpc::InsecureChannelCredentials(),
                                                     std::string(), k_patience);
                if (!client->SayHello())
                    client.reset();
            }
            ++m_arrived;
        }
    }

    // As the first page was told.
    bool IsOver() const
    {
        if (m_arrived < m_plan.Jobs().size())
            return false;
        const std::map<std::string, int> statuses = m_onlookers.front()->Statuses();
        if (statuses.size() < m_plan.Jobs().size())
            return false;
        return std::all_of(statuses.begin(), statuses.end(),
                           [](const auto &one)
                           { return corvan::IsOver(corvan::JobStatus(one.second)); });
    }

    void Crash()
    {
        EndPart();
        m_hasCrashed = true;
        m_master->End(SIGKILL);
        StartMaster();
        std::printf("| *%.1f: kill -9; the next one answers after %.2f s* | | | | | | | | | |\n",
                    NowS() / 3600, m_startS);
        std::fflush(stdout);
    }

    static void PrintHead()
    {
        std::printf("\n### A day of a large farm\n\n");
        std::printf(
            "| hour | jobs there | turns a second | turn ms, mean | 99 %% of them within ms "
            "| oldest waits hours | processor %% | MB | store MB | news a second |\n");
        std::printf("| ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |\n");
        std::fflush(stdout);
    }

    double StoreMegabytes() const
    {
        double bytes = 0;
        for (const auto &entry : std::filesystem::directory_iterator(m_files.data))
            if (entry.path().filename().string().starts_with("jobs.db"))
                bytes += double(entry.file_size());
        return bytes / 1e6;
    }

    void EndPart()
    {
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::duration<double> took = now - m_partBegan;
        const DayFigures figures = DayFigures::Ask(m_files.port);
        const double seconds = m_master->Seconds();
        const std::uint64_t news = m_sight.news;
        const double turns = figures.Since(m_before, "corvan_turn_seconds_count");
        std::printf("| %.1f | %zu | %.0f | %.1f | %.0f | %.1f | %.0f | %.0f | %.0f | %.0f |\n",
                    NowS() / 3600, m_arrived.load(), turns / took.count(),
                    1e3 * figures.Since(m_before, "corvan_turn_seconds_sum") / turns,
                    1e3 * figures.TurnsWithin(m_before, 0.99),
                    figures.At("corvan_queue_age_seconds") * m_options.size.faster / 3600,
                    100 * (seconds - m_secondsBefore) / took.count(), m_master->Megabytes(),
                    StoreMegabytes(), double(news - m_newsBefore) / took.count());
        std::fflush(stdout);
        m_before = figures;
        m_secondsBefore = seconds;
        m_newsBefore = news;
        m_partBegan = now;
        m_part = int(NowS() / DayPlan::k_DayS * k_parts);
    }

    std::size_t PrintEnd()
    {
        const double hours = NowS() / 3600;
        std::size_t apart = 0;
        const std::map<std::string, int> last = m_onlookers.front()->Statuses();
        for (const auto &onlooker : m_onlookers)
            for (const auto &[job, status] : onlooker->Statuses())
                apart += last.at(job) == status ? 0 : 1;
        m_onlookers.clear();
        m_master->End(SIGTERM);

        const std::vector<std::string> wrong = CompareDay(m_files.data, m_plan, m_book);
        std::printf("\n%u packets of %zu jobs on %u nodes, drawn from seed %llu, had ended after "
                    "%.1f hours of the day; %u windows and %u pages were told %llu news in %llu "
                    "messages.\n",
                    m_options.size.packets, m_plan.Jobs().size(), m_options.size.nodes,
                    static_cast<unsigned long long>(m_options.size.seed), hours, m_options.windows,
                    m_options.pages, static_cast<unsigned long long>(m_sight.news.load()),
                    static_cast<unsigned long long>(m_sight.messages.load()));
        for (const std::string &line : wrong)
            std::printf("%s\n", line.c_str());
        if (apart > 0)
            std::printf("%zu times a window was told of another end than the first page\n", apart);
        if (wrong.empty() && apart == 0)
            std::printf("Every packet ended exactly as drawn.\n");
        return wrong.size() + apart;
    }

    const std::string m_self;
    const Options m_options;
    Folder m_folder;
    const DayFiles m_files;
    const DayPlan m_plan;
    DayBook m_book;
    Sight m_sight;
    std::unique_ptr<ServerProcess> m_master;
    std::vector<std::unique_ptr<Onlooker>> m_onlookers;
    std::atomic<std::size_t> m_arrived = 0;
    bool m_hasCrashed = false;
    double m_startS = 0;
    // Of the part of the day that goes on.
    int m_part = 0;
    std::chrono::steady_clock::time_point m_partBegan = std::chrono::steady_clock::now();
    DayFigures m_before;
    double m_secondsBefore = 0;
    std::uint64_t m_newsBefore = 0;
};

} // namespace

} // namespace bench

int main(int argc, char **argv)
{
    bench::Options options;
    CLI::App app(
        "A day of a large farm: a real Master with real clients, and nodes that run "
        "nothing. How long each packet takes, which fail and which nodes are lost is drawn "
        "from a seed; at noon the Master is killed and started again.",
        "farm_day");
    bench::DaySize &size = options.size;
    app.add_option("--seed", size.seed, "What is drawn")->capture_default_str();
    app.add_option("--jobs", size.jobs, "Jobs of the day")
        ->check(CLI::Range(1, 100'000))
        ->capture_default_str();
    app.add_option("--packets", size.packets, "Packets of all jobs together, 20 a job or more")
        ->check(CLI::Range(20, 10'000'000))
        ->capture_default_str();
    app.add_option("--nodes", size.nodes, "Packets that run at a time")
        ->check(CLI::Range(1, 100'000))
        ->capture_default_str();
    app.add_option("--windows", options.windows, "Clients that follow one job each")
        ->check(CLI::Range(0, 5'000))
        ->capture_default_str();
    app.add_option("--pages", options.pages, "Clients that follow all jobs")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app.add_option("--faster", size.faster, "Seconds of the day in one second")
        ->check(CLI::Range(1.0, 10'000.0))
        ->capture_default_str();
    app.add_option("--serve", options.folder, "Be the Master, with this folder")->group("");
    CLI11_PARSE(app, argc, argv);
    if (size.packets / size.jobs < 20)
    {
        std::fputs("farm_day: a job has 20 packets or more\n", stderr);
        return 2;
    }

    rlimit descriptors{};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    descriptors.rlim_cur = descriptors.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &descriptors);
    if (!options.folder.empty())
    {
        bench::RunDayMaster(bench::DayFiles(options.folder), size);
        return 0;
    }
    bench::FarmDay day(argv[0], options);
    return day.Run() == 0 ? 0 : 1;
}
