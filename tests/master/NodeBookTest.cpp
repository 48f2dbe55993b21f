#include "master/watch/NodeBook.h"

#include <gtest/gtest.h>

#include "tests/support/FakeClock.h"

namespace master
{
namespace
{

using namespace std::chrono_literals;
using Outcome = NodeBook::Outcome;

class NodeBookTest : public ::testing::Test
{
protected:
    // Tasks of a job on a machine: "+" was done, "-" has failed, "b" is bad.
    void Note(const String &node, const UID &job, std::string_view outcomes)
    {
        for (const char outcome : outcomes)
        {
            m_book->Note(node, {.job = job,
                                .task = m_task,
                                .outcome = outcome == '-' ? Outcome::Failed : Outcome::Done,
                                .reason = outcome == '-' ? "exit code 1" : ""});
            if (outcome == 'b')
                m_book->NoteBad(job, {m_task}, "it is smaller than its neighbours");
            ++m_task;
        }
    }

    std::vector<std::string> Suspicious()
    {
        std::vector<std::string> names;
        for (const NodeBook::Node &node : m_book->List())
            if (!node.suspicion.empty())
                names.push_back(node.name);
        return names;
    }

    FakeClock m_clock;
    std::optional<NodeBook> m_book{std::in_place, m_clock};
    unsigned m_task = 0;
    UID m_a{true}, m_b{true}, m_c{true};
};

TEST_F(NodeBookTest, CountsWhatBecameOfTasks)
{
    EXPECT_TRUE(m_book->List().empty());
    Note("node1", m_a, "++-b+");
    Note("node2", m_a, "+");
    Note("", m_a, "-");
    const auto nodes = m_book->List();
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes[0].name, "node1");
    EXPECT_EQ(nodes[0].done, 3u);
    EXPECT_EQ(nodes[0].failed, 1u);
    EXPECT_EQ(nodes[0].bad, 1u);
    ASSERT_TRUE(nodes[0].lastFailure);
    EXPECT_EQ(nodes[0].lastFailure->task, 3u);
    EXPECT_EQ(nodes[0].lastFailure->reason, "it is smaller than its neighbours");
    EXPECT_FALSE(nodes[1].lastFailure);
}

TEST_F(NodeBookTest, TellsWhenTheLastFailureWasAndNotWhenItIsAsked)
{
    Note("node1", m_a, "-");
    m_clock.Pass(3h);
    Note("node1", m_a, "+");
    const auto nodes = m_book->List();
    ASSERT_EQ(nodes.size(), 1u);
    ASSERT_TRUE(nodes[0].lastFailure);
    EXPECT_EQ(nodes[0].lastFailure->job, m_a);
    EXPECT_EQ(nodes[0].lastFailure->outcome, Outcome::Failed);
    EXPECT_EQ(nodes[0].lastFailure->reason, "exit code 1");
    const std::chrono::nanoseconds ago(ostrel::Time::Now().First() -
                                       nodes[0].lastFailureAt.First());
    EXPECT_GE(ago, 3h);
    EXPECT_LT(ago, 3h + 10min);
}

TEST_F(NodeBookTest, AMachineIsSuspiciousWhereSeveralJobsFailThatOthersDoWell)
{
    const struct
    {
        const char *what;
        struct
        {
            const char *node;
            int job;
            const char *outcomes;
        } tasks[6];
        std::vector<std::string> suspicious;
    } cases[] = {
        {"two jobs fail here alone",
         {{"n1", 0, "--"}, {"n1", 1, "-"}, {"n2", 0, "+++"}, {"n2", 1, "+++"}},
         {"n1"}},
        {"one job alone", {{"n1", 0, "----"}, {"n2", 0, "+++"}, {"n2", 1, "+++"}}, {}},
        {"bad frames count as well",
         {{"n1", 0, "b"}, {"n1", 1, "b+"}, {"n2", 0, "+++"}, {"n3", 1, "+++"}},
         {"n1"}},
        {"they fail everywhere",
         {{"n1", 0, "--"}, {"n1", 1, "--"}, {"n2", 0, "+++-"}, {"n2", 1, "+++-"}},
         {}},
        {"nobody else has done enough of them",
         {{"n1", 0, "--"}, {"n1", 1, "--"}, {"n2", 0, "++"}, {"n2", 1, "++"}},
         {}},
        {"one of many fails now and then",
         {{"n1", 0, "+++++-"}, {"n1", 1, "+++++-"}, {"n2", 0, "+++"}, {"n2", 1, "+++"}},
         {}},
        {"a fifth is too many",
         {{"n1", 0, "++++-"}, {"n1", 1, "++++-"}, {"n2", 0, "+++"}, {"n2", 1, "+++"}},
         {"n1"}},
        {"one of three jobs fails everywhere",
         {{"n1", 0, "--"},
          {"n1", 1, "--"},
          {"n1", 2, "--"},
          {"n2", 0, "---"},
          {"n2", 1, "+++"},
          {"n2", 2, "+++"}},
         {"n1"}},
    };
    for (const auto &[what, tasks, suspicious] : cases)
    {
        m_book.emplace(m_clock);
        for (const auto &[node, job, outcomes] : tasks)
            if (node)
                Note(node, job == 0 ? m_a : job == 1 ? m_b : m_c, outcomes);
        EXPECT_EQ(Suspicious(), suspicious) << what;
    }
}

TEST_F(NodeBookTest, TheReasonNamesTheJobs)
{
    Note("n1", m_a, "-");
    Note("n1", m_b, "-");
    Note("n2", m_a, "+++");
    Note("n2", m_b, "+++");
    const NodeBook::Node node = m_book->List().at(0);
    ASSERT_EQ(node.against.size(), 2u);
    EXPECT_EQ(node.suspicion,
              "tasks of 2 jobs fail or come out bad here, and are done well elsewhere: " +
                  node.against[0].ToString().substr(0, 8) + ", " +
                  node.against[1].ToString().substr(0, 8));
}

TEST_F(NodeBookTest, TheOnlyMachineIsWhereNothingWorksAnyMore)
{
    Note("here", m_a, "+-----");
    Note("here", m_b, "----");
    EXPECT_TRUE(Suspicious().empty());
    Note("here", m_b, "-");
    EXPECT_EQ(Suspicious(), std::vector<std::string>{"here"});
    Note("here", m_b, "+");
    EXPECT_TRUE(Suspicious().empty());

    m_book.emplace(m_clock);
    Note("here", m_a, "--------------------");
    EXPECT_TRUE(Suspicious().empty()) << "it may be the job";
}

TEST_F(NodeBookTest, ForgetsWhatIsADayOldAndMoreThanFiveHundredTasks)
{
    Note("n1", m_a, "-");
    m_clock.Pass(23h);
    Note("n1", m_a, "+");
    m_clock.Pass(61min);
    EXPECT_EQ(m_book->List().at(0).failed, 0u);
    EXPECT_EQ(m_book->List().at(0).done, 1u);
    Note("n1", m_a, std::string(1000, '-'));
    EXPECT_EQ(m_book->List().at(0).failed, 500u);
    m_clock.Pass(25h);
    EXPECT_TRUE(m_book->List().empty());
}

TEST_F(NodeBookTest, MachinesThatAreGoneTakeNobodysPlace)
{
    for (std::size_t i = 0; i < NodeBook::k_MostNodes; ++i)
        Note("cloud" + std::to_string(i), m_a, "+");
    Note("beyond", m_a, "+");
    m_clock.Pass(25h);
    Note("new", m_a, "+");
    const auto nodes = m_book->List();
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(nodes[0].name, "new");
}

TEST_F(NodeBookTest, ABadFrameIsThatOfTheMachineThatDidItLast)
{
    m_book->Note("n1", {.job = m_a, .task = 7});
    m_clock.Pass(1s);
    m_book->Note("n2", {.job = m_a, .task = 7});
    m_book->Note("n2", {.job = m_a, .task = 6});
    m_book->Note("n2", {.job = m_b, .task = 8});
    m_book->NoteBad(m_a, {7, 8}, "black");
    const auto nodes = m_book->List();
    EXPECT_EQ(nodes[0].bad, 0u);
    EXPECT_EQ(nodes[1].bad, 1u);
}

} // namespace
} // namespace master
