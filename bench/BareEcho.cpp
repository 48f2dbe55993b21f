#include "bench/BareEcho.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <vector>

#include "corvan/messages.grpc.pb.h"

namespace bench
{

namespace wire = corvan::wire;
using Packed = std::shared_ptr<const grpc::ByteBuffer>;

struct BareEcho::Followers
{
    std::mutex mutex;
    std::vector<Stream *> streams;
};

/// One client. It holds itself until gRPC is done with it.
class BareEcho::Stream : public grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer>
{
public:
    explicit Stream(Followers &followers) : m_followers(followers)
    {
        StartRead(&m_reading);
    }

    void OnReadDone(bool ok) override
    {
        if (!ok)
        {
            const std::scoped_lock lock(m_mutex);
            if (!m_isFinished)
                Finish(grpc::Status::OK);
            m_isFinished = true;
            return;
        }
        grpc::SerializationTraits<wire::Envelope>::Deserialize(&m_reading, &m_incoming);
        Answer();
        StartRead(&m_reading);
    }

    void OnWriteDone(bool ok) override
    {
        const std::scoped_lock lock(m_mutex);
        m_out.pop_front();
        if (ok && !m_out.empty() && !m_isFinished)
            StartWrite(m_out.front().get());
    }

    void OnDone() override
    {
        {
            const std::scoped_lock lock(m_followers.mutex);
            std::erase(m_followers.streams, this);
        }
        delete this;
    }

    void Send(const Packed &message)
    {
        const std::scoped_lock lock(m_mutex);
        if (m_isFinished)
            return;
        m_out.push_back(message);
        if (m_out.size() == 1)
            StartWrite(m_out.front().get());
    }

private:
    static Packed Pack(const wire::Envelope &envelope)
    {
        auto buffer = std::make_shared<grpc::ByteBuffer>();
        bool ownsBuffer = false;
        grpc::SerializationTraits<wire::Envelope>::Serialize(envelope, buffer.get(), &ownsBuffer);
        return buffer;
    }

    void Answer()
    {
        wire::Envelope answer;
        answer.set_answers(m_incoming.serial());
        if (m_incoming.has_hello())
            answer.mutable_welcome();
        else
            answer.mutable_accepted();
        if (m_incoming.has_follow_job())
        {
            const std::scoped_lock lock(m_followers.mutex);
            m_followers.streams.push_back(this);
        }
        Send(Pack(answer));
        if (m_incoming.has_job_parameter())
        {
            m_incoming.set_serial(0);
            const Packed news = Pack(m_incoming);
            const std::scoped_lock lock(m_followers.mutex);
            for (Stream *stream : m_followers.streams)
                stream->Send(news);
        }
    }

    Followers &m_followers;
    grpc::ByteBuffer m_reading;
    wire::Envelope m_incoming;
    std::mutex m_mutex;
    std::deque<Packed> m_out;
    bool m_isFinished = false;
};

class BareEcho::Service : public wire::Master::WithRawCallbackMethod_Connect<wire::Master::Service>
{
public:
    grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer> *
    Connect(grpc::CallbackServerContext * /*context*/) override
    {
        return new Stream(m_followers);
    }

private:
    Followers m_followers;
};

BareEcho::BareEcho(const std::string &address) : m_service(std::make_unique<Service>())
{
    grpc::ServerBuilder builder;
    builder.AddListeningPort(address, grpc::InsecureServerCredentials());
    builder.RegisterService(m_service.get());
    m_server = builder.BuildAndStart();
}

BareEcho::~BareEcho()
{
    m_server->Shutdown(std::chrono::system_clock::now());
}

} // namespace bench
