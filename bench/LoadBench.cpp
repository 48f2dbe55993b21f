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
constexpr std::chrono::minutes k_sender_patience{5};
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

void FollowChanges(const std::string &name, const std::string &self, std::size_t followers)
{
    const LoadedServer server(name, self);
    RawClient sender(server.Address(), grpc::InsecureChannelCredentials(), {}, k_sender_patience);
    if (!sender.SayHello())
        Fail("no Welcome from " + name);
    const std::string job = SubmitJob(sender);
    Crowd crowd(server.Address(), job, followers);

    const double before = server.Seconds();
    const auto start = std::chrono::steady_clock::now();
    constexpr int k_changes = k_changes_a_second * k_seconds;
    std::thread answers(
        [&]
        {
            // The crowd counts; these only have to be read.
            for (int i = 0; i < k_changes;)
            {
                const auto answer = sender.Receive();
                if (!answer)
                    Fail("the connection of the changes is gone");
                if (answer->has_refused())
                    Fail("a change was refused: " + answer->refused().reason());
                i += answer->has_accepted() ? 1 : 0;
            }
        });
    for (int i = 1; i <= k_changes; ++i)
    {
        std::this_thread::sleep_until(
            start + std::chrono::nanoseconds(i * (1'000'000'000LL / k_changes_a_second)));
        wire::Envelope change = SetEnvelope(job, k_ChangeName, ChangeValue(std::uint64_t(i)));
        change.set_serial(std::uint64_t(1000 + i));
        sender.Send(change);
    }
    answers.join();
    const std::uint64_t all = std::uint64_t(k_changes) * followers;
    const auto until = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (crowd.What().Count() < all && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const double took =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    Arrivals &arrived = crowd.What();
    std::printf("| %s | %zu | %.1f | %d | %d | %d | %llu | %llu | %.1f |\n", name.c_str(),
                followers, took, arrived.Within(0.5), arrived.Within(0.99), arrived.Within(1),
                static_cast<unsigned long long>(all - arrived.Count()),
                static_cast<unsigned long long>(arrived.outOfOrder.load()),
                server.Seconds() - before);
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
    const Crowd crowd(server.Address(), job, clients);
    const double with = server.Megabytes();
    std::printf("| %s | %zu | %.0f | %.0f | %.1f |\n", name.c_str(), clients, before, with,
                (with - before) * 1024 / double(clients));
    std::fflush(stdout);
}

double SubmitOneByOne(RawClient &client)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < k_submits; ++i)
        SubmitJob(client);
    return k_submits /
           std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double SubmitManyAtOnce(const std::string &address)
{
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t i = 0; i < k_submits_at_once; ++i)
    {
        clients.push_back(std::make_unique<RawClient>(address));
        clients.back()->SayHello();
    }
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (auto &client : clients)
        threads.emplace_back(
            [&client]
            {
                for (std::size_t i = 0; i < k_submits / k_submits_at_once; ++i)
                    SubmitJob(*client);
            });
    for (std::thread &thread : threads)
        thread.join();
    return k_submits /
           std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// As the store keeps a job: a row, its parameters, in one commit that is on disk.
double BareCommits()
{
    const Folder folder;
    SQLite::Database store(folder / "bare.db", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    store.exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
               "CREATE TABLE jobs(number INTEGER PRIMARY KEY, id TEXT UNIQUE, type TEXT);"
               "CREATE TABLE parameters(job INTEGER, position INTEGER, name TEXT, value TEXT,"
               " PRIMARY KEY(job, position)) WITHOUT ROWID");
    SQLite::Statement job(store, "INSERT INTO jobs(id, type) VALUES (?, ?)");
    SQLite::Statement parameter(store, "INSERT INTO parameters VALUES (?, ?, ?, ?)");
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < k_submits; ++i)
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
    }
    return k_submits /
           std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void RunAll(const std::string &self, std::size_t followers, std::size_t idle)
{
    std::printf("\n### %d changes a second for %d s, each to every follower\n\n",
                k_changes_a_second, k_seconds);
    std::printf("| what | followers | all there after s | half within ms | 99 %% within ms | all "
                "within ms | lost | out of order | processor s |\n");
    std::printf("| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |\n");
    for (const std::size_t count : {followers / 10, followers})
        for (const char *name : {"*bare gRPC*", "Master"})
            FollowChanges(name, self, count);

    std::printf("\n### Clients that wait\n\n");
    std::printf("| what | clients | MB without | MB with | KB a client |\n");
    std::printf("| --- | ---: | ---: | ---: | ---: |\n");
    for (const char *name : {"*bare gRPC*", "Master"})
        Wait(name, self, idle);

    std::printf("\n### %d jobs submitted\n\n", k_submits);
    std::printf("| what | a second | of its yardstick |\n| --- | ---: | ---: |\n");
    const double bare = BareCommits();
    std::printf("| *bare commits* | %.0f | |\n", bare);
    const LoadedServer server("Master", self);
    RawClient client(server.Address());
    if (!client.SayHello())
        Fail("no Welcome");
    const double single = SubmitOneByOne(client);
    std::printf("| submits, each after the answer to the last | %.0f | %.2f |\n", single,
                single / bare);
    const double many = SubmitManyAtOnce(server.Address());
    std::printf("| submits of %zu clients at once | %.0f | %.2f |\n", k_submits_at_once, many,
                many / bare);
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
