// The Master under load: changes that many clients follow, clients that wait, jobs that come in.
// Each beside its yardstick in the same run: a bare server of gRPC that keeps nothing, bare commits
// of SQLite.
//
//     load_bench [FOLLOWERS [IDLE]]     1,000 and 5,000 where none are given
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>
#include <SQLiteCpp/VariadicBind.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
constexpr int k_changes_a_second = 200;
constexpr int k_seconds = 10;
constexpr std::uint64_t k_changes = k_changes_a_second * k_seconds;
constexpr std::chrono::minutes k_sender_patience{5};
// When nothing more has come for so long, nothing more will.
constexpr std::chrono::seconds k_silence{20};
constexpr int k_submits = 1'000;
constexpr std::size_t k_submits_at_once = 8;

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
    const Crowd crowd(server.Address(), job, followers, arrived);

    const double before = server.Seconds();
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
    std::printf("| %s | %zu | %.1f | %d | %d | %d | %d | %d | %.1f | %llu | %llu | %llu | %.1f |\n",
                name.c_str(), followers, took, arrived.all.Within(0.5), arrived.all.Within(0.99),
                arrived.first.Within(0.99), arrived.last.Within(0.99), arrived.all.Within(1),
                double(arrived.all.Count()) / double(std::max<std::uint64_t>(1, arrived.messages)),
                static_cast<unsigned long long>(all - arrived.all.Count()),
                static_cast<unsigned long long>(arrived.outOfOrder.load()),
                static_cast<unsigned long long>(arrived.gone.load()), server.Seconds() - before);
    std::fflush(stdout);
}

void Wait(const std::string &name, const std::string &self, std::size_t clients)
{
    const LoadedServer server(name, self);
    RawClient sender(server.Address(), grpc::InsecureChannelCredentials(), {}, k_sender_patience);
    if (!sender.SayHello())
        Fail("no Welcome from " + name);
    const std::string job = SubmitJob(sender);
    const double before = server.Megabytes();
    Arrivals nothing(0, 0);
    const Crowd crowd(server.Address(), job, clients, nothing);
    const double with = server.Megabytes();
    std::printf("| %s | %zu | %.0f | %.0f | %.1f |\n", name.c_str(), clients, before, with,
                (with - before) * 1024 / double(clients));
    std::fflush(stdout);
}

/// How many a second: of all, and of the first and the last tenth.
struct Rates
{
    double all = 0;
    double first = 0;
    double last = 0;
};

// Does something so often, one after the other.
template <typename Once> Rates RatesOf(int times, const Once &once)
{
    using Clock = std::chrono::steady_clock;
    const int tenth = times / 10;
    const auto rate = [](int count, Clock::time_point from, Clock::time_point to)
    { return count / std::chrono::duration<double>(to - from).count(); };

    const auto start = Clock::now();
    auto firstEnd = start;
    auto lastStart = start;
    for (int i = 0; i < times; ++i)
    {
        once();
        if (i + 1 == tenth)
            firstEnd = Clock::now();
        if (i + 1 == times - tenth)
            lastStart = Clock::now();
    }
    const auto end = Clock::now();
    return {rate(times, start, end), rate(tenth, start, firstEnd), rate(tenth, lastStart, end)};
}

Rates SubmitManyAtOnce(const std::string &address)
{
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t i = 0; i < k_submits_at_once; ++i)
    {
        clients.push_back(std::make_unique<RawClient>(address));
        clients.back()->SayHello();
    }
    std::vector<Rates> rates(k_submits_at_once);
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < k_submits_at_once; ++i)
            threads.emplace_back(
                [&rates, &clients, i] {
                    rates[i] = RatesOf(k_submits / int(k_submits_at_once),
                                       [&] { SubmitJob(*clients[i]); });
                });
    } // Joined here.
    Rates sum;
    for (const Rates &each : rates)
        sum = {sum.all + each.all, sum.first + each.first, sum.last + each.last};
    return sum;
}

// As the store keeps a job: a row, its parameters, in one commit that is on disk.
Rates BareCommits()
{
    const Folder folder;
    SQLite::Database store(folder / "bare.db", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    store.exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
               "CREATE TABLE jobs(number INTEGER PRIMARY KEY, id TEXT UNIQUE, type TEXT);"
               "CREATE TABLE parameters(job INTEGER, position INTEGER, name TEXT, value TEXT,"
               " PRIMARY KEY(job, position)) WITHOUT ROWID");
    SQLite::Statement job(store, "INSERT INTO jobs(id, type) VALUES (?, ?)");
    SQLite::Statement parameter(store, "INSERT INTO parameters VALUES (?, ?, ?, ?)");
    const auto commitOne = [&]
    {
        const std::string id = UID(true).ToString();
        const wire::Envelope envelope = JobEnvelope(id);
        SQLite::Transaction commit(store);
        SQLite::bind(job, id, std::string(k_command_type));
        job.exec();
        job.reset();
        const std::int64_t number = store.getLastInsertRowid();
        int position = 0;
        for (const wire::Parameter &one : envelope.job().parameters())
        {
            SQLite::bind(parameter, number, position++, one.name(), one.value());
            parameter.exec();
            parameter.reset();
        }
        commit.commit();
    };
    return RatesOf(k_submits, commitOne);
}

void PrintRates(const char *what, const Rates &rates, const Rates &yardstick)
{
    std::printf("| %s | %.0f | %.0f | %.0f | %.2f |\n", what, rates.all, rates.first, rates.last,
                rates.all / yardstick.all);
    std::fflush(stdout);
}

void RunAll(const std::string &self, std::size_t followers, std::size_t idle)
{
    std::printf("\n### %d changes a second for %d s, each to every follower\n\n",
                k_changes_a_second, k_seconds);
    std::printf(
        "| what | followers | all there after s | half within ms | 99 %% within ms | 99 %% of "
        "the first second | 99 %% of the last second | all within ms | changes a message | "
        "lost | out of order | connections lost | processor s |\n");
    std::printf(
        "| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: "
        "| ---: |\n");
    for (const std::size_t count : {followers / 10, followers})
        for (const char *name : {"*bare gRPC*", "Master"})
            FollowChanges(name, self, count);

    std::printf("\n### Clients that wait\n\n");
    std::printf("| what | clients | MB without | MB with | KB a client |\n");
    std::printf("| --- | ---: | ---: | ---: | ---: |\n");
    for (const char *name : {"*bare gRPC*", "Master"})
        Wait(name, self, idle);

    std::printf("\n### %d jobs submitted\n\n", k_submits);
    std::printf("| what | a second | first tenth | last tenth | of its yardstick |\n");
    std::printf("| --- | ---: | ---: | ---: | ---: |\n");
    const Rates bare = BareCommits();
    PrintRates("*bare commits*", bare, bare);
    const LoadedServer server("Master", self);
    RawClient client(server.Address());
    if (!client.SayHello())
        Fail("no Welcome");
    PrintRates("submits, each after the answer to the last",
               RatesOf(k_submits, [&] { SubmitJob(client); }), bare);
    const std::string many = "submits of " + std::to_string(k_submits_at_once) + " clients at once";
    PrintRates(many.c_str(), SubmitManyAtOnce(server.Address()), bare);
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
