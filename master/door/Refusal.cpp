#include "master/door/Refusal.h"

#include <boost/asio/post.hpp>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

Refusal *Refusal::Make(boost::asio::io_context &loop, const grpc::Status &status,
                       std::chrono::milliseconds pause)
{
    _CallEntry call("Refusal::Make", __FILE__, __LINE__);

    auto refusal = std::make_shared<Refusal>(loop, status);
    refusal->m_self = refusal;
    if (pause.count() == 0)
        refusal->Tell();
    else
        boost::asio::post(loop,
                          [refusal, pause]
                          {
                              refusal->m_timer.expires_after(pause);
                              refusal->m_timer.async_wait([refusal](const auto & /*error*/)
                                                          { refusal->Tell(); });
                          });
    return refusal.get();
}

Refusal::Refusal(boost::asio::io_context &loop, grpc::Status status)
    : m_status(std::move(status)), m_timer(loop)
{
    _CallEntry call("Refusal::Refusal", __FILE__, __LINE__);
}

void Refusal::Tell()
{
    _CallEntry call("Refusal::Tell", __FILE__, __LINE__);

    {
        const std::lock_guard lock(m_mutex);
        if (m_isTold)
            return;
        m_isTold = true;
    }
    Finish(m_status);
}

void Refusal::OnCancel()
{
    _CallEntry call("Refusal::OnCancel", __FILE__, __LINE__);

    Tell();
}

void Refusal::OnDone()
{
    _CallEntry call("Refusal::OnDone", __FILE__, __LINE__);

    const std::shared_ptr<Refusal> self = std::move(m_self);
}

} // namespace master
