#include "master/slurm/ArrayBook.h"

#include <gtest/gtest.h>

namespace master
{
namespace
{

using Kind = ArrayAnswer::Kind;
using Barring = ArrayFolders::Barring;
using namespace std::chrono_literals;

const std::string k_prefix = "corvan-test-";

class ArrayBookTest : public testing::Test
{
protected:
    // Runs 1, 2, ... are elements 0, 1, ... of one batch.
    void Add(int count, bool isThere = false, const Path &output = {})
    {
        for (int run = 1; run <= count; ++run)
            m_book.Add(
                {.run = run, .job = m_job, .place = {m_batch, unsigned(run - 1)}, .output = output},
                isThere);
    }
    void HandOver(int count, const Path &output = {})
    {
        Add(count, false, output);
        m_book.TakeAnswer(m_batch, {Kind::Taken, 5, {}});
        Take();
    }

    QueueLine Line(unsigned first, unsigned last, const std::string &state,
                   const std::string &reason = "None") const
    {
        QueueLine line;
        line.name = k_prefix + m_batch.ToString();
        line.array = 5;
        line.elements = {{first, last}};
        line.state = state;
        line.reason = reason;
        line.node = state == "PENDING" ? "" : "node1";
        return line;
    }
    QueueLine Exit(unsigned element, const std::string &state, int status) const
    {
        QueueLine line = Line(element, element, state);
        line.exitStatus = status;
        return line;
    }

    // One good answer, a while after the one before.
    ArrayOrders Queue(std::vector<QueueLine> lines)
    {
        m_now += 2s;
        m_book.TakeQueue({.isGood = true, .lines = std::move(lines)}, m_now);
        return Take();
    }
    ArrayOrders NoQueue(std::chrono::seconds later = 2s)
    {
        m_now += later;
        m_book.TakeQueue({.isGood = false, .error = "no answer"}, m_now);
        return Take();
    }
    ArrayOrders Result(unsigned element, const std::string &report, bool wasAsked = false)
    {
        m_book.TakeResults(m_batch, {{element, "node1", report, wasAsked}});
        return Take();
    }
    ArrayOrders Barred(const ArrayOrders::Element &element, Barring barring,
                       const std::optional<ElementResult> &result = std::nullopt)
    {
        m_book.TakeBarring(element, barring, result, m_now);
        return Take();
    }

    ArrayOrders Take()
    {
        ArrayOrders orders = m_book.TakeOrders();
        for (const ArrayOrders::Event &event : orders.events)
            if (event.kind == ArrayOrders::Event::Kind::Started)
                m_started.push_back(event.run);
            else
                m_ended[event.run] = event.end;
        return orders;
    }

