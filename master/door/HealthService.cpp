#include "master/door/HealthService.h"

#include "corvan/messages.grpc.pb.h"
#include "ostrel/CallEntry.h"

namespace master
{

using grpc::health::v1::HealthCheckRequest;
using grpc::health::v1::HealthCheckResponse;
using ostrel::_CallEntry;

grpc::ServerUnaryReactor *HealthService::Check(grpc::CallbackServerContext *context,
                                               const HealthCheckRequest *request,
                                               HealthCheckResponse *response)
{
    _CallEntry call("HealthService::Check", __FILE__, __LINE__);

    grpc::ServerUnaryReactor *const reactor = context->DefaultReactor();
    const std::string &name = request->service();
    if (!name.empty() && name != corvan::wire::Master::service_full_name())
    {
        reactor->Finish({grpc::StatusCode::NOT_FOUND, "there is no such service"});
        return reactor;
    }
    response->set_status(m_health.Trouble().empty() ? HealthCheckResponse::SERVING
                                                    : HealthCheckResponse::NOT_SERVING);
    reactor->Finish(grpc::Status::OK);
    return reactor;
}

} // namespace master
