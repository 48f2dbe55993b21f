#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

#include "cli/FindJob.h"
#include "cli/JobTexts.h"
#include "cli/ProgressBar.h"
#include "cli/ShownText.h"
#include "cli/Verb.h"
#include "corvan/Messenger.h"
#include "corvan/Parameters.h"

namespace cli
{

namespace
{

// Keeps one job as the Master tells it, over lost connections too.
class FollowedJob
{
public:
    FollowedJob(UID id, ProgressBar &bar) : m_id(std::move(id)), m_bar(bar)
    {
        m_connections = {
            corvan::JobMsg::s_Signal.Connect(this, &FollowedJob::OnJob),
            corvan::JobParameterMsg::s_Signal.Connect(this, &FollowedJob::OnParameter),
            corvan::JobRemovedMsg::s_Signal.Connect(this, &FollowedJob::OnRemoved),
            corvan::RefusedMsg::s_Signal.Connect(this, &FollowedJob::OnRefused),
            corvan::MessengerConnectedEvt::s_Signal.Connect(this, &FollowedJob::OnConnected),
            corvan::MessengerDisconnectedEvt::s_Signal.Connect(this, &FollowedJob::OnDisconnected),
            corvan::MessengerTurnedAwayEvt::s_Signal.Connect(this, &FollowedJob::OnTurnedAway),
        };
        if (corvan::Messenger::IsConnected())
            OnConnected({});
    }

    bool IsOver() const
    {
        return m_isRemoved || (m_job && corvan::IsOver(StatusOf(*m_job)));
    }
    bool IsRemoved() const
    {
        return m_isRemoved;
    }
    const Job &Get() const
    {
        return *m_job;
    }

private:
    void OnConnected(const corvan::MessengerConnectedEvt &)
    {
        m_turnedAway.clear();
        const auto follow = NewMessage<corvan::FollowJobMsg>();
        follow->jobs.push_back(m_id);
        corvan::Messenger::Send(follow);
        const auto question = NewMessage<corvan::GetJobInfoMsg>();
        question->jobs.push_back(m_id);
        corvan::Messenger::Send(question);
    }

    void OnDisconnected(const corvan::MessengerDisconnectedEvt &)
    {
        m_bar.End();
        fmt::print(stderr, "connection lost; waiting for the Master\n");
    }

    void OnTurnedAway(const corvan::MessengerTurnedAwayEvt &event)
    {
        // Each attempt is; the same reason is told once.
        if (std::exchange(m_turnedAway, event.reason) == event.reason)
            return;
        m_bar.End();
        fmt::print(stderr, "no connection to the Master: {}; waiting goes on\n",
                   ShownText(event.reason));
    }

    void OnJob(boost::shared_ptr<corvan::JobMsg> message)
    {
        if (!(message->job->ID() == m_id))
            return;
        m_job = message->job;
        ShowNews();
    }

    void OnParameter(boost::shared_ptr<corvan::JobParameterMsg> message)
    {
        if (!m_job || !(message->job == m_id))
            return;
        m_job->SetParameter(message->name, message->value);
        ShowNews();
    }

    void OnRemoved(boost::shared_ptr<corvan::JobRemovedMsg> message)
    {
        m_isRemoved = m_isRemoved || message->job == m_id;
    }

    // It went while there was no connection.
    void OnRefused(boost::shared_ptr<corvan::RefusedMsg> message)
    {
        m_isRemoved = m_isRemoved || message->job == m_id;
    }

    void ShowNews()
    {
        m_bar.Show(CountsOf(*m_job));
        const bool isPaused = StatusOf(*m_job) == JobStatus::Paused;
        if (isPaused && !m_wasPaused)
        {
            m_bar.End();
            fmt::print(stderr, "the job is paused\n");
        }
        m_wasPaused = isPaused;
        const String waiting = m_job->ParameterText(corvan::p_Waiting, false);
        if (waiting != m_waiting && !waiting.empty())
        {
            m_bar.End();
            fmt::print(stderr, "the job waits: {}\n", ShownText(waiting));
        }
        m_waiting = waiting;
    }

    UID m_id;
    ProgressBar &m_bar;
    JobPointer m_job;
    bool m_wasPaused = false;
    String m_waiting;
    String m_turnedAway; ///< Why the last attempt to connect was; empty once there is a connection.
    bool m_isRemoved = false;
    std::vector<ostrel::SignalConnection> m_connections;
};

class Wait : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("wait", "wait until a job is over");
        verb->add_option("JOB", m_job, k_JobHelp)->required();
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        ProgressBar bar(stderr, isatty(STDERR_FILENO));
        const FollowedJob job(FindJob(client, m_job)->ID(), bar);
        client.WaitUntil([&] { return job.IsOver(); });
        bar.End();
        if (job.IsRemoved())
            throw new Failure(k_Refused, "the job was removed");

        const JobStatus status = StatusOf(job.Get());
        fmt::print("{}\n", corvan::StatusName(status));
        return status == JobStatus::Done ? k_Done : k_Refused;
    }

private:
    String m_job;
};

} // namespace

std::unique_ptr<Verb> MakeWait()
{
    return std::make_unique<Wait>();
}

} // namespace cli
