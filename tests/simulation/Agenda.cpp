#include "tests/simulation/Agenda.h"

#include <algorithm>
#include <utility>

namespace simulation
{

namespace
{

class SimulatedAlarm : public master::Alarm
{
public:
    explicit SimulatedAlarm(Agenda &agenda) : m_agenda(agenda) {}
    ~SimulatedAlarm() override
    {
        SimulatedAlarm::Cancel();
    }

    void Set(master::Clock::Moment at, std::function<void()> ring) override
    {
        Cancel();
        m_isSet = std::make_shared<bool>(true);
        m_agenda.At(at,
                    [isSet = m_isSet, ring = std::move(ring)]
                    {
                        if (std::exchange(*isSet, false))
                            ring();
                    });
    }

    void Cancel() override
    {
        if (m_isSet)
            *m_isSet = false;
    }

private:
    Agenda &m_agenda;
    std::shared_ptr<bool> m_isSet; // Shared with what the agenda holds.
};

} // namespace

void Agenda::At(Moment moment, Work work)
{
    m_works.emplace(moment, std::move(work));
}

std::optional<Agenda::Moment> Agenda::Next() const
{
    return m_works.empty() ? std::nullopt : std::optional(m_works.begin()->first);
}

Agenda::Work Agenda::Take()
{
    const auto first = m_works.begin();
    m_now = std::max(m_now, first->first);
    Work work = std::move(first->second);
    m_works.erase(first);
    return work;
}

std::unique_ptr<master::Alarm> SimulatedClock::MakeAlarm()
{
    return std::make_unique<SimulatedAlarm>(m_agenda);
}

} // namespace simulation
