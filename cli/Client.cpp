#include "cli/Client.h"

#include <fmt/format.h>
#include <unistd.h>

#include "cli/ShownText.h"
#include "corvan/ClientKind.h"
#include "corvan/Link.h"
#include "corvan/MasterAddress.h"
#include "corvan/Messenger.h"
#include "corvan/PersonalMaster.h"
#include "ostrel/Log.h"

namespace cli
{

using corvan::Messenger;

namespace
{

// The log, where such a thing is a warning, is for whoever asks for one.
void TellMissingOptions(const CommandLine &commandLine)
{
    const String file = commandLine.GetArgument("options", 0, "");
    if (commandLine.HasOption("options") && access(file.c_str(), F_OK) != 0)
        fmt::print(stderr, "corvan: there is no options file '{}'; the defaults count\n",
                   ShownText(file));
}

void NeedAddress(const CommandLine &commandLine)
{
    String reason;
    if (commandLine.HasOption("master") &&
        !corvan::MasterAddress::Parse(commandLine.GetArgument("master", 0, ""), &reason))
        throw new Failure(k_WrongUsage, reason);
}

} // namespace

// The log is for whoever asks for one: what a verb has to say it prints.
Client::Client() : CorvanClientApp("Corvan", ostrel::k_LogError, ostrel::k_LogNone)
{
    KeepAnswers<corvan::JobMsg>();
    KeepAnswers<corvan::JobListMsg>();
    KeepAnswers<corvan::TaskListMsg>();
    KeepAnswers<corvan::TaskLogMsg>();
    KeepAnswers<corvan::NodeListMsg>();
    KeepAnswers<corvan::AcceptedMsg>();
    KeepAnswers<corvan::RefusedMsg>();
    m_connections.push_back(corvan::MessengerDisconnectedEvt::s_Signal.ConnectFunction(
        [this](const corvan::MessengerDisconnectedEvt &) { ++m_disconnects; }));
    m_connections.push_back(corvan::MessengerTurnedAwayEvt::s_Signal.ConnectFunction(
        [this](const corvan::MessengerTurnedAwayEvt &event) { m_turnedAway = event.reason; }));
}

Client::~Client()
{
    Stop();
}

template <typename Answer> void Client::KeepAnswers()
{
    m_connections.push_back(Answer::s_Signal.ConnectFunction(
        [this](const boost::shared_ptr<Answer> &answer)
        {
            if (answer->answers != 0 && answer->answers == m_question)
                m_answer = answer;
        }));
}

void Client::Start(CommandLine commandLine)
{
    m_commandLine = std::move(commandLine);
    Messenger::SetClientInfo(UID(true), corvan::k_ClientCommandLine);
    NeedAddress(m_commandLine);
    TellMissingOptions(m_commandLine);
    Prepare(m_commandLine);
    m_isStarted = true;
    if (!Startup(m_commandLine))
        throw new Failure(k_WrongUsage, "cannot start; see above");
    StartMessenger();
}

void Client::StartAlone(CommandLine commandLine)
{
    m_commandLine = std::move(commandLine);
    m_isStarted = true;
    TellMissingOptions(m_commandLine);
    if (!Prepare(m_commandLine))
        throw new Failure(k_WrongUsage, "cannot start; see above");
}

void Client::Stop()
{
    if (!m_isStarted)
        return;
    m_isStarted = false;
    Cleanup();
}

void Client::NeedMaster(std::chrono::seconds patience)
{
    m_turnedAway.clear();
    WaitUntil([this] { return Messenger::IsConnected() || !m_turnedAway.empty(); },
              Clock::now() + patience);
    if (Messenger::IsConnected())
        return;
    if (!m_turnedAway.empty())
        throw new Failure(k_NoMaster,
                          "no connection to the Master at " + m_master + ": " + m_turnedAway);
    String text = "no Master answers at " + m_master;
    if (const String errors = corvan::PersonalMasterErrors(); !errors.empty())
        text += "; the one that was started says: " + errors;
    throw new Failure(k_NoMaster, text);
}

boost::shared_ptr<Message> Client::AskAny(const boost::shared_ptr<Message> &question)
{
    NeedMaster();
    m_answer.reset();
    Messenger::Send(question);
    m_question = question->serial;

    const unsigned disconnectsBefore = m_disconnects;
    const bool isOver = WaitUntil([&] { return m_answer || m_disconnects != disconnectsBefore; },
                                  Clock::now() + k_AnswerTime);
    m_question = 0;

    if (!isOver)
        throw new Unanswered(false, "the Master does not answer");
    if (!m_answer)
        throw new Unanswered(true, "the connection to the Master was lost before it answered");
    if (const auto refused = boost::dynamic_pointer_cast<corvan::RefusedMsg>(m_answer))
        throw new Failure(k_Refused,
                          "the Master refused " + refused->what + ": " + refused->reason);
    return m_answer;
}

bool Client::WaitUntil(const std::function<bool()> &isDone, Clock::time_point deadline)
{
    for (;;)
    {
        Messenger::Dispatch();
        if (isDone())
            return true;
        if (Clock::now() >= deadline)
            return false;
        SleepUntilWoken(deadline);
    }
}

std::unique_ptr<corvan::Link> Client::MakeLink(const corvan::MasterAddress &address)
{
    m_master = address.text;
    return CorvanClientApp::MakeLink(address);
}

void Client::WakeUp()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isWoken = true;
    }
    m_wake.notify_one();
}

void Client::SleepUntilWoken(Clock::time_point deadline)
{
    std::unique_lock lock(m_mutex);
    const auto isWoken = [this] { return m_isWoken; };
    if (deadline == Clock::time_point::max())
        m_wake.wait(lock, isWoken);
    else
        m_wake.wait_until(lock, deadline, isWoken);
    m_isWoken = false;
}

} // namespace cli
