#pragma once

#include <memory>
#include <set>

#include "master/frames/FrameLooker.h"
#include "tests/simulation/Machine.h"

namespace simulation
{

/// A Master's eye on the machine's files. Looks take their time, and some cannot be made.
class SimulatedLooker : public master::FrameLooker
{
public:
    /// `isStopped`: see `SimulatedRunner`.
    SimulatedLooker(Machine &machine, Agenda &agenda, Chance &chance,
                    std::function<bool()> isStopped);
    ~SimulatedLooker() override;

    void Start(int look, const check::LookRequest &request,
               master::LookListener &listener) override;
    void End(int look) override;
    std::chrono::seconds LimitOf(const check::LookRequest &request) const override;

private:
    check::LookAnswer AnswerTo(const check::LookRequest &request);

    Machine &m_machine;
    Agenda &m_agenda;
    Chance &m_chance;
    std::function<bool()> m_isStopped;
    std::set<int> m_ended;
    std::shared_ptr<bool> m_isThere; // Shared with what the agenda holds.
};

/// The frames of these files that are bad, as the machine knows.
check::BadFrames FindBadFiles(const Machine &machine, const check::LookRequest &request);

} // namespace simulation
