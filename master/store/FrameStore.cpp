#include "master/store/FrameStore.h"

#include <cassert>

#include "corvan/Parameters.h"
#include "master/store/JobStore.h"
#include "master/store/StoreDatabase.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

String TextOf(const UID &id)
{
    return id.IsNil() ? String() : id.ToString();
}

UID IdOf(const std::string &text)
{
    return text.empty() ? UID() : UID(text, false);
}

} // namespace

std::optional<JobFrames> FrameStore::Find(const JobState &state)
{
    _CallEntry call("FrameStore::Find", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]() -> std::optional<JobFrames>
        {
            const Query select = m_database.Prepared(
                "SELECT phase, rounds, round, trouble, judged, bad, bad_range, counts, findings"
                " FROM frames WHERE job = ?");
            select->bind(1, state.number);
            if (!select->executeStep())
                return std::nullopt;
            JobFrames frames;
            frames.phase = JobFrames::Phase(select->getColumn(0).getInt());
            frames.rounds = select->getColumn(1).getUInt();
            frames.round = IdOf(select->getColumn(2).getString());
            frames.trouble = select->getColumn(3).getString();
            frames.isJudged = select->getColumn(4).getInt() != 0;
            frames.bad = select->getColumn(5).getUInt();
            frames.badRange = select->getColumn(6).getString();
            frames.counts = select->getColumn(7).getString();
            frames.findings = select->getColumn(8).getString();
            return frames;
        });
}

void FrameStore::Save(const JobState &state, const JobFrames &frames)
{
    _CallEntry call("FrameStore::Save", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query put = m_database.Prepared(
                "INSERT OR REPLACE INTO frames(job, phase, rounds, round, trouble, judged, bad,"
                " bad_range, counts, findings) VALUES(?,?,?,?,?,?,?,?,?,?)");
            put->bind(1, state.number);
            put->bind(2, int(frames.phase));
            put->bind(3, frames.rounds);
            put->bind(4, TextOf(frames.round));
            put->bind(5, frames.trouble);
            put->bind(6, frames.isJudged ? 1 : 0);
            put->bind(7, frames.bad);
            put->bind(8, frames.badRange);
            put->bind(9, frames.counts);
            put->bind(10, frames.findings);
            put->exec();
        });
}

void FrameStore::Forget(const JobState &state)
{
    _CallEntry call("FrameStore::Forget", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query remove = m_database.Prepared("DELETE FROM frames WHERE job = ?");
            remove->bind(1, state.number);
            remove->exec();
        });
}

std::vector<FrameStore::Due> FrameStore::ListDue()
{
    _CallEntry call("FrameStore::ListDue", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::vector<Due> all;
            const Query select =
                m_database.Prepared("SELECT jobs.id, frames.round FROM frames INDEXED BY frames_due"
                                    " JOIN jobs ON jobs.number = frames.job WHERE frames.phase <> 2"
                                    " ORDER BY frames.job");
            while (select->executeStep())
                all.push_back({UID(select->getColumn(0).getString(), false),
                               IdOf(select->getColumn(1).getString())});
            return all;
        });
}

bool FrameStore::HasActiveRequeue(const UID &origin)
{
    _CallEntry call("FrameStore::HasActiveRequeue", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            // Of the jobs there are few are active, and many may be requeues. None of those is held.
            const Query select = m_database.Prepared(
                "SELECT EXISTS (SELECT 1 FROM jobs INDEXED BY jobs_runnable"
                " CROSS JOIN parameters ON parameters.job = jobs.number AND parameters.name = ?"
                " WHERE jobs.status IN (0, 1) AND jobs.held = 0 AND parameters.value = ?)");
            select->bind(1, corvan::p_RequeueOf);
            select->bind(2, origin.ToString());
            select->executeStep();
            return select->getColumn(0).getInt() != 0;
        });
}

} // namespace master
