#include "bench/Crowd.h"

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <grpcpp/grpcpp.h>
#include <mutex>
#include <thread>

#include "bench/Measure.h"
#include "corvan/messages.grpc.pb.h"
#include "tests/master/RawClient.h"

namespace bench
{

namespace
{

constexpr std::chrono::minutes k_patience{3};

} // namespace

void Times::Add(std::int64_t ns)
{
    const auto last = std::int64_t(m_byMs.size()) - 1;
    ++m_byMs[std::size_t(std::clamp<std::int64_t>((ns + 999'999) / 1'000'000, 0, last))];
    ++m_count;
}

int Times::Within(double share) const
{
    const double wanted = share * double(m_count);
    std::uint64_t sum = 0;
    for (std::size_t ms = 0; ms < m_byMs.size(); ++ms)
    {
        sum += m_byMs[ms];
        if (sum > 0 && double(sum) >= wanted)
            return int(ms);
    }
    return 0;
}

void Arrivals::Add(std::uint64_t number, std::int64_t sentNs)
{
    const std::int64_t took = NowNs() - sentNs;
    all.Add(took);
    if (number <= m_perEnd)
        first.Add(took);
    if (number + m_perEnd > m_changes)
        last.Add(took);
}

std::string ChangeValue(std::uint64_t number)
{
    return std::to_string(number) + " " + std::to_string(NowNs());
}

/// One of the crowd. gRPC's threads call it.
class Crowd::Member : public grpc::ClientBidiReactor<wire::Envelope, wire::Envelope>
{
public:
    Member(Crowd &crowd, const std::string &address, const std::string &job) : m_crowd(crowd)
    {
        grpc::ChannelArguments arguments;
        arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
        m_channel =
            grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments);
        m_stub = wire::Master::NewStub(m_channel);
        m_context.set_wait_for_ready(true);

        m_hello = HelloEnvelope();
        m_hello.set_serial(1);
        m_follow = FollowEnvelope(job);
        m_follow.set_serial(2);
        m_stub->async()->Connect(&m_context, this);
        StartWrite(&m_hello);
        StartRead(&m_incoming);
        StartCall();
    }

    ~Member() override
    {
        m_context.TryCancel();
        std::unique_lock lock(m_mutex);
        m_ended.wait(lock, [this] { return m_isOver; });
    }

    void OnReadDone(bool ok) override
    {
        if (!ok)
            return;
        const std::uint64_t before = m_last;
        Take(m_incoming);
        for (const std::string &part : m_incoming.gathered())
        {
            m_part.ParseFromString(part);
            Take(m_part);
        }
        if (m_last != before)
            ++m_crowd.m_arrivals.messages;
        StartRead(&m_incoming);
    }

    void OnWriteDone(bool ok) override
    {
        if (ok)
            FollowOnceBoth();
    }

    void OnDone(const grpc::Status &status) override
    {
        // The first is enough to see why.
        if (++m_crowd.m_arrivals.gone == 1 && status.error_code() != grpc::StatusCode::CANCELLED)
            std::fprintf(stderr, "a connection ended: %d, %s\n", status.error_code(),
                         status.error_message().c_str());
        const std::scoped_lock lock(m_mutex);
        m_isOver = true;
        m_ended.notify_all();
    }

private:
    void Take(const wire::Envelope &envelope)
    {
        if (envelope.answers() == 1)
            FollowOnceBoth();
        else if (envelope.answers() == 2)
            ++m_crowd.m_following;
        else if (envelope.has_job_parameter() && envelope.job_parameter().name() == k_ChangeName)
            Count(envelope.job_parameter().value());
    }

    // Welcome may come before gRPC is done with Hello, and it takes one message at a time.
    void FollowOnceBoth()
    {
        if (++m_steps == 2)
            StartWrite(&m_follow);
    }

    void Count(const std::string &value)
    {
        char *end = nullptr;
        const std::uint64_t number = std::strtoull(value.c_str(), &end, 10);
        if (number != m_last + 1)
            ++m_crowd.m_arrivals.outOfOrder;
        m_last = number;
        m_crowd.m_arrivals.Add(number, std::strtoll(end, nullptr, 10));
    }

    Crowd &m_crowd;
    std::shared_ptr<grpc::Channel> m_channel;
    std::unique_ptr<wire::Master::Stub> m_stub;
    grpc::ClientContext m_context;
    wire::Envelope m_hello;
    wire::Envelope m_follow;
    wire::Envelope m_incoming;
    wire::Envelope m_part;
    std::atomic<int> m_steps = 0;
    std::uint64_t m_last = 0;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_isOver = false;
};

Crowd::Crowd(const std::string &address, const std::string &job, std::size_t clients,
             Arrivals &arrivals)
    : m_arrivals(arrivals)
{
    const auto until = std::chrono::steady_clock::now() + k_patience;
    for (std::size_t i = 0; i < clients; ++i)
        m_members.push_back(std::make_unique<Member>(*this, address, job));
    while (m_following < clients)
    {
        if (std::chrono::steady_clock::now() > until)
        {
            std::fprintf(stderr, "of %zu clients %zu follow\n", clients, m_following.load());
            std::exit(1);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

Crowd::~Crowd() = default;

} // namespace bench
