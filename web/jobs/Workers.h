#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <functional>
#include <memory>

#include "ostrel/Exception.h"
#include "ostrel/Log.h"

namespace web
{

/// Threads for what takes long. What they are given they only read; what they make comes back to
/// the loop. Joined with the end of this, which must come before the end of what they use.
class Workers
{
public:
    Workers(boost::asio::io_context &loop, unsigned threads) : m_loop(loop), m_threads(threads) {}
    ~Workers()
    {
        m_threads.stop();
        m_threads.join();
    }

    /// Calls `work` on a thread, and then `done` with what it gave on the loop. `work` throws
    /// nothing but `ostrel::Exception *`, whose text `failed` is given in place of that.
    template <typename Result>
    void Do(std::function<Result()> work, std::function<void(Result)> done,
            std::function<void(const ostrel::String &)> failed)
    {
        boost::asio::post(
            m_threads,
            [&loop = m_loop, work = std::move(work), done = std::move(done),
             failed = std::move(failed)]() mutable
            {
                try
                {
                    auto result = std::make_shared<Result>(work());
                    work = nullptr;
                    boost::asio::post(loop, [result, done = std::move(done)]
                                      { done(std::move(*result)); });
                }
                catch (ostrel::Exception *raw)
                {
                    const std::unique_ptr<ostrel::Exception> error(raw);
                    boost::asio::post(loop, [text = error->Text(), failed = std::move(failed)]
                                      { failed(text); });
                }
                catch (const std::exception &error)
                {
                    // No memory is left, say.
                    boost::asio::post(loop, [text = ostrel::String(error.what()),
                                             failed = std::move(failed)] { failed(text); });
                }
            });
    }

private:
    boost::asio::io_context &m_loop;
    boost::asio::thread_pool m_threads;
};

} // namespace web
