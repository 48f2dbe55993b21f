#pragma once

#include <deque>
#include <functional>
#include <utility>

#include "master/run/SlowWork.h"

/// Work that is done when the test says so, as on a share that hangs until then.
class HeldWork : public master::SlowWork
{
public:
    void Do(Work work) override
    {
        m_work.push_back(std::move(work));
    }

    std::size_t Count() const
    {
        return m_work.size();
    }
    /// Does the first of it, and what is to follow.
    void DoNext()
    {
        const Work work = std::move(m_work.front());
        m_work.pop_front();
        work()();
    }

private:
    std::deque<Work> m_work;
};
