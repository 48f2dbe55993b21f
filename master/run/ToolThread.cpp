#include "master/run/ToolThread.h"

#include <boost/asio/post.hpp>
#include <utility>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

ToolThread::ToolThread(boost::asio::io_context &loop)
    : m_loop(loop), m_isThere(std::make_shared<bool>(true))
{
    _CallEntry call("ToolThread::ToolThread", __FILE__, __LINE__);
}

ToolThread::~ToolThread()
{
    _CallEntry call("ToolThread::~ToolThread", __FILE__, __LINE__);

    *m_isThere = false;
    m_stop.request_stop();
    if (m_thread)
        m_thread->Stop();
}

void ToolThread::Run(Tool tool, std::chrono::milliseconds limit, Done done)
{
    _CallEntry call("ToolThread::Run", __FILE__, __LINE__);

    if (!m_thread)
        m_thread.emplace();
    m_thread->Add(
        [this, tool = std::move(tool), limit, done = std::move(done)]
        {
            ToolEnd end = RunTool(tool, limit, m_stop.get_token());
            boost::asio::post(m_loop,
                              [isThere = m_isThere, done, end = std::move(end)]
                              {
                                  if (*isThere)
                                      done(end);
                              });
        });
}

} // namespace master
