#include "tests/simulation/Machine.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace simulation
{

using master::RunEnd;
using Milliseconds = Agenda::Milliseconds;

namespace
{

constexpr Milliseconds k_look_each{50};
// What a limit allows a command that hangs.
constexpr Milliseconds k_limit{600'000};

std::string FramesText(int first, int last)
{
    return "frames " + std::to_string(first) + "-" + std::to_string(last);
}

} // namespace

Machine::Machine(Agenda &agenda, Chance &chance, Verdict &verdict)
    : m_agenda(agenda), m_chance(chance), m_verdict(verdict)
{
}

bool Machine::Start(const master::Command &command, master::RunListener &listener, String *reason)
{
    Process process;
    process.job = UID(command.folder.Leaf(true), true);
    process.firstFrame = std::atoi(command.arguments.at(4).c_str());
    process.lastFrame = std::atoi(command.arguments.at(5).c_str());
    process.run = command.run;
    process.listener = &listener;
    for (const ostrel::Path &output : command.outputs)
        process.files.push_back(output.Text());
    const auto what = [&] {
        return FramesText(process.firstFrame, process.lastFrame) + " of job " +
               process.job.ToString();
    };
    if (m_watcher)
        m_watcher->See(process.job, process.firstFrame, process.lastFrame);
    for (const auto &[number, other] : m_processes)
        if (other.job == process.job && other.firstFrame <= process.lastFrame &&
            process.firstFrame <= other.lastFrame)
            m_verdict.Wrong(what() + " are started while a command renders " +
                            FramesText(other.firstFrame, other.lastFrame));
    if (m_chance.Percent(m_health.refused))
    {
        m_verdict.Tell([&] { return "machine refuses " + what(); });
        *reason = "no room for another process";
        if (m_watcher)
            m_watcher->SeeRefusal();
        return false;
    }
    const int number = ++m_lastProcess;
    m_verdict.Tell([&] { return "machine takes " + what(); });
    m_processes[number] = process;
    m_agenda.After(m_chance.Span(0, 500), [this, number] { Begin(number); });
    return true;
}

void Machine::Begin(int number)
{
    const auto found = m_processes.find(number);
    if (found == m_processes.end())
        return;
    if (m_chance.Percent(m_health.unstarted))
        return Finish(number, {.isStarted = false, .reason = "the program is not there"});

    found->second.isStarted = true;
    if (found->second.listener)
        found->second.listener->OnStarted(found->second.run);
    const Milliseconds time = m_chance.Span(20, 20'000);
    if (m_chance.Percent(m_health.lost))
        FinishAfter(time, number, {.isStarted = false, .reason = "nobody knows how it ended"});
    else if (m_chance.Percent(m_health.hanging))
        FinishAfter(k_limit, number, {.exitCode = -1, .reason = "it took too long"});
    else if (m_chance.Percent(m_health.failed))
        FinishAfter(time, number, {.exitCode = 7});
    else
        FinishAfter(time, number, {});
}

void Machine::FinishAfter(Milliseconds time, int number, const RunEnd &end)
{
    m_agenda.After(time, [this, number, end] { Finish(number, end); });
}

void Machine::Finish(int number, const RunEnd &end)
{
    const auto found = m_processes.find(number);
    if (found == m_processes.end())
        return;
    const Process process = found->second;
    m_processes.erase(found);
    m_verdict.Tell(
        [&]
        {
            return FramesText(process.firstFrame, process.lastFrame) + " of job " +
                   process.job.ToString() + " end" + (end.IsSuccess() ? "" : " badly") +
                   (process.listener ? "" : ", an orphan");
        });
    if (end.IsSuccess())
    {
        for (int frame = process.firstFrame; frame <= process.lastFrame; ++frame)
            m_rendered[process.job].insert(frame);
        for (const std::string &file : process.files)
            Write(file);
    }
    if (process.listener)
        process.listener->OnEnded(process.run, end);
}

void Machine::Write(const std::string &path)
{
    File &file = m_files[path];
    if (file.version++ == 0)
        file.isAlwaysBad = m_chance.IsOneIn(15);
    file.isBad = file.isAlwaysBad || m_chance.Percent(m_health.flawed);
}

Machine::File Machine::FileAt(const std::string &path) const
{
    const auto found = m_files.find(path);
    return found == m_files.end() ? File() : found->second;
}

bool Machine::IsBlind()
{
    return m_chance.Percent(m_health.blind);
}

void Machine::End(int run)
{
    for (auto &[number, process] : m_processes)
    {
        if (!process.listener || process.run != run || std::exchange(process.isEnding, true))
            continue;
        FinishAfter(m_chance.Span(0, 3000), number,
                    {.isStarted = process.isStarted, .exitCode = -1, .reason = "it was ended"});
    }
}

void Machine::LoseMaster()
{
    for (auto &[number, process] : m_processes)
    {
        if (!std::exchange(process.listener, nullptr))
            continue;
        FinishAfter(m_chance.Span(0, 2000), number, {.exitCode = -1});
    }
}

bool Machine::HasOrphans() const
{
    return std::ranges::any_of(m_processes,
                               [](const auto &process) { return !process.second.listener; });
}

int Machine::CountOwn() const
{
    return int(std::ranges::count_if(m_processes, [](const auto &process)
                                     { return process.second.listener != nullptr; }));
}

bool Machine::IsRendering(const UID &job, int firstFrame, int lastFrame) const
{
    return std::ranges::any_of(m_processes,
                               [&](const auto &entry)
                               {
                                   const Process &process = entry.second;
                                   return process.listener && !process.isEnding &&
                                          process.job == job && process.firstFrame == firstFrame &&
                                          process.lastFrame == lastFrame;
                               });
}

std::size_t Machine::CountRendering() const
{
    return std::size_t(
        std::ranges::count_if(m_processes, [](const auto &process)
                              { return process.second.listener && !process.second.isEnding; }));
}

std::map<UID, unsigned> Machine::CountOwnByJob() const
{
    std::map<UID, unsigned> counts;
    for (const auto &[number, process] : m_processes)
        if (process.listener)
            ++counts[process.job];
    return counts;
}

bool Machine::IsEnding(const UID &job) const
{
    return std::ranges::any_of(m_processes,
                               [&](const auto &process) {
                                   return process.second.listener && process.second.isEnding &&
                                          process.second.job == job;
                               });
}

bool Machine::HasRendered(const UID &job, int frame) const
{
    const auto found = m_rendered.find(job);
    return found != m_rendered.end() && found->second.contains(frame);
}

SimulatedRunner::SimulatedRunner(Machine &machine, Agenda &agenda, int slots,
                                 std::function<bool()> isStopped)
    : m_machine(machine), m_agenda(agenda), m_slots(slots), m_isStopped(std::move(isStopped)),
      m_isThere(std::make_shared<bool>(true))
{
}

SimulatedRunner::~SimulatedRunner()
{
    *m_isThere = false;
}

void SimulatedRunner::Begin(const UID & /*master*/, std::function<void()> isAlone)
{
    m_agenda.After(Milliseconds(0),
                   [this, isThere = m_isThere, isAlone = std::move(isAlone)]
                   {
                       if (*isThere)
                           Look(isAlone);
                   });
}

void SimulatedRunner::Look(const std::function<void()> &isAlone)
{
    if (!m_machine.HasOrphans())
    {
        m_isAlone = true;
        isAlone();
        return;
    }
    m_agenda.After(k_look_each,
                   [this, isThere = m_isThere, isAlone]
                   {
                       if (*isThere)
                           Look(isAlone);
                   });
}

int SimulatedRunner::FreeSlots() const
{
    return m_isAlone ? m_slots - m_machine.CountOwn() : 0;
}

bool SimulatedRunner::Start(const master::Command &command, master::RunListener &listener,
                            String *error)
{
    return m_isStopped() || m_machine.Start(command, listener, error);
}

void SimulatedRunner::End(int run)
{
    if (!m_isStopped())
        m_machine.End(run);
}

} // namespace simulation
