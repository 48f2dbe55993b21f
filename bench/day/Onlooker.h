#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <grpcpp/grpcpp.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "corvan/messages.grpc.pb.h"

namespace bench
{

namespace wire = corvan::wire;

/// What reaches all onlookers together. Any thread.
struct Sight
{
    std::atomic<std::uint64_t> messages = 0; ///< One may bring several news.
    std::atomic<std::uint64_t> news = 0;
};

/// A window or a page: a client that follows jobs, also those that are still to come, asks how they
/// are, and keeps what it was told last. Where its connection ends, make another one.
class Onlooker : private grpc::ClientBidiReactor<wire::Envelope, wire::Envelope>
{
public:
    /// Connects, and waits for the server where it is not there yet. `sight` outlives it.
    Onlooker(const std::string &address, const std::vector<std::string> &jobs, Sight &sight);
    /// Hangs up.
    ~Onlooker() override;
    Onlooker(const Onlooker &) = delete;
    Onlooker &operator=(const Onlooker &) = delete;

    bool IsFollowing() const
    {
        return m_isFollowing;
    }

    /// Values of the parameter "Status", by job. Any thread.
    std::map<std::string, int> Statuses() const;

private:
    // gRPC's threads call these.
    void OnReadDone(bool ok) override;
    void OnWriteDone(bool ok) override;
    void OnDone(const grpc::Status &status) override;

    void Take(const wire::Envelope &envelope);
    void Note(const std::string &job, const wire::Parameter &parameter);
    void TakeStep();

    Sight &m_sight;
    std::shared_ptr<grpc::Channel> m_channel;
    std::unique_ptr<wire::Master::Stub> m_stub;
    grpc::ClientContext m_context;
    wire::Envelope m_hello;
    wire::Envelope m_follow;
    wire::Envelope m_ask;
    wire::Envelope m_incoming;
    wire::Envelope m_part;
    std::atomic<int> m_steps = 0;
    std::atomic<bool> m_isFollowing = false;
    mutable std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_isOver = false;
    std::map<std::string, int> m_statuses;
};

} // namespace bench