    UID m_batch{true};
    UID m_job{true};
    ArrayBook::Moment m_now{};
    ArrayBook m_book{{.prefix = k_prefix, .lease = 20s, .needs = {"/share", "/opt/corvan-task"}}};
    std::vector<int> m_started;
    std::map<int, RunEnd> m_ended;
};

TEST_F(ArrayBookTest, AResultIsTheEndWhateverTheQueueSays)
{
    HandOver(2);
    Queue({Line(0, 0, "RUNNING"), Line(1, 1, "PENDING")});
    EXPECT_EQ(m_started, std::vector<int>{1});
    Result(0, "X0 ");
    Result(1, "X7 ");
    EXPECT_EQ(m_started, (std::vector<int>{1, 2}));
    EXPECT_TRUE(m_ended.at(1).IsSuccess());
    EXPECT_EQ(m_ended.at(2).exitCode, 7);
    EXPECT_EQ(m_ended.at(2).place.number, "5_1");
    EXPECT_EQ(m_ended.at(2).place.node, "node1");
    Result(0, "X9 ");
    EXPECT_TRUE(m_ended.at(1).IsSuccess());
}

TEST_F(ArrayBookTest, TellsWhereARunIs)
{
    HandOver(2);
    Queue({Line(0, 0, "RUNNING"), Line(1, 1, "PENDING", "Priority")});
    EXPECT_EQ(m_book.PlaceOf(1), (RunPlace{"node1", "5_0", "RUNNING", true}));
    EXPECT_EQ(m_book.PlaceOf(2), (RunPlace{"", "5_1", "PENDING (Priority)", false}));
    EXPECT_EQ(m_book.PlaceOf(3), std::nullopt);
}

TEST_F(ArrayBookTest, ARunIsAsOldAsTheQueueSaysWhenTheMasterHearsOfItLate)
{
    HandOver(1);
    QueueLine line = Line(0, 0, "RUNNING");
    line.ran = 300s;
    Queue({line});
    EXPECT_EQ(m_book.PlaceOf(1)->since, m_now - 300s);
}

// The clock of the Master's machine, by which the queue is told, may be ahead of that of Slurm.
TEST_F(ArrayBookTest, ARunIsNoOlderThanTheLastAnswerThatDidNotTellOfIt)
{
    HandOver(1);
    Queue({Line(0, 0, "PENDING")});
    const auto before = m_now;
    QueueLine line = Line(0, 0, "RUNNING");
    line.ran = 300s;
    Queue({line});
    EXPECT_EQ(m_book.PlaceOf(1)->since, before);
    line.ran = 302s;
    Queue({line});
    EXPECT_EQ(m_book.PlaceOf(1)->since, before);
    // Slurm counts no time for which it was suspended.
    line.ran = 1s;
    Queue({line});
    EXPECT_EQ(m_book.PlaceOf(1)->since, m_now - 1s);
}

TEST_F(ArrayBookTest, AbsenceCountsAfterTwoGoodAnswersAndOnlyOnceNobodyCanBeginIt)
{
    HandOver(1);
    EXPECT_TRUE(Queue({}).toBar.empty());
    EXPECT_TRUE(NoQueue().toBar.empty());
    Queue({Line(0, 0, "PENDING")});
    EXPECT_TRUE(Queue({}).toBar.empty());
    const ArrayOrders orders = Queue({});
    ASSERT_EQ(orders.toBar.size(), 1u);
    EXPECT_TRUE(m_ended.empty());
    EXPECT_TRUE(Queue({}).toBar.empty()); // It is asked for already.
    Barred(orders.toBar.front(), Barring::Free);
    EXPECT_TRUE(m_ended.at(1).isLost);
    EXPECT_FALSE(m_ended.at(1).isStarted);
}

TEST_F(ArrayBookTest, WhatSomebodyHadIsLostOnceItsLeaseIsOver)
{
    HandOver(1);
    Queue({Line(0, 0, "RUNNING")});
    Queue({});
    const ArrayOrders orders = Queue({});
    ASSERT_EQ(orders.toBar.size(), 1u);
    Barred(orders.toBar.front(), Barring::Taken);
    NoQueue(19s);
    EXPECT_TRUE(m_ended.empty());
    NoQueue(1s);
    EXPECT_TRUE(m_ended.at(1).isLost);
    EXPECT_TRUE(m_ended.at(1).isStarted);
}

TEST_F(ArrayBookTest, AResultThatIsFoundWhileItIsBarredCounts)
{
    HandOver(1);
    Queue({Line(0, 0, "RUNNING")});
    Queue({});
    const ArrayOrders orders = Queue({});
    ASSERT_EQ(orders.toBar.size(), 1u);
    Barred(orders.toBar.front(), Barring::Taken, ElementResult{0, "node2", "X0 ", false});
    EXPECT_TRUE(m_ended.at(1).IsSuccess());
}

TEST_F(ArrayBookTest, BarsAgainWhereTheShareRefuses)
{
    HandOver(1);
    Queue({});
    const ArrayOrders orders = Queue({});
    ASSERT_EQ(orders.toBar.size(), 1u);
    Barred(orders.toBar.front(), Barring::Failed);
    EXPECT_TRUE(m_ended.empty());
    EXPECT_EQ(Queue({}).toBar.size(), 1u);
}

TEST_F(ArrayBookTest, AStateTellsWhatHasLeftNoResult)
{
    HandOver(3);
    Queue({Line(0, 2, "RUNNING")});
    const std::vector<QueueLine> over = {Exit(0, "FAILED", 91), Line(1, 1, "TIMEOUT"),
                                         Line(2, 2, "NODE_FAIL")};
    Queue(over);
    for (const ArrayOrders::Element &element : Queue(over).toBar)
        Barred(element, element.element == 0 ? Barring::Free : Barring::Taken);
    EXPECT_FALSE(m_ended.at(1).isStarted);
    Queue(over);
    EXPECT_NE(m_ended.at(2).reason.find("TIMEOUT"), String::npos);
    EXPECT_EQ(m_ended.at(2).place.state, "TIMEOUT");
    // A node that is not heard of may go on for the lease.
    EXPECT_FALSE(m_ended.contains(3));
    NoQueue(30s);
    EXPECT_TRUE(m_ended.at(3).isLost);
}

TEST_F(ArrayBookTest, WhoEndedACommandFromOutsideIsTheReason)
{
    HandOver(2);
    Queue({Line(0, 1, "RUNNING")});
    Result(0, "X-1 ", true);
    Result(1, "X-1 ", true);
    EXPECT_TRUE(m_ended.empty());
    Queue({Line(0, 0, "TIMEOUT")});
    EXPECT_NE(m_ended.at(1).reason.find("longer than its time"), String::npos);
    EXPECT_FALSE(m_ended.contains(2));
    Queue({});
    EXPECT_EQ(m_ended.at(2).exitCode, -1);
    EXPECT_TRUE(m_ended.at(2).isStarted);
}

TEST_F(ArrayBookTest, WhatSlurmRefusesIsToldInItsWords)
{
    Add(2);
    m_book.TakeAnswer(m_batch, {Kind::Refused, 0, "Invalid account"});
    Take();
    EXPECT_EQ(m_ended.at(2).reason, "Slurm refuses it: Invalid account");
    EXPECT_FALSE(m_ended.at(2).isStarted);
    m_book.Recorded(1);
    EXPECT_TRUE(Queue({}).toRemove.empty());
    m_book.Recorded(2);
    EXPECT_EQ(Queue({}).toRemove, std::vector<UID>{m_batch});
    EXPECT_TRUE(m_book.IsEmpty());
}

TEST_F(ArrayBookTest, AnArrayThatMayHaveBeenTakenIsLookedForByItsName)
{
    Add(1);
    m_book.TakeAnswer(m_batch, {Kind::Unknown, 0, "sbatch timed out"});
    EXPECT_EQ(Take().queued.at(m_job), "Slurm does not answer: sbatch timed out");
    EXPECT_TRUE(Queue({}).toDrop.empty());
    const ArrayOrders orders = Queue({Line(0, 0, "RUNNING")});
    EXPECT_EQ(orders.queued.at(m_job), "");
    EXPECT_EQ(m_book.PlaceOf(1)->number, "5_0");
    EXPECT_TRUE(m_ended.empty());
}

TEST_F(ArrayBookTest, AnArrayThatAFullQueueTakesLaterIsLookedForToo)
{
    Add(1);
    m_book.TakeAnswer(m_batch, {Kind::Busy, 0, "Slurm job queue full"});
    EXPECT_EQ(Take().queued.at(m_job), "Slurm takes no more: Slurm job queue full");
    Queue({});
    EXPECT_EQ(Queue({}).toDrop, std::vector<UID>{m_batch});
    m_book.TakeDrop(m_batch);
    Take();
    EXPECT_EQ(m_ended.at(1).reason, "Slurm takes no more: Slurm job queue full");
    EXPECT_FALSE(m_ended.at(1).isStarted);
}

TEST_F(ArrayBookTest, AnArrayThatWasNotTakenAfterAllDoesNothingLater)
{
    Add(2);
    m_book.TakeAnswer(m_batch, {Kind::Unknown, 0, "sbatch timed out"});
    Take();
    Queue({});
    EXPECT_EQ(Queue({}).toDrop, std::vector<UID>{m_batch});
    EXPECT_TRUE(m_ended.empty());
    m_book.TakeDrop(m_batch);
    Take();
    EXPECT_EQ(m_ended.size(), 2u);
    EXPECT_FALSE(m_ended.at(1).isStarted);
}

TEST_F(ArrayBookTest, WhatHasNotBegunEndsAtOnceAndIsCancelled)
{
    HandOver(3);
    Queue({Line(0, 0, "RUNNING"), Line(1, 2, "PENDING")});
    m_book.End(2);
    m_book.End(3);
    const ArrayOrders orders = Take();
    ASSERT_EQ(orders.toBar.size(), 2u);
    ASSERT_EQ(orders.toCancel.size(), 1u);
    EXPECT_EQ(orders.toCancel.front().elements, (std::vector<unsigned>{1, 2}));
    Barred(orders.toBar.front(), Barring::Free);
    EXPECT_TRUE(m_ended.contains(2));
    EXPECT_FALSE(m_ended.contains(3));
}

TEST_F(ArrayBookTest, WhatRunsEndsWithItsLeaseWhereSlurmDoesNotAnswer)
{
    HandOver(1);
    Queue({Line(0, 0, "RUNNING")});
    m_book.End(1);
    Barred(Take().toBar.at(0), Barring::Taken);
    NoQueue();
    EXPECT_TRUE(m_ended.empty());
    NoQueue(20s);
    EXPECT_TRUE(m_ended.contains(1));
}

TEST_F(ArrayBookTest, ACancellationIsAskedForUntilItHasAnEffect)
{
    HandOver(1);
    Queue({Line(0, 0, "RUNNING")});
    m_book.End(1);
    Barred(Take().toBar.at(0), Barring::Taken);
    EXPECT_EQ(Queue({Line(0, 0, "RUNNING")}).toCancel.size(), 1u);
    EXPECT_EQ(Queue({Line(0, 0, "COMPLETING")}).toCancel.size(), 1u);
    Queue({Line(0, 0, "CANCELLED")});
    EXPECT_TRUE(m_ended.contains(1));
}

TEST_F(ArrayBookTest, WithdrawsWhatHasNotBegun)
{
    HandOver(2);
    Queue({Line(0, 0, "RUNNING"), Line(1, 1, "PENDING")});
    m_book.Withdraw(1);
    m_book.Withdraw(2);
    const ArrayOrders orders = Take();
    ASSERT_EQ(orders.toBar.size(), 1u);
    EXPECT_TRUE(orders.toBar.front().onlyIfFree);
    const ArrayOrders after = Barred(orders.toBar.front(), Barring::Free);
    EXPECT_EQ(after.toCancel.size(), 1u);
    EXPECT_TRUE(m_ended.at(2).isLost);
    EXPECT_TRUE(m_ended.at(2).reason.empty());
}

TEST_F(ArrayBookTest, HoldsAndReleasesWhatItsJobSays)
{
    HandOver(2);
    m_book.SetJob(m_job, true, 50);
    EXPECT_EQ(Take().toHold.size(), 1u);
    EXPECT_EQ(Queue({Line(0, 1, "PENDING", "Priority")}).toHold.size(), 1u);
    EXPECT_TRUE(Queue({Line(0, 1, "PENDING", "JobHeldUser")}).toHold.empty());
    m_book.SetJob(m_job, false, 50);
    EXPECT_EQ(Take().toRelease.size(), 1u);
    EXPECT_EQ(Queue({Line(0, 1, "PENDING", "JobHeldUser")}).toRelease.size(), 1u);
    Queue({Line(0, 1, "PENDING", "Priority")});
    // What somebody else holds then is theirs.
    EXPECT_TRUE(Queue({Line(0, 1, "PENDING", "JobHeldUser")}).toRelease.empty());
}

TEST_F(ArrayBookTest, AWishOfAJobOnItsWayIsPassedOnceItIsThere)
{
    Add(1);
    m_book.SetJob(m_job, true, 90);
    EXPECT_TRUE(Take().toHold.empty());
    m_book.TakeAnswer(m_batch, {Kind::Taken, 5, {}});
    const ArrayOrders orders = Take();
    EXPECT_EQ(orders.toHold.size(), 1u);
    ASSERT_EQ(orders.toRate.size(), 1u);
    EXPECT_EQ(orders.toRate.front().second, 1000);
}

TEST_F(ArrayBookTest, TellsWhatKeepsRunsFromBeingBegunAndThatItIsOver)
{
    HandOver(1);
    EXPECT_TRUE(Queue({Line(0, 0, "PENDING", "Resources")}).queued.empty());
    EXPECT_EQ(Queue({Line(0, 0, "PENDING", "PartitionTimeLimit")}).queued.at(m_job),
              "Slurm: PartitionTimeLimit");
    EXPECT_TRUE(Queue({Line(0, 0, "PENDING", "PartitionTimeLimit")}).queued.empty());
    EXPECT_EQ(Queue({Line(0, 0, "PENDING", "Priority")}).queued.at(m_job), "");
}

TEST_F(ArrayBookTest, AFileThatTheMasterDoesNotSeeIsToldOfTheFirstFrameAlone)
{
    HandOver(3, "/local/f.1");
    ArrayOrders orders = Result(0, "X0 ");
    ASSERT_EQ(orders.toLookAt.size(), 1u);
    EXPECT_TRUE(m_ended.empty());
    m_book.TakeLook(1, false);
    Take();
    EXPECT_TRUE(m_ended.at(1).leadsOut);
    EXPECT_EQ(m_ended.at(1).reason,
              "the output folder /local is not shared by the nodes: node1 has written /local/f.1, "
              "which is not there on this machine");
    Result(1, "X0 ");
    m_book.TakeLook(2, true);
    Take();
    EXPECT_TRUE(m_ended.at(2).IsSuccess());
    EXPECT_TRUE(Result(2, "X0 ").toLookAt.empty());
    EXPECT_TRUE(m_ended.at(3).IsSuccess());
}

TEST_F(ArrayBookTest, AShareThatHangsKeepsNoRunForEver)
{
    HandOver(1, "/hangs/f.1");
    Result(0, "X0 ");
    Queue({});
    NoQueue(60s);
    Queue({});
    EXPECT_TRUE(m_ended.at(1).IsSuccess());
}

TEST_F(ArrayBookTest, AdoptsWhatAnEarlierMasterHasHandedOver)
{
    Add(2, true);
    EXPECT_EQ(m_book.Batches(), std::vector<UID>{m_batch});
    Queue({Line(0, 0, "RUNNING")});
    EXPECT_EQ(m_started, std::vector<int>{1});
    const ArrayOrders orders = Queue({Line(0, 0, "RUNNING")});
    ASSERT_EQ(orders.toBar.size(), 1u);
    Barred(orders.toBar.front(), Barring::Free);
    EXPECT_TRUE(m_ended.at(2).isLost);
    EXPECT_FALSE(m_ended.contains(1));
}

TEST_F(ArrayBookTest, LooksForTheFileOfWhatAnEarlierMasterHasHandedOver)
{
    Add(1, true, "/local/f.1");
    Queue({Line(0, 0, "RUNNING")});
    EXPECT_EQ(Result(0, "X0 ").toLookAt.size(), 1u);
    m_book.TakeLook(1, false);
    Take();
    EXPECT_TRUE(m_ended.at(1).leadsOut);
}

TEST_F(ArrayBookTest, CancelsArraysOfOursThatNobodyWaitsForAndNoOthers)
{
    QueueLine ours = Line(0, 4, "PENDING");
    QueueLine theirs = ours;
    theirs.name = "corvan-other-" + m_batch.ToString();
    QueueLine anybodys = ours;
    anybodys.name = "render";
    const ArrayOrders orders = Queue({ours, ours, theirs, anybodys});
    ASSERT_EQ(orders.toCancel.size(), 1u);
    EXPECT_EQ(orders.toCancel.front().array.name, ours.name);
    EXPECT_TRUE(orders.toCancel.front().elements.empty());
    EXPECT_TRUE(Queue({Line(0, 4, "COMPLETED")}).toCancel.empty());
}

TEST_F(ArrayBookTest, WhatIsOverAndWaitsAgainIsCancelled)
{
    HandOver(2);
    Queue({Line(0, 1, "RUNNING")});
    Result(0, "X0 ");
    const ArrayOrders orders = Queue({Line(0, 0, "PENDING"), Line(1, 1, "RUNNING")});
    ASSERT_EQ(orders.toCancel.size(), 1u);
    EXPECT_EQ(orders.toCancel.front().elements, std::vector<unsigned>{0});
}

TEST_F(ArrayBookTest, RemovesAFolderOnceAllIsOverRecordedAndGone)
{
    HandOver(1);
    Queue({Line(0, 0, "RUNNING")});
    Result(0, "X0 ");
    EXPECT_TRUE(Queue({}).toRemove.empty());
    m_book.Recorded(1);
    EXPECT_TRUE(Queue({Line(0, 0, "COMPLETING")}).toRemove.empty());
    EXPECT_EQ(Queue({Line(0, 0, "COMPLETED")}).toRemove, std::vector<UID>{m_batch});
}

} // namespace
} // namespace master
