// Whose turn it is: what a plan reads of the job store to give slots away, in processor time.
// Yardstick: the same slots where there is one job alone.
#include "bench/Measure.h"
#include "corvan/JobFactory.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "master/schedule/FairQueue.h"

using namespace bench;
using namespace master;

namespace
{

constexpr int k_runs = 51;

corvan::JobType Type()
{
    corvan::JobType type;
    type.id = UID(true);
    type.name = "Bench";
    type.renderCommand = {"true"};
    return type;
}

/// A store in a folder of its own, with jobs of many frames.
class Jobs
{
public:
    Jobs()
    {
        corvan::JobFactory::s_JobFactory.AddType(m_type);
        m_first = AddOne("anna");
    }
    ~Jobs()
    {
        corvan::JobFactory::s_JobFactory.Clear();
    }

    /// So many more, of so many owners.
    void Add(unsigned count, unsigned owners)
    {
        for (unsigned i = 0; i < count; ++i)
            AddOne("owner" + std::to_string(i % owners));
    }

    /// So many more that wait for the first.
    void AddWaiting(unsigned count)
    {
        for (unsigned i = 0; i < count; ++i)
        {
            const JobState state = AddOne("anna");
            m_store.Waits().Replace(state, std::vector<WaitedFor>{{m_first.id}});
            m_store.Waits().Settle(state, WaitStore::Hold::Told);
        }
    }

    /// Each of so many owners has had a slot, one after the other.
    void LetEachHaveHadOne(unsigned owners)
    {
        for (unsigned i = 0; i < owners; ++i)
        {
            const UID job(true);
            m_shares.Begin(job, "owner" + std::to_string(i), JobState().priority);
            m_shares.End(job);
        }
    }

    /// Gives so many slots away, as a plan does that comes to nothing.
    Timing Plan(int slots)
    {
        return Measure<ThreadTime>(k_runs,
                                   [&]
                                   {
                                       FairQueue queue(m_store, m_shares, {});
                                       for (int slot = 0; slot < slots && queue.Next(); ++slot)
                                           queue.Serve();
                                   });
    }

private:
    JobState AddOne(const String &owner)
    {
        const auto job = corvan::JobFactory::s_JobFactory.CreateJob(m_type.id);
        job->SetID(UID(true));
        job->SetParameter(corvan::p_Range, "1-100000");
        job->SetParameter(corvan::p_Owner, owner);
        JobState state;
        state.id = job->ID();
        state.tasksTotal = 100'000;
        m_store.Add(*job, state);
        return state;
    }

    const corvan::JobType m_type = Type();
    Folder m_folder;
    JobStore m_store{ostrel::Path(m_folder / "jobs.db")};
    JobStore::Turn m_turn{m_store}; // It comes to nothing: what is measured is read.
    OwnerShares m_shares;
    JobState m_first;
};

void MeasureSlots(int slots)
{
    const std::string beside = ", " + std::to_string(slots) + (slots == 1 ? " slot" : " slots");
    const Timing alone = Jobs().Plan(slots);
    PrintYardstick("one job" + beside, 1, alone);
    for (const unsigned count : {1'000u, 50'000u})
    {
        Jobs waiting;
        waiting.AddWaiting(count);
        PrintRow("others wait for it" + beside, count, waiting.Plan(slots), alone);
    }
    for (const unsigned owners : {1u, 20u, 500u})
    {
        Jobs queued;
        queued.Add(50'000, owners);
        PrintRow("others of " + std::to_string(owners) + " owners" + beside, 50'000,
                 queued.Plan(slots), alone);
        queued.LetEachHaveHadOne(owners);
        PrintRow("the same, who had one" + beside, 50'000, queued.Plan(slots), alone);
    }
}

} // namespace

int main()
{
    PrintHead("Whose turn it is");
    MeasureSlots(1);
    MeasureSlots(1'000);
}
