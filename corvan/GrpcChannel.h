#pragma once

#include <grpcpp/channel.h>
#include <memory>

#include "corvan/GrpcLink.h"

namespace corvan
{

/// A new channel to the Master, which shares no connection with any other. Nothing is connected
/// yet. Throws `ostrel::Exception *` where the certificate cannot be read.
std::shared_ptr<grpc::Channel> MakeChannel(const GrpcLink::Settings &settings);

/// Has gRPC write into this program's log, at level info: what it calls an error (a connection that
/// was refused) is everyday life here. Once per program.
void RouteGrpcLog();

} // namespace corvan
