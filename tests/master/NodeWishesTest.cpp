#include "master/watch/NodeWishes.h"

#include <gtest/gtest.h>

#include "corvan/Messages.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeRunner.h"

namespace master
{
namespace
{

// A runner with machines, which does what it is asked when the test says so.
class ClusterRunner : public FakeRunner
{
public:
    bool SetNode(const String &node, bool drains, const String &reason, NodeSet done) override
    {
        asked.push_back(node + (drains ? ": drain " : ": resume ") + reason);
        set = std::move(done);
        return true;
    }
    bool AskNodes(NodeStates done) override
    {
        states = std::move(done);
        return true;
    }

    std::vector<String> asked;
    NodeSet set;
    NodeStates states;
};

class NodeWishesTest : public ::testing::Test
{
protected:
    NodeWish Wish(std::optional<NodeWish::Order> order)
    {
        NodeWish wish;
        wish.client = 7;
        wish.serial = 5;
        wish.who.user = "anna";
        wish.order = std::move(order);
        return wish;
    }

    NodeWishes::Answer Take()
    {
        return [this](Outbox outbox) { m_outboxes.push_back(std::move(outbox)); };
    }

    template <typename Concrete> const Concrete *Answer() const
    {
        if (m_outboxes.size() != 1 || m_outboxes[0].Messages().size() != 1)
            return nullptr;
        const Outgoing &message = m_outboxes[0].Messages()[0];
        EXPECT_EQ(message.client, 7u);
        EXPECT_EQ(message.answers, 5u);
        return dynamic_cast<const Concrete *>(message.message.get());
    }

    FakeClock m_clock;
    NodeBook m_book{m_clock};
    std::vector<Outbox> m_outboxes;
};

TEST_F(NodeWishesTest, WhatIsDoneIsOnRecordAndAnsweredOnlyThen)
{
    ClusterRunner runner;
    NodeWishes wishes(m_book, runner, Take());
    wishes.CarryOut(Wish(NodeWish::Order{"node7", true, "bad memory"}));
    EXPECT_EQ(runner.asked, std::vector<String>{"node7: drain bad memory"});
    EXPECT_TRUE(m_outboxes.empty());
    runner.set("");
    EXPECT_TRUE(Answer<corvan::AcceptedMsg>());
    ASSERT_EQ(m_outboxes[0].AuditEntries().size(), 1u);
    const AuditEntry &entry = m_outboxes[0].AuditEntries()[0];
    EXPECT_EQ(entry.user, "anna");
    EXPECT_EQ(entry.what, "SetNode");
    EXPECT_EQ(entry.name, "node7");
    EXPECT_EQ(entry.newValue, "drain: bad memory");
}

TEST_F(NodeWishesTest, ADrainWithoutAReasonSaysWhoWantedIt)
{
    ClusterRunner runner;
    NodeWishes wishes(m_book, runner, Take());
    wishes.CarryOut(Wish(NodeWish::Order{"node7", true, ""}));
    EXPECT_EQ(runner.asked.at(0), "node7: drain drained by anna through corvan");
}

TEST_F(NodeWishesTest, WhatTheClusterRefusesIsRefusedInItsWords)
{
    ClusterRunner runner;
    NodeWishes wishes(m_book, runner, Take());
    wishes.CarryOut(Wish(NodeWish::Order{"node7", false, ""}));
    runner.set("Invalid user id");
    const auto *refused = Answer<corvan::RefusedMsg>();
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->what, "SetNode node7");
    EXPECT_EQ(refused->reason, "Invalid user id");
    EXPECT_TRUE(m_outboxes[0].AuditEntries().empty());
}

TEST_F(NodeWishesTest, WithoutAClusterNothingIsDrained)
{
    FakeRunner runner;
    NodeWishes wishes(m_book, runner, Take());
    wishes.CarryOut(Wish(NodeWish::Order{"node7", true, ""}));
    EXPECT_TRUE(Answer<corvan::RefusedMsg>());
}

TEST_F(NodeWishesTest, TheListHasWhatIsKnownHereAndThere)
{
    ClusterRunner runner;
    NodeWishes wishes(m_book, runner, Take());
    m_book.Note("node2", {.job = UID(true),
                          .task = 3,
                          .outcome = NodeBook::Outcome::Failed,
                          .reason = "exit code 7"});
    wishes.CarryOut(Wish(std::nullopt));
    EXPECT_TRUE(m_outboxes.empty());
    runner.states({{"node1", "idle"}, {"node2", "drained"}});
    const auto *list = Answer<corvan::NodeListMsg>();
    ASSERT_TRUE(list);
    ASSERT_EQ(list->nodes.size(), 2u);
    EXPECT_EQ(list->nodes[0].name, "node1");
    EXPECT_EQ(list->nodes[0].state, "idle");
    EXPECT_EQ(list->nodes[1].state, "drained");
    EXPECT_EQ(list->nodes[1].failed, 1u);
    EXPECT_EQ(list->nodes[1].failedReason, "exit code 7");
}

TEST_F(NodeWishesTest, WithoutAClusterTheListIsThatOfTheMastersOwn)
{
    FakeRunner runner;
    NodeWishes wishes(m_book, runner, Take());
    m_book.Note("here", {.job = UID(true)});
    wishes.CarryOut(Wish(std::nullopt));
    const auto *list = Answer<corvan::NodeListMsg>();
    ASSERT_TRUE(list);
    ASSERT_EQ(list->nodes.size(), 1u);
    EXPECT_EQ(list->nodes[0].name, "here");
    EXPECT_EQ(list->nodes[0].done, 1u);
}

} // namespace
} // namespace master
