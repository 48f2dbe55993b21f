#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>

namespace master
{

/// Has done what may take as long as a share likes, for somebody who does not wait for it. Loop
/// thread.
class SlowWork
{
public:
    /// It knows nothing but what it holds itself, and throws nothing. What it gives is called on
    /// the loop once it is done.
    using Work = std::function<std::function<void()>()>;

    virtual ~SlowWork() = default;

    virtual void Do(Work work) = 0;
};

/// At once, within the call: where nothing is slow.
class WorkInPlace : public SlowWork
{
public:
    void Do(Work work) override
    {
        work()();
    }
};

/// One after the other, on a thread of its own. A share that hangs keeps that thread, and all that
/// comes after, for as long as it does. Where this object goes first the thread is left to itself
/// after a moment, and nothing more is called.
class SlowThread : public SlowWork
{
public:
    explicit SlowThread(boost::asio::io_context &loop);
    ~SlowThread() override;
    SlowThread(const SlowThread &) = delete;
    SlowThread &operator=(const SlowThread &) = delete;

    void Do(Work work) override;

private:
    struct State;

    static void DoAll(const std::shared_ptr<State> &state, boost::asio::io_context &loop);

    boost::asio::io_context &m_loop;
    std::shared_ptr<State> m_state; // Shared with the thread and with what is posted.
    bool m_isBegun = false;
};

} // namespace master
