#pragma once

#include <set>
#include <utility>

#include "master/loop/Clock.h"

/// A clock that stands still until the test moves it on; what was to ring meanwhile rings then,
/// each at its moment.
class FakeAlarmClock : public master::AlarmClock
{
public:
    Moment Now() const override
    {
        return m_now;
    }
    std::unique_ptr<master::Alarm> MakeAlarm() override
    {
        return std::make_unique<FakeAlarm>(*this);
    }

    void Pass(std::chrono::milliseconds time)
    {
        const Moment end = m_now + time;
        while (FakeAlarm *const next = FindDue(end))
        {
            m_now = std::max(m_now, next->at);
            std::exchange(next->ring, nullptr)();
        }
        m_now = end;
    }

private:
    struct FakeAlarm : master::Alarm
    {
        explicit FakeAlarm(FakeAlarmClock &theClock) : clock(theClock)
        {
            clock.m_alarms.insert(this);
        }
        ~FakeAlarm() override
        {
            clock.m_alarms.erase(this);
        }
        void Set(Moment moment, std::function<void()> call) override
        {
            at = moment;
            ring = std::move(call);
        }
        void Cancel() override
        {
            ring = nullptr;
        }

        FakeAlarmClock &clock;
        Moment at;
        std::function<void()> ring;
    };

    FakeAlarm *FindDue(Moment end) const
    {
        FakeAlarm *due = nullptr;
        for (FakeAlarm *alarm : m_alarms)
            if (alarm->ring && alarm->at <= end && (!due || alarm->at < due->at))
                due = alarm;
        return due;
    }

    Moment m_now{std::chrono::hours(1)};
    std::set<FakeAlarm *> m_alarms;
};
