#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "master/loop/Clock.h"
#include "ostrel/Time.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::String;
using ostrel::UID;

/// What became of tasks on each machine lately, and which machines seem to be at fault.
///
/// Lately is a day, and 500 tasks of a machine at most. It is in memory alone: after a restart it
/// begins anew. Machines of which nothing is heard for longer are forgotten; of more than
/// `k_MostNodes` in a day the first are known. Loop thread.
class NodeBook
{
public:
    static constexpr std::chrono::hours k_Lately{24};
    static constexpr std::size_t k_MostTasks = 500;
    static constexpr std::size_t k_MostNodes = 20'000;

    explicit NodeBook(const Clock &clock) : m_clock(clock) {}

    enum class Outcome
    {
        Done,
        Failed, ///< The command failed, or could not be started there.
        Bad,    ///< It was done, and a frame of it is bad.
    };
    struct Event
    {
        UID job;
        unsigned task = 0;
        Outcome outcome = Outcome::Done;
        String reason{}; ///< Why it failed, or what is bad.
    };
    /// A task has ended on a machine. One that was done there and turns out bad is bad from then
    /// on.
    void Note(const String &node, const Event &event);
    /// Tasks of a job are bad: each on the machine that did it last, where that is still known.
    void NoteBad(const UID &job, const std::set<unsigned> &tasks, const String &reason);

    struct Node
    {
        String name;
        unsigned done = 0; ///< Lately, as all of these.
        unsigned failed = 0;
        unsigned bad = 0;
        std::optional<Event> lastFailure; ///< Bad frames are one, too.
        ostrel::Time lastFailureAt;
        /// The jobs that speak against it; it is suspicious where there are some.
        std::vector<UID> against;
        String suspicion; ///< Why, for people; empty where it is not suspicious.
    };
    /// All of which something is known, by their names.
    ///
    /// A machine is suspicious where at least two jobs speak against it: of the job's tasks on this
    /// machine a fifth or more failed or came out bad, while on the others at least three were done
    /// and fewer than a fifth failed. The only machine is where its last ten tasks, of at least two
    /// jobs, have all failed.
    std::vector<Node> List();

private:
    /// An event as it is kept: a day of a large farm has a million of them, few with a reason.
    struct Kept
    {
        UID job;
        unsigned task;
        Outcome outcome;
        Clock::Moment at;
        std::unique_ptr<const String> reason;
    };
    struct Counts
    {
        unsigned good = 0;
        unsigned failed = 0; ///< Or bad.
    };
    using Events = std::deque<Kept>;

    ostrel::Time TimeOf(Clock::Moment at) const;
    void Forget(Events &events) const;
    void ForgetAll();
    static void Judge(const std::map<UID, Counts> &here, const std::map<UID, Counts> &everywhere,
                      Node &node);
    static void JudgeAlone(const Events &events, Node &node);

    const Clock &m_clock;
    std::map<String, Events> m_nodes;
    Clock::Moment m_nextForgetting; // Of machines, too, of which nothing is heard any more.
};

} // namespace master
