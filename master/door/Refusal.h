#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <grpcpp/grpcpp.h>
#include <memory>
#include <mutex>

namespace master
{

/// A call that is refused, perhaps after a pause: nothing is read of it. It holds itself until gRPC
/// is done with it.
class Refusal : public grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer>,
                public std::enable_shared_from_this<Refusal>
{
public:
    /// Any thread. What it gives is to be given to gRPC.
    static Refusal *Make(boost::asio::io_context &loop, const grpc::Status &status,
                         std::chrono::milliseconds pause);

    Refusal(boost::asio::io_context &loop, grpc::Status status);

    void OnCancel() override;
    void OnDone() override;

private:
    void Tell();

    const grpc::Status m_status;
    boost::asio::steady_timer m_timer; // The loop's thread alone.
    std::shared_ptr<Refusal> m_self;
    std::mutex m_mutex;
    bool m_isTold = false;
};

} // namespace master
