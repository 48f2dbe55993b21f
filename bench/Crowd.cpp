#include "bench/Crowd.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/epoll.h>

#include "bench/BareConnection.h"
#include "bench/Measure.h"
#include "tests/master/RawClient.h"

namespace bench
{

namespace
{

constexpr std::chrono::minutes k_patience{3};
constexpr int k_look_ms = 100; // Whether it is to end.

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

/// One of the crowd.
class Crowd::Member
{
public:
    Member(Crowd &crowd, const std::string &socketFile, const std::string &job)
        : m_crowd(crowd), m_connection(socketFile), m_follow(FollowEnvelope(job))
    {
        wire::Envelope hello = HelloEnvelope();
        hello.set_serial(1);
        m_follow.set_serial(2);
        m_connection.Send(hello.SerializeAsString());
    }

    int Socket() const
    {
        return m_connection.Socket();
    }

    /// What has come. False where the connection is over.
    bool Read()
    {
        return m_connection.Read([this](std::string_view message) { TakeMessage(message); });
    }

private:
    void TakeMessage(std::string_view message)
    {
        static wire::Envelope s_incoming, s_part; // One thread reads, and their memory is kept.
        const std::uint64_t before = m_last;
        s_incoming.ParseFromArray(message.data(), int(message.size()));
        Take(s_incoming);
        for (const std::string &part : s_incoming.gathered())
        {
            s_part.ParseFromString(part);
            Take(s_part);
        }
        if (m_last != before)
            ++m_crowd.m_arrivals.messages;
    }

    void Take(const wire::Envelope &envelope)
    {
        if (envelope.answers() == 1)
            m_connection.Send(m_follow.SerializeAsString());
        else if (envelope.answers() == 2)
            ++m_crowd.m_following;
        else if (envelope.has_job_parameter() && envelope.job_parameter().name() == k_ChangeName)
            Count(envelope.job_parameter().value());
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
    BareConnection m_connection;
    wire::Envelope m_follow;
    std::uint64_t m_last = 0;
};

Crowd::Crowd(const std::string &socketFile, const std::string &job, std::size_t clients,
             Arrivals &arrivals)
    : m_arrivals(arrivals), m_poll(::epoll_create1(EPOLL_CLOEXEC))
{
    const auto until = std::chrono::steady_clock::now() + k_patience;
    m_reader = std::jthread([this] { Read(); });
    for (std::size_t i = 0; i < clients; ++i)
    {
        m_members.push_back(std::make_unique<Member>(*this, socketFile, job));
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.ptr = m_members.back().get();
        ::epoll_ctl(m_poll.Number(), EPOLL_CTL_ADD, m_members.back()->Socket(), &event);
    }
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

Crowd::~Crowd()
{
    m_isEnding = true;
    m_reader.join();
}

void Crowd::Read()
{
    std::array<epoll_event, 256> events;
    while (!m_isEnding)
    {
        const int count =
            ::epoll_wait(m_poll.Number(), events.data(), int(events.size()), k_look_ms);
        for (int i = 0; i < count; ++i)
        {
            auto *member = static_cast<Member *>(events[std::size_t(i)].data.ptr);
            if (member->Read())
                continue;
            ++m_arrivals.gone;
            ::epoll_ctl(m_poll.Number(), EPOLL_CTL_DEL, member->Socket(), nullptr);
        }
    }
}

} // namespace bench
