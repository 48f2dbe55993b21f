#include "master/jobs/JobCache.h"

#include "corvan/JobFactory.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "master/jobs/FrameParameters.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

std::size_t EntryBytes(const JobCache::Entry &entry)
{
    std::size_t bytes = 1024 + entry.packets.size() * sizeof(Packet);
    if (entry.job)
        for (const auto &[name, value] : entry.job->Parameters())
            bytes += name.size() + value.size();
    return bytes;
}

void SetNumber(Job &job, const String &name, std::int64_t value)
{
    String text;
    text = value;
    job.SetParameter(name, text);
}

} // namespace

boost::shared_ptr<Job> CopyOf(const Job &job)
{
    boost::shared_ptr<Job> copy = corvan::JobFactory::s_JobFactory.CreateJob(job.Type().id);
    copy->CopyFrom(job, true);
    copy->SetID(job.ID());
    return copy;
}

std::shared_ptr<const JobCache::Entry> JobCache::Get(const UID &job)
{
    _CallEntry call("JobCache::Get", __FILE__, __LINE__);

    return Find(job);
}

std::shared_ptr<const JobCache::Entry> JobCache::GetCut(const UID &job)
{
    _CallEntry call("JobCache::GetCut", __FILE__, __LINE__);

    const std::shared_ptr<Entry> entry = Find(job);
    if (!entry->job || entry->isCut)
        return entry;

    Forget(job);
    entry->packets = CutPackets(*entry->job, &entry->reason);
    entry->isCut = true;
    if (!entry->packets.empty())
        entry->firstFrame = FirstOf(entry->packets).firstFrame;
    MakeRoom(EntryBytes(*entry));
    m_entries.emplace(job, entry);
    return entry;
}

std::shared_ptr<JobCache::Entry> JobCache::Find(const UID &job)
{
    _CallEntry call("JobCache::Find", __FILE__, __LINE__);

    const auto found = m_entries.find(job);
    if (found != m_entries.end())
        return found->second;

    auto entry = std::make_shared<Entry>();
    entry->job = m_store.Load(job, &entry->reason);
    if (!entry->job)
        return entry;
    MakeRoom(EntryBytes(*entry));
    m_entries.emplace(job, entry);
    return entry;
}

// For one more entry. When there is no room the cache starts anew.
void JobCache::MakeRoom(std::size_t bytes)
{
    _CallEntry call("JobCache::MakeRoom", __FILE__, __LINE__);

    if (m_bytes + bytes > k_max_bytes)
        Clear();
    m_bytes += bytes;
}

boost::shared_ptr<Job> JobCache::Whole(const JobState &state, String *reason)
{
    _CallEntry call("JobCache::Whole", __FILE__, __LINE__);

    const std::shared_ptr<const Entry> entry = Get(state.id);
    if (!entry->job)
    {
        *reason = entry->reason;
        return nullptr;
    }

    boost::shared_ptr<Job> job = CopyOf(*entry->job);
    SetNumber(*job, corvan::p_Status, int(state.status));
    SetNumber(*job, corvan::p_Priority, state.priority);
    job->SetParameter(corvan::p_Created, state.created.Format("%Y-%m-%dT%H:%M:%SZ", false, true));
    SetNumber(*job, corvan::p_TasksTotal, state.tasksTotal);
    SetNumber(*job, corvan::p_TasksDone, state.tasksDone);
    SetNumber(*job, corvan::p_TasksFailed, state.tasksFailed);
    if (!state.waiting.empty())
        job->SetParameter(corvan::p_Waiting, state.waiting);
    if (m_addMore)
        m_addMore(state, *job);
    if (IsLookedAt(m_store, *this, *entry->job))
        for (const auto &[name, value] : FrameParametersOf(true, m_store.Frames().Find(state)))
            if (!value.empty())
                job->SetParameter(name, value);
    return job;
}

void JobCache::Forget(const UID &job)
{
    _CallEntry call("JobCache::Forget", __FILE__, __LINE__);

    const auto found = m_entries.find(job);
    if (found == m_entries.end())
        return;
    m_bytes -= EntryBytes(*found->second);
    m_entries.erase(found);
}

void JobCache::Clear()
{
    _CallEntry call("JobCache::Clear", __FILE__, __LINE__);

    m_entries.clear();
    m_bytes = 0;
}

} // namespace master
