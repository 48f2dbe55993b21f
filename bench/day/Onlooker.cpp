#include "bench/day/Onlooker.h"

#include <cstdlib>

#include "corvan/Limits.h"
#include "corvan/Parameters.h"
#include "tests/master/RawClient.h"

namespace bench
{

Onlooker::Onlooker(const std::string &address, const std::vector<std::string> &jobs, Sight &sight)
    : m_sight(sight)
{
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    arguments.SetMaxReceiveMessageSize(int(corvan::k_MaxMessageBytes) + 4096);
    m_channel = grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments);
    m_stub = wire::Master::NewStub(m_channel);
    m_context.set_wait_for_ready(true);

    m_hello = HelloEnvelope();
    m_hello.set_serial(1);
    m_follow.set_serial(2);
    m_ask.set_serial(3);
    for (const std::string &job : jobs)
    {
        m_follow.mutable_follow_job()->add_jobs(job);
        m_ask.mutable_get_job_info()->add_jobs(job);
    }
    m_stub->async()->Connect(&m_context, this);
    StartWrite(&m_hello);
    StartRead(&m_incoming);
    StartCall();
}

Onlooker::~Onlooker()
{
    m_context.TryCancel();
    std::unique_lock lock(m_mutex);
    m_ended.wait(lock, [this] { return m_isOver; });
}

std::map<std::string, int> Onlooker::Statuses() const
{
    const std::scoped_lock lock(m_mutex);
    return m_statuses;
}

void Onlooker::OnReadDone(bool ok)
{
    if (!ok)
        return;
    ++m_sight.messages;
    Take(m_incoming);
    for (const std::string &part : m_incoming.gathered())
    {
        m_part.ParseFromString(part);
        Take(m_part);
    }
    StartRead(&m_incoming);
}

void Onlooker::OnWriteDone(bool ok)
{
    if (ok)
        TakeStep();
}

void Onlooker::OnDone(const grpc::Status & /*status*/)
{
    const std::scoped_lock lock(m_mutex);
    m_isOver = true;
    m_ended.notify_all();
}

void Onlooker::Take(const wire::Envelope &envelope)
{
    if (envelope.answers() == 1 || envelope.answers() == 2)
        TakeStep();
    if (envelope.has_job_parameter())
    {
        ++m_sight.news;
        wire::Parameter parameter;
        parameter.set_name(envelope.job_parameter().name());
        parameter.set_value(envelope.job_parameter().value());
        Note(envelope.job_parameter().job(), parameter);
    }
    if (envelope.has_job())
    {
        ++m_sight.news;
        for (const wire::Parameter &parameter : envelope.job().parameters())
            Note(envelope.job().id(), parameter);
    }
}

void Onlooker::Note(const std::string &job, const wire::Parameter &parameter)
{
    if (corvan::p_Status != parameter.name())
        return;
    const std::scoped_lock lock(m_mutex);
    m_statuses[job] = std::atoi(parameter.value().c_str());
}

// An answer may come before gRPC is done with what it answers, and it takes one message at a time.
void Onlooker::TakeStep()
{
    const int step = ++m_steps;
    if (step == 2)
        StartWrite(&m_follow);
    if (step != 4)
        return;
    StartWrite(&m_ask);
    m_isFollowing = true;
}

} // namespace bench
