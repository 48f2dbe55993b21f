// The Master under load: changes that many clients follow, clients that wait, jobs that come in.
// Each beside its yardstick in the same run: a bare server of gRPC that keeps nothing, bare commits
// of SQLite.
//
//     load_bench [FOLLOWERS [IDLE]]     1,000 and 5,000 where none are given
//
// What the Master does not reach is told at the end, and the status is 1 then.
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>
#include <SQLiteCpp/VariadicBind.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include "bench/BareEcho.h"
#include "bench/Crowd.h"
#include "bench/LoadedServer.h"
#include "bench/Measure.h"
#include "ostrel/UID.h"
#include "tests/master/RawClient.h"

using ostrel::UID;

namespace bench
{

namespace
{

const char *const k_command_type = "6d396773-6d80-4f82-823f-fbc6c1cca52f";
const char *const k_master = "Master";
constexpr int k_changes_a_second = 200;
constexpr int k_seconds = 10;
constexpr std::uint64_t k_changes = k_changes_a_second * k_seconds;
constexpr std::chrono::minutes k_sender_patience{5};
// When nothing more has come for so long, nothing more will.
constexpr std::chrono::seconds k_silence{20};
constexpr int k_rounds = 10;
constexpr std::size_t k_submits_at_once = 8;
constexpr int k_submits_a_round = 13 * int(k_submits_at_once);

// To reach.
constexpr int k_most_ms = 100; // From a change to 99 % of its followers.
constexpr double k_most_megabytes = 500;
constexpr double k_least_of_bare_commits = 0.5;

// What was not, one a line.
std::string notReached;

void MustBe(bool isSo, const std::string &what)
{
    if (!isSo)
        notReached += what + "\n";
}

[[noreturn]] void Fail(const std::string &why)
{
    std::fprintf(stderr, "load_bench: %s\n", why.c_str());
    std::exit(1);
}

wire::Envelope JobEnvelope(const std::string &id)
{
    wire::Envelope envelope;
    wire::Job &job = *envelope.mutable_job();
    job.set_id(id);
    job.set_type(k_command_type);
    const std::pair<const char *, const char *> parameters[] = {
        {"Name", "load"},
        {"Range", "1-100"},
        {"ImageFormat", "/renders/show/shot/beauty.%04d.exr"},
        {"Program", "render"},
        {"Arguments", "--scene\n/scenes/show/shot.scene\n{Outputs}"},
    };
    for (const auto &[name, value] : parameters)
    {
        wire::Parameter &parameter = *job.add_parameters();
        parameter.set_name(name);
        parameter.set_value(value);
    }
    return envelope;
}

std::string SubmitJob(RawClient &client)
{
    const std::string id = UID(true).ToString();
    const auto answer = client.Ask(JobEnvelope(id));
    if (!answer || !answer->has_accepted())
        Fail("a job was not accepted: " + (answer ? answer->refused().reason() : "no answer"));
    return id;
}

// The crowd counts the changes; the answers only have to be read.
void ReadAnswers(RawClient &sender)
{
    for (std::uint64_t i = 0; i < k_changes;)
    {
        const auto answer = sender.Receive();
        if (!answer)
            Fail("the connection of the changes is gone");
        if (answer->has_refused())
            Fail("a change was refused: " + answer->refused().reason());
        i += answer->has_accepted() ? 1 : 0;
    }
}

void WaitForAll(const Arrivals &arrivals, std::uint64_t all)
{
    std::uint64_t before = 0;
    auto since = std::chrono::steady_clock::now();
    while (arrivals.all.Count() < all && std::chrono::steady_clock::now() < since + k_silence)
    {
        if (arrivals.all.Count() != before)
            since = std::chrono::steady_clock::now();
        before = arrivals.all.Count();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void FollowChanges(const std::string &name, const std::string &self, std::size_t followers)
{
    const LoadedServer server(name, self);
    RawClient sender(server.Address(), grpc::InsecureChannelCredentials(), {}, k_sender_patience);
    if (!sender.SayHello())
        Fail("no Welcome from " + name);
    const std::string job = SubmitJob(sender);
    Arrivals arrived(k_changes, k_changes_a_second);
    const Crowd crowd(server.SocketFile(), job, followers, arrived);

    const double before = server.Process().Seconds();
    const auto start = std::chrono::steady_clock::now();
    std::thread answers([&] { ReadAnswers(sender); });
    for (std::uint64_t i = 1; i <= k_changes; ++i)
    {
        std::this_thread::sleep_until(
            start + std::chrono::nanoseconds(i * (1'000'000'000 / k_changes_a_second)));
        wire::Envelope change = SetEnvelope(job, k_ChangeName, ChangeValue(i));
        change.set_serial(1000 + i);
        sender.Send(change);
    }
    answers.join();
    const std::uint64_t all = k_changes * followers;
    WaitForAll(arrived, all);
    const double took =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double seconds = server.Process().Seconds() - before;
    std::printf(
        "| %s | %zu | %.1f | %d | %d | %d | %d | %d | %.1f | %llu | %llu | %llu | %.1f | %.0f |\n",
        name.c_str(), followers, took, arrived.all.Within(0.5), arrived.all.Within(0.99),
        arrived.first.Within(0.99), arrived.last.Within(0.99), arrived.all.Within(1),
        double(arrived.all.Count()) / double(std::max<std::uint64_t>(1, arrived.messages)),
        static_cast<unsigned long long>(all - arrived.all.Count()),
        static_cast<unsigned long long>(arrived.outOfOrder.load()),
        static_cast<unsigned long long>(arrived.gone.load()), seconds,
        seconds * 1e6 / double(std::max<std::uint64_t>(1, arrived.messages)));
    std::fflush(stdout);
    if (name != k_master)
        return;
    const std::string what = " with " + std::to_string(followers) + " followers";
    MustBe(arrived.all.Count() == all, "every change comes to everybody" + what);
    MustBe(arrived.outOfOrder == 0, "each in order" + what);
    MustBe(arrived.gone == 0, "no connection is lost" + what);
    MustBe(arrived.all.Within(0.99) <= k_most_ms,
           "99 % within " + std::to_string(k_most_ms) + " ms" + what);
}

void Wait(const std::string &name, const std::string &self, std::size_t clients)
{
    const LoadedServer server(name, self);
    RawClient sender(server.Address(), grpc::InsecureChannelCredentials(), {}, k_sender_patience);
    if (!sender.SayHello())
        Fail("no Welcome from " + name);
    const std::string job = SubmitJob(sender);
    const double before = server.Process().Megabytes();
    Arrivals nothing(0, 0);
    const Crowd crowd(server.SocketFile(), job, clients, nothing);
    const double with = server.Process().Megabytes();
    std::printf("| %s | %zu | %.0f | %.0f | %.1f |\n", name.c_str(), clients, before, with,
                (with - before) * 1024 / double(clients));
    std::fflush(stdout);
    MustBe(name != k_master || with <= k_most_megabytes,
           std::to_string(clients) + " clients that wait take no more than " +
               std::to_string(int(k_most_megabytes)) + " MB");
}

/// How many a second, by the round.
using Rates = std::vector<double>;

template <typename Work> void AddRate(Rates &rates, const Work &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    rates.push_back(
        k_submits_a_round /
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
}

void SubmitSideBySide(std::vector<std::unique_ptr<RawClient>> &clients)
{
    std::vector<std::jthread> threads;
    for (auto &client : clients)
        threads.emplace_back(
            [&client]
            {
                for (int i = 0; i < k_submits_a_round / int(k_submits_at_once); ++i)
                    SubmitJob(*client);
            });
}

/// A store of the barest kind that keeps a job as the Master's does: a row, and its parameters, in
/// one commit that is on disk.
class BareStore
{
public:
    BareStore()
    {
        m_store.exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
                     "CREATE TABLE jobs(number INTEGER PRIMARY KEY, id TEXT UNIQUE, type TEXT);"
                     "CREATE TABLE parameters(job INTEGER, position INTEGER, name TEXT, value TEXT,"
                     " PRIMARY KEY(job, position)) WITHOUT ROWID");
        m_job.emplace(m_store, "INSERT INTO jobs(id, type) VALUES (?, ?)");
        m_parameter.emplace(m_store, "INSERT INTO parameters VALUES (?, ?, ?, ?)");
    }

    void Commit()
    {
        const std::string id = UID(true).ToString();
        const wire::Envelope envelope = JobEnvelope(id);
        SQLite::Transaction commit(m_store);
        SQLite::bind(*m_job, id, std::string(k_command_type));
        m_job->exec();
        m_job->reset();
        const std::int64_t number = m_store.getLastInsertRowid();
        int position = 0;
        for (const wire::Parameter &one : envelope.job().parameters())
        {
            SQLite::bind(*m_parameter, number, position++, one.name(), one.value());
            m_parameter->exec();
            m_parameter->reset();
        }
        commit.commit();
    }

private:
    const Folder m_folder;
    SQLite::Database m_store{m_folder / "bare.db", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE};
    std::optional<SQLite::Statement> m_job;
    std::optional<SQLite::Statement> m_parameter;
};

double MedianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Gives the ratio of the two.
double PrintRates(const char *what, const Rates &rates, const Rates &yardstick)
{
    std::vector<double> ratios;
    for (std::size_t i = 0; i < rates.size(); ++i)
        ratios.push_back(rates[i] / yardstick[i]);
    const double ratio = MedianOf(ratios);
    std::printf("| %s | %.0f | %.0f | %.0f | %.2f |\n", what, MedianOf(rates), rates.front(),
                rates.back(), ratio);
    return ratio;
}

void Submit(const std::string &self)
{
    std::printf("\n### %d rounds of %d jobs submitted\n\n", k_rounds, k_submits_a_round);
    std::printf(
        "| what | a second, median | first round | last round | of its yardstick, median |\n");
    std::printf("| --- | ---: | ---: | ---: | ---: |\n");
    const LoadedServer server(k_master, self);
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t i = 0; i < k_submits_at_once; ++i)
    {
        clients.push_back(std::make_unique<RawClient>(server.Address(),
                                                      grpc::InsecureChannelCredentials(),
                                                      std::string(), k_sender_patience));
        if (!clients.back()->SayHello())
            Fail("no Welcome");
    }
    // They take turns, so that each is beside its yardstick whatever else the disk has to do.
    BareStore bareStore;
    Rates bare, single, many;
    for (int round = 0; round < k_rounds; ++round)
    {
        AddRate(bare,
                [&]
                {
                    for (int i = 0; i < k_submits_a_round; ++i)
                        bareStore.Commit();
                });
        AddRate(single,
                [&]
                {
                    for (int i = 0; i < k_submits_a_round; ++i)
                        SubmitJob(*clients.front());
                });
        AddRate(many, [&] { SubmitSideBySide(clients); });
    }
    PrintRates("*bare commits*", bare, bare);
    PrintRates("submits, each after the answer to the last", single, bare);
    const std::string side = "submits of " + std::to_string(k_submits_at_once) + " clients at once";
    MustBe(PrintRates(side.c_str(), many, bare) >= k_least_of_bare_commits,
           side + " are half as many as bare commits, or more");
}

void RunAll(const std::string &self, std::size_t followers, std::size_t idle)
{
    std::printf("\n### %d changes a second for %d s, each to every follower\n\n",
                k_changes_a_second, k_seconds);
    std::printf(
        "| what | followers | all there after s | half within ms | 99 %% within ms | 99 %% of "
        "the first second | 99 %% of the last second | all within ms | changes a message | "
        "lost | out of order | connections lost | its processor s | us of it a message |\n");
    std::printf(
        "| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: "
        "| ---: | ---: |\n");
    for (const std::size_t count : {followers / 10, followers})
        for (const char *name : {"*bare gRPC*", k_master})
            FollowChanges(name, self, count);

    std::printf("\n### Clients that wait\n\n");
    std::printf("| what | clients | MB without | MB with | KB a client |\n");
    std::printf("| --- | ---: | ---: | ---: | ---: |\n");
    for (const char *name : {"*bare gRPC*", k_master})
        Wait(name, self, idle);

    Submit(self);
    if (!notReached.empty())
        Fail("not reached:\n" + notReached);
}

} // namespace

} // namespace bench

int main(int argc, char **argv)
{
    // Each client of the crowd has a connection.
    rlimit descriptors{};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    descriptors.rlim_cur = descriptors.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &descriptors);

    if (argc == 3 && std::strcmp(argv[1], "--serve") == 0)
    {
        const bench::BareEcho server(argv[2]);
        for (;;)
            ::pause();
    }
    const std::size_t followers = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1'000;
    const std::size_t idle = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 5'000;
    if (followers == 0 || idle == 0 || argc > 3)
    {
        std::fputs("load_bench [FOLLOWERS [IDLE]]\n", stderr);
        return 2;
    }
    bench::RunAll(argv[0], followers, idle);
}
