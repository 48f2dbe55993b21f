#include "master/watch/NodeWishes.h"

#include <boost/make_shared.hpp>
#include <utility>

#include "corvan/Limits.h"
#include "corvan/Messages.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

corvan::NodeInfo InfoOf(const NodeBook::Node &node)
{
    corvan::NodeInfo info;
    info.name = node.name;
    info.done = node.done;
    info.failed = node.failed;
    info.bad = node.bad;
    info.suspicion = node.suspicion;
    if (!node.lastFailure)
        return info;
    info.failedJob = node.lastFailure->job;
    info.failedTask = node.lastFailure->task;
    info.failedReason = node.lastFailure->reason;
    info.failedAt = node.lastFailureAt.Format("%Y-%m-%dT%H:%M:%SZ", false, true);
    return info;
}

} // namespace

NodeWishes::NodeWishes(NodeBook &nodes, CommandRunner &runner, Answer answer)
    : m_nodes(nodes), m_runner(runner), m_answer(std::move(answer))
{
    _CallEntry call("NodeWishes::NodeWishes", __FILE__, __LINE__);
}

void NodeWishes::CarryOut(const NodeWish &wish)
{
    _CallEntry call("NodeWishes::CarryOut", __FILE__, __LINE__);

    if (wish.order)
        return Set(wish, *wish.order);
    const bool isAsked = m_runner.AskNodes([this, wish](const std::map<String, String> &states)
                                           { List(wish, states); });
    if (!isAsked)
        List(wish, {});
}

void NodeWishes::List(const NodeWish &wish, const std::map<String, String> &states)
{
    _CallEntry call("NodeWishes::List", __FILE__, __LINE__);

    std::map<String, corvan::NodeInfo> all;
    for (const NodeBook::Node &node : m_nodes.List())
        all[node.name] = InfoOf(node);
    for (const auto &[name, state] : states)
    {
        all[name].name = name;
        all[name].state = state;
    }
    auto answer = boost::make_shared<corvan::NodeListMsg>();
    for (auto &[name, info] : all)
        answer->nodes.push_back(std::move(info));
    Outbox outbox;
    outbox.Answer(wish.client, wish.serial, answer);
    m_answer(std::move(outbox));
}

void NodeWishes::Set(const NodeWish &wish, const NodeWish::Order &order)
{
    _CallEntry call("NodeWishes::Set", __FILE__, __LINE__);

    const auto refuse = [this, wish, node = order.node](const String &why)
    {
        Outbox outbox;
        outbox.Refuse(wish.client, wish.serial, "SetNode " + node, why, UID());
        m_answer(std::move(outbox));
    };
    String reason = order.reason;
    if (reason.empty())
        reason = "drained by " + wish.who.user + " through corvan";
    const auto done = [this, wish, order, reason, refuse](const String &words)
    {
        if (!words.empty())
            return refuse(words);
        ostrel::LogStatus("machine " + order.node +
                          (order.drains ? " takes no more: " + reason : String(" is used again")));
        Outbox outbox;
        outbox.Accept(wish.client, wish.serial, UID());
        AuditEntry entry = EntryOf(wish.who, "SetNode", UID());
        entry.name = order.node;
        entry.newValue = order.drains ? "drain: " + reason : String("resume");
        outbox.Audit(std::move(entry));
        m_answer(std::move(outbox));
    };
    if (!m_runner.SetNode(order.node, order.drains, reason, done))
        refuse("this Master runs its commands itself; machines of a cluster alone can be drained");
}

} // namespace master
