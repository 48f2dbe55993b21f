#pragma once

#include "master/loop/Clock.h"

/// A clock that stands still until the test moves it on.
class FakeClock : public master::Clock
{
public:
    Moment Now() const override
    {
        return m_now;
    }

    void Pass(std::chrono::milliseconds time)
    {
        m_now += time;
    }

private:
    Moment m_now{std::chrono::hours(1)};
};
