#include "master/requests/Dispatcher.h"

#include <cassert>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

const char *const k_not_taken = "the Master does not take this message";

} // namespace

Dispatcher::Dispatcher(JobStore &store, JobCache &cache, Followers &followers,
                       JobAnswers::FindPlaces findPlaces)
    : m_store(store), m_followers(followers), m_dependences(store, cache),
      m_answers(store, cache, std::move(findPlaces)), m_newJobs(store, cache, m_dependences),
      m_edits(store, cache, m_dependences), m_removals(store, cache, m_dependences)
{
    _CallEntry call("Dispatcher::Dispatcher", __FILE__, __LINE__);
}

void Dispatcher::Handle(const Caller &caller, const Message &message, Outbox &outbox)
{
    _CallEntry call("Dispatcher::Handle", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const ClientRequest request{caller, message, outbox};
    const std::optional<Need> need = FindNeed(message);
    if (!need)
        return request.Refuse(k_not_taken, UID());
    const std::optional<MissingRight> missing = FindMissing(caller, *need);
    if (!missing)
        return Carry(request);
    AuditEntry entry = EntryOf(caller.who, message.TypeName(), need->job);
    entry.refused = missing->sentence;
    outbox.Audit(std::move(entry));
    request.RefuseForRight(*missing, need->job);
}

void Dispatcher::TakeAway(const JobState &state, Outbox &outbox)
{
    _CallEntry call("Dispatcher::TakeAway", __FILE__, __LINE__);

    m_removals.TakeAway(state, outbox);
}

// Nothing where none is missing.
std::optional<MissingRight> Dispatcher::FindMissing(const Caller &caller, const Need &need)
{
    _CallEntry call("Dispatcher::FindMissing", __FILE__, __LINE__);

    // One role alone depends on the owner, who has to be read.
    if (need.right != Right::Edit || caller.who.role != Role::EditOwn)
        return FindMissingRight(caller.who, need.right, {});
    const std::optional<String> owner = m_store.FindOwner(need.job);
    // A job that is not there is nobody's; that there is none is told instead.
    return owner ? FindMissingRight(caller.who, need.right, *owner) : std::nullopt;
}

void Dispatcher::Carry(const ClientRequest &request)
{
    _CallEntry call("Dispatcher::Carry", __FILE__, __LINE__);

    const Message &message = request.message;
    if (const auto *follow = dynamic_cast<const corvan::FollowJobMsg *>(&message))
        Follow(request, *follow);
    else if (const auto *jobs = dynamic_cast<const corvan::GetJobInfoMsg *>(&message))
        m_answers.SendJobs(request, *jobs);
    else if (const auto *parameter = dynamic_cast<const corvan::JobParameterMsg *>(&message))
        m_edits.ChangeParameters(request, parameter->job, {{parameter->name, parameter->value}});
    else if (const auto *parameters = dynamic_cast<const corvan::JobParametersMsg *>(&message))
        m_edits.ChangeParameters(request, parameters->job, parameters->parameters);
    else if (const auto *job = dynamic_cast<const corvan::JobMsg *>(&message))
        m_newJobs.AddJob(request, *job);
    else if (const auto *removal = dynamic_cast<const corvan::RemoveJobMsg *>(&message))
        m_removals.RemoveJob(request, *removal);
    else if (const auto *list = dynamic_cast<const corvan::ListJobsMsg *>(&message))
        m_answers.SendJobList(request, *list);
    else if (const auto *tasks = dynamic_cast<const corvan::GetTasksMsg *>(&message))
        m_answers.SendTasks(request, *tasks);
    else if (const auto *log = dynamic_cast<const corvan::GetTaskLogMsg *>(&message))
        m_answers.SendTaskLog(request, *log);
    else if (dynamic_cast<const corvan::ListNodesMsg *>(&message))
        WishOfNodes(request, std::nullopt);
    else if (const auto *node = dynamic_cast<const corvan::SetNodeMsg *>(&message))
        WishOfNodes(request, NodeWish::Order{node->node, node->drains, node->reason});
    else
        request.Refuse(k_not_taken, UID());
}

void Dispatcher::WishOfNodes(const ClientRequest &request, std::optional<NodeWish::Order> order)
{
    _CallEntry call("Dispatcher::WishOfNodes", __FILE__, __LINE__);

    request.outbox.Wish(NodeWish{.client = request.caller.client,
                                 .serial = request.message.serial,
                                 .who = request.caller.who,
                                 .order = std::move(order)});
}

void Dispatcher::Follow(const ClientRequest &request, const corvan::FollowJobMsg &message)
{
    _CallEntry call("Dispatcher::Follow", __FILE__, __LINE__);

    if (message.all)
        m_followers.FollowAll(request.caller.client);
    if (m_followers.Follow(request.caller.client, message.jobs))
        request.Accept(message.jobs.size() == 1 ? message.jobs.front() : UID());
    else
        request.Refuse("more than " + std::to_string(Followers::k_MaxJobs) + " jobs", UID());
}

} // namespace master
