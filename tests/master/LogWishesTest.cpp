#include "master/requests/LogWishes.h"

#include "tests/master/StoreFixture.h"
#include "tests/support/FakeAlarmClock.h"
#include "tests/support/HeldWork.h"

namespace master
{
namespace
{

class LogWishesTest : public StoreFixture
{
protected:
    LogWish Wish(std::uint64_t serial, unsigned task)
    {
        return {.client = 7,
                .serial = serial,
                .job = m_job,
                .task = task,
                .attempt = 1,
                .log = task,
                .isLast = true};
    }

    // Serials and what was said in answer, in order.
    std::vector<std::string> Take()
    {
        return std::exchange(m_answers, {});
    }

    void Note(const Outbox &outbox)
    {
        for (const Outgoing &message : outbox.Messages())
        {
            EXPECT_EQ(message.client, 7u);
            const std::string serial = std::to_string(message.answers) + " ";
            if (const auto *log = dynamic_cast<const corvan::TaskLogMsg *>(message.message.get()))
                m_answers.push_back(serial + log->text);
            else if (const auto *refused =
                         dynamic_cast<const corvan::RefusedMsg *>(message.message.get()))
                m_answers.push_back(serial + refused->what + ": " + refused->reason);
        }
    }

    std::string Refused(int serial) const
    {
        return std::to_string(serial) + " GetTaskLog " + m_job.ToString() + ": the folder " +
               m_logs.FolderOf(m_job).Text() +
               " has not answered for 10 seconds; is its share there?";
    }

    const UID m_job{true};
    FakeAlarmClock m_clock;
    HeldWork m_work;
    std::vector<std::string> m_answers;
    LogWishes m_wishes{m_clock, m_logs, m_work, [this](const Outbox &outbox) { Note(outbox); }};
};

TEST_F(LogWishesTest, AreAnsweredInTheirOrderOnceTheFileIsRead)
{
    WriteLog(m_job, 0, 1, "first");
    WriteLog(m_job, 1, 1, "second");
    m_wishes.CarryOut(Wish(5, 0));
    m_wishes.CarryOut(Wish(6, 1));
    EXPECT_EQ(m_work.Count(), 1u) << "one at a time: each may be large";
    EXPECT_EQ(Take().size(), 0u);
    m_work.DoNext();
    EXPECT_EQ(Take(), std::vector<std::string>{"5 first"});
    m_work.DoNext();
    EXPECT_EQ(Take(), std::vector<std::string>{"6 second"});
    m_clock.Pass(std::chrono::minutes(1));
    EXPECT_EQ(Take().size(), 0u);
}

TEST_F(LogWishesTest, AreRefusedWhereTheShareHangsAndAtOnceAsLongAsItDoes)
{
    WriteLog(m_job, 0, 1, "first");
    m_wishes.CarryOut(Wish(5, 0));
    m_clock.Pass(std::chrono::seconds(9));
    m_wishes.CarryOut(Wish(6, 0));
    EXPECT_EQ(Take().size(), 0u);
    m_clock.Pass(std::chrono::seconds(1));
    EXPECT_EQ(Take(), (std::vector<std::string>{Refused(5), Refused(6)}));
    m_wishes.CarryOut(Wish(7, 0));
    EXPECT_EQ(Take(), std::vector<std::string>{Refused(7)});
    EXPECT_EQ(m_work.Count(), 1u) << "what nobody waits for is not read later";

    // It is back.
    m_work.DoNext();
    EXPECT_EQ(Take().size(), 0u) << "nobody is answered twice";
    m_wishes.CarryOut(Wish(8, 0));
    m_work.DoNext();
    EXPECT_EQ(Take(), std::vector<std::string>{"8 first"});
}

} // namespace
} // namespace master
