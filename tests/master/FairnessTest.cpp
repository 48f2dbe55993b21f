#include <random>

#include "master/schedule/FairQueue.h"
#include "tests/master/StoreFixture.h"

using master::FairQueue;
using master::JobState;
using master::OwnerShares;
using ostrel::UID;

using Texts = std::vector<std::string>;

namespace
{

class FairnessTest : public StoreFixture
{
protected:
    JobState AddOf(const char *owner, const char *range, int priority = 50)
    {
        return Add(*MakeTestJob({{"Owner", owner}, {"Range", range}, {"Name", range}}), priority);
    }

    // Whose the next slots are, each of which stays taken, as "owner first-frame".
    Texts Give(int slots)
    {
        Texts given;
        m_begun.clear();
        InTurn(
            [&](master::Outbox &)
            {
                FairQueue queue(m_store, m_shares, m_passOver);
                while (int(given.size()) < slots)
                {
                    FairQueue::Turn *const turn = queue.Next();
                    if (!turn)
                        return;
                    JobState &state = turn->job;
                    if (state.nextTask == state.tasksTotal)
                    {
                        queue.PassOver();
                        continue;
                    }
                    const auto packets = m_cache.GetCut(state.id)->packets;
                    given.push_back(turn->owner + " " +
                                    std::to_string(packets[state.nextTask].firstFrame));
                    ++state.nextTask;
                    m_store.SaveState(state);
                    m_begun.push_back({state.id, turn->owner, state.priority});
                    queue.Serve();
                }
            });
        for (const auto &[job, owner, priority] : m_begun)
            m_shares.Begin(job, owner, priority);
        return given;
    }

    struct Begun
    {
        UID job;
        std::string owner;
        int priority;
    };

