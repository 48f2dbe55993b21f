#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "master/loop/Clock.h"
#include "ostrel/Time.h"

namespace simulation
{

/// What is to happen, and when. No time passes but from one thing to the next.
class Agenda
{
public:
    using Moment = master::Clock::Moment;
    using Milliseconds = std::chrono::milliseconds;
    using Work = std::function<void()>;

    Moment Now() const
    {
        return m_now;
    }
    /// Since the beginning.
    Milliseconds Passed() const
    {
        return std::chrono::duration_cast<Milliseconds>(m_now - k_begin);
    }

    /// What is to happen at the same moment does so in the order in which it was told.
    void At(Moment moment, Work work);
    void After(Milliseconds time, Work work)
    {
        At(m_now + time, std::move(work));
    }

    std::optional<Moment> Next() const;
    /// Moves on to the next thing, and gives it to be done. There is one.
    Work Take();

    /// What a clock on the wall shows: the same as `Now` until somebody sets it.
    ostrel::Time WallTime() const
    {
        return ostrel::Time(k_wall_begin + (m_now - k_begin + m_wallAhead).count());
    }
    void SetWallClock(std::chrono::seconds ahead)
    {
        m_wallAhead += ahead;
    }

    /// Time passes in which nothing happens, as while a machine sleeps: what was due is late.
    void Sleep(Milliseconds time)
    {
        m_now += time;
    }

private:
    static constexpr Moment k_begin{std::chrono::hours(1000)};
    static constexpr std::int64_t k_wall_begin = 1'790'000'000'000'000'000;

    Moment m_now = k_begin;
    std::chrono::nanoseconds m_wallAhead{0};
    std::multimap<Moment, Work> m_works;
};

/// The clock on the wall is that of an agenda for as long as this lives. One at a time.
class OnTheWall
{
public:
    explicit OnTheWall(const Agenda &agenda)
    {
        s_agenda = &agenda;
        ostrel::Time::SetClock([] { return s_agenda->WallTime(); });
    }
    ~OnTheWall()
    {
        ostrel::Time::SetClock(nullptr);
    }
    OnTheWall(const OnTheWall &) = delete;
    OnTheWall &operator=(const OnTheWall &) = delete;

private:
    static inline const Agenda *s_agenda = nullptr;
};

/// The Master's clock, in a history.
class SimulatedClock : public master::AlarmClock
{
public:
    explicit SimulatedClock(Agenda &agenda) : m_agenda(agenda) {}

    Moment Now() const override
    {
        return m_agenda.Now();
    }
    std::unique_ptr<master::Alarm> MakeAlarm() override;

private:
    Agenda &m_agenda;
};

} // namespace simulation
