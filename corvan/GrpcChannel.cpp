#include "corvan/GrpcChannel.h"

#include <grpc/support/log.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/channel_arguments.h>
#include <mutex>

#include "corvan/Limits.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"

namespace corvan
{

namespace
{

void LogForGrpc(gpr_log_func_args *line)
{
    ostrel::LogInfo(String("gRPC: ") + line->message);
}

std::shared_ptr<grpc::ChannelCredentials> MakeCredentials(const GrpcLink::Settings &settings)
{
    if (settings.address.kind == MasterAddress::Kind::Socket)
        return grpc::InsecureChannelCredentials();
    grpc::SslCredentialsOptions options;
    options.pem_root_certs = ostrel::File::ReadWhole(settings.security.certificate, 1u << 20);
    return grpc::SslCredentials(options);
}

grpc::ChannelArguments MakeArguments(const GrpcLink::Settings &settings)
{
    grpc::ChannelArguments arguments;
    arguments.SetMaxReceiveMessageSize(k_MaxMessageBytes);
    arguments.SetMaxSendMessageSize(k_MaxMessageBytes);
    arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, int(settings.timing.keepalive.count()));
    arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, int(settings.timing.keepaliveTimeout.count()));
    arguments.SetInt(GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1);
    arguments.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
    // When to try again is decided here; a pool would remember earlier failures for us.
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    arguments.SetInt(GRPC_ARG_ENABLE_RETRIES, 0);
    if (settings.address.kind == MasterAddress::Kind::Socket)
        arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
    return arguments;
}

} // namespace

std::shared_ptr<grpc::Channel> MakeChannel(const GrpcLink::Settings &settings)
{
    return grpc::CreateCustomChannel(settings.address.Target(), MakeCredentials(settings),
                                     MakeArguments(settings));
}

void RouteGrpcLog()
{
    static std::once_flag once;
    std::call_once(once, [] { gpr_set_log_function(&LogForGrpc); });
}

} // namespace corvan
