#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "cli/Failure.h"
#include "corvan/CorvanClientApp.h"
#include "corvan/MessageFactory.h"
#include "corvan/Messages.h"

namespace cli
{

using corvan::Message;
using ostrel::CommandLine;
using ostrel::UID;

/// The command line as a client of the Master: asks, and waits for the answer.
///
/// Main thread. Everything that waits takes what arrives meanwhile, so signals are raised there.
class Client : public corvan::CorvanClientApp
{
public:
    using Clock = std::chrono::steady_clock;

    /// How long the Master may take to be there, a personal one to start included, and to answer.
    static constexpr std::chrono::seconds k_ConnectTime{8};
    static constexpr std::chrono::seconds k_AnswerTime{20};

    Client();
    /// Ends the connection.
    ~Client() override;

    /// Reads options and job types and begins to connect. Throws `Failure *` (wrong usage) when
    /// that cannot be.
    void Start(CommandLine commandLine);
    /// The same for what asks nobody: no connection, no job types.
    void StartAlone(CommandLine commandLine);
    /// As given to `Start`.
    const CommandLine &Arguments() const
    {
        return m_commandLine;
    }

    /// Waits for the connection. Throws `Failure *` (no Master) when none comes in time, and at
    /// once when there is a Master that turns this client away, with its reason.
    void NeedMaster(std::chrono::seconds patience = k_ConnectTime);

    /// Sends a message and gives the Master's answer to it. Throws `Failure *`: refused, with the
    /// Master's reason; no Master, when there is none, and as `Unanswered *` when the connection is
    /// lost or no answer comes.
    template <typename Answer>
    boost::shared_ptr<Answer> Ask(const boost::shared_ptr<Message> &question)
    {
        const boost::shared_ptr<Answer> answer =
            boost::dynamic_pointer_cast<Answer>(AskAny(question));
        if (!answer)
            throw new Failure(k_Refused, "the Master's answer makes no sense");
        return answer;
    }

    /// Waits, and takes what arrives, until `isDone` says so. False when the deadline came first;
    /// without one it waits for as long as it takes.
    bool WaitUntil(const std::function<bool()> &isDone,
                   Clock::time_point deadline = Clock::time_point::max());

    /// Ends the connection; nothing can be asked any more.
    void Stop();

protected:
    void WakeUp() override;
    std::unique_ptr<corvan::Link> MakeLink(const corvan::MasterAddress &address) override;

private:
    boost::shared_ptr<Message> AskAny(const boost::shared_ptr<Message> &question);
    template <typename Answer> void KeepAnswers();
    void SleepUntilWoken(Clock::time_point deadline);

    CommandLine m_commandLine;
    bool m_isStarted = false;
    String m_master; ///< Its address.

    std::vector<ostrel::SignalConnection> m_connections;
    /// The question that is waited for, and its answer.
    std::uint64_t m_question = 0;
    boost::shared_ptr<Message> m_answer;
    unsigned m_disconnects = 0;
    String m_turnedAway; ///< Why the last attempt to connect was refused; empty where it was not.

    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_isWoken = false;
};

/// A new, empty message of a type, to be filled and sent.
template <typename Concrete> boost::shared_ptr<Concrete> NewMessage()
{
    return boost::static_pointer_cast<Concrete>(
        corvan::MessageFactory::CreateMessage(Concrete::s_Type));
}

} // namespace cli