    OwnerShares m_shares;
    std::set<UID> m_passOver;
    std::vector<Begun> m_begun; // By the last `Give`.
};

TEST_F(FairnessTest, OneJobGetsHalfBesideAHundredOfAnother)
{
    for (int i = 0; i < 100; ++i)
        AddOf("anna", "1-10");
    AddOf("bo", "101-103");
    EXPECT_EQ(Give(7),
              (Texts{"anna 1", "bo 101", "anna 2", "bo 102", "anna 3", "bo 103", "anna 4"}));
    EXPECT_EQ(Give(2), (Texts{"anna 5", "anna 6"}));
}

TEST_F(FairnessTest, AnOwnersOldestJobGoesFirst)
{
    AddOf("anna", "1-2");
    AddOf("anna", "11-12");
    AddOf("bo", "21-22");
    EXPECT_EQ(Give(9), (Texts{"anna 1", "bo 21", "anna 2", "bo 22", "anna 11", "anna 12"}));
}

TEST_F(FairnessTest, AHigherPriorityGoesBeforeAllOwners)
{
    AddOf("anna", "1-2");
    AddOf("bo", "11-12", 60);
    AddOf("bo", "21-22");
    EXPECT_EQ(Give(9), (Texts{"bo 11", "bo 12", "anna 1", "bo 21", "anna 2", "bo 22"}));
}

// Slots of another priority do not count.
TEST_F(FairnessTest, WhoHasFewerRunsOfThePriorityGoesFirst)
{
    const JobState anna = AddOf("anna", "1-9");
    const JobState bo = AddOf("bo", "11-19");
    for (int i = 0; i < 3; ++i)
        m_shares.Begin(anna.id, "anna", 50);
    for (int i = 0; i < 9; ++i)
        m_shares.Begin(UID(true), "bo", 60);
    EXPECT_EQ(Give(5), (Texts{"bo 11", "bo 12", "bo 13", "anna 1", "bo 14"}));

    for (int i = 0; i < 4; ++i)
        m_shares.End(anna.id);
    EXPECT_EQ(Give(5), (Texts{"anna 2", "anna 3", "anna 4", "anna 5", "bo 15"}));
    // It is not among those of this priority any more.
    m_shares.SetPriority(anna.id, 40);
    EXPECT_EQ(m_shares.Of(50, "anna").runs, 0u);
    EXPECT_EQ(m_shares.Of(40, "anna").runs, 4u);
    EXPECT_EQ(Give(2), (Texts{"anna 6", "anna 7"}));
}

// With one slot nobody has a run when it is given away: then it goes round.
TEST_F(FairnessTest, OneSlotGoesRound)
{
    const JobState jobs[] = {AddOf("anna", "1-9"), AddOf("bo", "11-19"), AddOf("cy", "21-29")};
    Texts given;
    for (int i = 0; i < 7; ++i)
    {
        const Texts one = Give(1);
        ASSERT_EQ(one.size(), 1u);
        given.push_back(one.front());
        for (const JobState &job : jobs)
            m_shares.End(job.id);
    }
    EXPECT_EQ(given, (Texts{"anna 1", "bo 11", "cy 21", "anna 2", "bo 12", "cy 22", "anna 3"}));
}

// Whose job it is only counts where they are alike.
TEST_F(FairnessTest, WhoHasHadASlotLongerAgoGoesBeforeWhoseJobIsOlder)
{
    const char *const owners[] = {"anna", "bo", "cy"};
    AddOf("anna", "1-9");
    AddOf("bo", "11-19");
    AddOf("cy", "21-29");
    for (const char *owner : {"bo", "cy", "anna"})
    {
        const UID job(true);
        m_shares.Begin(job, owner, 50);
        m_shares.End(job);
    }
    // One who has had none goes before all of them, also with the newest job.
    AddOf("di", "31");
    EXPECT_EQ(Give(5), (Texts{"di 31", "bo 11", "cy 21", "anna 1", "bo 12"}));
    for (const char *owner : owners)
        EXPECT_EQ(m_shares.Of(50, owner).runs, std::string(owner) == "bo" ? 2u : 1u);
}

// Nor is anybody in the way who has nothing left to start.
TEST_F(FairnessTest, WhoHasNothingToStartIsPassedBy)
{
    const JobState anna = AddOf("anna", "1-9");
    AddOf("bo", "11-12");
    m_passOver = {anna.id};
    EXPECT_EQ(Give(5), (Texts{"bo 11", "bo 12"}));
    AddOf("cy", "21", 40);
    EXPECT_EQ(Give(5), (Texts{"cy 21"}));
}

TEST_F(FairnessTest, WhatIsPassedOverCostsAnOwnerNothing)
{
    const JobState stuck = AddOf("anna", "1-9");
    AddOf("anna", "11-19");
    AddOf("bo", "21-29");
    m_passOver = {stuck.id};
    EXPECT_EQ(Give(4), (Texts{"anna 11", "bo 21", "anna 12", "bo 22"}));
}

// Whatever comes and ends: whoever has something to start never has two runs fewer than somebody
// who was given a slot.
TEST_F(FairnessTest, NobodyWhoWaitsFallsBehind)
{
    std::mt19937 random(4711);
    const char *const owners[] = {"anna", "bo", "cy", "di"};
    std::map<std::string, unsigned> runs;
    std::map<std::string, unsigned> waiting;
    std::vector<Begun> running;
    for (int step = 0; step < 300; ++step)
    {
        const std::string owner = owners[random() % 4];
        if (random() % 3 == 0)
        {
            const unsigned frames = 1 + random() % 8;
            AddOf(owner.c_str(), ("1-" + std::to_string(frames)).c_str());
            waiting[owner] += frames;
        }
        while (running.size() > random() % 6)
        {
            const std::size_t which = random() % running.size();
            m_shares.End(running[which].job);
            --runs[running[which].owner];
            running.erase(running.begin() + std::ptrdiff_t(which));
        }
        Give(int(8 - running.size()));
        for (const Begun &begun : m_begun)
        {
            for (const char *other : owners)
            {
                if (waiting[other] > 0)
                {
                    ASSERT_LE(runs[begun.owner], runs[other]) << "step " << step << ": " << other;
                }
            }
            ++runs[begun.owner];
            --waiting[begun.owner];
            running.push_back(begun);
        }
    }
}

} // namespace
