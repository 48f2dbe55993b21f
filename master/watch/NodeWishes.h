#pragma once

#include <functional>

#include "master/jobs/Outbox.h"
#include "master/run/CommandRunner.h"
#include "master/watch/NodeBook.h"

namespace master
{

/// Answers what clients want of the machines. The runner may have to ask others, which takes its
/// time; nobody waits for it but the client. Loop thread.
class NodeWishes
{
public:
    /// Puts what was done on record, and sends the answers.
    using Answer = std::function<void(Outbox outbox)>;

    /// The others outlive it.
    NodeWishes(NodeBook &nodes, CommandRunner &runner, Answer answer);

    void CarryOut(const NodeWish &wish);

private:
    void Set(const NodeWish &wish, const NodeWish::Order &order);
    void List(const NodeWish &wish, const std::map<String, String> &states);

    NodeBook &m_nodes;
    CommandRunner &m_runner;
    Answer m_answer;
};

} // namespace master
